#pragma once

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvBlockReader.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"

/// What a record pass answers when it cannot go through; the fields default to the usual answers.
struct QvRecordPassEnds {
  /// There is no first record, or the iterator cannot start the pass.
  QvCommon::QvStatus fEmpty{QvStatusCode::kNoRecords, false};
  /// A stop was asked for.
  QvCommon::QvStatus fCancelled{QvStatusCode::kCancelled, false};
  /// The iterator announced a record and delivered none.
  QvCommon::QvStatus fMissingRecord{QvStatusCode::kRecordMissing, false};
};

/// The loop over a host's records: is there one more, is the run cancelled, is the next one valid.
/// Records that the iterator lends by blocks (IQvRecordBlocks) are read where they are.
///
/// Borrows the iterator, the cancel information and the validator for its lifetime. Runs on the
/// calling thread; allocates nothing.
class QvRecordPass {
 public:
  QvRecordPass(QvCommon::MultiPassRecordIter& iter, QvCancelInfo& cancel,
               const QvRegRecordValidator& validator, const QvRecordPassEnds& ends = {})
      : fReader(iter), fCancel(cancel), fValidator(validator), fEnds(ends) {}

  /// Reads the data once from the start. `onRecord(const double* values, QvRecordVerdict,
  /// QvStatus&)` is called for every record that the validator does not refuse as an error; it
  /// returns false, with the status set, to end the pass. Answers one of the ends, the validator's
  /// error, onRecord's status, or success.
  template <typename OnRecord>
  QvCommon::QvStatus Run(OnRecord&& onRecord) {
    return Start() ? ReadOn(onRecord) : fEnds.fEmpty;
  }

  /// The two halves of Run, for a caller that reads what an iterator delivers after refusing the
  /// pass. Start goes to the first record; false when the iterator refuses.
  [[nodiscard]] bool Start() { return fReader.Iter().NewPass() == QvCommon::kIterOk; }
  /// Reads from there to the end, as Run does.
  template <typename OnRecord>
  QvCommon::QvStatus ReadOn(OnRecord&& onRecord) {
    const QvCommon::MultiPassRecordIter& iter = fReader.Iter();
    if (!iter.HasMore()) return fEnds.fEmpty;
    QvCommon::QvStatus status;
    while (iter.HasMore()) {
      if (fCancel.StopRequested()) return fEnds.fCancelled;
      QvLentBlock block(fReader);
      if (!block.HasMore()) return fEnds.fMissingRecord;
      for (;;) {
        const double* values = block.Next();
        const QvRecordVerdict verdict = fValidator.CheckRecord(values, block.Get().fSize, status);
        if (verdict == QvRecordVerdict::kError) return status;
        if (!onRecord(values, verdict, status)) return status;
        if (!block.HasMore()) break;
        if (fCancel.StopRequested()) return fEnds.fCancelled;
      }
    }
    return status;
  }

  /// The status of a record or stored row that a model refused: kDataNotProcessed, or kCancelled
  /// once a stop was requested, since a model refuses then too.
  static QvCommon::QvStatus RefusedRecord(const QvCancelInfo& cancel) {
    return {cancel.IsFlagSet() ? QvStatusCode::kCancelled : QvStatusCode::kDataNotProcessed, false};
  }

  [[nodiscard]] const QvCancelInfo& GetCancelInfo() const { return fCancel; }

 private:
  QvBlockReader fReader;
  QvCancelInfo& fCancel;
  const QvRegRecordValidator& fValidator;
  const QvRecordPassEnds fEnds;
};
