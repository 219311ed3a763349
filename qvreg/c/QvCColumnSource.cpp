#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvreg/c/QvCColumns.h"
#include "qvreg/c/QvCSource.h"

using QvCCheck::NotNull;
using QvCCheck::RecordSize;

namespace {

using Columns = std::shared_ptr<const QvCColumns>;

/// Records that are gathered from columns, many at a time.
class GatheringSource : public QvCSource {
 protected:
  explicit GatheringSource(std::size_t size)
      : QvCSource(static_cast<int>(size)), fAtOnce(QvCRecordsAtOnce(size)) {}

  /// Gathers records from number `next` to before `end`, as many as there is room for. Throws the
  /// refusal of the first where that is refused. REQUIRES: next < end.
  QvCommon::QvRecordBlock Gather(const QvCColumns& columns, std::size_t next, std::size_t end) {
    const std::size_t wanted = std::min(fAtOnce, end - next);
    fRows.resize(std::max(fRows.size(), wanted * columns.Size()));
    const std::size_t count = columns.Read(next, wanted, fRows.data());
    if (count > 0) return RowsAt(fRows.data(), count);
    std::size_t column = 0;
    const std::string why = columns.WhyRefused(next, column);
    QvCReport report(QVREG_REFUSED_VALUE, why);
    report.SetDiscrete(2, static_cast<std::int64_t>(column));
    report.Prefix("At " + Place() + ": ");
    throw QvCRefusal(report);
  }

 private:
  std::size_t fAtOnce;
  std::vector<double> fRows;
};

/// Records from columns in the host's memory, which it borrows.
class ColumnSource : public GatheringSource {
 public:
  /// The records from `begin` to before `end`. REQUIRES: at least one column.
  ColumnSource(Columns columns, std::size_t begin, std::size_t end)
      : GatheringSource(columns->Size()),
        fColumns(std::move(columns)),
        fBegin(begin),
        fEnd(end),
        fpFirstRow(fColumns->Rows(fStride)) {}

  [[nodiscard]] std::shared_ptr<const QvCRanges> Ranges() const override;

 protected:
  bool Rewind() override {
    fNext = fBegin;
    return true;
  }
  Ahead Read(QvCommon::QvRecordBlock& block) override {
    if (fNext == fEnd) return Ahead::kEnd;
    if (fpFirstRow != nullptr) {
      const double* next = fpFirstRow + static_cast<std::ptrdiff_t>(fNext) * fStride;
      block = RowsAt(next, fEnd - fNext);
      block.fStride = fStride;
    } else {
      block = Gather(*fColumns, fNext, fEnd);
    }
    fNext += block.fCount;
    return fNext == fEnd ? Ahead::kEnd : Ahead::kRecord;
  }

 private:
  Columns fColumns;
  std::size_t fBegin;
  std::size_t fEnd;
  std::ptrdiff_t fStride = 0;  ///< Of rows.
  const double* fpFirstRow;    ///< Null where they are gathered.
  std::size_t fNext = 0;
};

class ColumnRanges : public QvCRanges {
 public:
  ColumnRanges(Columns columns, std::size_t nRecords)
      : fColumns(std::move(columns)), fNRecords(nRecords) {}

  [[nodiscard]] int RecordSize() const override { return static_cast<int>(fColumns->Size()); }
  [[nodiscard]] std::int64_t Count() const override { return static_cast<std::int64_t>(fNRecords); }
  [[nodiscard]] std::unique_ptr<QvCSource> Open(std::int64_t begin,
                                                std::int64_t end) const override {
    return std::make_unique<ColumnSource>(fColumns, static_cast<std::size_t>(begin),
                                          static_cast<std::size_t>(std::min(end, Count())));
  }

 private:
  Columns fColumns;
  std::size_t fNRecords;
};

std::shared_ptr<const QvCRanges> ColumnSource::Ranges() const {
  return std::make_shared<ColumnRanges>(fColumns, fEnd);
}

/// Records from the host's blocks. Its callbacks are copied; what they use is the host's.
class BlockSource : public GatheringSource {
 public:
  explicit BlockSource(const qvreg_block_callbacks& callbacks)
      : GatheringSource(callbacks.n_columns), fCallbacks(callbacks) {}

 protected:
  bool Rewind() override {
    fNext = fEnd = 0;
    return RewindBy(fCallbacks.rewind, fCallbacks.user);
  }
  Ahead Read(QvCommon::QvRecordBlock& block) override {
    const Ahead ahead = LookAhead();
    if (ahead != Ahead::kRecord) return ahead;
    block = Gather(fColumns, fNext, fEnd);
    fNext += block.fCount;
    return fNext == fEnd ? Ahead::kUnknown : Ahead::kRecord;
  }
  /// Asks for blocks until one has records.
  Ahead LookAhead() override {
    while (fNext == fEnd) {
      qvreg_block block{};
      block.struct_size = sizeof block;
      const Ahead ahead =
          AheadBy(QvCHostCall("next", [&] { return fCallbacks.next(fCallbacks.user, &block); }));
      if (ahead != Ahead::kRecord) return ahead;
      Take(block);
    }
    return Ahead::kRecord;
  }

 private:
  void Take(const qvreg_block& block) {
    if (block.n_records == 0) return;
    try {
      fColumns = QvCColumns(block.columns, fCallbacks.n_columns, true);
    } catch (const QvCRefusal& refusal) {
      QvCReport report = refusal.Report();
      report.Prefix("In the block from " + Place() + " on: ");
      throw QvCRefusal(report);
    }
    fNext = 0;
    fEnd = block.n_records;
  }

  qvreg_block_callbacks fCallbacks;
  QvCColumns fColumns;  ///< Of the block.
  std::size_t fNext = 0;
  std::size_t fEnd = 0;
};

/// Makes a source of columns of either kind.
template <typename Column>
void MakeSource(const Column* columns, size_t n_columns, size_t n_records, qvreg_source** source) {
  NotNull(columns, "columns");
  RecordSize(n_columns, "n_columns");
  auto all = std::make_shared<const QvCColumns>(columns, n_columns, n_records > 0);
  QvCMake(source, "source", std::make_unique<ColumnSource>(std::move(all), 0, n_records));
}

/// Counts one value of a column as what it is in record number `record`.
void Count(double value, std::int64_t record, qvreg_column_summary& to) {
  const auto count = [record](std::int64_t& number, std::int64_t& first) {
    if (number++ == 0) first = record;
  };
  if (value == QVREG_MISSING_VALUE) return count(to.missing, to.first_missing);
  if (std::isnan(value)) return count(to.nan, to.first_nan);
  if (std::isinf(value)) return count(to.infinite, to.first_infinite);
  if (to.highest == QVREG_MISSING_VALUE) to.lowest = value;
  to.lowest = std::min(to.lowest, value);
  to.highest = std::max(to.highest, value);
  if (std::trunc(value) != value) to.are_whole = 0;
}

qvreg_column_summary Summarized(const QvCColumns& column, std::size_t nRecords) {
  qvreg_column_summary summary{};
  summary.lowest = summary.highest = QVREG_MISSING_VALUE;
  summary.are_whole = 1;
  QvCRowReader reader(column);
  reader.Start(0, nRecords);
  for (std::size_t i = 0; i < nRecords; ++i) {
    Count(*reader.Next(), static_cast<std::int64_t>(i) + 1, summary);
  }
  return summary;
}

}  // namespace

int32_t qvreg_source_create_columns(const qvreg_column* columns, size_t n_columns, size_t n_records,
                                    qvreg_source** source, qvreg_error* error) {
  return QvCCall(error, [&] { MakeSource(columns, n_columns, n_records, source); });
}

int32_t qvreg_source_create_typed_columns(const qvreg_typed_column* columns, size_t n_columns,
                                          size_t n_records, qvreg_source** source,
                                          qvreg_error* error) {
  return QvCCall(error, [&] { MakeSource(columns, n_columns, n_records, source); });
}

int32_t qvreg_source_create_blocks(const qvreg_block_callbacks* callbacks, qvreg_source** source,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const qvreg_block_callbacks from = QvCStruct::Take(callbacks, "callbacks");
    QvCRequireNext(from.next != nullptr);
    RecordSize(from.n_columns, "n_columns");
    QvCMake(source, "source", std::make_unique<BlockSource>(from));
  });
}

int32_t qvreg_column_summarize(const qvreg_typed_column* column, size_t n_records,
                               qvreg_column_summary* summary, qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(column, "column");
    const QvCColumns only(column, 1, n_records > 0);
    const qvreg_column_summary found = Summarized(only, n_records);
    QvCStruct::Fill(summary, "summary", [&](qvreg_column_summary& to) { to = found; });
  });
}
