#include "host/fit/ValueSql.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Text.h"
#include "qvreg/common/Constants.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostExamples = 3;
constexpr std::size_t kLongestExample = 40;

bool IsFloating(const std::string& type) { return type == "DOUBLE" || type == "FLOAT"; }

/// The columns that the variable reads, each once.
std::vector<FoundColumn> ColumnsOf(const Variable& variable) {
  std::vector<FoundColumn> columns;
  for (const ColumnUse& use : variable.columns) {
    const bool known = std::ranges::any_of(
        columns, [&](const FoundColumn& column) { return column.name == use.found.name; });
    if (!known) columns.push_back(use.found);
  }
  return columns;
}

/// That nothing is missing, as the coder takes a missing value of the column itself.
std::string Presence(const Variable& variable, const TableSource& source) {
  std::vector<std::string> conditions;
  for (const FoundColumn& column : ColumnsOf(variable)) {
    const std::string name = QuoteName(column.name);
    conditions.push_back(name + " IS NOT NULL");
    for (const ColumnInfo* info : source.Matches(column.name)) {
      if (!IsFloating(info->type)) continue;
      conditions.push_back(fmt::format("NOT isnan({0}) AND {0} <> {1}", name, QvMV::gMissingValue));
    }
  }
  for (const std::string& gap : variable.gaps) {
    // A gap that cannot be computed is none: the error is the whole expression's.
    conditions.push_back(fmt::format("TRY(({}) IS NOT NULL) IS DISTINCT FROM FALSE", gap));
  }
  return fmt::format("{}", fmt::join(conditions, " AND "));
}

/// An SQL expression of the sentence that says where the variable has no value.
std::string FaultText(const Variable& variable) {
  const std::vector<FoundColumn> columns = ColumnsOf(variable);
  std::string text = QuoteText("'" + variable.label + "' cannot be computed where ");
  for (std::size_t i = 0; i < columns.size() && i < kMostExamples; ++i) {
    const std::string_view quote = columns[i].kind == ValueKind::kNumber ? "" : "'";
    text += fmt::format(
        " || {} || left(CAST({} AS VARCHAR), {}) || {}",
        QuoteText(fmt::format("{}{} is {}", i == 0 ? "" : " and ", columns[i].name, quote)),
        QuoteName(columns[i].name), kLongestExample, QuoteText(quote));
  }
  return text + " || " + QuoteText("; leave such rows out with --sql, or change the expression.");
}

}  // namespace

std::string ValueSql(const Variable& variable, const ColumnInfo& info, const TableSource& source) {
  if (variable.form == Variable::Form::kColumn) return variable.sql;
  // 0/0 is no number, and DuckDB has NaN equal to itself.
  const std::string value =
      IsFloating(info.type) ? fmt::format("nullif({}, CAST('nan' AS {}))", variable.sql, info.type)
                            : variable.sql;
  return fmt::format("CASE WHEN {} THEN coalesce(TRY({}), error({})) END",
                     Presence(variable, source), value, FaultText(variable));
}

std::string ConditionSql(const Variable& condition) {
  return fmt::format(
      "CASE WHEN TRY(({0}) IS NULL) IS NULL THEN CAST(error({1}) AS BOOLEAN) ELSE {0} END",
      condition.sql, FaultText(condition));
}

}  // namespace qvhost
