#pragma once

#include <string>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// The functions below find what the data call columns that DuckDB calls `names`. `files`, in SQL,
/// are what functions that read files take. They read the data only where two of the names may be
/// one name made different, and give `names` where the data tell nothing. Files of which one has
/// such columns must have the same ones. Throw Error (kBadInput) where they have not, QueryError
/// when DuckDB cannot read them.

/// Of delimited files with a header; `options`, in SQL, as the rows are read with.
[[nodiscard]] std::vector<std::string> NamesInHeader(Connection& connection,
                                                     const std::string& files,
                                                     const std::string& options,
                                                     const std::vector<std::string>& names);

/// Of JSON files.
[[nodiscard]] std::vector<std::string> NamesInJson(Connection& connection, const std::string& files,
                                                   const std::vector<std::string>& names);

/// Of Parquet files.
[[nodiscard]] std::vector<std::string> NamesInParquet(Connection& connection,
                                                      const std::string& files,
                                                      const std::vector<std::string>& names);

}  // namespace qvhost
