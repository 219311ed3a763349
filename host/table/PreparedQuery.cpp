#include "host/table/PreparedQuery.h"

#include "host/table/ConnectionHandles.h"
#include "host/table/QueryError.h"
#include "host/table/TypeInfo.h"

namespace qvhost {

PreparedQuery::PreparedQuery(const Connection& connection, const std::string& sql) {
  if (duckdb_prepare(connection.Raw().connection.Get(), sql.c_str(), statement_.Out()) ==
      DuckDBError) {
    const char* reason = duckdb_prepare_error(statement_.Get());
    throw QueryError(reason != nullptr ? reason : "");
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

}  // namespace qvhost
