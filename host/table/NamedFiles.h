#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// Names that a query may use besides those of files, in small letters, and for each what it stands
/// for: the text of a view or a macro, empty for a table.
using Definitions = std::multimap<std::string, std::string>;

/// What a database file defines. Throws QueryError.
[[nodiscard]] Definitions DefinitionsOf(Connection& connection);

/// The files that exist among those that a query names, before it reads any: names of tables that
/// are files or patterns, and what the functions that read files are given, lists and computed
/// names included; in subqueries, common table expressions, and the definitions that it uses. A
/// text anywhere else names no file.
///
/// Not found are files whose names depend on a macro's parameters or stand in a text that is a
/// query itself: these are known once they are opened (see OpenedFiles). No file is opened. Throws
/// QueryError when DuckDB fails.
[[nodiscard]] std::vector<std::string> NamedFiles(Connection& connection, const std::string& query,
                                                  const Definitions& definitions);

}  // namespace qvhost
