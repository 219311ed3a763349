#pragma once

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/QvStatusCodes.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"

/// The one loop over a host's records: more? cancelled? next, valid?
///
/// Borrows the iterator, the cancel information and the validator for its lifetime. Runs on the
/// thread that called the library; allocates nothing.
class QvRecordPass {
 public:
  /// `missingRecord` is the status of a pass whose iterator announces a record and delivers none.
  QvRecordPass(QvCommon::MultiPassRecordIter& iter, const QvCancelInfo& cancel,
               const QvRegRecordValidator& validator, long missingRecord)
      : fIter(iter), fCancel(cancel), fValidator(validator), fMissingRecord(missingRecord) {}

  /// Reads the data once from the start. `onRecord(const Record&, QvRecordVerdict, QvStatus&)` is
  /// called for every record that the validator does not refuse as an error; it returns false, with
  /// the status set, to end the pass. Answers 307 without a first record, 1 when cancelled, the
  /// validator's error, onRecord's status, or success.
  template <typename OnRecord>
  QvCommon::QvStatus Run(OnRecord&& onRecord) {
    fIter.NewPass();
    if (!fIter.HasMore()) return {QvStatusCode::kNoRecords, false};
    QvCommon::QvStatus status;
    while (fIter.HasMore()) {
      if (fCancel.WillCancel()) return {QvStatusCode::kCancelled, false};
      const QvCommon::Record* record = fIter.Next();
      if (record == nullptr) return {fMissingRecord, false};
      const QvRecordVerdict verdict = fValidator.CheckRecord(*record, status);
      if (verdict == QvRecordVerdict::kError) return status;
      if (!onRecord(*record, verdict, status)) return status;
    }
    return status;
  }

 private:
  QvCommon::MultiPassRecordIter& fIter;
  const QvCancelInfo& fCancel;
  const QvRegRecordValidator& fValidator;
  long fMissingRecord;
};
