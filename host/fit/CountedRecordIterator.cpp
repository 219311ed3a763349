#include "host/fit/CountedRecordIterator.h"

#include <utility>

namespace qvhost {

namespace {

constexpr long long kRecordsBetweenReports = 8192;  // A power of two: the test is one mask.

}  // namespace

CountedRecordIterator::CountedRecordIterator(const CodedTable& table, Progress progress)
    : records_(table.File(), table.RecordSize()),
      progress_(std::move(progress)),
      expected_(table.RecordCount()) {}

const QvCommon::Record* CountedRecordIterator::Next() {
  const QvCommon::Record* record = records_.Next();
  if (record == nullptr) return nullptr;
  ++delivered_;
  if ((delivered_ & (kRecordsBetweenReports - 1)) == 0 && progress_) progress_(pass_, delivered_);
  return record;
}

int CountedRecordIterator::NewPass() {
  readFailed_ = !AllRecordsRead();
  ++pass_;
  delivered_ = 0;
  const int reason = records_.NewPass();
  if (progress_) progress_(pass_, delivered_);
  return reason;
}

bool CountedRecordIterator::AllRecordsRead() const {
  if (readFailed_ || records_.GetFailReason() == QvCommon::kIterReadError) return false;
  // A pass that the library itself ended early still has records to give.
  return pass_ == 0 || records_.HasMore() || delivered_ == expected_;
}

}  // namespace qvhost
