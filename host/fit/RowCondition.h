#pragma once

#include <string>
#include <vector>

#include "host/table/TableSource.h"

namespace qvhost {

/// Which rows of a table are used. A plain value.
struct RowCondition {
  std::string sql;                   ///< An expression over the table's columns.
  std::vector<std::string> columns;  ///< Those that it reads.
};

/// Reads the condition of --where: an expression as a formula has it, and `is null`. As in SQL, a
/// row is used where it is true, and not where it is neither true nor false because a value is
/// missing; a value that is missing for a model (NaN) is so here. Throws Error (kBadInput), with a
/// caret where the text is to blame.
[[nodiscard]] RowCondition ReadCondition(const std::string& text, const TableSource& source);

}  // namespace qvhost
