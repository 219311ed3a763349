#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/ColumnInfo.h"
#include "host/table/DataSource.h"
#include "host/table/InputFiles.h"
#include "host/table/NamedFiles.h"

namespace qvhost {

class Connection;
class OpenedFiles;

/// An open table: a file, a pattern of files, a table of a database file, or a query, read by an
/// embedded DuckDB that never reaches for a network. Files are only read, never written.
///
/// Owns the database connection. Every operation belongs to one thread at a time. Not copyable;
/// moving keeps references to columns valid.
class TableSource {
 public:
  /// Opens the source and learns its columns; reads no more of the data than DuckDB needs to tell
  /// their types. Throws Error (kBadInput) with the reason when there is nothing to read.
  explicit TableSource(const DataSource& source);
  ~TableSource();
  TableSource(const TableSource&) = delete;
  TableSource& operator=(const TableSource&) = delete;
  TableSource(TableSource&&) noexcept;
  TableSource& operator=(TableSource&&) noexcept;

  /// What to call the source in a report: the file or pattern, `table of file`, or `query`.
  [[nodiscard]] const std::string& Name() const { return name_; }

  /// The columns in their order.
  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const { return columns_; }

  /// The columns that `name` may mean: the one that is spelled so; otherwise those that differ from
  /// it in upper and lower case of ASCII letters alone, which DuckDB takes for the same. DuckDB
  /// calls the second of two such columns `a_1`, which is therefore among them for the name `a`.
  [[nodiscard]] std::vector<const ColumnInfo*> Matches(std::string_view name) const;

  /// The column whose name is nearest to `name`, for "did you mean"; none when none is near.
  [[nodiscard]] std::optional<std::string> Nearest(const std::string& name) const;

  /// Names and types of expressions over the columns, without reading the data. Throws Error
  /// (kBadInput) with DuckDB's own sentence when one of them does not make sense.
  [[nodiscard]] std::vector<ColumnInfo> Describe(const std::vector<std::string>& expressions) const;

  /// The files that the source reads, as far as they are known: those that it names, patterns
  /// expanded (a database with its write-ahead log), and those that DuckDB has opened by now.
  /// Throws Error. Valid while the source lives; later calls may add to it.
  [[nodiscard]] const InputFiles& Inputs() const;

  /// To be called often while a query on the source runs, so that what DuckDB notes of the files
  /// that it opens takes little memory.
  void NoteInputs() const;

  /// For the coder: the connection, the text that follows FROM, and the kind of source.
  [[nodiscard]] Connection& Database() const { return *connection_; }
  [[nodiscard]] const std::string& Relation() const { return relation_; }
  /// Whether the source is a table of a database file, and not a file or a query.
  [[nodiscard]] bool IsStored() const { return isStored_; }

 private:
  void AddNamed(const std::string& query, const Definitions& definitions);

  std::unique_ptr<Connection> connection_;
  std::unique_ptr<OpenedFiles> opened_;  ///< Goes before the connection.
  std::unique_ptr<InputFiles> inputs_;
  std::string name_;
  std::string relation_;
  bool isStored_ = false;
  std::vector<ColumnInfo> columns_;
};

}  // namespace qvhost
