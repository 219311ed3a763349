#include "host/formula/Formula.h"

#include <cstddef>
#include <utility>

#include "host/formula/ExpressionReader.h"
#include "host/formula/FormulaParser.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {
namespace {

std::string PowerLabel(const Variable& variable, int power) {
  // The square of I(x + 1) is I((x + 1)^2).
  const bool grouped = variable.form == Variable::Form::kGrouped;
  const std::string base = grouped ? variable.label.substr(1) : variable.label;
  return "I(" + base + "^" + std::to_string(power) + ")";
}

}  // namespace

Formula ParseFormula(std::string_view text, ColumnLookup lookup) {
  return FormulaParser(text, std::move(lookup)).Run();
}

Variable ParseCondition(std::string_view text, ColumnLookup lookup) {
  const TokenStream tokens(text, std::move(lookup));
  const std::size_t end = tokens.Size() - 1;
  if (end == 0) {
    throw tokens.Error(tokens.At(0).place, "The condition is empty; write one such as x > 5.");
  }
  return ExpressionReader(tokens, {0, end}).ReadCondition();
}

std::string TermLabel(const Formula& formula, const Term& term) {
  std::string label;
  for (const TermPart& part : term.parts) {
    if (!label.empty()) label += ':';
    const Variable& variable = formula.variables.at(static_cast<std::size_t>(part.variable));
    label += part.power == 1 ? variable.label : PowerLabel(variable, part.power);
  }
  return label;
}

}  // namespace qvhost
