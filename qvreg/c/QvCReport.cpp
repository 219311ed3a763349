#include "qvreg/c/QvCReport.h"

#include <algorithm>
#include <cstdio>

#include "qvreg/c/QvCCall.h"

static_assert(QVREG_MAX_DATA == QvCommon::QvStatus::kMaxData);

namespace {

constexpr std::string_view kGap = "...";

unsigned char ByteAt(std::string_view text, std::size_t place) {
  return static_cast<unsigned char>(text[place]);
}

bool IsWithinCharacter(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

/// The length of a character by its first byte; 0 for a byte that begins none.
std::size_t LengthBy(unsigned char first) {
  if (first < 0x80U) return 1;
  if (first >= 0xC2U && first < 0xE0U) return 2;
  if (first >= 0xE0U && first < 0xF0U) return 3;
  if (first >= 0xF0U && first < 0xF5U) return 4;
  return 0;
}

/// True for the second bytes that make a character too long for its number, half of a pair, or
/// larger than any.
bool IsBadSecond(unsigned char first, unsigned char second) {
  if (first == 0xE0U) return second < 0xA0U;
  if (first == 0xEDU) return second >= 0xA0U;
  if (first == 0xF0U) return second < 0x90U;
  if (first == 0xF4U) return second >= 0x90U;
  return false;
}

/// How many bytes the character at `place` has; 0 when there is none.
std::size_t CharacterAt(std::string_view text, std::size_t place) {
  const std::size_t length = LengthBy(ByteAt(text, place));
  if (length > text.size() - place) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsWithinCharacter(ByteAt(text, place + i))) return 0;
  }
  if (length > 1 && IsBadSecond(ByteAt(text, place), ByteAt(text, place + 1))) return 0;
  return length;
}

}  // namespace

QvCReport::QvCReport(std::int32_t code) : QvCReport(code, qvreg_code_text(code)) {}

QvCReport::QvCReport(std::int32_t code, std::string_view message) {
  fError.code = code;
  SetMessage(message);
}

QvCReport::QvCReport(const QvCommon::QvStatus& status) {
  fError.code = static_cast<std::int32_t>(status.GetCode());
  fError.is_warning = status.IsWarning() ? 1 : 0;
  CopyData(status);
  if (!status.IsOK()) SetMessage(QvCText::OfStatus(status));
}

QvCReport QvCReport::OfShortRecord(std::size_t size, int needed) {
  return {QVREG_SHORT_RECORD, "The record has " + std::to_string(size) + " values and " +
                                  std::to_string(needed) +
                                  " are needed; check the record size and the variables."};
}

QvCReport QvCReport::OfDefect(const char* what) {
  QvCReport report(QVREG_INTERNAL_ERROR);
  std::snprintf(report.fError.message, sizeof report.fError.message,
                "The call ended unexpectedly (%.200s); this is a defect of the library, please "
                "report it.",
                what);
  return report;
}

void QvCReport::CopyData(const QvCommon::QvStatus& status) {
  for (unsigned i = 0; i < QVREG_MAX_DATA; ++i) {
    long discrete = 0;
    if (status.GetDiscreteDatum(i, discrete)) SetDiscrete(i, discrete);
    if (status.GetScaleDatum(i, fError.scale[i])) fError.has_scale[i] = 1;
  }
}

void QvCReport::SetDiscrete(std::size_t index, std::int64_t value) {
  fError.has_discrete[index] = 1;
  fError.discrete[index] = value;
}

void QvCReport::Prefix(std::string_view text) { SetMessage(std::string(text) + fError.message); }

void QvCReport::SetMessage(std::string_view message) {
  std::size_t length = std::min(message.size(), sizeof fError.message - 1);
  while (length > 0 && length < message.size() && IsWithinCharacter(ByteAt(message, length))) {
    --length;
  }
  std::copy_n(message.data(), length, fError.message);
  fError.message[length] = '\0';
}

void QvCReport::CopyTo(qvreg_error& error) const { QvCStruct::HandOver(fError, error); }

std::string QvCText::Utf8(std::string_view text) {
  std::string valid;
  for (std::size_t place = 0; place < text.size();) {
    const std::size_t length = CharacterAt(text, place);
    if (length == 0) {
      valid += '?';
      ++place;
    } else {
      valid += text.substr(place, length);
      place += length;
    }
  }
  return valid;
}

std::string QvCText::Shortened(std::string_view text, std::size_t longest) {
  std::string whole = Utf8(text);
  if (whole.size() <= longest) return whole;
  std::size_t head = (longest - kGap.size()) / 2;
  std::size_t tail = whole.size() - (longest - kGap.size() - head);
  while (head > 0 && IsWithinCharacter(ByteAt(whole, head))) --head;
  while (tail < whole.size() && IsWithinCharacter(ByteAt(whole, tail))) ++tail;
  return whole.substr(0, head).append(kGap).append(whole, tail);
}
