#pragma once

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// \file
/// Numbers as texts of which the same bits are read again, whatever they are.

namespace QvCommon {

/// What NumberText and ReadNumber share.
namespace QvNumberWords {

inline constexpr std::string_view kNaN = "NaN";       ///< As XML Schema has it.
inline constexpr std::string_view kInfinity = "INF";  ///< Likewise.
inline constexpr int kHexadecimal = 16;               ///< The base of a NaN's bits.
/// The bits of the NaN that is written without them.
inline constexpr auto kUsualNaN =
    std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());

/// A `value` as text, by the standard library: in a `format`, of types `Format`.
template <typename Number, typename... Format>
[[nodiscard]] std::string Written(Number value, Format... format) {
  std::array<char, 32> text{};
  char* const end = std::to_chars(text.data(), text.data() + text.size(), value, format...).ptr;
  return {text.data(), end};
}

/// The number of the whole `text` in a `format`, of types `Format`; false, and `value` as it was,
/// for any other.
template <typename Number, typename... Format>
[[nodiscard]] bool Read(std::string_view text, Number& value, Format... format) {
  Number read{};
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, read, format...);
  if (error != std::errc() || end != last) return false;
  value = read;
  return true;
}

/// The same of a `value` whose `text` starts with kNaN.
[[nodiscard]] inline bool ReadNaN(std::string_view text, double& value) {
  std::uint64_t bits = kUsualNaN;
  text.remove_prefix(kNaN.size());
  const bool isRead =
      text.empty() || (text.front() == ':' && Read(text.substr(1), bits, kHexadecimal));
  if (!isRead || !std::isnan(std::bit_cast<double>(bits))) return false;
  value = std::bit_cast<double>(bits);
  return true;
}

}  // namespace QvNumberWords

/// The shortest decimal number that reads back to this `value`. What is not finite is as XML Schema
/// has it, INF, -INF and NaN; a NaN of other bits than the usual has these behind a colon.
[[nodiscard]] inline std::string NumberText(double value) {
  if (std::isinf(value)) return (value > 0.0 ? "" : "-") + std::string(QvNumberWords::kInfinity);
  if (!std::isnan(value)) return QvNumberWords::Written(value);
  const auto bits = std::bit_cast<std::uint64_t>(value);
  std::string text(QvNumberWords::kNaN);
  if (bits != QvNumberWords::kUsualNaN) {
    text += ':' + QvNumberWords::Written(bits, QvNumberWords::kHexadecimal);
  }
  return text;
}

/// A whole `value`.
[[nodiscard]] inline std::string NumberText(long long value) { return std::to_string(value); }

/// The number of the whole `text`; false, and `value` as it was, for any other text, or one out of
/// range.
[[nodiscard]] inline bool ReadNumber(std::string_view text, double& value) {
  if (text.starts_with(QvNumberWords::kNaN)) return QvNumberWords::ReadNaN(text, value);
  const bool isBelow = text.starts_with('-');
  if (text.substr(isBelow ? 1 : 0) == QvNumberWords::kInfinity) {
    const double infinity = std::numeric_limits<double>::infinity();
    value = isBelow ? -infinity : infinity;
    return true;
  }
  double read = 0.0;
  // It reads other spellings of what is not finite.
  if (!QvNumberWords::Read(text, read) || !std::isfinite(read)) return false;
  value = read;
  return true;
}

/// The same; `text`, `value`.
[[nodiscard]] inline bool ReadNumber(std::string_view text, long long& value) {
  return QvNumberWords::Read(text, value);
}

/// The same; `text`, `value`.
[[nodiscard]] inline bool ReadNumber(std::string_view text, int& value) {
  return QvNumberWords::Read(text, value);
}

/// The same; `text`, `value`.
[[nodiscard]] inline bool ReadNumber(std::string_view text, bool& value) {
  if (text != "0" && text != "1") return false;
  value = text == "1";
  return true;
}

/// Takes the first word off a `text`, up to a blank; empty at its end.
[[nodiscard]] inline std::string_view TakeWord(std::string_view& text) {
  const std::size_t blank = text.find(' ');
  const std::string_view word = text.substr(0, blank);
  text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
  return word;
}

/// The numbers `values` with a blank between each two.
template <typename Number>
[[nodiscard]] std::string NumbersText(const std::vector<Number>& values) {
  std::string text;
  for (const auto& value : values) {
    if (!text.empty()) text += ' ';
    if constexpr (std::same_as<Number, double>) {
      text += NumberText(value);
    } else {
      text += NumberText(static_cast<long long>(value));
    }
  }
  return text;
}

/// The numbers of the whole `text` go to `values`; false for any other text.
template <typename Number>
[[nodiscard]] bool ReadNumbers(std::string_view text, std::vector<Number>& values) {
  values.clear();
  while (!text.empty()) {
    Number value{};
    if (!ReadNumber(TakeWord(text), value)) return false;
    values.push_back(value);
  }
  return true;
}

}  // namespace QvCommon
