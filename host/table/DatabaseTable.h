#pragma once

#include <string>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// A table or view of a database file. A plain value.
struct DatabaseTable {
  std::string name;  ///< For people: `name`, or `schema.name` outside the main schema.
  std::string sql;   ///< The same, quoted.
};

/// Tables and views of the connection's database, those of the main schema first, in the order of
/// their names: those that `wanted` may mean, or all when it is empty. Throws QueryError.
[[nodiscard]] std::vector<DatabaseTable> DatabaseTables(Connection& connection,
                                                        const std::string& wanted);

/// The one of the tables `found` that is `wanted`, or the only one when nothing is. Throws Error
/// (kBadInput) that lists `all` the names that the database `file` has, or suggests the nearest.
[[nodiscard]] DatabaseTable OneTable(const std::string& file, const std::string& wanted,
                                     const std::vector<DatabaseTable>& found,
                                     const std::vector<std::string>& all);

}  // namespace qvhost
