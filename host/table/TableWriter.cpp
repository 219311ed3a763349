#include "host/table/TableWriter.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/WholeFile.h"
#include "host/table/Connection.h"
#include "host/table/DuckDb.h"
#include "host/table/KeptRows.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

/// Of a file's name, in lower case.
std::string EndingOf(const std::string& path) {
  return Lower(std::filesystem::path(path).extension().string());
}

using TableFunctionHandle = DuckDbHandle<duckdb_table_function, &duckdb_destroy_table_function>;

constexpr const char* kFunction = "qvreg_rows";

/// What the function calls a column: the real names may be the same to DuckDB.
std::string PlaceName(std::size_t column) { return fmt::format("c{}", column); }

/// The cells of a chunk, row after row, in DuckDB's vectors from position `first` on.
class ChunkCells final : public RowCells {
 public:
  ChunkCells(duckdb_data_chunk chunk, std::size_t first, std::size_t columnCount) {
    columns_.reserve(columnCount);
    for (idx_t column = 0; column < columnCount; ++column) {
      const duckdb_vector values = duckdb_data_chunk_get_vector(chunk, first + column);
      duckdb_vector_ensure_validity_writable(values);
      std::uint64_t* const present = duckdb_vector_get_validity(values);
      std::fill_n(present, (duckdb_vector_size() + kBits - 1) / kBits, std::uint64_t{0});
      columns_.push_back({values, present});
    }
  }

  void SetNumber(std::size_t column, double value) override {
    static_cast<double*>(duckdb_vector_get_data(columns_[column].values))[row_] = value;
    MarkPresent(column);
  }

  void SetText(std::size_t column, std::string_view text) override {
    duckdb_vector_assign_string_element_len(columns_[column].values, row_, text.data(),
                                            text.size());
    MarkPresent(column);
  }

  void GoToNextRow() { ++row_; }
  [[nodiscard]] idx_t CompleteRows() const { return row_; }

 private:
  struct Column {
    duckdb_vector values;
    std::uint64_t* present;  ///< A bit for each row.
  };
  static constexpr idx_t kBits = 64;

  void MarkPresent(std::size_t column) {
    columns_[column].present[row_ / kBits] |= std::uint64_t{1} << (row_ % kBits);
  }

  std::vector<Column> columns_;
  idx_t row_ = 0;
};

/// The kept rows while they are read back.
class KeptStream {
 public:
  explicit KeptStream(const KeptRows& kept) : types_(kept.Types()), rows_(kept.Read()) {}

  [[nodiscard]] std::size_t ColumnCount() const { return types_.size(); }

  void Declare(duckdb_bind_info info) const {
    std::size_t column = 0;
    for (const TypeHandle& type : types_) {
      duckdb_bind_add_result_column(info, PlaceName(column).c_str(), type.Get());
      ++column;
    }
  }

  /// Puts the next rows into the first vectors of a chunk; how many, 0 at the end.
  idx_t Fill(duckdb_data_chunk chunk) {
    chunk_ = ChunkHandle();
    chunk_ = Next();
    if (!chunk_) return 0;
    for (idx_t column = 0; column < ColumnCount(); ++column) {
      duckdb_vector_reference_vector(duckdb_data_chunk_get_vector(chunk, column),
                                     duckdb_data_chunk_get_vector(chunk_.Get(), column));
    }
    return duckdb_data_chunk_get_size(chunk_.Get());
  }

 private:
  ChunkHandle Next() {
    try {
      return rows_.Next();
    } catch (const QueryError& error) {
      throw Error(ExitCode::kRunFailed,
                  fmt::format("The temporary file of the kept columns cannot be read back ({}).",
                              error.what()));
    }
  }

  std::vector<TypeHandle> types_;  ///< Learnt first: another query would end the stream.
  RowStream rows_;
  ChunkHandle chunk_;  ///< The latest.
};

/// What DuckDB's callbacks work on.
struct RowSource {
  const std::vector<WrittenColumn>& columns;
  const NextRow& nextRow;
  std::optional<KeptStream> kept = std::nullopt;
  bool ended = false;
  std::exception_ptr failure = nullptr;  ///< No exception may pass through DuckDB: it is kept here.

  [[nodiscard]] std::size_t KeptCount() const { return kept ? kept->ColumnCount() : 0; }

  void Declare(duckdb_bind_info info) const {
    if (kept) kept->Declare(info);
    for (std::size_t column = 0; column < columns.size(); ++column) {
      const bool isText = columns[column].type == WrittenColumn::Type::kText;
      const TypeHandle type(
          duckdb_create_logical_type(isText ? DUCKDB_TYPE_VARCHAR : DUCKDB_TYPE_DOUBLE));
      duckdb_bind_add_result_column(info, PlaceName(KeptCount() + column).c_str(), type.Get());
    }
  }

  void Fill(duckdb_data_chunk chunk) {
    const idx_t most = kept ? kept->Fill(chunk) : duckdb_vector_size();
    ChunkCells cells(chunk, KeptCount(), columns.size());
    while (!ended && cells.CompleteRows() < most) {
      ended = !nextRow(cells);
      if (!ended) cells.GoToNextRow();
    }
    if (kept) CheckCount(most, cells);
    duckdb_data_chunk_set_size(chunk, cells.CompleteRows());
  }

 private:
  /// There are as many kept rows as others.
  void CheckCount(idx_t keptRows, ChunkCells& cells) {
    const bool isAnyMissing = cells.CompleteRows() < keptRows;
    const bool isAnyLeft = keptRows == 0 && !ended && nextRow(cells);
    ended = ended || keptRows == 0;
    if (!isAnyMissing && !isAnyLeft) return;
    throw Error(ExitCode::kRunFailed,
                "The kept columns and the records are not equally many. Check the disk, or name "
                "another folder with --spool-dir.");
  }
};

/// The work of a callback; what it throws is kept, and DuckDB told to stop.
template <typename Info, typename Work>
void Guard(RowSource& source, Info info, void (*stop)(Info, const char*), Work work) {
  try {
    work();
  } catch (...) {
    source.failure = std::current_exception();
    source.ended = true;
    stop(info, "the rows ended early");
  }
}

extern "C" void BindRows(duckdb_bind_info info) {
  auto& source = *static_cast<RowSource*>(duckdb_bind_get_extra_info(info));
  Guard(source, info, duckdb_bind_set_error, [&] { source.Declare(info); });
}

// One thread keeps the rows in their order.
extern "C" void InitRows(duckdb_init_info info) { duckdb_init_set_max_threads(info, 1); }

extern "C" void FillRows(duckdb_function_info info, duckdb_data_chunk chunk) {
  auto& source = *static_cast<RowSource*>(duckdb_function_get_extra_info(info));
  Guard(source, info, duckdb_function_set_error, [&] { source.Fill(chunk); });
}

void Register(const Connection& connection, RowSource& source) {
  const TableFunctionHandle function(duckdb_create_table_function());
  duckdb_table_function_set_name(function.Get(), kFunction);
  duckdb_table_function_set_extra_info(function.Get(), &source, nullptr);
  duckdb_table_function_set_bind(function.Get(), BindRows);
  duckdb_table_function_set_init(function.Get(), InitRows);
  duckdb_table_function_set_function(function.Get(), FillRows);
  if (duckdb_register_table_function(connection.Raw().connection.Get(), function.Get()) ==
      DuckDBError) {
    throw Error(ExitCode::kRunFailed, "DuckDB did not take the table that it should write.");
  }
}

std::string SelectList(TableFormat format, const std::vector<std::string>& names) {
  // Many readers skip an empty line, but not an empty text in quotes.
  const bool avoidEmptyLines = format != TableFormat::kParquet && names.size() == 1;
  std::string list;
  for (std::size_t column = 0; column < names.size(); ++column) {
    std::string value = PlaceName(column);
    if (avoidEmptyLines) value = fmt::format("coalesce({}::VARCHAR, '')", value);
    // A statement would end at a zero byte: the name does.
    const std::string& name = names[column];
    list += fmt::format("{}{} AS {}", list.empty() ? "" : ", ", value,
                        QuoteName(name.substr(0, name.find('\0'))));
  }
  return list;
}

std::string CopyStatement(TableFormat format, const std::vector<std::string>& names,
                          const std::filesystem::path& path) {
  const std::string options =
      format == TableFormat::kParquet
          ? fmt::format("FORMAT parquet, ROW_GROUP_SIZE {}", RowsInGroup(names.size()))
          : fmt::format("FORMAT csv, HEADER true, COMPRESSION none, DELIMITER '{}'",
                        format == TableFormat::kTsv ? '\t' : ',');
  // An absolute path, as DuckDB gives a meaning to the beginnings of others.
  return fmt::format("COPY (SELECT {} FROM {}()) TO {} ({}, USE_TMP_FILE false)",
                     SelectList(format, names), kFunction,
                     QuoteText(std::filesystem::absolute(path).string()), options);
}

/// Otherwise times with a zone would be written in the machine's.
void UseUtc(Connection& connection) {
  try {
    connection.Execute("SET TimeZone = 'UTC'");
  } catch (const QueryError&) {
    // A DuckDB that knows no zones has no other.
  }
}

/// The system's reason in a message of DuckDB's, which names the temporary file: what follows it.
std::string ReasonIn(const QueryError& error, const std::filesystem::path& path) {
  std::string reason = error.what();
  const std::size_t name = reason.find(path.filename().string());
  const std::size_t colon = name == std::string::npos ? name : reason.find(": ", name);
  if (colon != std::string::npos) reason.erase(0, colon + 2);
  if (reason.ends_with('.')) reason.pop_back();
  return reason;
}

/// Has DuckDB carry out a statement that asks for the rows of the source and writes the file.
/// `fail` is told why it cannot be written, and throws.
void CopyRows(RowSource& source, const std::string& statement, const std::filesystem::path& path,
              const std::function<void(const std::string& reason)>& fail) {
  {
    Connection connection;
    // With one thread DuckDB does all its work, and so calls for the rows, on this one.
    connection.Execute("SET threads = 1");
    UseUtc(connection);
    Register(connection, source);
    try {
      connection.Execute(statement);
    } catch (const QueryError& error) {
      if (!source.failure) fail(ReasonIn(error, path));
    }
  }
  if (source.failure) std::rethrow_exception(source.failure);
}

}  // namespace

TableFormat TableFormatOf(const std::string& path) {
  const std::string ending = EndingOf(path);
  if (ending == ".csv") return TableFormat::kCsv;
  if (ending == ".tsv") return TableFormat::kTsv;
  if (ending == ".parquet") return TableFormat::kParquet;
  if (ending.empty() && IsDeviceOrPipe(path)) return TableFormat::kCsv;
  throw Error(ExitCode::kBadInput,
              fmt::format("A table cannot be written to '{}': the format follows from the ending "
                          "of the name, which must be .csv, .tsv or .parquet.",
                          path));
}

const std::vector<std::string>& KeptNames(const KeptRows& kept) { return kept.Names(); }

std::vector<std::string> NamesBeside(const std::vector<std::string>& kept,
                                     const std::vector<WrittenColumn>& columns) {
  std::vector<std::string> names;
  for (const std::string& plain : kept) {
    std::string name = plain;
    const auto isThis = [&name](const std::string& other) { return SameWord(other, name); };
    const auto isTaken = [&] {
      return std::ranges::any_of(columns, isThis, &WrittenColumn::name) ||
             (name != plain && std::ranges::any_of(kept, isThis));
    };
    while (isTaken()) name += "_data";
    names.push_back(std::move(name));
  }
  return names;
}

void WriteTable(const WholeFile& file, const std::vector<WrittenColumn>& columns,
                const NextRow& nextRow, const KeptRows* kept) {
  const TableFormat format = TableFormatOf(file.Path());
  RowSource source{columns, nextRow};
  std::vector<std::string> names;
  if (kept != nullptr) {
    source.kept.emplace(*kept);
    names = NamesBeside(kept->Names(), columns);
  }
  for (const WrittenColumn& column : columns) names.push_back(column.name);
  CopyRows(source, CopyStatement(format, names, file.WritePath()), file.WritePath(),
           [&file](const std::string& reason) { file.Fail(reason); });
}

void WriteParquet(const std::filesystem::path& path, const std::vector<WrittenColumn>& columns,
                  const NextRow& nextRow,
                  const std::function<void(const std::string& reason)>& fail) {
  RowSource source{columns, nextRow};
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const WrittenColumn& column : columns) names.push_back(column.name);
  CopyRows(source, CopyStatement(TableFormat::kParquet, names, path), path, fail);
}

}  // namespace qvhost
