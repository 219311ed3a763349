#include "host/fit/GridExpression.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/Booleans.h"
#include "host/table/Connection.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

/// Combinations that a query computes.
constexpr std::size_t kRowsAtOnce = 1000;

/// Which value of each column a combination has.
std::vector<std::size_t> PlacesOf(std::size_t combination, const std::vector<GridColumn>& columns) {
  std::vector<std::size_t> places(columns.size());
  for (std::size_t i = columns.size(); i-- > 0;) {
    places[i] = combination % columns[i].sql.size();
    combination /= columns[i].sql.size();
  }
  return places;
}

std::string QueryOf(const Variable& expression, const std::vector<GridColumn>& columns,
                    std::size_t begin, std::size_t end) {
  constexpr const char* kNumber = "\"number of row\"";
  std::string rows;
  for (std::size_t row = begin; row < end; ++row) {
    const std::vector<std::size_t> places = PlacesOf(row, columns);
    rows += fmt::format("{}({}", row == begin ? "" : ", ", row);
    for (std::size_t i = 0; i < columns.size(); ++i) rows += ", " + columns[i].sql[places[i]];
    rows += ")";
  }
  std::string names = kNumber;
  for (const GridColumn& column : columns) names += ", " + QuoteName(column.name);
  return fmt::format("SELECT CAST(TRY({}) AS VARCHAR) FROM (VALUES {}) AS grid({}) ORDER BY {}",
                     expression.sql, rows, names, kNumber);
}

std::optional<double> NumberOf(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  double number = 0.0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
  return number;
}

[[noreturn]] void Refuse(const Variable& expression, const std::vector<GridColumn>& columns,
                         std::size_t combination) {
  const std::vector<std::size_t> places = PlacesOf(combination, columns);
  std::string where;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    where += fmt::format("{}{} is {}", i == 0 ? "" : " and ", columns[i].name,
                         columns[i].texts[places[i]]);
  }
  throw Error(ExitCode::kBadInput,
              fmt::format("'{}' has no value where {}, which is where --means and --contrast take "
                          "means; give a contrast another value, or take it out of the model.",
                          expression.label, where));
}

}  // namespace

std::vector<double> ComputeOnGrid(const Variable& expression,
                                  const std::vector<GridColumn>& columns,
                                  const TableSource& source) {
  std::size_t count = 1;
  for (const GridColumn& column : columns) count *= column.sql.size();
  std::vector<double> values;
  values.reserve(count);
  while (values.size() < count) {
    const std::size_t begin = values.size();
    const std::size_t end = std::min(begin + kRowsAtOnce, count);
    std::vector<std::vector<std::optional<std::string>>> rows;
    try {
      rows = source.Database().Rows(QueryOf(expression, columns, begin, end));
    } catch (const QueryError&) {
      Refuse(expression, columns, begin);
    }
    for (const auto& row : rows) {
      const std::optional<double> value = NumberOf(row.front());
      if (!value) Refuse(expression, columns, values.size());
      values.push_back(*value);
    }
  }
  return values;
}

std::string NumberSql(double number) { return fmt::format("CAST('{}' AS DOUBLE)", number); }

std::string LevelSql(const std::string& column, const std::string& level,
                     const TableSource& source) {
  const auto info = std::ranges::find(source.Columns(), column, &ColumnInfo::name);
  const bool isKnown = info != source.Columns().end();
  if (isKnown && info->kind == ColumnKind::kBoolean) {
    return TruthOf(level) == true ? "true" : "false";
  }
  const bool isText = !isKnown || info->kind == ColumnKind::kText;
  return fmt::format("CAST({} AS {})", QuoteText(level), isText ? "VARCHAR" : info->type);
}

}  // namespace qvhost
