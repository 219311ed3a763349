#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/table/Connection.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"

namespace qvhost {

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

  /// The next chunk, null after the last one; valid until the next call. Throws QueryError.
  [[nodiscard]] duckdb_data_chunk Next();

  /// What DuckDB knows of how much of the query is done, 0 to 1; negative when it does not know.
  [[nodiscard]] double Share() const;

 private:
  void WaitForFirstRows(duckdb_pending_result pending, const std::function<bool()>& cancelled);

  duckdb_connection connection_;
  PreparedQuery query_;
  ResultHandle result_;
  ChunkHandle chunk_;
};

}  // namespace qvhost
