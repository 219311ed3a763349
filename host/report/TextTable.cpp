#include "host/report/TextTable.h"

#include <algorithm>
#include <numeric>

#include "host/Text.h"

namespace qvhost {

namespace {

constexpr std::size_t kGap = 2;

std::vector<std::size_t> Widths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      widths[column] = std::max(widths[column], TextWidth(row.at(column)));
    }
  }
  return widths;
}

std::string Line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string padding(widths[column] - TextWidth(cells[column]), ' ');
    line +=
        column == 0 ? cells[column] + padding : std::string(kGap, ' ') + padding + cells[column];
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace

std::size_t TextWidth(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t at = 0; at < text.size(); at += DecodeUtf8(text, at).length) {
    ++width;
  }
  return width;
}

std::string Printable(std::string_view text) {
  std::string printable;
  for (std::size_t at = 0; at < text.size();) {
    const CodePoint point = DecodeUtf8(text, at);
    const bool control = point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0);
    printable += point.valid && control ? " " : text.substr(at, point.length);
    at += point.length;
  }
  return printable;
}

TextTable::TextTable(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

void TextTable::AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

std::string TextTable::Render() const {
  const std::vector<std::size_t> widths = Widths(rows_);
  const std::size_t ruleWidth =
      std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
  std::string text = Line(rows_.front(), widths) + std::string(ruleWidth, '-') + "\n";
  for (std::size_t row = 1; row < rows_.size(); ++row) {
    text += Line(rows_[row], widths);
  }
  return text;
}

}  // namespace qvhost
