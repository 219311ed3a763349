#include "host/fit/DotColumns.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/FormulaError.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/ValueKind.h"
#include "host/table/ColumnCoders.h"
#include "host/table/NumberLevels.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostShown = 20;

const ColumnInfo* ColumnOf(const TableSource& source, const Variable& variable) {
  const auto found =
      std::ranges::find(source.Columns(), variable.columns.front().found.name, &ColumnInfo::name);
  return found == source.Columns().end() ? nullptr : &*found;
}

/// Whether a variable that is not of `.` reads a column: log(x), C(day).
bool IsReadOtherwise(const Formula& formula, const std::string& column) {
  return std::ranges::any_of(formula.variables, [&](const Variable& variable) {
    return !variable.isOfDot && std::ranges::any_of(variable.columns, [&](const ColumnUse& use) {
      return use.found.name == column;
    });
  });
}

}  // namespace

std::string WithoutRoleText(const std::vector<ColumnInfo>& columns) {
  std::string list;
  for (std::size_t i = 0; i < std::min(columns.size(), kMostShown); ++i) {
    list += fmt::format("{}{} ({})", i == 0 ? "" : ", ", Printable(WrittenName(columns[i].name)),
                        columns[i].type);
  }
  if (columns.size() > kMostShown) list += ", …";
  return fmt::format(
      "'.' leaves out {}, as dates, times, lists and structures are neither numbers nor "
      "categories; write C({}) to take its values as the levels of a factor.",
      list, Printable(WrittenName(columns.front().name)));
}

DotColumns DotColumnsOf(const TableSource& source, const BindingOptions& options) {
  DotColumns dot;
  for (const std::string& weight :
       {options.freqWeight, options.regressionWeight, options.validation.column}) {
    if (weight.empty()) continue;
    for (const ColumnInfo* column : source.Matches(weight)) dot.apart.push_back(column->name);
  }
  for (const ColumnInfo& column : source.Columns()) {
    if (std::ranges::find(dot.apart, column.name) != dot.apart.end()) continue;
    dot.columns.push_back(
        {column.name, QuoteName(column.name), ValueKindOf(column.kind), {}, column.written});
  }
  return dot;
}

std::vector<std::string> RemoveColumnsWithoutRole(Formula& formula, const TableSource& source) {
  std::vector<bool> isOut;
  std::vector<ColumnInfo> noted;
  Place place;
  for (const Variable& variable : formula.variables) {
    const ColumnInfo* const column = variable.isOfDot ? ColumnOf(source, variable) : nullptr;
    const bool hasRole = column == nullptr || RoleOf(column->kind) != ColumnRole::kNone;
    isOut.push_back(!hasRole);
    if (hasRole) continue;
    place = variable.place;
    if (!IsReadOtherwise(formula, column->name)) noted.push_back(*column);
  }
  std::erase_if(formula.terms, [&](const Term& term) {
    return std::ranges::any_of(term.parts, [&](const TermPart& part) {
      return isOut[static_cast<std::size_t>(part.variable)];
    });
  });
  RemoveUnusedVariables(formula);
  if (noted.empty()) return {};
  const std::string sentence = WithoutRoleText(noted);
  if (!formula.terms.empty() || formula.intercept) return {sentence};
  throw FormulaError::At(formula.text, place, sentence);
}

void RefuseLevelsOfDot(const Formula& formula, const TableSource& source,
                       const TooManyLevels& error) {
  for (const Variable& variable : formula.variables) {
    if (!variable.isOfDot || variable.label != error.Label()) continue;
    const std::string& column = variable.columns.front().name;
    const std::string name = WrittenName(column);
    const std::string disguise =
        NumberHint(source, {.label = column, .sql = QuoteName(column), .written = name});
    throw FormulaError::At(
        formula.text, variable.place,
        fmt::format(
            "'.' stands for {0}, too, a text with more than {1} different values{2} Take it "
            "out with '. - {0}', or write '. + {0}' if it is meant as a factor.",
            name, kMostDotLevels, disguise.empty() ? ", as an identifier has." : ". " + disguise));
  }
}

}  // namespace qvhost
