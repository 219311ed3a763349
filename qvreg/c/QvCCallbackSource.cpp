#include "qvreg/c/QvCCallbackSource.h"

#include <string>

#include "qvreg/c/QvCHostCall.h"

QvCCallbackSource::QvCCallbackSource(const qvreg_record_callbacks& callbacks, int recordSize)
    : QvCSource(recordSize), fCallbacks(callbacks) {}

bool QvCCallbackSource::Rewind() {
  if (fCallbacks.rewind == nullptr) {
    if (IsFirstPass()) return true;
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

QvCSource::Answer QvCCallbackSource::Read(QvCommon::Record& record) {
  const std::int32_t returned = QvCHostCall("next", [&] {
    return fCallbacks.next(fCallbacks.user, record.GetAll(), fCallbacks.record_size);
  });
  if (returned == QVREG_NEXT_RECORD) return Answer::kRecord;
  if (returned == QVREG_NEXT_END) return Answer::kEnd;
  Fail(QVREG_UNREADABLE_RECORD,
       "The record source failed at " + Place() + ": its next callback returned " +
           std::to_string(returned) + "; check the host's data.",
       returned);
  return Answer::kFailed;
}
