#pragma once

#include <string>

namespace qvhost {

/// Where a table comes from, as the user said it. A plain value; an empty text is "not given".
struct DataSource {
  /// A file, a pattern of files (`part-*.csv`) or a database file (`.duckdb`, `.ddb`, `.db`).
  std::string data;

  /// A table or view of the database file, `name` or `schema.name`. Not needed when the file holds
  /// only one.
  std::string table;

  /// One SELECT whose result is the table. What `data` names is visible to it: the tables of a
  /// database file by their names, any other file or pattern as the view `data`.
  std::string sql;
};

}  // namespace qvhost
