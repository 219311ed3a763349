#include "host/table/RecordNumbers.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/DuckDb.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"
#include "host/table/SpoolFile.h"

namespace qvhost {

namespace {

/// The columns of a chunk, one row of them at a time.
void VisitRows(duckdb_data_chunk chunk, const std::function<void(std::span<const double>)>& visit) {
  std::vector<const double*> columns;
  for (idx_t i = 0; i < duckdb_data_chunk_get_column_count(chunk); ++i) {
    columns.push_back(
        static_cast<const double*>(duckdb_vector_get_data(duckdb_data_chunk_get_vector(chunk, i))));
  }
  std::vector<double> row(columns.size());
  for (idx_t number = 0; number < duckdb_data_chunk_get_size(chunk); ++number) {
    std::ranges::transform(columns, row.begin(),
                           [number](const double* values) { return values[number]; });
    visit(row);
  }
}

}  // namespace

RecordNumbers::RecordNumbers(const std::vector<WrittenColumn>& columns, const NextRow& nextRow,
                             const std::string& spoolDir, std::function<bool()> cancelled)
    : parent_(FolderForSpool(spoolDir)),
      cancelled_(std::move(cancelled)),
      folder_(MakeSpoolFolder(parent_)) {
  const std::filesystem::path path = folder_.Path() / "numbers.parquet";
  WriteParquet(path, columns, nextRow,
               [this](const std::string& reason) { Fail("written", reason); });
  try {
    connection_.SetTempDirectory(parent_);
    connection_.Execute("SET threads = 1");
    connection_.Execute("SET memory_limit = '256MB'");
    connection_.Execute(fmt::format("CREATE VIEW {} AS SELECT * FROM read_parquet({})", kName,
                                    QuoteText(path.string())));
  } catch (const QueryError& error) {
    Fail("read back", error.what());
  }
}

void RecordNumbers::Query(const std::string& sql,
                          const std::function<void(std::span<const double>)>& visit) {
  try {
    RowStream rows(connection_, sql, cancelled_);
    while (const ChunkHandle chunk = rows.Next()) {
      if (cancelled_ && cancelled_()) throw Cancelled();
      VisitRows(chunk.Get(), visit);
    }
  } catch (const QueryError& error) {
    Fail("read back", error.what());
  }
}

void RecordNumbers::Fail(const char* what, const std::string& reason) const {
  if (cancelled_ && cancelled_()) throw Cancelled();
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file of the plots in the folder '{}' cannot be {} ({}). "
                          "Name a folder with more room with --spool-dir.",
                          parent_, what, reason));
}

}  // namespace qvhost
