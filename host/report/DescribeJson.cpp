// The JSON of a description, see docs/describe.schema.json.

#include <nlohmann/json.hpp>
#include <optional>

#include "host/report/DescribeReport.h"
#include "host/report/KindNames.h"

namespace qvhost {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostLevels = 20;

Json Role(ColumnRole role) {
  if (role == ColumnRole::kNone) return nullptr;
  return role == ColumnRole::kFactor ? "factor" : "covariate";
}

Json Share(std::int64_t count, std::int64_t all) {
  if (all == 0) return nullptr;
  return static_cast<double>(count) / static_cast<double>(all);
}

Json Numbers(const ColumnSummary& summary) {
  if (!summary.numbers) return nullptr;
  const NumberSummary& numbers = *summary.numbers;
  return {{"minimum", numbers.minimum},
          {"maximum", numbers.maximum},
          {"mean", numbers.mean},
          {"std_deviation", numbers.deviation ? Json(*numbers.deviation) : Json()},
          {"quartiles", numbers.quartiles},
          {"quartiles_exact", numbers.areQuartilesExact},
          {"infinite", summary.infinite}};
}

Json Range(const ColumnDescription& column) {
  const bool isTime = column.info.kind == ColumnKind::kDateTime && column.info.type != "INTERVAL";
  if (!isTime || column.summary.distinct == 0) return nullptr;
  return {{"first", column.summary.first}, {"last", column.summary.last}};
}

Json Levels(const ColumnSummary& summary) {
  Json levels = Json::array();
  const std::int64_t present = summary.rows - summary.missing;
  for (const LevelCount& level : summary.levels) {
    if (levels.size() == kMostLevels) break;
    levels.push_back(
        {{"level", level.level}, {"count", level.count}, {"share", Share(level.count, present)}});
  }
  return levels;
}

Json Strings(const ColumnDescription& column) {
  Json strings = Json::array();
  for (const StringMissing& string : column.missingStrings) {
    strings.push_back({{"string", string.text}, {"count", string.count}});
  }
  return strings;
}

Json Column(const ColumnDescription& column) {
  const ColumnSummary& summary = column.summary;
  const bool isFactor = column.role == ColumnRole::kFactor;
  return {{"name", column.info.Written()},
          {"type", column.info.type},
          {"kind", KindName(column.info.kind)},
          {"role", Role(column.role)},
          {"missing", summary.missing},
          {"missing_share", Share(summary.missing, summary.rows)},
          {"missing_strings", Strings(column)},
          {"distinct", summary.distinct},
          {"distinct_exact", summary.isDistinctExact},
          {"numbers", Numbers(summary)},
          {"range", Range(column)},
          {"levels", isFactor ? Levels(summary) : Json::array()},
          {"levels_exact", summary.areLevelsExact},
          {"warnings", column.warnings}};
}

}  // namespace

std::string JsonReport(const TableDescription& table) {
  Json columns = Json::array();
  for (const ColumnDescription& column : table.columns) columns.push_back(Column(column));
  const Json report = {{"data", table.data},
                       {"where", table.where.empty() ? Json() : Json(table.where)},
                       {"rows", table.rows},
                       {"left_out", table.leftOut},
                       {"columns", std::move(columns)},
                       {"warnings", table.notes}};
  constexpr int kIndent = 2;
  return report.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qvhost
