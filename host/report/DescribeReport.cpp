#include "host/report/DescribeReport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/report/HeadingLines.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

constexpr std::size_t kShownLevels = 5;
constexpr std::size_t kWidestLevel = 24;
constexpr double kPercent = 100.0;

/// Whole numbers with all their digits, others with six of them.
std::string ValueText(double value) {
  constexpr double kMostWhole = 1e17;
  const bool isWhole = value == std::floor(value) && std::abs(value) < kMostWhole;
  return isWhole ? fmt::format("{:.0f}", value) : NumberText(value);
}

std::string ShareText(std::int64_t count, std::int64_t all) {
  if (count == 0 || all == 0) return "";
  const double share = kPercent * static_cast<double>(count) / static_cast<double>(all);
  constexpr double kLeast = 0.1;
  if (share < kLeast) return "<0.1%";
  // 100.0 % of which some are not would be no better.
  return fmt::format("{:.1f}%", count < all ? std::min(share, kPercent - kLeast) : share);
}

const char* RoleText(ColumnRole role) {
  if (role == ColumnRole::kNone) return "-";
  return role == ColumnRole::kFactor ? "factor" : "covariate";
}

using Columns = std::vector<const ColumnDescription*>;
using RowMaker = std::function<std::vector<std::string>(const ColumnDescription&)>;

/// A table with a row for each of these columns; empty without any.
std::string ColumnTable(const Columns& columns, const std::vector<std::string>& headings,
                        const RowMaker& row, const TextStyle& style) {
  if (columns.empty()) return {};
  TextTable table(headings);
  const Shown shown = ShownRows(columns.size(), style.all);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("columns"));
    table.AddRow(row(*columns[i]));
  }
  return table.Render(style);
}

std::string NameOf(const ColumnDescription& column) { return Printable(column.info.Written()); }

std::string DistinctText(const ColumnSummary& summary) {
  return (summary.isDistinctExact ? "" : "~") + CountText(summary.distinct);
}

std::vector<std::string> OverviewRow(const ColumnDescription& column) {
  const ColumnSummary& summary = column.summary;
  return {NameOf(column),
          Printable(Lower(column.info.type)),
          RoleText(column.role),
          CountText(summary.missing),
          ShareText(summary.missing, summary.rows),
          DistinctText(summary)};
}

std::vector<std::string> NumberRow(const ColumnDescription& column) {
  const NumberSummary& numbers = *column.summary.numbers;
  const std::string about = numbers.areQuartilesExact ? "" : "~";
  std::vector<std::string> row = {NameOf(column), ValueText(numbers.minimum)};
  for (const double quartile : numbers.quartiles) row.push_back(about + ValueText(quartile));
  row.push_back(ValueText(numbers.maximum));
  row.push_back(NumberText(numbers.mean));
  row.push_back(numbers.deviation ? NumberText(numbers.deviation) : "");
  return row;
}

bool HasLevels(const ColumnDescription& column) {
  return column.role == ColumnRole::kFactor && !column.summary.levels.empty();
}

bool IsTime(const ColumnDescription& column) {
  return column.info.kind == ColumnKind::kDateTime && column.info.type != "INTERVAL" &&
         column.summary.distinct > 0;
}

/// `Adelie 152 (44.2%), Gentoo 124 (36.0%), …`
std::string LevelsText(const ColumnSummary& summary) {
  std::string text;
  const std::int64_t present = summary.rows - summary.missing;
  const std::size_t count = std::min(kShownLevels, summary.levels.size());
  // Of values that all occur once none is frequent.
  const bool areOnce = summary.distinct == present && present > 1;
  if (areOnce) text = "each once: ";
  for (std::size_t i = 0; i < count; ++i) {
    const LevelCount& level = summary.levels[i];
    const bool isOdd = level.level.empty() || level.level.find(',') != std::string::npos;
    const std::string name =
        isOdd ? fmt::format("'{}'", Printable(level.level)) : Printable(level.level);
    text += (i == 0 ? "" : ", ") + CutMiddle(name, kWidestLevel);
    if (areOnce) continue;
    text += fmt::format("{}{}{} ({})", HeadingLines::kNoBreak, summary.areLevelsExact ? "" : "~",
                        CountText(level.count), ShareText(level.count, present));
  }
  const bool isAll = summary.areLevelsExact && summary.levels.size() == count;
  return text + (isAll ? "" : ", …");
}

/// The most frequent levels of each factor.
std::string LevelLines(const Columns& columns, const TextStyle& style) {
  constexpr std::size_t kNameShare = 3;
  if (columns.empty()) return {};
  const Shown shown = ShownRows(columns.size(), style.all);
  HeadingLines lines(style);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) lines.Add("", shown.Note("columns"));
    const std::string name = CutMiddle(NameOf(*columns[i]), style.width / kNameShare);
    lines.Add(name, LevelsText(columns[i]->summary));
  }
  return lines.Text();
}

std::string Heading(const TableDescription& table, const TextStyle& style) {
  HeadingLines lines(style);
  lines.Add("Data", Printable(table.data));
  if (!table.where.empty()) {
    lines.Add("Where", fmt::format("{} ({} row{} left out)", Printable(table.where),
                                   CountText(table.leftOut), table.leftOut == 1 ? "" : "s"));
  }
  lines.Add("Rows", CountText(table.rows));
  lines.Add("Columns", CountText(static_cast<long long>(table.columns.size())));
  return lines.Text();
}

Columns Select(const TableDescription& table,
               const std::function<bool(const ColumnDescription&)>& isWanted) {
  Columns columns;
  for (const ColumnDescription& column : table.columns) {
    if (isWanted(column)) columns.push_back(&column);
  }
  return columns;
}

/// Texts that were read as missing, a sentence for each column.
std::string MissingNote(const ColumnDescription& column) {
  if (column.missingStrings.empty()) return {};
  std::string list;
  for (const StringMissing& string : column.missingStrings) {
    list +=
        fmt::format("{}{} '{}'", list.empty() ? "" : ", ", CountText(string.count), string.text);
  }
  return fmt::format("'{}': {} read as missing.", column.info.Written(), list);
}

std::string Notes(const TableDescription& table, const TextStyle& style) {
  std::string notes;
  const auto add = [&](const std::string& sentence) {
    if (!sentence.empty()) notes += style.Warning(NoteText(Printable(sentence), style)) + "\n";
  };
  for (const ColumnDescription& column : table.columns) {
    add(MissingNote(column));
    for (const std::string& warning : column.warnings) add(warning);
  }
  for (const std::string& note : table.notes) add(note);
  return notes;
}

/// A heading and what stands below it; empty when that is.
std::string Section(const std::string& title, const std::string& text, const TextStyle& style) {
  return text.empty() ? text : "\n" + style.Heading(title) + "\n" + text;
}

}  // namespace

std::string TextReport(const TableDescription& table, const TextStyle& style) {
  const Columns all = Select(table, [](const auto&) { return true; });
  const Columns numbers =
      Select(table, [](const auto& column) { return column.summary.numbers.has_value(); });
  const auto isApproximate = [](const ColumnDescription* column) {
    return !column->summary.isDistinctExact ||
           (column->summary.numbers && !column->summary.numbers->areQuartilesExact) ||
           (HasLevels(*column) && !column->summary.areLevelsExact);
  };
  std::string text =
      Heading(table, style) + "\n" +
      ColumnTable(all, {"Column", "Type", "Taken as", "Missing", "Share", "Distinct"}, OverviewRow,
                  style);
  if (!numbers.empty()) {
    text += "\n" + ColumnTable(numbers,
                               {"Number", "Minimum", "25%", "Median", "75%", "Maximum", "Mean",
                                "Std. dev."},
                               NumberRow, style);
  }
  const Columns times = Select(table, IsTime);
  if (!times.empty()) {
    const auto row = [](const ColumnDescription& column) -> std::vector<std::string> {
      return {NameOf(column), Printable(column.summary.first), Printable(column.summary.last)};
    };
    text += "\n" + ColumnTable(times, {"Date or time", "First", "Last"}, row, style);
  }
  text += Section("Most frequent levels", LevelLines(Select(table, HasLevels), style), style);
  text += Section("Notes", Notes(table, style), style);
  if (std::ranges::any_of(all, isApproximate)) {
    text += "\n" +
            Wrap("~ is approximate: too many values differ to count them all.", style.width, 0, 0) +
            "\n";
  }
  return text;
}

}  // namespace qvhost
