#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qvreg/c/qvreg_c_types.h"
#include "qvreg/common/QvStatus.h"

/// What a call of the C interface came to: a code, whether it is a warning, the numbers attached to
/// it, and a message.
///
/// A value without heap storage, so that it can report a failed allocation. Distinct objects may be
/// used from distinct threads.
class QvCReport {
 public:
  /// Success.
  QvCReport() = default;
  /// `code` in the words of the table of messages, or in those of `message`.
  explicit QvCReport(std::int32_t code);
  QvCReport(std::int32_t code, std::string_view message);
  /// A status of the library with its numbers, in words that show them.
  explicit QvCReport(const QvCommon::QvStatus& status);

  /// An exception that should not have come this far, by its words.
  [[nodiscard]] static QvCReport OfDefect(const char* what);

  [[nodiscard]] std::int32_t Code() const { return fError.code; }
  [[nodiscard]] bool IsError() const { return fError.code != QVREG_OK && fError.is_warning == 0; }
  [[nodiscard]] const char* Message() const { return fError.message; }

  /// Attaches a whole number. REQUIRES: index < QVREG_MAX_DATA.
  void SetDiscrete(std::size_t index, std::int64_t value);
  /// Puts `words` in front of the message.
  void Prefix(std::string_view words);
  /// Writes it to a host's structure.
  void CopyTo(qvreg_error& error) const;

 private:
  /// Cuts a message that is too long between two characters.
  void SetMessage(std::string_view message);
  void CopyData(const QvCommon::QvStatus& status);

  qvreg_error fError = QVREG_ERROR_INIT;
};
