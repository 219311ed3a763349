#include "qvreg/c/QvCSource.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

using QvCCheck::NotNull;
using QvCCheck::RecordSize;
using QvCCheck::Valid;

QvCSource::QvCSource(int recordSize) : fRecordSize(recordSize), fCurrent(recordSize) {
  if (fCurrent.Size() != recordSize) throw std::bad_alloc();
}

const QvCommon::Record* QvCSource::Next() {
  if (!Fill()) return nullptr;
  std::copy_n(fBlock.Row(fNDelivered), fRecordSize, fCurrent.GetAll());
  Deliver(1);
  return &fCurrent;
}

QvCommon::QvRecordBlock QvCSource::NextBlock() {
  if (!Fill()) return {};
  QvCommon::QvRecordBlock lent = fBlock;
  lent.fpValues = fBlock.Row(fNDelivered);
  lent.fCount = fNLent = Undelivered();
  Deliver(lent.fCount);
  return lent;
}

void QvCSource::EndBlock(std::size_t nRead) noexcept {
  fNDelivered -= fNLent - nRead;
  fPosition -= static_cast<std::int64_t>(fNLent - nRead);
}

bool QvCSource::Fill() {
  if (Undelivered() > 0) return true;
  if (fAhead != Ahead::kRecord) return false;
  fBlock = {};
  fNDelivered = 0;
  fAhead = Guard(Ahead::kFailure, [this] { return Read(fBlock); });
  return Undelivered() > 0;
}

void QvCSource::Deliver(std::size_t count) {
  fNDelivered += count;
  fPosition += static_cast<std::int64_t>(count);
  if (Undelivered() > 0 || fAhead != Ahead::kUnknown) return;
  fAhead = Guard(Ahead::kFailure, [this] { return LookAhead(); });
}

int QvCSource::GetFailReason() const {
  if (Undelivered() > 0 || fAhead == Ahead::kRecord) return QvCommon::kIterOk;
  if (fAhead == Ahead::kFailure) return QvCommon::kIterReadError;
  return fbRefused ? QvCommon::kIterNoRewind : QvCommon::kIterEndOfData;
}

int QvCSource::NewPass() {
  ++fPass;
  fPosition = fBefore;
  fFailure = QvCReport();
  fBlock = {};
  fNDelivered = 0;
  fAhead = Ahead::kEnd;
  fbRefused = !Guard(false, [this] { return Rewind(); });
  if (fbRefused) {
    if (!fRefusal.IsError()) fRefusal = fFailure;
    return GetFailReason();
  }
  fbStarted = true;
  fAhead = Ahead::kRecord;
  Fill();
  return GetFailReason();
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

bool QvCSource::RewindBy(std::int32_t (*rewind)(void* user), void* user) {
  if (rewind == nullptr) {
    if (!WasStarted()) return true;
    Fail(QVREG_NO_FURTHER_PASS,
         "The record source has no rewind callback and was read once; estimation reads its records "
         "several times, so give it one.");
    return false;
  }
  const std::int32_t returned = QvCHostCall("rewind", [&] { return rewind(user); });
  if (returned == 0) return true;
  Fail(QVREG_NO_FURTHER_PASS,
       "The record source could not start pass " + std::to_string(Pass()) +
           ": its rewind callback returned " + std::to_string(returned) +
           "; check the host's data.",
       returned);
  return false;
}

QvCSource::Ahead QvCSource::AheadBy(std::int32_t returned) {
  if (returned == QVREG_NEXT_RECORD) return Ahead::kRecord;
  if (returned == QVREG_NEXT_END) return Ahead::kEnd;
  Fail(QVREG_UNREADABLE_RECORD,
       "The record source failed at " + Place() + ": its next callback returned " +
           std::to_string(returned) + "; check the host's data.",
       returned);
  return Ahead::kFailure;
}

void QvCRequireNext(bool isThere) {
  if (isThere) return;
  throw QvCRefusal(QVREG_NULL_POINTER,
                   "The callback next is null; a source needs it to get its records.");
}

const QvCommon::Record* QvCThrowingIter::Next() {
  const QvCommon::Record* next = fSource.Next();
  // Not before the records that were read ahead of the failure.
  if (next == nullptr && fSource.HasFailed()) throw QvCRefusal(fSource.Failure());
  return next;
}

QvCommon::QvRecordBlock QvCThrowingIter::NextBlock() {
  const QvCommon::QvRecordBlock block = fSource.NextBlock();
  if (block.fCount == 0 && fSource.HasFailed()) throw QvCRefusal(fSource.Failure());
  return block;
}

int QvCThrowingIter::NewPass() {
  fSource.StartRange(fPass, fBefore);
  const int reason = fSource.NewPass();
  if (fSource.HasFailed()) throw QvCRefusal(fSource.Failure());
  return reason;
}

namespace {

/// Records from the host's callbacks, which it copies; what they use is the host's. One record is
/// read ahead.
class CallbackSource : public QvCSource {
 public:
  CallbackSource(const qvreg_record_callbacks& callbacks, int recordSize)
      : QvCSource(recordSize),
        fCallbacks(callbacks),
        fRecord(static_cast<std::size_t>(recordSize)),
        fNext(fRecord.size()) {}

 protected:
  bool Rewind() override {
    fbHasNext = false;
    return RewindBy(fCallbacks.rewind, fCallbacks.user);
  }
  Ahead Read(QvCommon::QvRecordBlock& block) override {
    if (!fbHasNext) {
      const Ahead ahead = LookAhead();
      if (ahead != Ahead::kRecord) return ahead;
    }
    std::swap(fRecord, fNext);
    fbHasNext = false;
    block = RowsAt(fRecord.data(), 1);
    return Ahead::kUnknown;
  }
  Ahead LookAhead() override {
    const Ahead ahead = AheadBy(QvCHostCall("next", [&] {
      return fCallbacks.next(fCallbacks.user, fNext.data(), fCallbacks.record_size);
    }));
    fbHasNext = ahead == Ahead::kRecord;
    return ahead;
  }

 private:
  qvreg_record_callbacks fCallbacks;
  std::vector<double> fRecord;
  std::vector<double> fNext;
  bool fbHasNext = false;
};

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
    QvCRequireNext(from.next != nullptr);
    const int size = RecordSize(from.record_size, "record_size");
    QvCMake(source, "source", std::make_unique<CallbackSource>(from, size));
  });
}

int32_t qvreg_source_open_file(const char* path, size_t record_size, qvreg_source** source,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(path, "path");
    const int size = RecordSize(record_size, "record_size");
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
