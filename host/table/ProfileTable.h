#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/table/ColumnInfo.h"
#include "host/table/ColumnProfile.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How to profile a table.
struct ProfileOptions {
  /// For what exceeds DuckDB's memory; empty for the system's folder for temporary files.
  std::string spoolDir;
  int threads = 1;
  /// Called on the calling thread, once for a few thousand rows, with the share that was read
  /// (negative while it is not known) and the rows; may be empty.
  std::function<void(double share, std::int64_t rows)> progress;
  /// Asked on the calling thread as often; true stops the work with Cancelled. May be empty.
  std::function<bool()> cancelled;
};

/// A column of a table with what its values are like. A plain value.
struct ProfiledColumn {
  ColumnInfo info;  ///< As it was read in the end.
  ColumnSummary summary;
};

/// Reads a whole table once and sums up each of its columns. A value is missing where it is for
/// CodeTable. Numbers are the nearest doubles, except that whole ones of up to 64 bits are told
/// apart; what is neither a number nor text counts by its text. Memory does not grow with the
/// number of rows. The results do not depend on the number of threads.
///
/// Throws Error as CodeTable does for what cannot be read, Cancelled when asked to stop.
[[nodiscard]] std::vector<ProfiledColumn> ProfileTable(const TableSource& source,
                                                       const ProfileOptions& options);

}  // namespace qvhost
