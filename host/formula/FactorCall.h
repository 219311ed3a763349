#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/formula/ExpressionCursor.h"
#include "host/formula/FormulaError.h"
#include "host/formula/Tokenizer.h"

namespace qvhost {

/// A call that makes a factor, as written. A plain value.
struct FactorCall {
  TokenRange value;                 ///< What is made a factor: a column or an expression.
  std::optional<std::string> base;  ///< The level that the others are compared with, if named.
  Place basePlace;
};

/// Reads the call whose name stands at an index: `C(x)`, `factor(x)`, `C(x, Treatment('a'))`,
/// `C(x, Treatment(reference='a'))`, `relevel(x, ref = 'a')`, one inside the other. Throws
/// FormulaError for any other argument.
[[nodiscard]] FactorCall ReadFactorCall(const TokenStream& tokens, std::size_t name);

}  // namespace qvhost
