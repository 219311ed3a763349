#include "host/table/CodeTable.h"

#include <algorithm>
#include <memory>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/table/CodingPlan.h"
#include "host/table/ColumnCoders.h"
#include "host/table/Connection.h"
#include "host/table/KeptRows.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

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

  /// Files need buffers by the column, far below the limit. A stored table is cached up to the
  /// limit, to no use as it is read once: a low one keeps memory flat.
  void LimitMemory() const {
    const std::size_t columns = plan_.size() + options_.keep.size();
    const std::size_t megabytes = source_.IsStored() ? 128 + 4 * columns : 1024 + 16 * columns;
    source_.Database().Execute(fmt::format("SET memory_limit = '{}MB'", megabytes));
    source_.Database().SetTempDirectory(file_.Folder());
  }

  void ReadRows() {
    LimitMemory();
    source_.StartCounting();
    {
      RowStream stream(source_.Database(), Query(), options_.cancelled);
      while (duckdb_data_chunk chunk = stream.Next()) {
        Spool(chunk);
        Report(CodingProgress::Stage::kReading, stream.Share(), rows_);
      }
    }
    missingStrings_ = source_.MissingStringsRead();
    file_.Flush();
    if (kept_) kept_->Finish();
  }

  void Spool(duckdb_data_chunk chunk) {
    const idx_t rows = duckdb_data_chunk_get_size(chunk);
    block_.resize(rows * plan_.size());
    for (std::size_t i = 0; i < plan_.size(); ++i) {
      plan_[i].coder->Code(duckdb_data_chunk_get_vector(chunk, i), rows,
                           {block_.data() + i, plan_.size(), rows_});
    }
    file_.Append(block_);
    if (kept_) kept_->Append(chunk, plan_.size());
    rows_ += static_cast<std::int64_t>(rows);
  }

  void SortLevels() {
    std::vector<CodeChange> changes;
    for (std::size_t i = 0; i < plan_.size(); ++i) {
      const std::vector<double>& codes = plan_[i].coder->FinalCodes();
      if (!codes.empty()) changes.push_back({i, &codes});
    }
    if (changes.empty()) return;
    SortCodes(file_, rows_, plan_.size(), changes, [this](std::int64_t done) {
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
  std::vector<double> block_;
  std::int64_t rows_ = 0;
  std::vector<MissingString> missingStrings_;
};

constexpr std::size_t kBlockValues = std::size_t{1} << 18;  // 2 MB

void Change(std::span<double> block, std::size_t recordSize, const CodeChange& change) {
  const std::vector<double>& codes = *change.codes;
  for (std::size_t at = change.position; at < block.size(); at += recordSize) {
    if (block[at] >= 0.0) block[at] = codes[static_cast<std::size_t>(block[at])];
  }
}

}  // namespace

const char* StageName(CodingProgress::Stage stage) {
  return stage == CodingProgress::Stage::kReading ? "reading" : "coding";
}

CodedTable CodeTable(const TableSource& source, const std::vector<ColumnRequest>& requests,
                     const CodingOptions& options) {
  for (;;) {
    Coder coder(source, requests, options);
    try {
      return coder.Run();
    } catch (const TooManyLevels& error) {
      for (const ColumnRequest& request : requests) {
        if (request.isByTypeOnly && request.label == error.Label()) RefuseCategory(source, request);
      }
      throw;
    } catch (const QueryError& error) {
      if (source.CorrectTypes(error)) continue;
      throw Error(error.Code(), source.ReadingText(error));
    }
  }
}

void SortCodes(SpoolFile& file, std::int64_t records, std::size_t recordSize,
               const std::vector<CodeChange>& changes,
               const std::function<void(std::int64_t)>& afterBlock) {
  const auto size = static_cast<std::int64_t>(recordSize);
  const auto blockRecords =
      static_cast<std::int64_t>(std::max<std::size_t>(1, kBlockValues / recordSize));
  std::vector<double> block(static_cast<std::size_t>(std::min(blockRecords, records)) * recordSize);
  for (std::int64_t first = 0; first < records; first += blockRecords) {
    const std::int64_t count = std::min(blockRecords, records - first);
    const std::span<double> used(block.data(), static_cast<std::size_t>(count * size));
    file.Read(first * size, used);
    for (const CodeChange& change : changes) Change(used, recordSize, change);
    file.Overwrite(first * size, used);
    afterBlock(first + count);
  }
  file.Flush();
}

}  // namespace qvhost
