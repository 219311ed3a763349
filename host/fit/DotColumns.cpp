#include "host/fit/DotColumns.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/formula/FormulaError.h"
#include "host/formula/Tokenizer.h"
#include "host/formula/ValueKind.h"
#include "host/table/ColumnCoders.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostShown = 20;

bool HasRole(ColumnKind kind) {
  return kind != ColumnKind::kDateTime && kind != ColumnKind::kOther;
}

const ColumnInfo* ColumnOf(const TableSource& source, const Variable& variable) {
  const auto found =
      std::ranges::find(source.Columns(), variable.columns.front().found.name, &ColumnInfo::name);
  return found == source.Columns().end() ? nullptr : &*found;
}

}  // namespace

DotColumns DotColumnsOf(const TableSource& source, const BindingOptions& options) {
  DotColumns dot;
  for (const std::string& weight : {options.freqWeight, options.regressionWeight}) {
    if (weight.empty()) continue;
    for (const ColumnInfo* column : source.Matches(weight)) dot.apart.push_back(column->name);
  }
  for (const ColumnInfo& column : source.Columns()) {
    if (std::ranges::find(dot.apart, column.name) != dot.apart.end()) continue;
    dot.columns.push_back({column.name, QuoteName(column.name), ValueKindOf(column.kind)});
  }
  return dot;
}

std::vector<std::string> RemoveColumnsWithoutRole(Formula& formula, const TableSource& source) {
  std::vector<bool> isOut;
  std::vector<std::string> names;
  std::string first;
  Place place;
  for (const Variable& variable : formula.variables) {
    const ColumnInfo* const column = variable.isOfDot ? ColumnOf(source, variable) : nullptr;
    isOut.push_back(column != nullptr && !HasRole(column->kind));
    if (!isOut.back()) continue;
    if (names.empty()) {
      first = WrittenName(column->name);
      place = variable.place;
    }
    names.push_back(fmt::format("{} ({})", WrittenName(column->name), column->type));
  }
  if (names.empty()) return {};
  std::erase_if(formula.terms, [&](const Term& term) {
    return std::ranges::any_of(term.parts, [&](const TermPart& part) {
      return isOut[static_cast<std::size_t>(part.variable)];
    });
  });
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostShown); ++i) {
    list += (i == 0 ? "" : ", ") + names[i];
  }
  if (names.size() > kMostShown) list += ", …";
  const std::string sentence = fmt::format(
      "'.' leaves out {}, as dates, times, lists and structures are neither numbers nor "
      "categories; write C({}) to take its values as the levels of a factor.",
      list, first);
  if (formula.terms.empty() && !formula.intercept) {
    throw FormulaError::At(formula.text, place, sentence);
  }
  RemoveUnusedVariables(formula);
  return {sentence};
}

void RefuseLevelsOfDot(const Formula& formula, const TooManyLevels& error) {
  for (const Variable& variable : formula.variables) {
    if (!variable.isOfDot || variable.label != error.Label()) continue;
    const std::string name = WrittenName(variable.columns.front().name);
    throw FormulaError::At(
        formula.text, variable.place,
        fmt::format("'.' stands for {0}, too, a text with more than {1} different values, as an "
                    "identifier has. Take it out with '. - {0}', or write '. + {0}' if it is "
                    "meant as a factor.",
                    name, kMostDotLevels));
  }
}

}  // namespace qvhost
