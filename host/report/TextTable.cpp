#include "host/report/TextTable.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include <fmt/format.h>

#include "host/TextLayout.h"

namespace qvhost {
namespace {

/// So many more decimals than digits keep a column in one format.
constexpr int kMoreDecimals = 2;
constexpr double kSmallestFixed = 1e-4;
constexpr double kLargestFixed = 1e9;
constexpr double kLargestStatistic = 1e6;
constexpr double kSmallestFixedP = 1e-4;
constexpr double kSmallestP = 1e-16;

/// Decimals that show `value` to so many significant digits.
int DecimalsFor(double value, int digits) {
  return std::max(0, digits - 1 - static_cast<int>(std::floor(std::log10(std::abs(value)))));
}

/// A number with so many significant digits, whatever its neighbours.
std::string OwnText(double value, int digits) {
  const double size = std::abs(value);
  if (size == 0.0) return "0";
  const bool fixed = size >= kSmallestFixed && size < kLargestFixed;
  return fixed ? fmt::format("{:.{}f}", value, DecimalsFor(value, digits))
               : fmt::format("{:.{}e}", value, digits - 1);
}

using Cells = std::vector<std::string>;

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowGap = 1;
/// Names are not shortened below this, nor below this share of the line.
constexpr std::size_t kLeastName = 12;
constexpr std::size_t kNameShare = 4;
/// Headings wider than the cells below them are not shortened below this.
constexpr std::size_t kLeastHeading = 12;

/// Some of the columns beside the first: from `first` up to, not including, `end`.
struct Block {
  std::size_t first;
  std::size_t end;
};

/// How a table is laid out.
struct Layout {
  std::vector<std::size_t> widths;
  std::size_t gap = kGap;
  std::vector<Block> blocks;

  /// The width of some columns, each with the gap before it.
  [[nodiscard]] std::size_t WidthOf(const Block& block) const {
    const auto first = widths.begin() + static_cast<std::ptrdiff_t>(block.first);
    const auto end = widths.begin() + static_cast<std::ptrdiff_t>(block.end);
    return std::accumulate(first, end, gap * (block.end - block.first));
  }
  /// The width of the widest block, without the names.
  [[nodiscard]] std::size_t WidestBlock() const {
    std::size_t widest = 0;
    for (const Block& block : blocks) widest = std::max(widest, WidthOf(block));
    return widest;
  }
};

bool IsLine(const Cells& row, const Layout& layout) { return row.size() < layout.widths.size(); }

std::vector<std::size_t> Widths(const std::vector<Cells>& rows, std::size_t mostHeading) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (std::size_t column = 0; column < widths.size(); ++column) {
    for (std::size_t row = 1; row < rows.size(); ++row) {
      if (rows[row].size() < widths.size()) continue;
      widths[column] = std::max(widths[column], TextWidth(rows[row].at(column)));
    }
    const std::size_t heading = TextWidth(rows.front()[column]);
    widths[column] = std::max(widths[column], std::min(heading, mostHeading));
  }
  return widths;
}

/// Divides the columns into blocks of at most `width`; a group that is wider is divided itself.
std::vector<Block> BlocksOf(const Layout& layout, const std::vector<std::size_t>& groups,
                            std::size_t width) {
  const std::size_t end = layout.widths.size();
  std::vector<Block> blocks = {{1, 1}};
  const auto add = [&](const Block& part) {
    Block& last = blocks.back();
    if (layout.WidthOf({last.first, part.end}) <= width) {
      last.end = part.end;
    } else if (last.end > last.first) {
      blocks.push_back(part);
    } else {
      last = part;
    }
  };
  for (std::size_t first = 1; first < end;) {
    const auto next = std::ranges::upper_bound(groups, first);
    const Block group = {first, next == groups.end() ? end : *next};
    if (layout.WidthOf(group) <= width) {
      add(group);
    } else {
      for (std::size_t column = first; column < group.end; ++column) add({column, column + 1});
    }
    first = group.end;
  }
  return blocks;
}

/// Settles the gap, the width of the names and the blocks.
Layout LayoutOf(const std::vector<Cells>& rows, const std::vector<std::size_t>& groups,
                std::size_t width) {
  Layout layout;
  layout.widths = Widths(rows, width);
  const Block all = {1, layout.widths.size()};
  layout.blocks = {all};
  const auto fits = [&](std::size_t name) { return name + layout.WidthOf(all) <= width; };
  if (fits(layout.widths.front())) return layout;

  layout.widths = Widths(rows, kLeastHeading);
  std::size_t& name = layout.widths.front();
  const std::size_t least = std::min(name, std::max(kLeastName, width / kNameShare));
  layout.gap = kNarrowGap;
  if (!fits(least)) {
    for (const std::size_t gap : {kGap, kNarrowGap}) {
      layout.gap = gap;
      layout.blocks = BlocksOf(layout, groups, width - std::min(width, least));
      if (name + layout.WidestBlock() <= width) return layout;
    }
  }
  name = std::min(name, std::max(least, width - std::min(width, layout.WidestBlock())));
  return layout;
}

/// The names of the rows as they are printed; empty for one that would look like another.
Cells Names(const std::vector<Cells>& rows, std::size_t width) {
  Cells names;
  std::map<std::string, int> counts;
  for (const Cells& row : rows) {
    names.push_back(ShortLabel(row.front(), width));
    ++counts[names.back()];
  }
  for (std::size_t row = 1; row < rows.size(); ++row) {
    if (counts[names[row]] > 1 && names[row] != rows[row].front()) names[row].clear();
  }
  return names;
}

std::string Line(const std::string& name, const Cells& cells, const Layout& layout,
                 const Block& block) {
  std::string line = name + std::string(layout.widths.front() - TextWidth(name), ' ');
  for (std::size_t column = block.first; column < block.end; ++column) {
    const std::string cell = CutMiddle(cells[column], layout.widths[column]);
    line += std::string(layout.gap + layout.widths[column] - TextWidth(cell), ' ') + cell;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

std::vector<std::string> ColumnText(const std::vector<std::optional<double>>& values, int digits) {
  int decimals = 0;
  double largest = 0.0;
  for (const std::optional<double>& value : values) {
    if (!value || *value == 0.0) continue;
    decimals = std::max(decimals, DecimalsFor(*value, digits));
    largest = std::max(largest, std::abs(*value));
  }
  const bool isOneFormat = decimals <= digits + kMoreDecimals && largest < kLargestFixed;

  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const std::optional<double>& value : values) {
    if (!value) {
      texts.emplace_back();
    } else {
      texts.push_back(isOneFormat ? fmt::format("{:.{}f}", *value, decimals)
                                  : OwnText(*value, digits));
    }
  }
  return texts;
}

std::string NumberText(const std::optional<double>& value, int digits) {
  return value ? fmt::format("{:.{}g}", *value, digits) : "-";
}

std::string StatisticText(const std::optional<double>& value) {
  if (!value) return {};
  return std::abs(*value) < kLargestStatistic ? fmt::format("{:.2f}", *value)
                                              : fmt::format("{:.2e}", *value);
}

std::string ProbabilityText(const std::optional<double>& value) {
  if (!value) return {};
  if (*value < kSmallestP) return "<1e-16";
  return *value < kSmallestFixedP ? fmt::format("{:.1e}", *value) : fmt::format("{:.4f}", *value);
}

std::string CountText(long long count) {
  std::string digits = fmt::format("{}", count);
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > (count < 0 ? 1 : 0);
       at -= 3) {
    digits.insert(static_cast<std::size_t>(at), ",");
  }
  return digits;
}

TextTable::TextTable(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

void TextTable::AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

void TextTable::AddLine(std::string text) { rows_.push_back({std::move(text)}); }

std::string TextTable::Render(const TextStyle& style) const {
  const Layout layout = LayoutOf(rows_, groups_, style.width);
  const Cells names = Names(rows_, layout.widths.front());
  std::string text;
  for (const Block& block : layout.blocks) {
    if (!text.empty()) text += "\n";
    text += style.Heading(Line(names.front(), rows_.front(), layout, block)) + "\n";
    text += std::string(layout.widths.front() + layout.WidthOf(block), '-') + "\n";
    for (std::size_t row = 1; row < rows_.size(); ++row) {
      const Cells& cells = rows_[row];
      if (IsLine(cells, layout)) {
        text += Wrap(cells.front(), style.width, 0, 2) + "\n";
        continue;
      }
      if (names[row].empty() && !cells.front().empty())
        text += Wrap(cells.front(), style.width, 0, 2) + "\n";
      text += Line(names[row], cells, layout, block) + "\n";
    }
  }
  return text;
}

}  // namespace qvhost
