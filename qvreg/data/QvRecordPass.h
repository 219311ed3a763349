#pragma once

#include <algorithm>
#include <cstddef>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/data/MultiPassRecordIter.h"
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
      : fIter(iter),
        fpBlocks(dynamic_cast<QvCommon::IQvRecordBlocks*>(&iter)),
        fCancel(cancel),
        fValidator(validator),
        fEnds(ends) {}

  /// Reads the data once from the start. `onRecord(const double* values, QvRecordVerdict,
  /// QvStatus&)` is called for every record that the validator does not refuse as an error; it
  /// returns false, with the status set, to end the pass. Answers one of the ends, the validator's
  /// error, onRecord's status, or success.
  template <typename OnRecord>
  QvCommon::QvStatus Run(OnRecord&& onRecord) {
    return Start() ? ReadOn(onRecord) : fEnds.fEmpty;
  }
  /// The same for a caller that takes several records together: the values of one stay where they
  /// are until `onBlockEnd(QvStatus&)`, which answers as onRecord, returns.
  template <typename OnRecord, typename OnBlockEnd>
  QvCommon::QvStatus Run(OnRecord&& onRecord, OnBlockEnd&& onBlockEnd) {
    return Start() ? ReadOn(onRecord, onBlockEnd) : fEnds.fEmpty;
  }

  /// The two halves of Run, for a caller that reads what an iterator delivers after refusing the
  /// pass. Start goes to the first record; false when the iterator refuses.
  [[nodiscard]] bool Start() { return fIter.NewPass() == QvCommon::kIterOk; }
  /// Reads from there to the end, as Run does.
  template <typename OnRecord>
  QvCommon::QvStatus ReadOn(OnRecord&& onRecord) {
    return ReadOn(onRecord, [](QvCommon::QvStatus&) { return true; });
  }
  template <typename OnRecord, typename OnBlockEnd>
  QvCommon::QvStatus ReadOn(OnRecord&& onRecord, OnBlockEnd&& onBlockEnd) {
    if (!fIter.HasMore()) return fEnds.fEmpty;
    QvCommon::QvStatus status;
    const auto take = [&](const double* values, QvRecordVerdict verdict) {
      return verdict != QvRecordVerdict::kError && onRecord(values, verdict, status);
    };
    while (fIter.HasMore()) {
      if (fCancel.StopRequested()) return fEnds.fCancelled;
      const bool goesOn = fpBlocks != nullptr ? ReadBlock(take, onBlockEnd, status)
                                              : ReadRecord(take, onBlockEnd, status);
      if (!goesOn) return status;
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
  /// A block, which it ends as the iterator asks for; counts what was read of it.
  class LentBlock {
   public:
    explicit LentBlock(QvCommon::IQvRecordBlocks& blocks)
        : fBlocks(blocks), fBlock(blocks.NextBlock()) {}
    LentBlock(const LentBlock&) = delete;
    LentBlock& operator=(const LentBlock&) = delete;
    ~LentBlock() {
      if (fBlock.fCount > 0) fBlocks.EndBlock(fNRead);
    }

    [[nodiscard]] bool HasMore() const { return fNRead < fBlock.fCount; }
    /// The next record's verdict, which sets the status, and values. REQUIRES: HasMore().
    QvRecordVerdict Check(const QvRegRecordValidator& validator, QvCommon::QvStatus& status) {
      if (fNRead == fNChecked) CheckMany(validator);
      if (fbAllValid) return QvRecordVerdict::kValid;
      const double* values = fBlock.Row(fNRead);
      return fbNumbersPresent ? validator.CheckOthers(values, status)
                              : validator.CheckRecord(values, fBlock.fSize, status);
    }
    const double* Next() { return fBlock.Row(fNRead++); }

   private:
    /// Few enough that a record that is not valid costs little.
    static constexpr std::size_t kCheckedTogether = 64;

    void CheckMany(const QvRegRecordValidator& validator) {
      const std::size_t count = std::min(kCheckedTogether, fBlock.fCount - fNRead);
      const double* values = fBlock.Row(fNRead);
      const auto n = static_cast<int>(count);
      fbNumbersPresent = validator.AreNumbersPresent(values, fBlock.fStride, fBlock.fSize, n);
      fbAllValid = fbNumbersPresent && validator.AreOthersValid(values, fBlock.fStride, n);
      fNChecked = fNRead + count;
    }

    QvCommon::IQvRecordBlocks& fBlocks;
    const QvCommon::QvRecordBlock fBlock;
    std::size_t fNRead = 0;
    std::size_t fNChecked = 0;  ///< Records that the two are about, or read.
    bool fbNumbersPresent = false;
    bool fbAllValid = false;
  };

  /// Reads the next record, or all of the next block; false, with the status set, when the pass
  /// ends there. `take(values, verdict)` is for each record.
  template <typename Take, typename OnBlockEnd>
  bool ReadRecord(Take& take, OnBlockEnd& onBlockEnd, QvCommon::QvStatus& status) {
    const QvCommon::Record* record = fIter.Next();
    if (record != nullptr) {
      const QvRecordVerdict verdict = fValidator.CheckRecord(*record, status);
      return take(record->GetAll(), verdict) && onBlockEnd(status);
    }
    status = fEnds.fMissingRecord;
    return false;
  }
  template <typename Take, typename OnBlockEnd>
  bool ReadBlock(Take& take, OnBlockEnd& onBlockEnd, QvCommon::QvStatus& status) {
    LentBlock block(*fpBlocks);
    if (!block.HasMore()) {
      status = fEnds.fMissingRecord;
      return false;
    }
    for (;;) {
      const QvRecordVerdict verdict = block.Check(fValidator, status);
      if (!take(block.Next(), verdict)) return false;
      if (!block.HasMore()) return onBlockEnd(status);
      if (!fCancel.StopRequested()) continue;
      status = fEnds.fCancelled;
      return false;
    }
  }

  QvCommon::MultiPassRecordIter& fIter;
  QvCommon::IQvRecordBlocks* const fpBlocks;  ///< The same object; null for one without.
  QvCancelInfo& fCancel;
  const QvRegRecordValidator& fValidator;
  const QvRecordPassEnds fEnds;
};
