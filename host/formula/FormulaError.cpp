#include "host/formula/FormulaError.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "host/Text.h"

namespace qvhost {

namespace {

constexpr std::size_t kShownWidth = 70;  ///< Longer formulas are cut to this many code points.
constexpr std::string_view kIndent = "  ";
constexpr std::string_view kCut = "...";

/// The text as code points that each take one column, and the column of the byte `at`.
struct Columns {
  std::vector<std::string> cells;
  std::size_t caret = 0;
};

Columns SplitColumns(std::string_view text, std::size_t at) {
  Columns columns;
  std::size_t position = 0;
  while (position < text.size()) {
    const CodePoint point = DecodeUtf8(text, position);
    columns.cells.push_back(point.valid ? Printable(text.substr(position, point.length)) : "?");
    position += point.length;
    if (position <= at) ++columns.caret;
  }
  return columns;
}

std::string ShowWithCaret(const Columns& columns) {
  const std::size_t count = columns.cells.size();
  std::size_t from = columns.caret > kShownWidth / 2 ? columns.caret - kShownWidth / 2 : 0;
  const std::size_t to = std::min(count, from + kShownWidth);
  from = to > kShownWidth ? std::min(from, to - kShownWidth) : 0;
  std::string formula(kIndent);
  if (from > 0) formula += kCut;
  std::string caret(kIndent.size() + (from > 0 ? kCut.size() : 0) + columns.caret - from, ' ');
  for (std::size_t i = from; i < to; ++i) formula += columns.cells[i];
  if (to < count) formula += kCut;
  return formula + '\n' + caret + '^';
}

}  // namespace

FormulaError FormulaError::At(std::string_view text, Place place, const std::string& message) {
  const Place inside{std::min(place.begin, text.size()), std::min(place.end, text.size())};
  return {message + '\n' + ShowWithCaret(SplitColumns(text, inside.begin)), inside};
}

}  // namespace qvhost
