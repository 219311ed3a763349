#pragma once

#include <functional>
#include <string>

#include "host/table/ColumnInfo.h"
#include "host/table/Connection.h"
#include "host/table/DuckDb.h"

namespace qvhost {

/// What a connection owns, for the sources of this folder. The connection goes before the database.
struct Connection::Handles {
  DatabaseHandle database;
  ConnectionHandle connection;
};

/// What coding needs to know of a DuckDB type. A plain value; for the sources of this folder.
struct TypeInfo {
  duckdb_type id = DUCKDB_TYPE_INVALID;
  ColumnKind kind = ColumnKind::kOther;
  std::string name;  ///< `BIGINT`, `DECIMAL(18,3)`, …; a nested type by its outermost word.
  bool isFloating = false;      ///< Values are doubles by nature, of 64 or fewer bits.
  bool isExactAsDouble = true;  ///< DuckDB's cast to DOUBLE gives the nearest double.
};

[[nodiscard]] TypeInfo DescribeType(duckdb_logical_type type);

/// A query that DuckDB has understood but not run. Must not outlive its connection. For the sources
/// of this folder.
class PreparedQuery {
 public:
  /// Throws QueryError when DuckDB does not understand it.
  PreparedQuery(const Connection& connection, const std::string& sql);

  [[nodiscard]] bool IsSelect() const;
  [[nodiscard]] idx_t ColumnCount() const;
  [[nodiscard]] TypeHandle ColumnType(idx_t index) const;
  /// Name, kind and type of a column.
  [[nodiscard]] ColumnInfo Column(idx_t index) const;
  [[nodiscard]] duckdb_prepared_statement Statement() const { return statement_.Get(); }

 private:
  StatementHandle statement_;
};

/// The rows of a running query, a chunk of a few thousand at a time: no more of the result than a
/// few chunks is ever in memory. For the sources of this folder.
///
/// Must not outlive its connection, which can run no other query meanwhile.
class RowStream {
 public:
  /// Starts the query. `cancelled` is asked again and again until the first rows are there, as a
  /// sort, say, needs all of them; true ends it with Cancelled. Throws QueryError.
  RowStream(const Connection& connection, const std::string& sql,
            const std::function<bool()>& cancelled);

  /// The next chunk, null after the last one. Throws QueryError.
  [[nodiscard]] ChunkHandle Next();

  /// What DuckDB knows of how much of the query is done, 0 to 1; negative when it does not know.
  [[nodiscard]] double Share() const;

 private:
  void WaitForFirstRows(duckdb_pending_result pending, const std::function<bool()>& cancelled);

  duckdb_connection connection_;
  PreparedQuery query_;
  ResultHandle result_;
};

}  // namespace qvhost
