#pragma once

#include <memory>
#include <string>

#include "host/table/Connection.h"
#include "host/table/MissingFunction.h"
#include "host/table/TypedView.h"

namespace qvhost {

/// Whether a file or pattern is of text, by its ending: CSV, TSV or JSON, compressed or not.
[[nodiscard]] bool IsTextFile(const std::string& data);

/// Makes the view `view` of a file or pattern of text files: DuckDB says how the files are written
/// and of what types their columns are, missing strings being no values. `files` is SQL, what
/// DuckDB's functions that read files take. Throws QueryError when DuckDB cannot read the files.
[[nodiscard]] std::unique_ptr<TypedView> ShowTextFile(
    Connection& connection, MissingFunction& missing, const MissingStrings& strings,
    const std::string& view, const std::string& data, const std::string& files);

}  // namespace qvhost
