#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/formula/FormulaError.h"
#include "host/formula/Terms.h"
#include "host/formula/Variable.h"

namespace qvhost {

class SqlDialect;

/// A model as written: `y ~ a + b*c`. A plain value, independent of any table.
struct Formula {
  std::string text;                 ///< As given; every Place counts in it.
  Variable response;                ///< Left of the `~`.
  std::vector<Variable> variables;  ///< Those that the terms use, in the order first written.
  std::vector<Term> terms;          ///< In the order written, without the intercept.
  bool intercept = true;
};

/// What `.` stands for in a formula. A plain value.
struct DotColumns {
  std::vector<FoundColumn> columns;  ///< Of the table, in its order; the dependent's are left out.
  std::vector<std::string> apart;    ///< Others of its columns, which are no terms: weights.
};

/// Reads a formula. From the tightest to the loosest, operators bind as in R:
///
///     x            a column: letters, digits, `_`, `.`; any other name in back-quotes
///     log(x)       a call of one of FormulaFunctions(): one variable
///     C(x)         a factor whatever the type of x; C(...) takes any expression
///     scale(x)     standardized over the records used, as center(x)
///     I(x^2)       a power of a covariate; I(...) of other arithmetic is one variable
///     poly(x, 3)   x + I(x^2) + I(x^3)
///     .            all of `dot` but the columns of the response
///     (a + b)^2    the terms crossed with each other up to degree 2; `**` is the same
///     a:b          a crossed with b
///     b %in% a     a:b with b nested in a
///     a*b          a + b + a:b
///     a/b          a, then b nested in a
///     a + b, a - b terms put in, terms taken out; 1 and 0 put the intercept in and out
///
/// Terms stand in the order written, each once (in its first place); crossing a term with itself
/// changes nothing. Names that mean one column are one variable, which is labelled as first
/// written; `lookup` tells (without one, names are the same if they are spelled so). Without `dot`,
/// a `.` is refused. Throws FormulaError.
[[nodiscard]] Formula ParseFormula(std::string_view text, ColumnLookup lookup = {},
                                   std::optional<DotColumns> dot = std::nullopt);

/// Reads a condition on a record, such as `x > 5 and g in ('a', 'b')`: an expression as in I(...)
/// that is true or false; `is null` asks whether a value is missing. `text` must outlive the call
/// alone. Throws FormulaError.
[[nodiscard]] Variable ParseCondition(std::string_view text, ColumnLookup lookup);

/// Reads the values of one variable, such as `log(x)`: a column, or an expression as in I(...).
/// Variable::expression of any variable gives its values again. `text` must outlive the call alone.
/// Throws FormulaError.
[[nodiscard]] Variable ParseExpression(std::string_view text, ColumnLookup lookup);
/// The same of the values of a variable as I(...) has them, with SQL in another dialect. Throws
/// FormulaError for what that cannot say, too.
[[nodiscard]] Variable ParseExpression(std::string_view text, ColumnLookup lookup,
                                       const SqlDialect& dialect);

/// Takes out the variables that no term uses, and numbers the others anew.
void RemoveUnusedVariables(Formula& formula);

/// A term for people, its parts in order: `a:b`, `I(x^2)`, `C(year):log(price)`. `term` must be of
/// `formula`.
[[nodiscard]] std::string TermLabel(const Formula& formula, const Term& term);
/// The same; `variables` are those that the term's parts count in.
[[nodiscard]] std::string TermLabel(const std::vector<Variable>& variables, const Term& term);

}  // namespace qvhost
