#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/MultiPassRecordIter.h"

/// A record source of the C interface: reads one record ahead, so that a failure is known before
/// the library asks for the record, and keeps that failure.
///
/// A record that could not be read is announced and then not delivered, which ends a run; the data
/// would otherwise seem to end there. An exception out of a callback is such a failure, and does
/// not pass through the library. Used from one thread at a time.
class QvCSource : public QvCommon::MultiPassRecordIter {
 public:
  /// What follows the present record.
  enum class Ahead { kRecord, kEnd, kFailure };

  explicit QvCSource(int recordSize);
  QvCSource(const QvCSource&) = delete;
  QvCSource& operator=(const QvCSource&) = delete;

  [[nodiscard]] int RecordSize() const { return fRecordSize; }
  /// Holds the source for the length of a call; throws the refusal when another call has it.
  [[nodiscard]] QvCInUse Use() { return {fbInUse, "source"}; }
  /// Counts passes, and keeps a refusal, from here on.
  void StartCall() {
    fPass = 0;
    fRefusal = QvCReport();
  }

  [[nodiscard]] bool HasMore() const override { return fAhead != Ahead::kEnd; }
  const QvCommon::Record* Next() override;
  [[nodiscard]] int GetFailReason() const override { return fFailReason; }
  int NewPass() override;

  /// True after the start of the first pass.
  [[nodiscard]] bool WasStarted() const { return fbStarted; }
  /// How many records this pass has delivered.
  [[nodiscard]] std::int64_t Delivered() const { return fDelivered; }
  /// True when a pass could not be started, or a record could not be read.
  [[nodiscard]] bool HasFailed() const { return fFailure.IsError(); }
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
  /// Reads a record of RecordSize() values.
  virtual Ahead Read(QvCommon::Record& record) = 0;

  /// Keeps why the present pass, or the next record, failed.
  void Fail(std::int32_t code, const std::string& message);
  /// The same, with what a callback of the host returned.
  void Fail(std::int32_t code, const std::string& message, std::int32_t returned);
  /// Such as "record 3 of pass 2".
  [[nodiscard]] std::string Place() const;
  [[nodiscard]] std::int64_t Pass() const { return fPass; }

 private:
  void ReadAhead();
  /// Returns the result of `step`, Rewind or Read; an exception out of it becomes the failure, and
  /// the result `failed`.
  template <typename Result, typename Step>
  Result Guard(Result failed, Step&& step);
  /// Keeps the report of the failure, with its place.
  void FailBy(QvCReport report);

  int fRecordSize;
  QvCommon::Record fCurrent;
  QvCommon::Record fNext;
  Ahead fAhead = Ahead::kEnd;
  int fFailReason = QvCommon::kIterEndOfData;
  bool fbStarted = false;
  bool fbInUse = false;
  std::int64_t fPass = 0;
  std::int64_t fDelivered = 0;
  QvCReport fFailure;
  QvCReport fRefusal;
};

struct qvreg_source final : QvCHandle<0x7176736f75720003> {
  static constexpr const char* kName = "a source";

  explicit qvreg_source(std::shared_ptr<QvCSource> source) : fSource(std::move(source)) {}

  /// A call holds a copy, so that a callback may destroy the handle during the call.
  std::shared_ptr<QvCSource> fSource;
};
