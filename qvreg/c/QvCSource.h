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
/// the library asks for the record, and remembers it.
///
/// A record that could not be read is announced and then not delivered, which ends a run; the data
/// would otherwise seem to end there. An exception out of a callback is such a failure, and does
/// not pass through the library. Used from one thread at a time.
class QvCSource : public QvCommon::MultiPassRecordIter {
 public:
  /// What Read returns.
  enum class Answer { kRecord, kEnd, kFailed };

  explicit QvCSource(int recordSize);
  QvCSource(const QvCSource&) = delete;
  QvCSource& operator=(const QvCSource&) = delete;

  [[nodiscard]] int RecordSize() const { return fRecordSize; }
  /// Holds the source for the length of a call; throws the refusal when another call has it.
  [[nodiscard]] QvCInUse Use() { return {fbInUse, "source"}; }
  /// Passes are counted, and a refusal is remembered, from here on.
  void StartCall() {
    fPass = 0;
    fRefusal = QvCReport();
  }

  [[nodiscard]] bool HasMore() const override { return fAhead != Ahead::kNothing; }
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
  virtual Answer Read(QvCommon::Record& record) = 0;

  /// Remembers why the present pass, or the present record, failed.
  void Fail(std::int32_t code, const std::string& message);
  /// The same, with what a callback of the host returned.
  void Fail(std::int32_t code, const std::string& message, std::int32_t returned);
  /// Such as "record 3 of pass 2".
  [[nodiscard]] std::string Place() const;
  [[nodiscard]] std::int64_t Pass() const { return fPass; }

 private:
  enum class Ahead { kNothing, kRecord, kFailure };

  void ReadAhead();
  /// Runs `step`, one of the above, and returns what it does; an exception out of it becomes the
  /// failure, and the result `failed`.
  template <typename Answered, typename Step>
  Answered Guard(Answered failed, Step&& step);
  /// Remembers an exception as the failure.
  void FailBy(QvCReport report);

  int fRecordSize;
  QvCommon::Record fCurrent;
  QvCommon::Record fNext;
  Ahead fAhead = Ahead::kNothing;
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

  /// A call holds it by value, so that a host that destroys the handle meanwhile leaves it whole.
  std::shared_ptr<QvCSource> fSource;
};
