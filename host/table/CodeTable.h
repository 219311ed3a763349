#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/table/CodedTable.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How far the coding of a table is.
struct CodingProgress {
  /// A part of the work.
  enum class Stage {
    kReading,  ///< The query runs and its rows are spooled.
    kCoding    ///< Factor codes are put into the order of the sorted levels.
  };

  Stage stage = Stage::kReading;
  double share = 0.0;     ///< Of the stage, 0 to 1; negative while it is not known.
  std::int64_t rows = 0;  ///< Handled in this stage so far.
};

/// What a stage is called on a progress bar: "reading" or "coding".
[[nodiscard]] const char* StageName(CodingProgress::Stage stage);

/// How to code a table. Every field has a default.
struct CodingOptions {
  /// Where the temporary file goes; empty for the system's folder for temporary files.
  std::string spoolDir;
  /// Called on the calling thread, once for a few thousand rows; may be empty.
  std::function<void(const CodingProgress&)> progress;
  /// Asked on the calling thread as often; true stops the work with Cancelled. May be empty.
  std::function<bool()> cancelled;
  /// How many threads may work.
  int threads = 1;
  /// How many levels a factor may have.
  std::size_t maxLevels = 10000000;
  /// Columns that are kept beside the records, see CodedTable::Kept; from the same query, as
  /// another one may give the rows in another order.
  std::vector<KeptColumn> keep;
};

/// Runs one query for the requested columns and codes its rows, in their order, into a temporary
/// file. Memory does not grow with the number of rows, only with the number of levels.
///
/// A factor's levels are sorted (numbers by value, text by bytes, enumerations in their own order,
/// false before true; dates and others by their text) and coded 0, 1, 2, …; NULL, and NaN in a
/// numeric factor, is -1. A number is the nearest double; NULL and NaN become QvMV::gMissingValue,
/// and so does a number that happens to equal it, the lowest finite double.
///
/// `requests` must not be empty. Throws Error: kBadInput for an infinite number (row and column are
/// named), a type that the request refuses, a factor of too many levels, an expression
/// or a row that DuckDB cannot read; kRunFailed when the temporary file cannot be made or filled;
/// Cancelled when asked to stop. No temporary file is left in any case once the source is gone.
[[nodiscard]] CodedTable CodeTable(const TableSource& source,
                                   const std::vector<ColumnRequest>& requests,
                                   const CodingOptions& options = {});

}  // namespace qvhost
