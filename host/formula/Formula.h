#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/formula/FormulaError.h"
#include "host/formula/Terms.h"
#include "host/formula/Variable.h"

namespace qvhost {

/// A model as written: `y ~ a + b*c`. A plain value, independent of any table.
struct Formula {
  std::string text;                 ///< As given; every Place counts in it.
  Variable response;                ///< Left of the `~`.
  std::vector<Variable> variables;  ///< Those that the terms use, in the order first written.
  std::vector<Term> terms;          ///< In the order written, without the intercept.
  bool intercept = true;
};

/// Reads a formula. From the tightest to the loosest, operators bind as in R:
///
///     x            a column: letters, digits, `_`, `.`; any other name in back-quotes
///     log(x)       a call of one of FormulaFunctions(): one variable
///     C(x)         a factor whatever the type of x; C(...) takes any expression
///     I(x^2)       a power of a covariate; I(...) of other arithmetic is one variable
///     (a + b)^2    the terms crossed with each other up to degree 2; `**` is the same
///     a:b          a crossed with b
///     b %in% a     a:b with b nested in a
///     a*b          a + b + a:b
///     a/b          a, then b nested in a
///     a + b, a - b terms put in, terms taken out; 1 and 0 put the intercept in and out
///
/// Terms stand in the order written, each once (in its first place); crossing a term with itself
/// changes nothing. Names that mean one column are one variable, which is labelled as first
/// written; `lookup` tells (without one, names are the same if they are spelled so). Throws
/// FormulaError.
[[nodiscard]] Formula ParseFormula(std::string_view text, ColumnLookup lookup = {});

/// Reads a condition on a record, such as `x > 5 and g in ('a', 'b')`: an expression as in I(...)
/// that is true or false; `is null` asks whether a value is missing. `text` must outlive the call
/// alone. Throws FormulaError.
[[nodiscard]] Variable ParseCondition(std::string_view text, ColumnLookup lookup);

/// A term for people, its parts in order: `a:b`, `I(x^2)`, `C(year):log(price)`. `term` must be of
/// `formula`.
[[nodiscard]] std::string TermLabel(const Formula& formula, const Term& term);

}  // namespace qvhost
