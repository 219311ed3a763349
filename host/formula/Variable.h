#pragma once

#include <string>
#include <vector>

#include "host/formula/Place.h"

namespace qvhost {

/// A column that a variable reads, once for each time that the formula names it.
struct ColumnUse {
  std::string name;  ///< As written; a back-quoted name without its quotes.
  Place place;       ///< Where the name stands in the formula, back-quotes included.
};

/// One variable of a model: a column, or an expression of columns that DuckDB evaluates for each
/// row. A plain value that knows nothing of any table: whether it is a factor or a covariate is
/// settled when the formula is bound to one (unless asFactor is set).
struct Variable {
  /// For people: `price`, `log(price + 1)`, `C(year)`, `I(a * b)`, with blanks in their usual
  /// places; a back-quoted name alone loses its quotes, inside a call it keeps them.
  std::string label;

  /// The SQL expression to select. Column names are double-quoted identifiers; functions, types and
  /// keywords are as written. Safe to embed: a name, a call, or in parentheses.
  std::string sql;

  bool asFactor = false;           ///< Wrapped in C(...): a factor whatever its type.
  std::vector<ColumnUse> columns;  ///< The columns it reads, in the order written; never empty.
  Place place;                     ///< Where the formula first names the variable.
};

}  // namespace qvhost
