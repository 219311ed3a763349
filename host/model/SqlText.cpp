#include "host/model/SqlText.h"

#include <cstddef>
#include <limits>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/PortableDialect.h"

namespace qvhost {
namespace {

std::string SumOf(const std::vector<std::string>& terms, std::size_t first, std::size_t end) {
  if (end - first == 1) return terms[first];
  const std::size_t middle = first + (end - first) / 2;
  return "(" + SumOf(terms, first, middle) + " + " + SumOf(terms, middle, end) + ")";
}

}  // namespace

std::string SumSql(const std::vector<std::string>& terms) {
  return terms.empty() ? "0E0" : SumOf(terms, 0, terms.size());
}

std::string ChoiceSql(const std::string& value,
                      const std::vector<std::pair<std::string, std::string>>& when) {
  std::string sql = "CASE " + value;
  for (const auto& [is, then] : when) sql += " WHEN " + is + " THEN " + then;
  return sql + " END";
}

std::string IsNumberSql(const std::string& value) {
  // The lowest double stands for a missing number.
  constexpr double kHighest = std::numeric_limits<double>::max();
  constexpr double kLowest = -0x1.ffffffffffffep+1023;
  return fmt::format("{} BETWEEN {} AND {}", value, DoubleLiteral(kLowest),
                     DoubleLiteral(kHighest));
}

std::string OnlyWhere(const std::string& condition, const std::string& value) {
  return "CASE WHEN " + condition + " THEN " + value + " END";
}

SteppedQuery::SteppedQuery(const std::string& table) : last_(table) {
  while (Lower(table).find(prefix_) != std::string::npos) prefix_ += '_';
}

void SteppedQuery::Add(std::string_view name, std::vector<SqlColumn> columns, StepKind kind) {
  const std::string step = prefix_ + std::string(name);
  areDistinct_ = areDistinct_ || kind == StepKind::kDistinct;
  if (kind == StepKind::kFinished && areDistinct_) kind = StepKind::kDistinct;
  if (kind == StepKind::kFinished) columns.push_back({"n", "count(*) OVER ()"});
  text_ += fmt::format("{}{} AS (\nSELECT{}{}\nFROM {}\n)", text_.empty() ? "WITH " : ",\n", step,
                       kind == StepKind::kDistinct ? " DISTINCT" : "", ColumnsSql(columns), last_);
  last_ = step;
}

std::string ColumnsSql(const std::vector<SqlColumn>& columns) {
  std::string sql;
  for (const SqlColumn& column : columns) {
    sql += sql.empty() ? "\n  " : ",\n  ";
    sql += column.sql == column.name ? column.sql : column.sql + " AS " + column.name;
  }
  return sql;
}

std::vector<SqlColumn> SameColumns(const std::vector<SqlColumn>& columns) {
  std::vector<SqlColumn> same;
  for (const SqlColumn& column : columns) same.push_back({column.name, column.name});
  return same;
}

}  // namespace qvhost
