#pragma once

#include <string>
#include <vector>

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

  /// What stands for a missing value besides nothing at all. Empty: MissingStrings::Default(), in
  /// text files only. Given: in text files, and in the text columns of any other table.
  std::vector<std::string> na = {};
};

}  // namespace qvhost
