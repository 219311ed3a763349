#include "host/fit/ScoredRows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <future>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/fit/SpoolRunner.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

/// The scores of a table's records, in their order: a block is scored on other threads, if there
/// are to be more than one, while the one before is taken row by row. Borrows what it is made of.
class ScoredRows {
 public:
  ScoredRows(const CodedTable& table, const std::vector<std::string>& levels,
             const std::function<std::unique_ptr<RowScorer>()>& make, int threads)
      : table_(table), levels_(levels), isAhead_(threads > 1) {
    while (scorers_.size() < static_cast<std::size_t>(std::max(threads - 1, 1))) {
      scorers_.push_back(make());
    }
    columns_ = scorers_.front()->Columns();
    sliceRecords_ = std::clamp<std::int64_t>(
        kSliceValues / static_cast<std::int64_t>(columns_.size()), 1, kMostSliceRecords);
    next_ = Begin();
  }

  [[nodiscard]] const std::vector<WrittenColumn>& Columns() const { return columns_; }

  /// Sets the cells of the next row; false when there is none. `afterBlock` is called now and then
  /// with the number of records that are scored; what it throws passes through.
  bool Fill(RowCells& cells, const std::function<void(std::int64_t)>& afterBlock) {
    if (position_ == rows_.size()) {
      rows_ = next_.get();
      position_ = 0;
      afterBlock(begun_);
      next_ = Begin();
    }
    if (rows_.empty()) return false;
    const std::span<const double> row = std::span(rows_).subspan(position_, columns_.size());
    for (std::size_t column = 0; column < row.size(); ++column) SetCell(column, row[column], cells);
    position_ += row.size();
    return true;
  }

 private:
  using Rows = std::vector<double>;

  static constexpr std::int64_t kSliceValues = std::int64_t{1} << 17;  // 1 MB
  static constexpr std::int64_t kMostSliceRecords = 4096;

  /// Begins the next block, which is empty at the end.
  std::future<Rows> Begin() {
    const std::int64_t first = begun_;
    begun_ = std::min(first + sliceRecords_ * static_cast<std::int64_t>(scorers_.size()),
                      table_.RecordCount());
    // Without another thread to be had it is done when it is asked for.
    const std::launch way =
        isAhead_ ? std::launch::async | std::launch::deferred : std::launch::deferred;
    return std::async(way, [this, first, end = begun_] { return Score(first, end); });
  }

  Rows Score(std::int64_t first, std::int64_t end) {
    Rows rows(static_cast<std::size_t>(end - first) * columns_.size(), kNoScore);
    const auto slices = static_cast<std::size_t>((end - first + sliceRecords_ - 1) / sliceRecords_);
    ForEachOnThreads(static_cast<int>(slices), slices, [&](std::size_t slice) {
      const std::int64_t begin = first + static_cast<std::int64_t>(slice) * sliceRecords_;
      SpoolRecords records(table_, begin, std::min(begin + sliceRecords_, end), {});
      std::span<double> left =
          std::span(rows).subspan(static_cast<std::size_t>(begin - first) * columns_.size());
      while (const QvCommon::Record* record = records.Next()) {
        scorers_[slice]->Score(*record, left.first(columns_.size()));
        left = left.subspan(columns_.size());
      }
    });
    return rows;
  }

  void SetCell(std::size_t column, double value, RowCells& cells) const {
    if (value == kNoScore) return;
    if (columns_[column].type == Type::kNumber) return cells.SetNumber(column, value);
    cells.SetText(column, levels_.at(static_cast<std::size_t>(value)));
  }

  const CodedTable& table_;
  const std::vector<std::string>& levels_;
  const bool isAhead_;
  std::vector<std::unique_ptr<RowScorer>> scorers_;  ///< A slice of a block each.
  std::vector<WrittenColumn> columns_;
  std::int64_t sliceRecords_ = 0;
  std::int64_t begun_ = 0;  ///< Records of which the scoring has begun.
  Rows rows_;
  std::size_t position_ = 0;  ///< In the rows, of the next one.
  std::future<Rows> next_;    ///< Last, as what runs uses the others.
};

std::string RenamingNote(const CodedTable& table, const std::vector<WrittenColumn>& columns) {
  if (table.Kept() == nullptr) return {};
  const std::vector<std::string>& names = KeptNames(*table.Kept());
  const std::vector<std::string> beside = NamesBeside(names, columns);
  std::vector<std::string> renamed;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] != beside[i]) renamed.push_back(beside[i]);
  }
  if (renamed.empty()) return {};
  return fmt::format(
      "Columns of the data whose names the predictions use are written with '_data' added: {}.",
      NameList(renamed));
}

}  // namespace

void ScoreRows(const CodedTable& table, const std::vector<std::string>& levels,
               const std::function<std::unique_ptr<RowScorer>()>& make, const WalkOptions& options,
               const RowTaker& take) {
  ScoredRows rows(table, levels, make, options.threads);
  const auto afterBlock = [&](std::int64_t records) {
    if (options.interrupt.Requested()) throw Cancelled();
    if (options.progress) options.progress(records);
  };
  take(rows.Columns(), [&](RowCells& cells) { return rows.Fill(cells, afterBlock); });
}

std::string WriteScoredRows(const WholeFile& file, const CodedTable& table,
                            const std::vector<std::string>& levels,
                            const std::function<std::unique_ptr<RowScorer>()>& make,
                            const WalkOptions& options) {
  std::string note;
  ScoreRows(table, levels, make, options,
            [&](const std::vector<WrittenColumn>& columns, const NextRow& nextRow) {
              WriteTable(file, columns, nextRow, table.Kept());
              note = RenamingNote(table, columns);
            });
  return note;
}

}  // namespace qvhost
