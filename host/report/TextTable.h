#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// Columns a text takes on a terminal, one for each code point (a byte that is not UTF-8 counts as
/// one too).
[[nodiscard]] std::size_t TextWidth(std::string_view text);

/// The text with blanks in place of control characters, which would break a line or command a
/// terminal.
[[nodiscard]] std::string Printable(std::string_view text);

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
