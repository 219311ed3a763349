#pragma once

#include <string>
#include <vector>

#include "host/table/ColumnNames.h"
#include "host/table/Connection.h"

namespace qvhost {

/// The list of names in a statement that makes a view: ` ("a", "b")`.
[[nodiscard]] std::string ColumnList(const std::vector<std::string>& names);

/// Makes the result of a query a view, so that DuckDB itself settles where the query ends. The
/// columns that are called otherwise than in the query. `view` is SQL. Throws Error (kBadInput),
/// which names --sql, for anything but one SELECT, and of a table that there is not says
/// `tableHint`, unless it is empty.
std::vector<RenamedColumn> ShowQuery(Connection& connection, const std::string& sql,
                                     const std::string& view, const std::string& tableHint);

}  // namespace qvhost
