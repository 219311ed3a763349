#include "host/table/RowStream.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "host/table/ConnectionHandles.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

constexpr std::chrono::milliseconds kPause(1);

}  // namespace

RowStream::RowStream(const Connection& connection, const std::string& sql,
                     const std::function<bool()>& cancelled)
    : connection_(connection.Raw().connection.Get()), query_(connection, sql) {
  PendingHandle pending;
  if (duckdb_pending_prepared_streaming(query_.Statement(), pending.Out()) == DuckDBError) {
    throw QueryError(duckdb_pending_error(pending.Get()));
  }
  WaitForFirstRows(pending.Get(), cancelled);
  if (duckdb_execute_pending(pending.Get(), result_.Get()) == DuckDBError) {
    throw QueryError(duckdb_result_error(result_.Get()));
  }
}

void RowStream::WaitForFirstRows(duckdb_pending_result pending,
                                 const std::function<bool()>& cancelled) {
  duckdb_pending_state state = DUCKDB_PENDING_RESULT_NOT_READY;
  while (!duckdb_pending_execution_is_finished(state)) {
    if (cancelled && cancelled()) throw Cancelled();
    state = duckdb_pending_execute_task(pending);
    // DuckDB's own thread has all the work there is.
    if (state == DUCKDB_PENDING_NO_TASKS_AVAILABLE) std::this_thread::sleep_for(kPause);
  }
  if (state == DUCKDB_PENDING_ERROR) throw QueryError(duckdb_pending_error(pending));
}

duckdb_data_chunk RowStream::Next() {
  chunk_ = ChunkHandle();
  chunk_ = ChunkHandle(duckdb_fetch_chunk(*result_.Get()));
  if (chunk_) return chunk_.Get();
  const char* reason = duckdb_result_error(result_.Get());
  if (reason != nullptr && *reason != '\0') throw QueryError(reason);
  return nullptr;
}

double RowStream::Share() const {
  const double percentage = duckdb_query_progress(connection_).percentage;
  return percentage < 0 ? -1 : std::min(percentage / 100, 1.0);
}

}  // namespace qvhost
