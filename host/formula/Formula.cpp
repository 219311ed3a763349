#include "host/formula/Formula.h"

#include <cstddef>
#include <utility>

#include "host/formula/ExpressionReader.h"
#include "host/formula/FormulaParser.h"
#include "host/formula/OperandReader.h"
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

Formula ParseFormula(std::string_view text, ColumnLookup lookup, std::optional<DotColumns> dot) {
  return FormulaParser(text, std::move(lookup), std::move(dot)).Run();
}

Variable ParseCondition(std::string_view text, ColumnLookup lookup) {
  const TokenStream tokens(text, std::move(lookup));
  const std::size_t end = tokens.Size() - 1;
  if (end == 0) {
    throw tokens.Error(tokens.At(0).place, "The condition is empty; write one such as x > 5.");
  }
  return ExpressionReader(tokens, {0, end}).ReadCondition();
}

Variable ParseExpression(std::string_view text, ColumnLookup lookup) {
  TokenStream tokens(text, std::move(lookup));
  return OperandReader(tokens).ReadValues();
}

Variable ParseExpression(std::string_view text, ColumnLookup lookup, const SqlDialect& dialect) {
  const TokenStream tokens(text, std::move(lookup));
  return ExpressionReader(tokens, {0, tokens.Size() - 1}, dialect).Read();
}

void RemoveUnusedVariables(Formula& formula) {
  std::vector<int> newIndex(formula.variables.size(), -1);
  for (const Term& term : formula.terms) {
    for (const TermPart& part : term.parts) newIndex[static_cast<std::size_t>(part.variable)] = 0;
  }
  std::vector<Variable> used;
  for (std::size_t i = 0; i < newIndex.size(); ++i) {
    if (newIndex[i] < 0) continue;
    newIndex[i] = static_cast<int>(used.size());
    used.push_back(std::move(formula.variables[i]));
  }
  formula.variables = std::move(used);
  for (Term& term : formula.terms) {
    for (TermPart& part : term.parts) {
      part.variable = newIndex[static_cast<std::size_t>(part.variable)];
    }
  }
}

std::string TermLabel(const Formula& formula, const Term& term) {
  return TermLabel(formula.variables, term);
}

std::string TermLabel(const std::vector<Variable>& variables, const Term& term) {
  std::string label;
  for (const TermPart& part : term.parts) {
    if (!label.empty()) label += ':';
    const Variable& variable = variables.at(static_cast<std::size_t>(part.variable));
    label += part.power == 1 ? variable.label : PowerLabel(variable, part.power);
  }
  return label;
}

}  // namespace qvhost
