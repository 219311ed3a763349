#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/TemporaryFolder.h"
#include "host/table/ColumnInfo.h"

namespace qvhost {

/// One embedded DuckDB with one connection to it. Extensions are never fetched, so that nothing
/// reaches for a network; two threads unless it is told otherwise; a bounded share of memory,
/// beyond which DuckDB uses its folder for temporary files.
///
/// Owns the database. One thread at a time. Every operation throws QueryError when DuckDB refuses.
class Connection {
 public:
  /// Opens a database file for reading only, or an empty database in memory when `databaseFile` is
  /// empty.
  explicit Connection(const std::string& databaseFile = {});

  /// DuckDB's own handles, for the sources of this folder.
  struct Handles;
  /// Takes over handles of a connection to another one's database, which must outlive this.
  explicit Connection(std::unique_ptr<Handles> handles);

  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Another connection to the same database, for short queries while the rows of a query of this
  /// one are being read. Must not outlive this one.
  [[nodiscard]] std::unique_ptr<Connection> Another() const;

  /// Runs statements for their effect.
  void Execute(const std::string& sql);

  /// Runs a query with a small result: its rows, each value as text, NULL as none.
  [[nodiscard]] std::vector<std::vector<std::optional<std::string>>> Rows(const std::string& sql);

  /// How many statements a text holds.
  [[nodiscard]] std::size_t CountStatements(const std::string& sql);

  /// Names and types of a query's columns, without running it.
  [[nodiscard]] std::vector<ColumnInfo> Describe(const std::string& query);

  /// Lets DuckDB write what exceeds its memory to a TemporaryFolder inside this one, which is gone
  /// with the connection. The first call decides; before it nothing is written. Throws Error
  /// (kRunFailed) when the folder cannot be made.
  void SetTempDirectory(const std::string& folder);

  /// Makes the queries that run on any connection of this process fail. Any thread may call it. A
  /// query that starts at the same moment may miss it.
  static void InterruptAll() noexcept;

  [[nodiscard]] const Handles& Raw() const { return *handles_; }

 private:
  /// From now on InterruptAll reaches this connection.
  void Register() const;

  /// DuckDB's names for its files are the same in every process: each needs a folder of its own.
  std::optional<TemporaryFolder> tempDirectory_;  ///< Outlives the database.
  std::unique_ptr<Handles> handles_;
};

}  // namespace qvhost
