#include "host/table/ProfileTable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>
#include <utility>
#include <variant>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Hash.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/table/CodingPlan.h"
#include "host/table/Connection.h"
#include "host/table/PreparedQuery.h"
#include "host/table/SpoolFile.h"
#include "host/table/TableReading.h"

namespace qvhost {
namespace {

/// Values that are summed up at once.
constexpr std::size_t kBatchValues = std::size_t{1} << 18;

/// Whether every value of the type is a whole number of 64 bits with a sign.
bool IsWholeType(const std::string& type) {
  constexpr std::array<std::string_view, 7> kTypes = {"TINYINT",  "SMALLINT",  "INTEGER", "BIGINT",
                                                      "UTINYINT", "USMALLINT", "UINTEGER"};
  return std::ranges::find(kTypes, type) != kTypes.end();
}

/// How a column comes, and the sum of it.
struct ColumnReader {
  ColumnInfo info;
  bool isWhole = false;
  std::variant<NumberProfile, TextProfile> profile;
};

void AddNumbers(duckdb_vector values, idx_t rows, NumberProfile& profile) {
  const CellMask mask(values);
  const auto* numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      profile.AddMissing();
      continue;
    }
    profile.Add(numbers[row], HashNumber(numbers[row]));
  }
}

void AddWhole(duckdb_vector values, idx_t rows, NumberProfile& profile) {
  const CellMask mask(values);
  const auto* numbers = static_cast<const std::int64_t*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      profile.AddMissing();
      continue;
    }
    profile.Add(static_cast<double>(numbers[row]),
                MixBits(std::bit_cast<std::uint64_t>(numbers[row])));
  }
}

void AddTexts(duckdb_vector values, idx_t rows, TextProfile& profile) {
  const CellMask mask(values);
  const auto* texts = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (mask.Has(row)) {
      profile.Add(ViewOf(texts[row]));
    } else {
      profile.AddMissing();
    }
  }
}

/// One reading of one table.
class Profiler {
 public:
  Profiler(const TableSource& source, const ProfileOptions& options)
      : source_(source), options_(options) {
    std::vector<std::string> names;
    for (const ColumnInfo& column : source.Columns()) names.push_back(QuoteName(column.name));
    const ProfileLimits limits = ProfileLimits::Of(names.size());
    std::vector<ColumnInfo> infos = source.Describe(names);
    for (std::size_t i = 0; i < infos.size(); ++i) {
      infos[i].name = source.Columns()[i].name;
      infos[i].isField = source.Columns()[i].isField;
      infos[i].written = source.Columns()[i].written;
      AddColumn(std::move(infos[i]), limits);
    }
    PlanNumbers();
  }

  std::vector<ProfiledColumn> Run() {
    LimitReading(source_, columns_.size(), options_.threads, FolderForSpool(options_.spoolDir));
    source_.StartCounting();
    const std::string query =
        fmt::format("SELECT {} FROM {}", fmt::join(selected_, ", "), source_.Relation());
    {
      RowStream stream(source_.Database(), query, options_.cancelled);
      while (ChunkHandle chunk = stream.Next()) {
        batchRows_ += duckdb_data_chunk_get_size(chunk.Get());
        batch_.push_back(std::move(chunk));
        if (batchRows_ * columns_.size() >= kBatchValues) AddBatch();
        Report(stream.Share());
      }
      AddBatch();
    }
    std::vector<ProfiledColumn> profiled;
    for (ColumnReader& column : columns_) {
      profiled.push_back(
          {std::move(column.info),
           std::visit([](auto& profile) { return profile.Finish(); }, column.profile)});
    }
    return profiled;
  }

 private:
  void AddColumn(ColumnInfo info, const ProfileLimits& limits) {
    const bool isNumber = RoleOf(info.kind) == ColumnRole::kCovariate;
    const bool isWhole = isNumber && IsWholeType(info.type);
    selected_.push_back(
        fmt::format("CAST({} AS {})", QuoteName(info.name), isWhole ? "BIGINT" : "VARCHAR"));
    if (isNumber) {
      columns_.push_back({std::move(info), isWhole, NumberProfile(limits)});
    } else {
      columns_.push_back({std::move(info), isWhole, TextProfile(limits)});
    }
  }

  /// Other numbers come as the coder takes them. All at once, since for a file each plan reads its
  /// beginning.
  void PlanNumbers() {
    std::vector<ColumnRequest> requests;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const ColumnReader& column = columns_[i];
      if (column.isWhole || !std::holds_alternative<NumberProfile>(column.profile)) continue;
      requests.push_back({column.info.name, QuoteName(column.info.name)});
      places.push_back(i);
    }
    if (requests.empty()) return;
    std::vector<PlannedColumn> plan = PlanCoding(source_, requests, 1);
    for (std::size_t i = 0; i < plan.size(); ++i) selected_[places[i]] = std::move(plan[i].sql);
  }

  /// Each column on a thread, in the order of the rows.
  void AddBatch() {
    ForEachOnThreads(options_.threads, columns_.size(), [this](std::size_t column) {
      for (const ChunkHandle& chunk : batch_) Add(chunk, column);
    });
    rows_ += static_cast<std::int64_t>(batchRows_);
    batch_.clear();
    batchRows_ = 0;
  }

  void Add(const ChunkHandle& chunk, std::size_t column) {
    const idx_t rows = duckdb_data_chunk_get_size(chunk.Get());
    const duckdb_vector values = duckdb_data_chunk_get_vector(chunk.Get(), column);
    ColumnReader& reader = columns_[column];
    if (auto* const texts = std::get_if<TextProfile>(&reader.profile)) {
      AddTexts(values, rows, *texts);
    } else if (reader.isWhole) {
      AddWhole(values, rows, std::get<NumberProfile>(reader.profile));
    } else {
      AddNumbers(values, rows, std::get<NumberProfile>(reader.profile));
    }
  }

  void Report(double share) const {
    if (options_.cancelled && options_.cancelled()) throw Cancelled();
    if (options_.progress) {
      options_.progress(share, rows_ + static_cast<std::int64_t>(batchRows_));
    }
  }

  const TableSource& source_;
  const ProfileOptions& options_;
  std::vector<ColumnReader> columns_;
  std::vector<std::string> selected_;
  std::vector<ChunkHandle> batch_;
  std::size_t batchRows_ = 0;
  std::int64_t rows_ = 0;
};

}  // namespace

std::vector<ProfiledColumn> ProfileTable(const TableSource& source, const ProfileOptions& options) {
  return ReadMending(source, [&] { return Profiler(source, options).Run(); });
}

}  // namespace qvhost
