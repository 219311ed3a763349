#pragma once

#include <optional>
#include <string>

#include "host/formula/Variable.h"

namespace qvhost {

/// The derivative of a variable's values by one of its columns, as an SQL expression of doubles
/// over the columns: "1" for the column itself. Of scale(x) and center(x) that of the argument.
/// Exact, by the rules of differentiation; where the variable has no derivative, as log(x) at 0,
/// the expression is infinite, NULL or an error.
///
/// None where there is no rule: for a variable that rounds, compares, chooses between values or
/// casts, and for a column that is no number.
[[nodiscard]] std::optional<std::string> DerivativeSql(const Variable& variable,
                                                       const std::string& column);

}  // namespace qvhost
