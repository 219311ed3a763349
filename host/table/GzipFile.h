#pragma once

#include <string>

namespace qvhost {

/// Throws Error (kBadInput) when a gzip file ends before its compressed data do: DuckDB takes what
/// is left of it for all. Unpacks it from start to end, and keeps nothing. `name` is what to call
/// it. A file that is damaged in another way passes, as DuckDB finds that.
void CheckGzip(const std::string& path, const std::string& name);

}  // namespace qvhost
