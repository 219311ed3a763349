#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/data/MultiPassRecordIter.h"

class QvCRanges;

/// A record source of the C interface: reads ahead, so that a failure is known before the library
/// asks for the record, and keeps that failure.
///
/// A record that could not be read is announced and then not delivered, which ends a run; the data
/// would otherwise seem to end there. An exception out of a callback is such a failure, and does
/// not pass through the library. Used from one thread at a time.
class QvCSource : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  /// What follows the present block; kUnknown asks LookAhead once its last record is delivered.
  enum class Ahead { kRecord, kEnd, kFailure, kUnknown };

  explicit QvCSource(int recordSize);
  QvCSource(const QvCSource&) = delete;
  QvCSource& operator=(const QvCSource&) = delete;

  [[nodiscard]] int RecordSize() const { return fRecordSize; }
  /// Holds the source for the length of a call; throws the refusal when another call has it.
  [[nodiscard]] QvCInUse Use() { return {fbInUse, "source"}; }
  /// The ranges of its records; null where these come one after the other only.
  [[nodiscard]] virtual std::shared_ptr<const QvCRanges> Ranges() const { return nullptr; }
  /// Counts passes, and keeps a refusal, from here on.
  void StartCall() { StartRange(1, 0); }
  /// The same for a range of a larger source, as QvCThrowingIter has it.
  void StartRange(std::int64_t pass, std::int64_t before) {
    fPass = pass - 1;
    fBefore = before;
    fRefusal = QvCReport();
  }

  [[nodiscard]] bool HasMore() const override { return Undelivered() > 0 || fAhead != Ahead::kEnd; }
  const QvCommon::Record* Next() override;
  [[nodiscard]] int GetFailReason() const override;
  int NewPass() override;
  QvCommon::QvRecordBlock NextBlock() override;
  /// Takes back the records that were not read.
  void EndBlock(std::size_t nRead) noexcept override;

  /// True after the start of the first pass.
  [[nodiscard]] bool WasStarted() const { return fbStarted; }
  /// The number of the record that was delivered last, counted from 1.
  [[nodiscard]] std::int64_t Position() const { return fPosition; }
  /// True when a pass could not be started, or the next record could not be read.
  [[nodiscard]] bool HasFailed() const { return Undelivered() == 0 && fFailure.IsError(); }
  /// The failure: QVREG_NO_FURTHER_PASS for a pass that could not be started,
  /// QVREG_UNREADABLE_RECORD for a record, QVREG_CALLBACK_THREW for an exception out of a callback.
  /// It stays until the next pass.
  [[nodiscard]] const QvCReport& Failure() const { return fFailure; }
  /// The failure of the call's first pass that could not be started, success without one: a run may
  /// ask for one more pass before it ends.
  [[nodiscard]] const QvCReport& Refusal() const { return fRefusal; }

 protected:
  /// Goes back to the first record; false when it failed. Called at the start of every pass.
  virtual bool Rewind() = 0;
  /// Reads records, one or more, where they stay until the next Read; or says why there are none.
  virtual Ahead Read(QvCommon::QvRecordBlock& block) = 0;
  /// What follows the block where Read left that unknown. It does not change the block.
  virtual Ahead LookAhead() { return Ahead::kEnd; }
  /// A block of records, one behind the other, from `values` on.
  [[nodiscard]] QvCommon::QvRecordBlock RowsAt(const double* values, std::size_t count) const {
    return {values, count, fRecordSize, fRecordSize};
  }

  /// Keeps why the present pass, or the next record, failed.
  void Fail(std::int32_t code, const std::string& message);
  /// The same, with what a callback of the host returned.
  void Fail(std::int32_t code, const std::string& message, std::int32_t returned);
  /// Rewind by a callback of the host's, which is null where the data can be read once.
  bool RewindBy(std::int32_t (*rewind)(void* user), void* user);
  /// What a next callback said by returning this, a qvreg_next or a failure, which it keeps.
  Ahead AheadBy(std::int32_t returned);
  /// Such as "record 3 of pass 2".
  [[nodiscard]] std::string Place() const;
  [[nodiscard]] std::int64_t Pass() const { return fPass; }

 private:
  [[nodiscard]] std::size_t Undelivered() const { return fBlock.fCount - fNDelivered; }
  /// Reads a block where all of the present one is delivered; false without a record.
  bool Fill();
  /// Counts records of the block as delivered.
  void Deliver(std::size_t count);
  /// Returns the result of `step`, which calls the host or reads a file; an exception out of it
  /// becomes the failure, and the result `failed`.
  template <typename Result, typename Step>
  Result Guard(Result failed, Step&& step);
  /// Keeps the report of the failure, with its place.
  void FailBy(QvCReport report);

  int fRecordSize;
  QvCommon::Record fCurrent;
  QvCommon::QvRecordBlock fBlock;
  std::size_t fNDelivered = 0;  ///< Of the block.
  std::size_t fNLent = 0;       ///< By the last call of NextBlock.
  Ahead fAhead = Ahead::kEnd;
  bool fbRefused = false;
  bool fbStarted = false;
  bool fbInUse = false;
  std::int64_t fPass = 0;
  std::int64_t fBefore = 0;
  std::int64_t fPosition = 0;
  QvCReport fFailure;
  QvCReport fRefusal;
};

/// The records of a source by ranges: what settings and components keep of it. It does not change;
/// several threads may open ranges at once, and each reads its own.
class QvCRanges {
 public:
  /// An end behind all records, however many there are.
  static constexpr std::int64_t kToTheLast = INT64_MAX;

  QvCRanges() = default;
  QvCRanges(const QvCRanges&) = delete;
  QvCRanges& operator=(const QvCRanges&) = delete;
  virtual ~QvCRanges() = default;
  [[nodiscard]] virtual int RecordSize() const = 0;
  /// How many records there are now. Throws the refusal when that cannot be told.
  [[nodiscard]] virtual std::int64_t Count() const = 0;
  /// The records from `begin`, counted from 0, to before `end`, in a source that does not need this
  /// object. Throws the refusal when they cannot be opened.
  [[nodiscard]] virtual std::unique_ptr<QvCSource> Open(std::int64_t begin,
                                                        std::int64_t end) const = 0;
};

/// Throws the refusal of callbacks without a next one.
void QvCRequireNext(bool isThere);

/// Opens a record file, whose `path` is UTF-8 on every system, as a source that owns it. Throws the
/// refusal when it cannot be opened.
[[nodiscard]] std::unique_ptr<QvCSource> QvCOpenFile(const char* path, int recordSize);

/// Passes a source on for one pass, and throws its failure as the refusal: where the pass ends with
/// an answer which has no room for it. Borrows the source.
class QvCThrowingIter : public QvCommon::MultiPassRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  /// A range of a larger source: its pass is number `pass` of that, and `before` records precede it
  /// there.
  QvCThrowingIter(QvCSource& source, std::int64_t pass, std::int64_t before)
      : fSource(source), fPass(pass), fBefore(before) {}

  [[nodiscard]] bool HasMore() const override { return fSource.HasMore(); }
  const QvCommon::Record* Next() override;
  [[nodiscard]] int GetFailReason() const override { return fSource.GetFailReason(); }
  int NewPass() override;
  QvCommon::QvRecordBlock NextBlock() override;
  void EndBlock(std::size_t nRead) noexcept override { fSource.EndBlock(nRead); }

 private:
  QvCSource& fSource;
  std::int64_t fPass;
  std::int64_t fBefore;
};

struct qvreg_source final : QvCHandle<0x7176736f75720003> {
  static constexpr const char* kName = "a source";

  explicit qvreg_source(std::shared_ptr<QvCSource> source) : fSource(std::move(source)) {}

  /// A call holds a copy, so that a callback may destroy the handle during the call.
  std::shared_ptr<QvCSource> fSource;
};
