#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// The numbers of one column of a table, in one format so that they can be compared: with as
/// many decimals as the smallest needs for five significant digits, or all with an exponent when
/// their sizes lie too far apart. A value that does not exist is an empty text.
[[nodiscard]] std::vector<std::string> ColumnText(const std::vector<std::optional<double>>& values);

/// A number by itself, to `digits` significant digits; "-" when it does not exist.
[[nodiscard]] std::string NumberText(const std::optional<double>& value, int digits = 6);

/// A test statistic, to two decimals; empty when it does not exist.
[[nodiscard]] std::string StatisticText(const std::optional<double>& value);

/// A probability: four decimals, an exponent below 0.0001, "<1e-16" below that; empty when it does
/// not exist.
[[nodiscard]] std::string ProbabilityText(const std::optional<double>& value);

/// A count with commas between thousands: `1,234,567`.
[[nodiscard]] std::string CountText(long long count);

/// A table in plain text: a heading, then rows, the first column to the left and all others to the
/// right, two blanks between columns, no blanks at the line ends.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> headings);

  /// REQUIRES: as many cells as there are headings.
  void AddRow(std::vector<std::string> cells);

  /// All lines, each with its line end. A rule of dashes stands under the headings.
  [[nodiscard]] std::string Render() const;

 private:
  std::vector<std::vector<std::string>> rows_;  ///< The headings first.
};

}  // namespace qvhost
