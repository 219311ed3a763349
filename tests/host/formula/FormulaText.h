#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "host/formula/Formula.h"

namespace qvhost {

/// The terms of a formula in one line, the intercept first: "1 a b a:b".
inline std::string TermsOf(std::string_view text) {
  const Formula formula = ParseFormula(text);
  std::string line = formula.intercept ? "1" : "0";
  for (const Term& term : formula.terms) line += " " + TermLabel(formula, term);
  return line;
}

/// The only variable on the right of "y ~ ...".
inline Variable Only(std::string_view right) {
  const Formula formula = ParseFormula("y ~ " + std::string(right));
  EXPECT_EQ(formula.variables.size(), 1U) << right;
  return formula.variables.at(0);
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

/// The same of a condition.
inline std::string ConditionErrorOf(std::string_view text) {
  try {
    static_cast<void>(ParseCondition(text, {}));
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

/// Expects the error of a formula, with the caret in this column.
inline void ExpectError(const std::string& formula, std::size_t column,
                        const std::string& sentence) {
  EXPECT_EQ(ErrorOf(formula), Expected(sentence, formula, column));
}

/// The same, with the caret under the `^` of the marks, which stand under the formula.
inline void ExpectError(const std::string& formula, std::string_view marks,
                        const std::string& sentence) {
  ExpectError(formula, marks.find('^'), sentence);
}

}  // namespace qvhost
