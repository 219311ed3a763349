#include "host/fit/ReadingNotes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/Tokenizer.h"
#include "host/table/NumberFormat.h"

namespace qvhost {
namespace {

/// "DD.MM.YYYY" for "%d.%m.%Y".
std::string DateText(std::string text) {
  using Name = std::pair<std::string_view, std::string_view>;
  constexpr std::array<Name, 9> kNames = {{{"%d", "DD"},
                                           {"%m", "MM"},
                                           {"%Y", "YYYY"},
                                           {"%y", "YY"},
                                           {"%H", "hh"},
                                           {"%I", "hh"},
                                           {"%M", "mm"},
                                           {"%S", "ss"},
                                           {"%p", "AM"}}};
  for (const auto& [sign, name] : kNames) {
    for (std::size_t at = text.find(sign); at != std::string::npos; at = text.find(sign)) {
      text.replace(at, sign.size(), name);
    }
  }
  return text;
}

}  // namespace

std::vector<std::string> FileNotes(const TableSource& source) {
  const TextLayout* const layout = source.Layout();
  if (layout == nullptr) return {};
  std::vector<std::string> notes;
  if (!layout->hasHeader) {
    notes.push_back(
        fmt::format("The data have no header, so their columns are called {} and so on. If the "
                    "first row holds the names, add --header yes.",
                    source.Columns().front().name));
  }
  if (layout->hasShortRows) {
    notes.emplace_back(
        "Some rows of the data have fewer values than the header has names; what they lack at "
        "their end is missing.");
  }
  if (layout->skippedRows > 0) {
    notes.push_back(
        fmt::format("The first {} lines of the data were skipped, as they do not look like rows of "
                    "a table.",
                    layout->skippedRows));
  }
  return notes;
}

std::vector<std::string> FormatNotes(const TableSource& source,
                                     const std::vector<std::string>& columns) {
  std::vector<std::string> notes;
  const auto isUsed = [&columns](const std::string& column) {
    return std::ranges::find(columns, column) != columns.end();
  };
  if (const TextLayout* const layout = source.Layout()) {
    for (const TextLayout::Dates& dates : layout->dates) {
      if (!isUsed(dates.column)) continue;
      notes.push_back(
          fmt::format("The dates of '{}' are read as {}. If they are otherwise, add {} and write "
                      "strptime({}, ...) in the formula.",
                      dates.column, DateText(dates.format), TypesText(dates.column, "varchar"),
                      WrittenName(dates.column)));
    }
    for (const TextLayout::Grouped& grouped : layout->grouped) {
      if (!isUsed(grouped.column)) continue;
      notes.push_back(
          fmt::format("The values of '{}', such as '{}', are read with a decimal point. If points "
                      "separate thousands in them, add --decimal , --thousands .",
                      grouped.column, grouped.example));
    }
  }
  const std::vector<std::vector<std::string>> without = source.FilesWithout(columns);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (without[i].empty()) continue;
    notes.push_back(fmt::format("'{}' is no column of {} and missing in all {} rows.", columns[i],
                                NameList(without[i]), without[i].size() == 1 ? "its" : "their"));
  }
  return notes;
}

}  // namespace qvhost
