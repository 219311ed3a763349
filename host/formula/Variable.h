#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/formula/FormulaError.h"
#include "host/formula/ValueKind.h"

namespace qvhost {

/// A column of a table, as a formula needs it.
struct FoundColumn {
  std::string name;  ///< As the table spells it.
  std::string sql;   ///< Its value inside an expression; mostly its quoted name.
  ValueKind kind = ValueKind::kUnknown;
  /// Finds what to say where it is text and a number must stand, such as which option makes numbers
  /// of its values; none, or an empty answer, where there is nothing to say of it.
  std::function<std::string()> numberHint = {};
  std::string written = {};  ///< As the data spell it; empty for the name.
};

/// A column that a variable reads, once for each time that the formula names it.
struct ColumnUse {
  std::string name;  ///< As written; a back-quoted name without its quotes.
  Place place;       ///< Where the name stands in the formula, back-quotes included.
  FoundColumn found;
};

/// Finds the column that a name (as written, at its place) means. Throws FormulaError when there is
/// none or more than one.
using ColumnLookup = std::function<FoundColumn(const std::string& name, Place place)>;

/// What is done to a covariate's values once those of all records are known.
enum class Standardizing {
  kNone,
  kCentre,  ///< The mean is subtracted.
  kScale    ///< The mean is subtracted, and the rest divided by the standard deviation.
};

/// One variable of a model: a column, or an expression of columns that DuckDB evaluates for each
/// row. A plain value: whether it is a factor or a covariate is settled when the formula is bound
/// to a table (unless asFactor is set).
struct Variable {
  enum class Form {
    kColumn,  ///< A column and nothing else.
    kCall,    ///< One call: its label needs no I().
    kGrouped  ///< Any other expression: labelled I(...), or C(...) if a factor.
  };

  /// For people: `price`, `log(price + 1)`, `C(year)`, `I(a * b)`, with blanks in their usual
  /// places and names spelled as written; a back-quoted name alone loses its quotes, inside a call
  /// it keeps them.
  std::string label;

  /// The SQL expression of the value where nothing is missing. Made of what the formula was
  /// understood to mean, never of its text; columns are spelled as in the table, so that one
  /// variable has one text. Safe to embed: a name, a call, or in parentheses.
  std::string sql;

  bool asFactor = false;  ///< Wrapped in C(...): a factor whatever its type.
  /// The level that the others are compared with, as in C(x, Treatment('a')); none: the usual one.
  std::optional<std::string> base;
  Form form = Form::kColumn;
  /// As of scale(x) and center(x), of which `sql` is the argument.
  Standardizing standardizing = Standardizing::kNone;
  bool isOfDot = false;  ///< One of the columns that `.` stands for, and named nowhere else.
  std::vector<ColumnUse> columns;  ///< The columns it reads, in the order written; never empty.
  /// SQL of parts that may be NULL though no column is, as nullif(x, -99): the value is missing
  /// where one of them is.
  std::vector<std::string> gaps;
  /// Sentences on how it was understood, where elsewhere it means something else.
  std::vector<std::string> notes;
  Place place;  ///< Where the formula first names the variable.
  /// Its values as ParseExpression reads them: without C(), scale() and center(), columns spelled
  /// as the data spell them.
  std::string expression = {};
};

}  // namespace qvhost
