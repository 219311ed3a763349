#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/ColumnInfo.h"
#include "host/table/ColumnNames.h"
#include "host/table/Connection.h"
#include "host/table/InputFiles.h"
#include "host/table/MissingFunction.h"
#include "host/table/ReadingOptions.h"
#include "host/table/TextFile.h"
#include "host/table/TypedView.h"

namespace qvhost {

/// Where a table comes from, as the user said it. A plain value; an empty text is "not given".
struct DataSource {
  /// A file, a pattern of files (`part-*.csv`), a database file, or `-` for standard input.
  std::string data;

  /// A table or view of the database file, `name` or `schema.name`. Not needed when the file holds
  /// only one.
  std::string table;

  /// One SELECT whose result is the table. What `data` names is visible to it: the tables of a
  /// database file by their names, any other files as the view `data`.
  std::string sql;

  /// What stands for a missing value besides nothing at all. Empty: MissingStrings::Default(), in
  /// text files only. Given: in text files, and in the text columns of any other table.
  std::vector<std::string> na = {};

  /// More files and patterns, whose rows follow; columns are matched by name, and one that a file
  /// does not have is missing in its rows.
  std::vector<std::string> moreData = {};

  ReadingOptions reading = {};

  /// Where what cannot be read again is copied to; empty for the system's folder.
  std::string spoolDir = {};
};

class Connection;
class DataFiles;
class OpenedFiles;
class QueryError;
class RowFilter;
class SqliteFile;

/// An open table: a file, a pattern of files, a table of a database file, or a query, read by an
/// embedded DuckDB that never reaches for a network. Files are only read, never written.
///
/// Owns the database connection. Every operation belongs to one thread at a time. Not copyable;
/// moving keeps references to columns valid.
class TableSource {
 public:
  /// Opens the source and learns its columns; reads no more of the data than DuckDB needs to tell
  /// their types. Throws Error (kBadInput) with the reason when there is nothing to read. A pipe is
  /// read to its end; `progress` is called with the bytes so far, and may throw to end that.
  explicit TableSource(const DataSource& source,
                       const std::function<void(std::uint64_t bytes)>& progress = {});
  ~TableSource();
  TableSource(const TableSource&) = delete;
  TableSource& operator=(const TableSource&) = delete;
  TableSource(TableSource&&) noexcept;
  TableSource& operator=(TableSource&&) = delete;

  /// What to call the source in a report: the files or patterns, `table of file`, or `query`.
  [[nodiscard]] const std::string& Name() const { return name_; }

  /// The columns in their order, then the fields of columns of objects: `car.weight`.
  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const { return columns_; }

  /// The columns that `name` may mean: the one that the data spell so; otherwise the one that is
  /// called so here; otherwise those that differ from it in upper and lower case of ASCII letters
  /// alone.
  [[nodiscard]] std::vector<const ColumnInfo*> Matches(std::string_view name) const;

  /// The column whose name is nearest to `name`, for "did you mean"; none when none is near.
  [[nodiscard]] std::optional<std::string> Nearest(const std::string& name) const;

  /// What to add to "there is no such column" where the first row of a file may be why; else empty.
  [[nodiscard]] std::string HeaderHint() const;

  /// Sentences on columns that are called otherwise than in the data, which have two of one name.
  [[nodiscard]] std::vector<std::string> NotesOnNames() const;

  /// How the text files are written that are the table; null for any other source.
  [[nodiscard]] const TextLayout* Layout() const;

  /// Whether --types may name its columns.
  [[nodiscard]] bool TakesTypes() const;
  /// Whether --decimal and --thousands may say how its numbers are written.
  [[nodiscard]] bool TakesFormats() const;
  /// Whether --types names this column.
  [[nodiscard]] bool IsTypeGiven(std::string_view column) const;

  /// From now on these columns are text, whatever their values look like. REQUIRES: TakesFormats,
  /// and names of columns. Throws Error (kBadInput).
  void TakeAsText(const std::vector<std::string>& columns);

  /// For each of these columns, those of several files that do not have it: it is missing in their
  /// rows. Throws Error (kBadInput).
  [[nodiscard]] std::vector<std::vector<std::string>> FilesWithout(
      const std::vector<std::string>& columns) const;

  /// What the levels of a column of booleans are called: as most of the first 20,480 rows of a text
  /// file have them, else `false` and `true`. Throws Error (kBadInput).
  [[nodiscard]] BooleanTexts BooleansOf(const std::string& column) const;

  /// These columns of the table, to be kept: their values, or with `asWritten` their texts as text
  /// files have them, where the table is of CSV files; wider integers than 64 bits are decimals
  /// otherwise. Once; after SettleTypes. REQUIRES: names of columns. Throws Error (kBadInput).
  [[nodiscard]] std::vector<KeptColumn> Keep(const std::vector<std::string>& names, bool asWritten);

  /// From now on the table is made of the rows for which a condition, an SQL expression over the
  /// columns, is true. Once.
  void SetCondition(const std::string& condition);

  /// How many rows the condition left out of the last coding.
  [[nodiscard]] std::int64_t RowsLeftOut() const;

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

  /// Settles the types of columns that no value was seen of, by reading all of them: of these
  /// columns of the table, or of all columns that a query may use. Before the columns are
  /// described. Throws Error (kBadInput).
  void SettleTypes(const std::vector<std::string>& columns);

  /// For the coder: starts and ends counting what is read as missing.
  void StartCounting() const;
  [[nodiscard]] std::vector<MissingString> MissingStringsRead() const { return missing_->Counts(); }

  /// For the coder, after DuckDB refused a value: true when the column has got a type that holds
  /// all its values, so that reading may start again; false when no value of a file is to blame.
  /// Throws Error (kBadInput) that names file, row, column and value.
  [[nodiscard]] bool CorrectTypes(const QueryError& error) const;

  /// For the coder: what to say when DuckDB failed while it read the table.
  [[nodiscard]] std::string ReadingText(const QueryError& error) const;

  /// For the coder: the connection, the text that follows FROM, and the kind of source.
  [[nodiscard]] Connection& Database() const { return *connection_; }
  [[nodiscard]] const std::string& Relation() const { return relation_; }
  /// Whether the source is a table of a database file, and not a file or a query.
  [[nodiscard]] bool IsStored() const { return isStored_; }

 private:
  /// Runs something that reads the source; an error of DuckDB's is told with its name in front.
  template <typename Action>
  auto Reading(Action action) const;
  [[nodiscard]] std::string ReasonOf(const QueryError& error) const;
  /// Shows files as a view; the query that names them.
  std::string ShowFiles(const ReadingOptions& options);
  /// The call of a function that reads one of several files.
  [[nodiscard]] std::string ReaderOf(const std::string& file) const;
  void ShowParquet(const std::string& query);
  void ShowSqlite(const DataSource& source);
  /// What to write for a table that a query names and there is not.
  [[nodiscard]] std::string TableHint(const DataSource& source) const;
  void ChooseTable(const DataSource& source);
  /// Puts a view over the table that shows the fields of its columns of objects, if it has any.
  void ShowFields();
  void ShowTyped();
  void ShowViews() const;
  void LearnColumns();
  void AddNamed(const std::string& query, const Definitions& definitions);

  MissingStrings strings_;
  std::unique_ptr<DataFiles> data_;  ///< Null without any; outlives the connection.
  std::unique_ptr<Connection> connection_;
  std::unique_ptr<OpenedFiles> opened_;  ///< This and what follows go before the connection.
  std::unique_ptr<InputFiles> inputs_;
  std::unique_ptr<MissingFunction> missing_;
  std::unique_ptr<SqliteFile> sqlite_;  ///< Of a SQLite database; else null.
  std::unique_ptr<RowFilter> filter_;   ///< With a condition only.
  std::unique_ptr<TypedView> file_;     ///< Of text files; else null.
  TextLayout layout_;
  std::vector<RenamedColumn> renamedInFile_;
  std::vector<RenamedColumn> renamed_;  ///< In the result of the query.
  std::string delimiter_;               ///< That the user named; else empty.
  std::vector<ColumnType> types_;       ///< That the user named.
  std::unique_ptr<TypedView> typed_;    ///< Of another table or a query, with --na only.
  std::string sql_;                     ///< The query; empty for none.
  std::string name_;
  std::string relation_;
  std::string fieldsView_;  ///< The statement that makes it; empty for none.
  std::vector<std::string> fields_;
  bool isStored_ = false;
  std::vector<ColumnInfo> columns_;
};

}  // namespace qvhost
