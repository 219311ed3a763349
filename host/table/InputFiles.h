#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/table/Connection.h"

namespace qvhost {

/// Where a path leads: absolute, with its links followed, though nothing may be there yet (a link
/// to nothing, the name of a new file).
[[nodiscard]] std::filesystem::path PlaceOf(const std::string& path);

/// Whether two paths lead to one file: to the same place, or to two names of a file (hard links).
[[nodiscard]] bool IsSameFile(const std::string& one, const std::string& other);

/// The files that a run reads, each with the name by which it was met first. A file is known by its
/// device and its number there, whatever its names are. A plain value.
class InputFiles {
 public:
  /// Adds a file: a path, or a `file:` address as DuckDB takes it. A name without a file is kept
  /// too: nothing may be put there. A terminal or a socket, which nothing can replace, is not.
  void Add(const std::string& name);

  /// The name of the input that a path leads to, by whatever links; none when it is no input.
  [[nodiscard]] std::optional<std::string> Find(const std::string& path) const;

 private:
  /// What a system knows a file by: its device and its number there.
  using Identity = std::pair<std::uintmax_t, std::uintmax_t>;
  static std::optional<Identity> IdentityOf(const std::string& path);

  std::map<Identity, std::string> existing_;
  std::map<std::filesystem::path, std::string> absent_;  ///< By their places.
};

/// Names that a query may use besides those of files, in small letters, and for each what it stands
/// for: the text of a view or a macro, empty for a table.
using Definitions = std::multimap<std::string, std::string>;

/// What a database file defines. Throws QueryError.
[[nodiscard]] Definitions DefinitionsOf(Connection& connection);

/// The files that exist among those that a query names, before it reads any: names of tables that
/// are files or patterns, and what the functions that read files are given, lists and computed
/// names included; in subqueries, common table expressions, and the definitions that it uses. A
/// text anywhere else names no file.
///
/// Not found are files whose names depend on a macro's parameters or stand in a text that is a
/// query itself: these are known once they are opened (see OpenedFiles). No file is opened. Throws
/// QueryError when DuckDB fails.
[[nodiscard]] std::vector<std::string> NamedFiles(Connection& connection, const std::string& query,
                                                  const Definitions& definitions);

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
