#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/TextStyle.h"

namespace qvhost {

/// The numbers of one column of a table, in one format so that they can be compared: with as
/// many decimals as the smallest needs for `digits` significant digits, or all with an exponent
/// when their sizes lie too far apart. A value that does not exist is an empty text.
[[nodiscard]] std::vector<std::string> ColumnText(const std::vector<std::optional<double>>& values,
                                                  int digits = 5);

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
///
/// A table that is too wide gets one blank between its columns; then the names in its first column
/// are shortened, where two would look alike each of them stands whole on a line of its own; and
/// when they would be too short to recognise, the columns are printed in several blocks, each with
/// the names.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> headings);

  /// From this column on, up to the next call's, columns stay in one block if they can. In
  /// ascending order, none for the first column.
  void StartGroup(std::size_t column) { groups_.push_back(column); }

  /// REQUIRES: as many cells as there are headings.
  void AddRow(std::vector<std::string> cells);

  /// A line across the table between two rows.
  void AddLine(std::string text);

  /// All lines, each with its line end. A rule of dashes stands under the headings.
  [[nodiscard]] std::string Render(const TextStyle& style = {}) const;

 private:
  std::vector<std::vector<std::string>> rows_;  ///< The headings first; a line is a single cell.
  std::vector<std::size_t> groups_;
};

}  // namespace qvhost
