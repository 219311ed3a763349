#include "host/table/CodeTable.h"

#include <algorithm>
#include <future>
#include <memory>
#include <span>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/table/CodingPlan.h"
#include "host/table/ColumnCoders.h"
#include "host/table/Connection.h"
#include "host/table/KeptRows.h"
#include "host/table/NumberLevels.h"
#include "host/table/PreparedQuery.h"
#include "host/table/TableReading.h"

namespace qvhost {
namespace {

/// Values that are coded at once: 256 KB, which stay in the cache of a core. Larger batches cost
/// memory and are no faster.
constexpr std::size_t kBatchValues = std::size_t{1} << 15;
constexpr std::size_t kSliceRows = 4096;

/// Rows that are spooled together.
struct Batch {
  std::vector<ChunkHandle> chunks = {};
  std::size_t rows = 0;
  std::int64_t firstRow = 0;
};

/// One position of the records whose codes change. Borrows the final code of each provisional one.
struct CodeChange {
  std::size_t position;
  std::span<const double> codes;
};

/// One coding of one table: query, coders, spool file, in the order of the steps.
class Coder {
 public:
  Coder(const TableSource& source, const std::vector<ColumnRequest>& requests,
        const CodingOptions& options)
      : source_(source),
        options_(options),
        plan_(PlanCoding(source, requests, options.maxLevels)),
        file_(options.spoolDir) {
    if (options.keep.empty()) return;
    kept_ = std::make_shared<KeptRows>(source, options.keep, options.spoolDir);
  }

  CodedTable Run() {
    ReadRows();
    std::vector<CodedColumn> columns;
    for (const PlannedColumn& column : plan_) columns.push_back(column.coder->Finish());
    SortLevels();
    file_.Rewind();
    return {std::move(file_), std::move(columns), rows_, std::move(missingStrings_),
            std::move(kept_)};
  }

 private:
  std::string Query() const {
    std::string list;
    for (const PlannedColumn& column : plan_) list += (list.empty() ? "" : ", ") + column.sql;
    for (const KeptColumn& column : options_.keep) list += ", " + column.sql;
    return fmt::format("SELECT {} FROM {}", list, source_.Relation());
  }

  void ReadRows() {
    LimitReading(source_, plan_.size() + options_.keep.size(), options_.threads, file_.Folder());
    source_.StartCounting();
    {
      RowStream stream(source_.Database(), Query(), options_.cancelled);
      // Ends before the stream, whatever happens.
      std::future<void> spooling;
      Batch batch;
      while (ChunkHandle chunk = stream.Next()) {
        if (kept_) kept_->Append(chunk.Get(), plan_.size());
        const idx_t rows = duckdb_data_chunk_get_size(chunk.Get());
        batch.rows += rows;
        rows_ += static_cast<std::int64_t>(rows);
        batch.chunks.push_back(std::move(chunk));
        if (batch.rows * plan_.size() >= kBatchValues) StartSpooling(batch, spooling);
        Report(CodingProgress::Stage::kReading, stream.Share(), rows_);
      }
      StartSpooling(batch, spooling);
      Wait(spooling);
    }
    missingStrings_ = source_.MissingStringsRead();
    file_.Flush();
    if (kept_) kept_->Finish();
  }

  /// Has a batch spooled while the next one is read, once the one before is; `batch` is empty then.
  void StartSpooling(Batch& batch, std::future<void>& spooling) {
    Wait(spooling);
    batch_ = std::exchange(batch, {.firstRow = rows_});
    const int others = options_.threads - 1;
    if (others < 1) return SpoolBatch(1);
    try {
      spooling = std::async(std::launch::async, [this, others] { SpoolBatch(others); });
    } catch (const std::system_error&) {
      SpoolBatch(1);
    }
  }

  static void Wait(std::future<void>& spooling) {
    if (spooling.valid()) spooling.get();
  }

  /// Columns are coded on threads of their own, each into one piece of memory, and make records
  /// then.
  void SpoolBatch(int threads) {
    const std::size_t size = plan_.size();
    values_.resize(batch_.rows * size);
    records_.resize(batch_.rows * size);
    ForEachOnThreads(threads, size, [this](std::size_t column) { CodeColumn(column); });
    const std::size_t slices = (batch_.rows + kSliceRows - 1) / kSliceRows;
    ForEachOnThreads(threads, slices, [this](std::size_t slice) { MakeRecords(slice); });
    file_.Append(records_);
    batch_.chunks.clear();
  }

  void CodeColumn(std::size_t column) {
    std::size_t first = 0;
    for (const ChunkHandle& chunk : batch_.chunks) {
      const idx_t rows = duckdb_data_chunk_get_size(chunk.Get());
      plan_[column].coder->Code(duckdb_data_chunk_get_vector(chunk.Get(), column), rows,
                                values_.data() + column * batch_.rows + first,
                                batch_.firstRow + static_cast<std::int64_t>(first));
      first += rows;
    }
  }

  void MakeRecords(std::size_t slice) {
    const std::size_t begin = slice * kSliceRows;
    const std::size_t end = std::min(begin + kSliceRows, batch_.rows);
    for (std::size_t column = 0; column < plan_.size(); ++column) {
      const double* from = values_.data() + column * batch_.rows;
      double* to = records_.data() + column;
      for (std::size_t row = begin; row < end; ++row) to[row * plan_.size()] = from[row];
    }
  }

  /// Puts the final codes into the records. Negative codes stay.
  void SortLevels() {
    std::vector<CodeChange> changes;
    for (std::size_t i = 0; i < plan_.size(); ++i) {
      const std::vector<double>& codes = plan_[i].coder->FinalCodes();
      if (!codes.empty()) changes.push_back({i, codes});
    }
    if (changes.empty()) return;
    const auto change = [&](std::int64_t, std::span<double> records) {
      for (const CodeChange& column : changes) {
        for (std::size_t at = column.position; at < records.size(); at += plan_.size()) {
          if (records[at] >= 0.0) records[at] = column.codes[static_cast<std::size_t>(records[at])];
        }
      }
    };
    file_.ChangeRecords(plan_.size(), options_.threads, change, [this](std::int64_t done) {
      Report(CodingProgress::Stage::kCoding, static_cast<double>(done) / static_cast<double>(rows_),
             done);
    });
  }

  void Report(CodingProgress::Stage stage, double share, std::int64_t rows) const {
    if (options_.cancelled && options_.cancelled()) throw Cancelled();
    if (options_.progress) options_.progress({stage, share, rows});
  }

  const TableSource& source_;
  const CodingOptions& options_;
  std::vector<PlannedColumn> plan_;
  SpoolFile file_;
  std::shared_ptr<KeptRows> kept_;  ///< Null when nothing is kept.
  Batch batch_;                     ///< That is being spooled:
  std::vector<double> values_;      ///< its values coded, column after column,
  std::vector<double> records_;     ///< and as records.
  std::int64_t rows_ = 0;           ///< Read.
  std::vector<MissingString> missingStrings_;
};

/// Throws Error for one that is a category because it is text, though its values are numbers.
void CheckCategories(const TableSource& source, const std::vector<ColumnRequest>& requests,
                     const CodedTable& table) {
  for (std::size_t i = 0; i < requests.size(); ++i) {
    const std::string& label = requests[i].label;
    const bool isColumn = !source.Matches(label).empty();
    if (!requests[i].isByTypeOnly || !isColumn || source.IsTypeGiven(label)) continue;
    const CodedColumn& column = table.Columns()[i];
    if (IsLikelyNumber(column)) RefuseNumberLevels(source, requests[i], column);
  }
}

}  // namespace

const char* StageName(CodingProgress::Stage stage) {
  return stage == CodingProgress::Stage::kReading ? "reading" : "coding";
}

CodedTable CodeTable(const TableSource& source, const std::vector<ColumnRequest>& requests,
                     const CodingOptions& options) {
  try {
    return ReadMending(source, [&] {
      CodedTable table = Coder(source, requests, options).Run();
      CheckCategories(source, requests, table);
      return table;
    });
  } catch (const TooManyLevels& error) {
    for (const ColumnRequest& request : requests) {
      if (request.isByTypeOnly && request.label == error.Label()) RefuseCategory(source, request);
    }
    throw;
  }
}

}  // namespace qvhost
