#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/TemporaryFolder.h"
#include "host/table/ColumnInfo.h"
#include "host/table/Connection.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How many rows of so many columns DuckDB keeps in memory before it writes them: about so many
/// values, but not so few rows that a group is of no use, and not more than its default. For the
/// sources of this folder.
[[nodiscard]] std::size_t RowsInGroup(std::size_t columnCount);

/// Columns of a table as one query gave them, in the order of its rows: a second query may give
/// another order. They lie in a DuckDB database of their own, in a TemporaryFolder, so that memory
/// does not grow with their number. For the sources of this folder.
///
/// Start, Append for each chunk, Finish; then Read as often as wanted. Owns folder and database.
/// One thread at a time. Every operation that can fail throws Error (kRunFailed), which names the
/// folder.
class KeptRows {
 public:
  /// Makes an empty table of the columns, whose types the source tells. `folder`: see
  /// FolderForSpool. `columns` must not be empty. Throws QueryError when the source does not
  /// understand one of them.
  KeptRows(const TableSource& source, const std::vector<KeptColumn>& columns,
           const std::string& folder);
  ~KeptRows() = default;
  KeptRows(const KeptRows&) = delete;
  KeptRows& operator=(const KeptRows&) = delete;

  /// Adds the columns of a chunk from position `first` on; they are these columns.
  void Append(duckdb_data_chunk chunk, std::size_t first);
  /// After the last chunk.
  void Finish();

  /// What the columns are called, in their order.
  [[nodiscard]] const std::vector<std::string>& Names() const { return names_; }
  /// After Finish: their types.
  [[nodiscard]] std::vector<TypeHandle> Types() const;
  /// After Finish: all rows, from the first one. Only one at a time.
  [[nodiscard]] RowStream Read() const;

 private:
  using AppenderHandle = DuckDbHandle<duckdb_appender, &duckdb_appender_destroy>;

  void Open(const std::string& columns);
  void Check(duckdb_state state) const;
  [[noreturn]] void FailToWrite(const std::string& reason) const;

  std::string parent_;
  std::vector<std::string> names_;
  std::size_t rowsInGroup_;
  std::optional<TemporaryFolder> folder_;  ///< Outlives the database.
  Connection connection_;
  AppenderHandle appender_;
  std::size_t rowsWaiting_ = 0;  ///< In the appender's memory.
};

}  // namespace qvhost
