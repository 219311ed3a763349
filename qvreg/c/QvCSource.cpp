#include "qvreg/c/QvCSource.h"

#include <new>
#include <utility>

#include "qvreg/c/QvCRefusal.h"

QvCSource::QvCSource(int recordSize)
    : fRecordSize(recordSize), fCurrent(recordSize), fNext(recordSize) {
  if (fCurrent.Size() != recordSize || fNext.Size() != recordSize) throw std::bad_alloc();
}

const QvCommon::Record* QvCSource::Next() {
  if (fAhead != Ahead::kRecord) return nullptr;
  std::swap(fCurrent, fNext);
  ++fDelivered;
  ReadAhead();
  return &fCurrent;
}

int QvCSource::NewPass() {
  ++fPass;
  fDelivered = 0;
  fFailure = QvCReport();
  fAhead = Ahead::kNothing;
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
  switch (Guard(Answer::kFailed, [this] { return Read(fNext); })) {
    case Answer::kRecord:
      fAhead = Ahead::kRecord;
      fFailReason = QvCommon::kIterOk;
      return;
    case Answer::kEnd:
      fAhead = Ahead::kNothing;
      fFailReason = QvCommon::kIterEndOfData;
      return;
    case Answer::kFailed:
      fAhead = Ahead::kFailure;
      fFailReason = QvCommon::kIterReadError;
      return;
  }
}

template <typename Answered, typename Step>
Answered QvCSource::Guard(Answered failed, Step&& step) {
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
  report.SetDiscrete(0, fDelivered + 1);
  report.SetDiscrete(1, fPass);
  fFailure = report;
}

std::string QvCSource::Place() const {
  return "record " + std::to_string(fDelivered + 1) + " of pass " + std::to_string(fPass);
}

void QvCSource::Fail(std::int32_t code, const std::string& message) {
  FailBy(QvCReport(code, message));
}

void QvCSource::Fail(std::int32_t code, const std::string& message, std::int32_t returned) {
  Fail(code, message);
  fFailure.SetDiscrete(2, returned);
}
