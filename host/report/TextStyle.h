#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "host/Terminal.h"

namespace qvhost {

/// How a report in plain text is laid out. A plain value.
struct TextStyle {
  std::size_t width = kUsualWidth;  ///< Columns that a line may take.
  bool color = false;               ///< Headings bold, warnings yellow.
  bool all = false;                 ///< Every row of a long table.
  /// Significant digits of estimates, their errors, limits and odds ratios; none: each kind's own.
  std::optional<int> digits = {};

  /// Digits of a number that stands alone: the usual ones, more when more are wanted.
  [[nodiscard]] int DigitsOf(int usual) const { return std::max(usual, digits.value_or(usual)); }

  [[nodiscard]] std::string Heading(std::string_view text) const { return Escaped("1", text); }
  [[nodiscard]] std::string Warning(std::string_view text) const { return Escaped("33", text); }
  [[nodiscard]] std::string Failure(std::string_view text) const { return Escaped("31", text); }

 private:
  [[nodiscard]] std::string Escaped(std::string_view code, std::string_view text) const {
    if (!color) return std::string(text);
    return std::string("\x1b[").append(code).append("m").append(text).append("\x1b[0m");
  }
};

}  // namespace qvhost
