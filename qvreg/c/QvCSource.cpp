#include "qvreg/c/QvCSource.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

using QvCCheck::NotNull;
using QvCCheck::PositiveSize;
using QvCCheck::Valid;

QvCSource::QvCSource(int recordSize)
    : fRecordSize(recordSize), fCurrent(recordSize), fNext(recordSize) {
  if (fCurrent.Size() != recordSize || fNext.Size() != recordSize) throw std::bad_alloc();
}

const QvCommon::Record* QvCSource::Next() {
  if (fAhead != Ahead::kRecord) return nullptr;
  std::swap(fCurrent, fNext);
  ++fPosition;
  ReadAhead();
  return &fCurrent;
}

int QvCSource::NewPass() {
  ++fPass;
  fPosition = fBefore;
  fFailure = QvCReport();
  fAhead = Ahead::kEnd;
  fFailReason = QvCommon::kIterNoRewind;
  if (!Guard(false, [this] { return Rewind(); })) {
    if (!fRefusal.IsError()) fRefusal = fFailure;
    return fFailReason;
  }
  fbStarted = true;
  ReadAhead();
  return fFailReason;
}

void QvCSource::ReadAhead() {
  fAhead = Guard(Ahead::kFailure, [this] { return Read(fNext); });
  switch (fAhead) {
    case Ahead::kRecord:
      fFailReason = QvCommon::kIterOk;
      return;
    case Ahead::kEnd:
      fFailReason = QvCommon::kIterEndOfData;
      return;
    case Ahead::kFailure:
      fFailReason = QvCommon::kIterReadError;
      return;
  }
}

template <typename Result, typename Step>
Result QvCSource::Guard(Result failed, Step&& step) {
  try {
    return step();
  } catch (const QvCRefusal& refusal) {
    FailBy(refusal.Report());
  } catch (const std::bad_alloc&) {
    FailBy(QvCReport(QVREG_OUT_OF_MEMORY));
  }
  return failed;
}

void QvCSource::FailBy(QvCReport report) {
  report.SetDiscrete(0, fPosition + 1);
  report.SetDiscrete(1, fPass);
  fFailure = report;
}

std::string QvCSource::Place() const {
  return "record " + std::to_string(fPosition + 1) + " of pass " + std::to_string(fPass);
}

void QvCSource::Fail(std::int32_t code, const std::string& message) {
  FailBy(QvCReport(code, message));
}

void QvCSource::Fail(std::int32_t code, const std::string& message, std::int32_t returned) {
  Fail(code, message);
  fFailure.SetDiscrete(2, returned);
}

const QvCommon::Record* QvCThrowingIter::Next() {
  const QvCommon::Record* next = fSource.Next();
  // Not before the records that were read ahead of the failure.
  if (next == nullptr && fSource.HasFailed()) throw QvCRefusal(fSource.Failure());
  return next;
}

int QvCThrowingIter::NewPass() {
  fSource.StartRange(fPass, fBefore);
  const int reason = fSource.NewPass();
  if (fSource.HasFailed()) throw QvCRefusal(fSource.Failure());
  return reason;
}

namespace {

/// Records from the host's callbacks, which it copies; what they use is the host's.
class CallbackSource : public QvCSource {
 public:
  CallbackSource(const qvreg_record_callbacks& callbacks, int recordSize)
      : QvCSource(recordSize), fCallbacks(callbacks) {}

 protected:
  bool Rewind() override {
    if (fCallbacks.rewind == nullptr) {
      if (!WasStarted()) return true;
      Fail(QVREG_NO_FURTHER_PASS,
           "The record source has no rewind callback and was read once; estimation reads its "
           "records several times, so give it one.");
      return false;
    }
    const std::int32_t returned =
        QvCHostCall("rewind", [this] { return fCallbacks.rewind(fCallbacks.user); });
    if (returned == 0) return true;
    Fail(QVREG_NO_FURTHER_PASS,
         "The record source could not start pass " + std::to_string(Pass()) +
             ": its rewind callback returned " + std::to_string(returned) +
             "; check the host's data.",
         returned);
    return false;
  }
  Ahead Read(QvCommon::Record& record) override {
    const std::int32_t returned = QvCHostCall("next", [&] {
      return fCallbacks.next(fCallbacks.user, record.GetAll(), fCallbacks.record_size);
    });
    if (returned == QVREG_NEXT_RECORD) return Ahead::kRecord;
    if (returned == QVREG_NEXT_END) return Ahead::kEnd;
    Fail(QVREG_UNREADABLE_RECORD,
         "The record source failed at " + Place() + ": its next callback returned " +
             std::to_string(returned) + "; check the host's data.",
         returned);
    return Ahead::kFailure;
  }

 private:
  qvreg_record_callbacks fCallbacks;
};

using Columns = std::shared_ptr<const std::vector<qvreg_column>>;

/// Records from columns in the host's memory, which it borrows.
class ColumnSource : public QvCSource {
 public:
  /// The records from `begin` to before `end`. REQUIRES: at least one column, none with null values
  /// unless there are no records.
  ColumnSource(Columns columns, std::size_t begin, std::size_t end)
      : QvCSource(static_cast<int>(columns->size())),
        fColumns(std::move(columns)),
        fBegin(begin),
        fEnd(end) {}

  [[nodiscard]] std::shared_ptr<const QvCRanges> Ranges() const override;

 protected:
  bool Rewind() override {
    fNext = fBegin;
    return true;
  }
  Ahead Read(QvCommon::Record& record) override {
    if (fNext == fEnd) return Ahead::kEnd;
    double* value = record.GetAll();
    const auto next = static_cast<std::ptrdiff_t>(fNext);
    for (const qvreg_column& column : *fColumns) *value++ = column.values[next * column.stride];
    ++fNext;
    return Ahead::kRecord;
  }

 private:
  Columns fColumns;
  std::size_t fBegin;
  std::size_t fEnd;
  std::size_t fNext = 0;
};

class ColumnRanges : public QvCRanges {
 public:
  ColumnRanges(Columns columns, std::size_t nRecords)
      : fColumns(std::move(columns)), fNRecords(nRecords) {}

  [[nodiscard]] int RecordSize() const override { return static_cast<int>(fColumns->size()); }
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

void StartPass(QvCSource& source) {
  source.StartCall();
  source.NewPass();
  if (source.HasFailed()) throw QvCRefusal(source.Failure());
}

}  // namespace

int32_t qvreg_source_create_callbacks(const qvreg_record_callbacks* callbacks,
                                      qvreg_source** source, qvreg_error* error) {
  return QvCCall(error, [&] {
    const qvreg_record_callbacks from = QvCStruct::Take(callbacks, "callbacks");
    if (from.next == nullptr) {
      throw QvCRefusal(QVREG_NULL_POINTER,
                       "The callback next is null; a source needs it to get its records.");
    }
    const int size = PositiveSize(from.record_size, "record_size");
    QvCMake(source, "source", std::make_unique<CallbackSource>(from, size));
  });
}

int32_t qvreg_source_create_columns(const qvreg_column* columns, size_t n_columns, size_t n_records,
                                    qvreg_source** source, qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(columns, "columns");
    PositiveSize(n_columns, "n_columns");
    const auto all = std::make_shared<std::vector<qvreg_column>>(columns, columns + n_columns);
    const auto empty = std::find_if(all->begin(), all->end(), [](const qvreg_column& column) {
      return column.values == nullptr;
    });
    if (n_records > 0 && empty != all->end()) {
      throw QvCRefusal(QVREG_NULL_POINTER, "Column " + std::to_string(empty - all->begin()) +
                                               " has null values; point it to its first one.");
    }
    QvCMake(source, "source", std::make_unique<ColumnSource>(all, 0, n_records));
  });
}

int32_t qvreg_source_open_file(const char* path, size_t record_size, qvreg_source** source,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(path, "path");
    const int size = PositiveSize(record_size, "record_size");
    QvCMake(source, "source", QvCOpenFile(path, size));
  });
}

void qvreg_source_destroy(qvreg_source* source) { QvCDestroy(source); }

int32_t qvreg_source_rewind(qvreg_source* source, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    const QvCInUse use = records->Use();
    StartPass(*records);
  });
}

int32_t qvreg_source_next(qvreg_source* source, double* record, size_t capacity,
                          int32_t* has_record, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    QvCSource& from = *records;
    NotNull(record, "record");
    NotNull(has_record, "has_record");
    const QvCList list(static_cast<size_t>(from.RecordSize()), capacity, nullptr);
    if (!list.IsWanted(record)) return;
    const QvCInUse use = from.Use();
    if (!from.WasStarted() && !from.HasFailed()) StartPass(from);
    const QvCommon::Record* next = from.Next();
    // Not before the records that were read ahead of the failure.
    if (next == nullptr && from.HasFailed()) throw QvCRefusal(from.Failure());
    if (next != nullptr) std::copy_n(next->GetAll(), from.RecordSize(), record);
    *has_record = next != nullptr ? 1 : 0;
  });
}
