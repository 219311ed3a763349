#pragma once

#include <string>

#include "host/table/ColumnInfo.h"
#include "host/table/DuckDb.h"

namespace qvhost {

/// What coding needs to know of a DuckDB type. A plain value; for the sources of this folder.
struct TypeInfo {
  duckdb_type id = DUCKDB_TYPE_INVALID;
  ColumnKind kind = ColumnKind::kOther;
  std::string name;  ///< `BIGINT`, `DECIMAL(18,3)`, …; a nested type by its outermost word.
  bool isFloating = false;      ///< Values are doubles by nature, of 64 or fewer bits.
  bool isExactAsDouble = true;  ///< DuckDB's cast to DOUBLE gives the nearest double.
};

[[nodiscard]] TypeInfo DescribeType(duckdb_logical_type type);

}  // namespace qvhost
