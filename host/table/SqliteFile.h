#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/table/Connection.h"
#include "host/table/InputFiles.h"
#include "host/table/MissingFunction.h"
#include "host/table/ReadingOptions.h"

namespace qvhost {

/// A SQLite database whose tables DuckDB reads row by row, as often as it likes: none is held in
/// memory. For the sources of this folder.
///
/// A column is what SQLite's rules of affinity make of its declared type: INTEGER, REAL and NUMERIC
/// are numbers, TEXT is text; one declared otherwise or not at all is what its first values are. A
/// text in a column of numbers that stands for a missing value is missing, any other an error.
///
/// The connection keeps what a running query needs, so that this object may go first. One thread at
/// a time, and none while a query runs.
class SqliteFile {
 public:
  /// Opens the file and learns its tables. `name` is the file's for people. Throws Error
  /// (kBadInput) when it cannot be read.
  SqliteFile(Connection& connection, MissingFunction& missing, const std::string& path,
             const std::string& name);
  ~SqliteFile();
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;

  /// The names of tables and views.
  [[nodiscard]] const std::vector<std::string>& Tables() const;

  /// Learns the columns of a table and makes it a view of the same name, with the columns among
  /// `types` as these say. Throws Error (kBadInput).
  void Show(const std::string& table, const std::vector<ColumnType>& types);

  /// After a query failed: true when a column that was taken for one of whole numbers is now one of
  /// numbers, so that the query may run again; false when no value is to blame. Throws Error
  /// (kBadInput) that names file, table, row, column and value.
  bool Mend();

  /// What belongs to the database: its file, and those beside it that SQLite keeps.
  static void AddTo(const std::string& path, InputFiles& inputs);

  struct State;

 private:
  void CreateView(const std::string& table) const;

  Connection& connection_;
  MissingFunction& missing_;
  std::shared_ptr<State> state_;
};

}  // namespace qvhost
