#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "host/table/Connection.h"
#include "host/table/InputFiles.h"

namespace qvhost {

/// Learns from DuckDB's own log which files the queries of a connection open, however they are
/// named: by patterns, computed names, views, macros. A query that is only described (see
/// Connection::Describe) does not count, nor does the database file that the connection was opened
/// with. For the sources of this folder.
///
/// The log is empty again after it has grown long with the reads of large files, so that memory
/// stays flat; an entry written at that very moment is lost. As every read of a file makes an
/// entry, this hides only a file that is opened, read and closed within a millisecond, beside files
/// that take many reads.
///
/// Must not outlive the connection. One thread at a time, which may be reading the rows of a query
/// of the connection meanwhile.
class OpenedFiles {
 public:
  /// When the log is looked at and emptied.
  struct Limits {
    std::chrono::milliseconds interval{5000};  ///< Between two looks while a query runs.
    std::int64_t entries = 50000;              ///< So many may stay; some 150 bytes each.
    std::int64_t entriesOfFile = 100;          ///< So many of each file tell that it is large.
  };

  /// Starts the log. Throws QueryError.
  OpenedFiles(Connection& connection, const Limits& limits);

  /// Adds the files opened so far. Throws QueryError.
  void AddTo(InputFiles& files);

  /// The same if the interval is over; else does nothing, at no cost. For a query that runs long.
  void AddInTimeTo(InputFiles& files);

 private:
  std::unique_ptr<Connection> observer_;
  Limits limits_;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace qvhost
