#include "host/fit/CountedRecordIterator.h"

#include <utility>

#include "host/Error.h"
#include "host/fit/StatusText.h"
#include "qvreg/common/QvStatusCodes.h"

namespace qvhost {

namespace {

constexpr long long kRecordsBetweenReports = 8192;  // A power of two: the test is one mask.

}  // namespace

CountedRecordIterator::CountedRecordIterator(const CodedTable& table, Progress progress)
    : file_(table.File()),
      records_(file_, table.RecordSize()),
      progress_(std::move(progress)),
      expected_(table.RecordCount()) {}

const QvCommon::Record* CountedRecordIterator::Next() {
  const QvCommon::Record* record = records_.Next();
  if (record == nullptr) return nullptr;
  ++delivered_;
  if ((delivered_ & (kRecordsBetweenReports - 1)) == 0 && progress_) progress_(pass_, delivered_);
  return record;
}

const QvCommon::Record* CountedRecordIterator::Fetch(const Interrupt& interrupt) {
  if (interrupt.Requested()) throw Cancelled();
  const QvCommon::Record* record = Next();
  if (record == nullptr && !AllRecordsRead()) {
    throw Error(ExitCode::kRunFailed,
                StatusText(QvCommon::QvStatus(QvStatusCode::kUnreadableRecord, false)));
  }
  return record;
}

int CountedRecordIterator::NewPass() {
  readFailed_ = !AllRecordsRead();
  ++pass_;
  delivered_ = 0;
  // The library's iterator reads on from the position of the file.
  if (std::fseek(file_, 0, SEEK_SET) != 0) {
    throw Error(ExitCode::kRunFailed,
                StatusText(QvCommon::QvStatus(QvStatusCode::kNoFurtherPass, false)));
  }
  const int reason = records_.NewPass();
  if (progress_) progress_(pass_, delivered_);
  return reason;
}

bool CountedRecordIterator::AllRecordsRead() const {
  if (readFailed_ || records_.GetFailReason() == QvCommon::kIterReadError) return false;
  // A pass that the library itself ended early still has records.
  return pass_ == 0 || records_.HasMore() || delivered_ == expected_;
}

}  // namespace qvhost
