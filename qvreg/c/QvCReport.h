#pragma once

/// \file
/// How a call of the C interface ends: its report, the exception that carries one to the boundary,
/// and the texts of both.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/QvStatus.h"

/// The result of a call: a code, whether it is a warning, the numbers attached to it, and a
/// message.
///
/// A value without heap storage, so that it can report a failed allocation. Distinct objects may be
/// used from distinct threads.
class QvCReport {
 public:
  /// Success.
  QvCReport() = default;
  /// `code` with its text of the table, or with `message`.
  explicit QvCReport(std::int32_t code);
  QvCReport(std::int32_t code, std::string_view message);
  /// A status of the library with its numbers, in a message that shows them.
  explicit QvCReport(const QvCommon::QvStatus& status);

  /// A record of `size` values where `needed` are.
  [[nodiscard]] static QvCReport OfShortRecord(std::size_t size, int needed);
  /// An exception that no call should end with, by its message.
  [[nodiscard]] static QvCReport OfDefect(const char* what);

  [[nodiscard]] std::int32_t Code() const { return fError.code; }
  [[nodiscard]] bool IsError() const { return fError.code != QVREG_OK && fError.is_warning == 0; }
  [[nodiscard]] const char* Message() const { return fError.message; }

  /// Attaches a whole number. REQUIRES: index < QVREG_MAX_DATA.
  void SetDiscrete(std::size_t index, std::int64_t value);
  /// A whole number that is attached; 0 where none is. REQUIRES: index < QVREG_MAX_DATA.
  [[nodiscard]] std::int64_t Discrete(std::size_t index) const { return fError.discrete[index]; }
  /// Puts `text` in front of the message.
  void Prefix(std::string_view text);
  /// Writes it to a host's structure, as far as the host knows it.
  void CopyTo(qvreg_error& error) const;

 private:
  /// Cuts a message that is too long between two characters.
  void SetMessage(std::string_view message);
  void CopyData(const QvCommon::QvStatus& status);

  qvreg_error fError = QVREG_ERROR_INIT;
};

/// Ends a call with a report. Never leaves the library: QvCCall catches it.
class QvCRefusal : public std::exception {
 public:
  explicit QvCRefusal(const QvCReport& report) : fReport(report) {}
  QvCRefusal(std::int32_t code, std::string_view message) : fReport(code, message) {}

  [[nodiscard]] const QvCReport& Report() const { return fReport; }
  [[nodiscard]] const char* what() const noexcept override { return fReport.Message(); }

 private:
  QvCReport fReport;
};

namespace QvCText {

/// The text of a status of the library, with the numbers that are attached to it.
[[nodiscard]] std::string OfStatus(const QvCommon::QvStatus& status);

/// A text from outside, such as a path or the message of an exception, as UTF-8: every byte that is
/// part of no character becomes '?'.
[[nodiscard]] std::string Utf8(std::string_view text);

/// The same, and when it is longer than `longest` bytes without its middle, where "..." stands.
/// REQUIRES: longest >= 3.
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t longest);

}  // namespace QvCText
