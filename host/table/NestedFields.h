#pragma once

#include <string>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// A value inside a column of objects. A plain value.
struct NestedField {
  std::string name;  ///< `car.engine.power`.
  std::string sql;   ///< The same over the columns.
};

/// The fields, at any depth, of a relation's columns of objects (structs) that are values: no
/// objects, lists or maps. A field whose name is that of a column is left out. Throws QueryError.
[[nodiscard]] std::vector<NestedField> NestedFields(const Connection& connection,
                                                    const std::string& relation);

}  // namespace qvhost
