#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Numbers as texts of which the same bits are read again, whatever they are.

namespace qvhost {

/// The shortest decimal number that reads back to this double. What is not finite is as XML Schema
/// has it, INF, -INF and NaN; a NaN of other bits than the usual has these behind a colon.
[[nodiscard]] std::string NumberText(double value);
[[nodiscard]] std::string NumberText(long long value);

/// The number of the whole text; false, and `value` as it was, for any other text, or one out of
/// range.
[[nodiscard]] bool ReadNumber(std::string_view text, double& value);
[[nodiscard]] bool ReadNumber(std::string_view text, long long& value);
[[nodiscard]] bool ReadNumber(std::string_view text, int& value);
[[nodiscard]] bool ReadNumber(std::string_view text, bool& value);

/// Takes the first word off a text, up to a blank; empty at its end.
[[nodiscard]] std::string_view TakeWord(std::string_view& text);

/// Numbers with a blank between each two.
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

/// The numbers of the whole text; false for any other text.
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

}  // namespace qvhost
