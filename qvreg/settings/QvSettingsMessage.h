#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/settings/QvRegSettings.h"

/// Settings of either model as bytes: for a host that sends them to another process or machine, or
/// keeps them. They hold a version and a checksum, and are the same on every machine.
class QVREG_EXPORT QvSettingsMessage {
 public:
  /// `bytes` receive the `settings` but for what these borrow: listener, query and runner.
  /// REQUIRES: valid settings (IsValidSettings). kTooManyParameters without memory, with `bytes` as
  /// they were.
  static QvCommon::QvStatus Write(const QvRegSettings& settings, std::vector<unsigned char>& bytes);
  /// `settings` receive those that `bytes` were written of, of their class; their effects are
  /// defined over the variables that they use. kUnreadableMessage for bytes that are damaged, of
  /// another version or no settings; without memory that, too, or kTooManyParameters. On an error
  /// the settings stay as they were.
  static QvCommon::QvStatus Read(const std::vector<unsigned char>& bytes,
                                 std::unique_ptr<QvRegSettings>& settings);
};
