#pragma once

#include <string>

#include "host/table/Connection.h"

namespace qvhost {

/// A table or view of a database file. A plain value.
struct DatabaseTable {
  std::string name;  ///< For people: `name`, or `schema.name` outside the main schema.
  std::string sql;   ///< The same, quoted.
};

/// The table of the open database file `data` that `wanted` names, upper and lower case being the
/// same; with an empty `wanted` the only one. Throws Error (kBadInput) that lists what there is, or
/// suggests the nearest name, when there is no such table or the choice is open.
[[nodiscard]] DatabaseTable FindTable(Connection& connection, const std::string& data,
                                      const std::string& wanted);

}  // namespace qvhost
