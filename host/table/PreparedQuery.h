#pragma once

#include <string>

#include "host/table/ColumnInfo.h"
#include "host/table/Connection.h"
#include "host/table/DuckDb.h"

namespace qvhost {

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

}  // namespace qvhost
