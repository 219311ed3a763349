#include "host/table/KeptRows.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/QueryError.h"
#include "host/table/SpoolFile.h"

namespace qvhost {
namespace {

constexpr const char* kQuery = "SELECT * FROM kept.kept";

std::string SelectOf(const TableSource& source, const std::vector<KeptColumn>& columns) {
  std::string list;
  for (const KeptColumn& column : columns) list += (list.empty() ? "" : ", ") + column.sql;
  return fmt::format("SELECT {} FROM {}", list, source.Relation());
}

/// `c0 BIGINT, c1 VARCHAR, ...`: the real names may be the same to DuckDB.
std::string DefinitionOf(const TableSource& source, const std::vector<KeptColumn>& columns) {
  std::string definition;
  std::size_t place = 0;
  for (const auto& row : source.Database().Rows(
           fmt::format("SELECT column_type FROM (DESCRIBE {})", SelectOf(source, columns)))) {
    const std::string& type = row[0].value();
    // What is always missing has no type of its own.
    definition += fmt::format("{}c{} {}", place == 0 ? "" : ", ", place,
                              type == "\"NULL\"" ? "INTEGER" : type);
    ++place;
  }
  return definition;
}

/// The system's reason at the end of a message of DuckDB's.
std::string ReasonIn(std::string_view message) {
  constexpr std::string_view kFull = "No space left on device";
  if (message.find(kFull) != std::string_view::npos) return std::string(kFull);
  return std::string(message.substr(0, message.find('\n')));
}

}  // namespace

std::size_t RowsInGroup(std::size_t columnCount) {
  constexpr std::size_t kValues = std::size_t{1} << 20;
  constexpr std::size_t kLeastRows = 2048;  // DuckDB's vectors: a group has whole ones.
  constexpr std::size_t kMostRows = 122880;
  return std::clamp(kValues / columnCount / kLeastRows * kLeastRows, kLeastRows, kMostRows);
}

KeptRows::KeptRows(const TableSource& source, const std::vector<KeptColumn>& columns,
                   const std::string& folder)
    : parent_(FolderForSpool(folder)), rowsInGroup_(RowsInGroup(columns.size())) {
  for (const KeptColumn& column : columns) names_.push_back(column.name);
  const std::string definition = DefinitionOf(source, columns);
  folder_ = MakeSpoolFolder(parent_);
  try {
    Open(definition);
  } catch (const QueryError& error) {
    FailToWrite(error.what());
  }
}

void KeptRows::Open(const std::string& columns) {
  connection_.Execute("SET threads = 1");
  connection_.Execute(
      fmt::format("SET memory_limit = '{}MB'", 256 + names_.size()));  // Buffers by the column.
  // Each column of a group takes some blocks of memory.
  constexpr std::size_t kManyColumns = 50;
  const int blockSize = names_.size() > kManyColumns ? 16384 : 262144;
  connection_.Execute(fmt::format("ATTACH {} AS kept (ROW_GROUP_SIZE {}, BLOCK_SIZE {})",
                                  QuoteText((folder_->Path() / "kept").string()), rowsInGroup_,
                                  blockSize));
  connection_.Execute(fmt::format("CREATE TABLE kept.kept ({})", columns));
  // One transaction writes full groups at once, and nothing twice.
  connection_.Execute("BEGIN TRANSACTION");
  Check(duckdb_appender_create_ext(connection_.Raw().connection.Get(), "kept", nullptr, "kept",
                                   appender_.Out()));
}

void KeptRows::Append(duckdb_data_chunk chunk, std::size_t first) {
  std::vector<TypeHandle> owned;
  std::vector<duckdb_logical_type> types;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    owned.emplace_back(
        duckdb_vector_get_column_type(duckdb_data_chunk_get_vector(chunk, first + i)));
    types.push_back(owned.back().Get());
  }
  const ChunkHandle part(duckdb_create_data_chunk(types.data(), types.size()));
  for (std::size_t i = 0; i < names_.size(); ++i) {
    duckdb_vector_reference_vector(duckdb_data_chunk_get_vector(part.Get(), i),
                                   duckdb_data_chunk_get_vector(chunk, first + i));
  }
  const idx_t rows = duckdb_data_chunk_get_size(chunk);
  duckdb_data_chunk_set_size(part.Get(), rows);
  Check(duckdb_append_data_chunk(appender_.Get(), part.Get()));
  rowsWaiting_ += rows;
  if (rowsWaiting_ < rowsInGroup_) return;
  Check(duckdb_appender_flush(appender_.Get()));
  rowsWaiting_ = 0;
}

void KeptRows::Finish() {
  Check(duckdb_appender_close(appender_.Get()));
  appender_ = AppenderHandle();
  try {
    connection_.Execute("COMMIT");
  } catch (const QueryError& error) {
    FailToWrite(error.what());
  }
}

std::vector<TypeHandle> KeptRows::Types() const {
  const PreparedQuery query(connection_, kQuery);
  std::vector<TypeHandle> types;
  for (idx_t i = 0; i < query.ColumnCount(); ++i) types.push_back(query.ColumnType(i));
  return types;
}

RowStream KeptRows::Read() const { return {connection_, kQuery, {}}; }

void KeptRows::Check(duckdb_state state) const {
  if (state == DuckDBSuccess) return;
  const char* const reason = duckdb_appender_error(appender_.Get());
  FailToWrite(reason == nullptr ? "for an unknown reason" : reason);
}

void KeptRows::FailToWrite(const std::string& reason) const {
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file of the kept columns in the folder '{}' cannot be "
                          "written ({}). Name a folder with more room with --spool-dir, or keep "
                          "fewer columns.",
                          parent_, ReasonIn(reason)));
}

}  // namespace qvhost
