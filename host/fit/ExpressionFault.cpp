#include "host/fit/ExpressionFault.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/Tokenizer.h"
#include "host/table/ColumnInfo.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostExamples = 3;
constexpr std::size_t kLongestExample = 40;

/// What the column must be for the functions of it that a formula's variable calls: `> 0`; nothing
/// where they take every number or other values.
std::optional<std::string_view> DomainOf(const Variable& variable) {
  using Domain = std::pair<std::string_view, std::string_view>;
  constexpr std::array<Domain, 5> kDomains = {{{"ln", "> 0"},
                                               {"log2", "> 0"},
                                               {"log10", "> 0"},
                                               {"sqrt", ">= 0"},
                                               {"qvreg_log1p", "> -1"}}};
  const std::string& sql = variable.columns.front().found.sql;
  for (const auto& [function, domain] : kDomains) {
    if (variable.sql.find(fmt::format("{}({})", function, sql)) != std::string::npos) return domain;
  }
  return std::nullopt;
}

bool HasCall(std::string_view sql) {
  for (std::size_t at = 1; at < sql.size(); ++at) {
    if (sql[at] == '(' && sql[at - 1] != '(' && sql[at - 1] != ' ') return true;
  }
  return false;
}

/// Whether it does nothing but add or multiply whole numbers.
bool MayOverflow(const Variable& variable, const TableSource& source) {
  const auto isWhole = [&source](const ColumnUse& use) {
    const auto& columns = source.Columns();
    const auto info = std::ranges::find(columns, use.found.name, &ColumnInfo::name);
    return info != columns.end() && (info->type.ends_with("INT") || info->type == "INTEGER");
  };
  const auto has = [&variable](const char* sign) {
    return variable.sql.find(sign) != std::string::npos;
  };
  if (HasCall(variable.sql)) return false;
  const bool isSum = has(" * ") || has(" + ") || has(" - ");
  return isSum && std::ranges::all_of(variable.columns, isWhole);
}

}  // namespace

std::vector<FoundColumn> DistinctColumns(const Variable& variable) {
  std::vector<FoundColumn> columns;
  for (const ColumnUse& use : variable.columns) {
    const bool known = std::ranges::any_of(
        columns, [&](const FoundColumn& column) { return column.name == use.found.name; });
    if (!known) columns.push_back(use.found);
  }
  return columns;
}

std::string WhereText(const Variable& variable, const TableSource& source) {
  const FoundColumn& column = variable.columns.front().found;
  const std::string start = "; leave such rows out with --where";
  const std::string end = ", or change the expression.";
  // In double quotes a shell runs what stands in back-quotes.
  const bool isPlain = WrittenName(column.name) == column.name;
  if (const auto domain = DomainOf(variable); domain && isPlain) {
    return QuoteText(
        fmt::format("{}, such as --where \"{} {}\"{}", start, column.name, *domain, end));
  }
  if (MayOverflow(variable, source)) {
    return QuoteText(fmt::format(
        ". Whole numbers are computed with 64 bits here and may overflow; write cast({0} as "
        "double) for {0}, or {0}^3 for its third power.",
        WrittenName(column.name)));
  }
  if (column.kind != ValueKind::kNumber || !isPlain) return QuoteText(start + end);
  return fmt::format("{} || CAST({} AS VARCHAR) || {}",
                     QuoteText(fmt::format("{}, such as --where \"{} <> ", start, column.name)),
                     QuoteName(column.name), QuoteText("\"" + end));
}

std::string FaultText(const Variable& variable, const std::string& wayOut) {
  const std::vector<FoundColumn> columns = DistinctColumns(variable);
  std::string text = QuoteText("'" + variable.label + "' cannot be computed where ");
  for (std::size_t i = 0; i < columns.size() && i < kMostExamples; ++i) {
    const std::string_view quote = columns[i].kind == ValueKind::kNumber ? "" : "'";
    text += fmt::format(
        " || {} || left(CAST({} AS VARCHAR), {}) || {}",
        QuoteText(fmt::format("{}{} is {}", i == 0 ? "" : " and ", columns[i].name, quote)),
        QuoteName(columns[i].name), kLongestExample, QuoteText(quote));
  }
  return text + " || " + wayOut;
}

}  // namespace qvhost
