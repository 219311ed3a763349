#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"

struct QvModelContents;

/// A built model's bytes, those of IQvRegComponent::WriteModel, and its contents, of which the host
/// may keep the ones or the others.
class QVREG_EXPORT QvModelMessage {
 public:
  /// `model` receives the bytes that WriteModel of a component of these `contents` gives.
  /// kTooManyParameters without memory, with `model` as it was. Contents that no model has make
  /// bytes that are refused.
  static QvCommon::QvStatus Write(const QvModelContents& contents,
                                  std::vector<unsigned char>& model);
  /// `contents` receive what the bytes of a `model` hold. kUnreadableMessage for bytes that
  /// WriteModel did not write, or which a version with another first number wrote;
  /// kTooManyParameters without memory. On an error the contents stay as they were.
  static QvCommon::QvStatus Read(const std::vector<unsigned char>& model,
                                 QvModelContents& contents);
};
