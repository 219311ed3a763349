#pragma once

#include <cstddef>
#include <string>

#include "host/Error.h"
#include "host/table/QueryError.h"
#include "host/table/TableSource.h"

/// \file
/// What every query shares that reads a whole table.

namespace qvhost {

/// Bounds the memory and the threads of DuckDB for a query over so many columns. What exceeds the
/// memory goes into `folder`. Throws as Connection does.
void LimitReading(const TableSource& source, std::size_t columns, int threads,
                  const std::string& folder);

/// Runs `read`, which makes a query over the table, and runs it anew after a value that its column
/// could not hold has changed how the table is read. Throws what it throws; Error that says what
/// could not be read in place of QueryError.
template <typename Read>
auto ReadMending(const TableSource& source, const Read& read) {
  for (;;) {
    try {
      return read();
    } catch (const QueryError& error) {
      if (source.CorrectTypes(error)) continue;
      throw Error(error.Code(), source.ReadingText(error));
    }
  }
}

}  // namespace qvhost
