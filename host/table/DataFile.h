#pragma once

#include <string>

#include "host/table/Connection.h"

namespace qvhost {

/// Whether the name is a database file's, by its ending: `.duckdb`, `.ddb` or `.db`.
[[nodiscard]] bool IsDatabaseName(const std::string& data);

/// Throws Error (kBadInput) unless `data` is one existing, readable file with something in it.
void CheckFile(const std::string& data);

/// Checks a file, or a pattern that must match at least one, and gives the pattern that makes
/// DuckDB read just that. Throws Error (kBadInput) when there is nothing to read.
[[nodiscard]] std::string PatternOf(Connection& connection, const std::string& data);

}  // namespace qvhost
