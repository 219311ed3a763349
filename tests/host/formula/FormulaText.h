#pragma once

#include <string>
#include <string_view>

#include "host/formula/Formula.h"

namespace qvhost {

/// The terms of a formula in one line, the intercept first: "1 a b a:b".
inline std::string TermsOf(std::string_view text) {
  const Formula formula = ParseFormula(text);
  std::string line = formula.intercept ? "1" : "0";
  for (const Term& term : formula.terms) line += " " + TermLabel(formula, term);
  return line;
}

/// The message of the error that a formula gives; "no error" when it gives none.
inline std::string ErrorOf(std::string_view text) {
  try {
    static_cast<void>(ParseFormula(text));
  } catch (const FormulaError& error) {
    return error.what();
  }
  return "no error";
}

/// The message that a formula must give: the sentence, the formula and a caret in this column.
inline std::string Expected(const std::string& sentence, const std::string& formula,
                            std::size_t column) {
  return sentence + "\n  " + formula + "\n  " + std::string(column, ' ') + "^";
}

}  // namespace qvhost
