#include "host/table/PreparedQuery.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "host/table/QueryError.h"

namespace qvhost {
namespace {

struct NamedType {
  duckdb_type id;
  ColumnKind kind;
  const char* name;
};

constexpr std::array<NamedType, 36> kTypes = {{
    {DUCKDB_TYPE_TINYINT, ColumnKind::kNumber, "TINYINT"},
    {DUCKDB_TYPE_SMALLINT, ColumnKind::kNumber, "SMALLINT"},
    {DUCKDB_TYPE_INTEGER, ColumnKind::kNumber, "INTEGER"},
    {DUCKDB_TYPE_BIGINT, ColumnKind::kNumber, "BIGINT"},
    {DUCKDB_TYPE_HUGEINT, ColumnKind::kNumber, "HUGEINT"},
    {DUCKDB_TYPE_UTINYINT, ColumnKind::kNumber, "UTINYINT"},
    {DUCKDB_TYPE_USMALLINT, ColumnKind::kNumber, "USMALLINT"},
    {DUCKDB_TYPE_UINTEGER, ColumnKind::kNumber, "UINTEGER"},
    {DUCKDB_TYPE_UBIGINT, ColumnKind::kNumber, "UBIGINT"},
    {DUCKDB_TYPE_UHUGEINT, ColumnKind::kNumber, "UHUGEINT"},
    {DUCKDB_TYPE_BIGNUM, ColumnKind::kNumber, "BIGNUM"},
    {DUCKDB_TYPE_FLOAT, ColumnKind::kNumber, "FLOAT"},
    {DUCKDB_TYPE_DOUBLE, ColumnKind::kNumber, "DOUBLE"},
    {DUCKDB_TYPE_DECIMAL, ColumnKind::kNumber, "DECIMAL"},
    // NULL and nothing else: a number that is always missing.
    {DUCKDB_TYPE_SQLNULL, ColumnKind::kNumber, "NULL"},
    {DUCKDB_TYPE_VARCHAR, ColumnKind::kText, "VARCHAR"},
    {DUCKDB_TYPE_UUID, ColumnKind::kText, "UUID"},
    {DUCKDB_TYPE_BOOLEAN, ColumnKind::kBoolean, "BOOLEAN"},
    {DUCKDB_TYPE_ENUM, ColumnKind::kEnumeration, "ENUM"},
    {DUCKDB_TYPE_DATE, ColumnKind::kDateTime, "DATE"},
    {DUCKDB_TYPE_TIME, ColumnKind::kDateTime, "TIME"},
    {DUCKDB_TYPE_TIME_NS, ColumnKind::kDateTime, "TIME_NS"},
    {DUCKDB_TYPE_TIME_TZ, ColumnKind::kDateTime, "TIME WITH TIME ZONE"},
    {DUCKDB_TYPE_TIMESTAMP, ColumnKind::kDateTime, "TIMESTAMP"},
    {DUCKDB_TYPE_TIMESTAMP_S, ColumnKind::kDateTime, "TIMESTAMP_S"},
    {DUCKDB_TYPE_TIMESTAMP_MS, ColumnKind::kDateTime, "TIMESTAMP_MS"},
    {DUCKDB_TYPE_TIMESTAMP_NS, ColumnKind::kDateTime, "TIMESTAMP_NS"},
    {DUCKDB_TYPE_TIMESTAMP_TZ, ColumnKind::kDateTime, "TIMESTAMP WITH TIME ZONE"},
    {DUCKDB_TYPE_INTERVAL, ColumnKind::kDateTime, "INTERVAL"},
    {DUCKDB_TYPE_BLOB, ColumnKind::kOther, "BLOB"},
    {DUCKDB_TYPE_BIT, ColumnKind::kOther, "BIT"},
    {DUCKDB_TYPE_LIST, ColumnKind::kOther, "LIST"},
    {DUCKDB_TYPE_ARRAY, ColumnKind::kOther, "ARRAY"},
    {DUCKDB_TYPE_STRUCT, ColumnKind::kOther, "STRUCT"},
    {DUCKDB_TYPE_MAP, ColumnKind::kOther, "MAP"},
    {DUCKDB_TYPE_UNION, ColumnKind::kOther, "UNION"},
}};

/// Up to this many decimal digits, digits and power of ten are exact doubles and one division
/// rounds once.
constexpr int kExactDigits = 15;

bool CastIsExact(duckdb_type id, int decimalWidth) {
  switch (id) {
    case DUCKDB_TYPE_HUGEINT:
    case DUCKDB_TYPE_UHUGEINT:
    case DUCKDB_TYPE_BIGNUM:
      return false;  // made of two halves, each rounded
    default:
      return decimalWidth <= kExactDigits;
  }
}

constexpr std::chrono::milliseconds kPause(1);

}  // namespace

TypeInfo DescribeType(duckdb_logical_type type) {
  TypeInfo info;
  info.id = duckdb_get_type_id(type);
  const auto* found = std::ranges::find(kTypes, info.id, &NamedType::id);
  info.kind = found == kTypes.end() ? ColumnKind::kOther : found->kind;
  info.name = found == kTypes.end() ? "another type" : found->name;
  info.isFloating = info.id == DUCKDB_TYPE_FLOAT || info.id == DUCKDB_TYPE_DOUBLE;
  const bool isDecimal = info.id == DUCKDB_TYPE_DECIMAL;
  const int width = isDecimal ? duckdb_decimal_width(type) : 0;
  if (isDecimal) info.name = fmt::format("DECIMAL({},{})", width, duckdb_decimal_scale(type));
  info.isExactAsDouble = CastIsExact(info.id, width);
  return info;
}

PreparedQuery::PreparedQuery(const Connection& connection, const std::string& sql) {
  if (duckdb_prepare(connection.Raw().connection.Get(), sql.c_str(), statement_.Out()) ==
      DuckDBError) {
    throw QueryError(duckdb_prepare_error(statement_.Get()));
  }
}

bool PreparedQuery::IsSelect() const {
  return duckdb_prepared_statement_type(statement_.Get()) == DUCKDB_STATEMENT_TYPE_SELECT;
}

idx_t PreparedQuery::ColumnCount() const {
  return duckdb_prepared_statement_column_count(statement_.Get());
}

TypeHandle PreparedQuery::ColumnType(idx_t index) const {
  return TypeHandle(duckdb_prepared_statement_column_logical_type(statement_.Get(), index));
}

ColumnInfo PreparedQuery::Column(idx_t index) const {
  const DuckDbText name(duckdb_prepared_statement_column_name(statement_.Get(), index));
  const TypeInfo type = DescribeType(ColumnType(index).Get());
  return {name.Get() == nullptr ? "" : name.Get(), type.kind, type.name};
}

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

ChunkHandle RowStream::Next() {
  ChunkHandle chunk(duckdb_fetch_chunk(*result_.Get()));
  if (chunk) return chunk;
  const char* reason = duckdb_result_error(result_.Get());
  if (reason != nullptr && *reason != '\0') throw QueryError(reason);
  return chunk;
}

double RowStream::Share() const {
  const double percentage = duckdb_query_progress(connection_).percentage;
  return percentage < 0 ? -1 : std::min(percentage / 100, 1.0);
}

}  // namespace qvhost
