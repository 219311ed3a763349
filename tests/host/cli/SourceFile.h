#pragma once

#include <string>

namespace qvhost {

/// Runs SQL in a database of its own, to make the files that a test reads: `COPY … TO 'x.parquet'`,
/// `ATTACH 'x.duckdb' AS …`.
void RunSql(const std::string& statements);

}  // namespace qvhost
