#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "host/formula/ExpressionCursor.h"
#include "host/formula/FormulaError.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

/// A function that makes a term, and not a value inside an expression.
enum class TermFunction {
  kFactor,      ///< C(), factor(), as.factor(), relevel()
  kCentre,      ///< center()
  kScale,       ///< scale()
  kPolynomial,  ///< poly()
};

/// The function of this name; all but C() in any case of letters.
[[nodiscard]] std::optional<TermFunction> FindTermFunction(std::string_view name);

/// Why such a function, called by this name, cannot stand inside an expression, and what to do: a
/// sentence.
[[nodiscard]] std::string InsideText(std::string_view name);

/// A call that makes a factor, as written. A plain value.
struct FactorCall {
  TokenRange value;                 ///< What is made a factor: a column or an expression.
  std::optional<std::string> base;  ///< The level that the others are compared with, if named.
};

/// Reads the call whose name stands at an index: `C(x)`, `factor(x)`, `C(x, Treatment('a'))`,
/// `C(x, Treatment(reference='a'))`, `relevel(x, ref = 'a')`, one inside the other. Throws
/// FormulaError for any other argument.
[[nodiscard]] FactorCall ReadFactorCall(const TokenStream& tokens, std::size_t name);

}  // namespace qvhost
