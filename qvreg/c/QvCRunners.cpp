#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvreg/c/QvCPasses.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/parallel/QvThreadRunner.h"

using QvCommon::QvStatus;

namespace {

/// A handle that a callback stored, which the library takes over.
struct StoredBytes {
  StoredBytes() = default;
  StoredBytes(const StoredBytes&) = delete;
  StoredBytes& operator=(const StoredBytes&) = delete;
  ~StoredBytes() { QvCDestroy(handle); }

  qvreg_bytes* handle = nullptr;
};

/// Has a host's callback make the passes. `user` is the host's, as the callback.
class CallbackRunner : public QvCRunner {
 public:
  CallbackRunner(qvreg_runner_callback callback, void* user) : fCallback(callback), fUser(user) {}

 protected:
  QvStatus RunPass(const QvCBytes& request, QvCancelInfo& cancel, QvCBytes& answer) override {
    const auto asked = std::make_unique<const qvreg_bytes>(request);
    StoredBytes stored;
    const std::int32_t returned =
        QvCHostCall("runner", [&] { return fCallback(fUser, asked.get(), &stored.handle); });
    if (returned != 0) {
      // A callback that stops for that has no other way to say so.
      if (cancel.StopRequested()) return {QvStatusCode::kCancelled, false};
      Refuse(QVREG_UNREADABLE_RECORD,
             "failed: it returned " + std::to_string(returned) + "; check the host's runner.",
             returned);
    }
    if (stored.handle == nullptr) {
      Refuse(QVREG_UNREADABLE_MESSAGE,
             "returned 0 and stored no answer; store the bytes of the last merge.", returned);
    }
    answer = *QvCCheck::Valid(stored.handle).fBytes;
    return {};
  }

 private:
  [[noreturn]] void Refuse(std::int32_t code, const std::string& what, std::int32_t returned) {
    QvCReport report(code, "In pass " + std::to_string(Pass()) + " the runner callback " + what);
    report.SetDiscrete(1, Pass());
    report.SetDiscrete(2, returned);
    throw QvCRefusal(report);
  }

  qvreg_runner_callback fCallback;
  void* fUser;
};

class CallbackPlan : public QvCRunnerPlan {
 public:
  CallbackPlan(qvreg_runner_callback callback, void* user) : fCallback(callback), fUser(user) {}

  [[nodiscard]] std::unique_ptr<QvCRunner> Make(const QvRegSettings& /*settings*/) const override {
    return std::make_unique<CallbackRunner>(fCallback, fUser);
  }

 private:
  qvreg_runner_callback fCallback;
  void* fUser;
};

/// A part's records. When it ends before they do, their reader stopped at a record, whose number it
/// stores.
class PartIter : public QvCThrowingIter {
 public:
  PartIter(std::unique_ptr<QvCSource> source, std::int64_t pass, std::int64_t before,
           std::int64_t& stop)
      : QvCThrowingIter(*source, pass, before), fSource(std::move(source)), fStop(stop) {}
  PartIter(const PartIter&) = delete;
  PartIter& operator=(const PartIter&) = delete;
  ~PartIter() override {
    if (!fbEnded) fStop = fSource->Position();
  }

  [[nodiscard]] bool HasMore() const override {
    fbEnded = !QvCThrowingIter::HasMore();
    return !fbEnded;
  }

 private:
  std::unique_ptr<QvCSource> fSource;
  std::int64_t& fStop;
  mutable bool fbEnded = false;
};

/// Records divided into ranges of about one size.
class RangeParts : public IQvRecordParts {
 public:
  RangeParts(std::shared_ptr<const QvCRanges> ranges, const QvRegSettings& settings)
      : fRanges(std::move(ranges)),
        fNRecords(fRanges->Count()),
        fStops(static_cast<std::size_t>(QvPartCount(fNRecords, settings))) {}

  void StartPass(std::int64_t pass) {
    fPass = pass;
    std::fill(fStops.begin(), fStops.end(), 0);
  }
  [[nodiscard]] int GetPartCount() const override { return static_cast<int>(fStops.size()); }
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    const bool isLast = part + 1 == GetPartCount();
    std::unique_ptr<QvCSource> source =
        fRanges->Open(Begin(part), isLast ? QvCRanges::kToTheLast : Begin(part + 1));
    return std::make_unique<PartIter>(std::move(source), fPass, Begin(part),
                                      fStops[static_cast<std::size_t>(part)]);
  }
  /// The record that ended a pass with an error. Parts before its part were read to their ends.
  [[nodiscard]] std::int64_t StoppedAt() const {
    const auto found =
        std::find_if(fStops.begin(), fStops.end(), [](auto stop) { return stop > 0; });
    return found == fStops.end() ? 0 : *found;
  }
  [[nodiscard]] int RecordSize() const { return fRanges->RecordSize(); }

 private:
  [[nodiscard]] std::int64_t Begin(int part) const { return fNRecords * part / GetPartCount(); }

  std::shared_ptr<const QvCRanges> fRanges;
  std::int64_t fNRecords;
  std::int64_t fPass = 0;
  /// By part, each written by the thread that reads it.
  std::vector<std::int64_t> fStops;
};

class ThreadRunner : public QvCRunner {
 public:
  ThreadRunner(const std::shared_ptr<const QvCRanges>& ranges, const QvRegSettings& settings,
               int threads, long long memoryBytes)
      : fParts(ranges, settings), fThreads(fParts, threads) {
    if (memoryBytes > 0) fThreads.SetMemoryBound(memoryBytes);
  }

  [[nodiscard]] std::int64_t StoppedAt() const override { return fParts.StoppedAt(); }
  [[nodiscard]] int RecordSize() const override { return fParts.RecordSize(); }

 protected:
  QvStatus RunPass(const QvCBytes& request, QvCancelInfo& cancel, QvCBytes& answer) override {
    fParts.StartPass(Pass());
    return fThreads.Run(request, cancel, answer);
  }

 private:
  RangeParts fParts;
  QvThreadRunner fThreads;
};

class ThreadPlan : public QvCRunnerPlan {
 public:
  ThreadPlan(std::shared_ptr<const QvCRanges> ranges, int threads, long long memoryBytes)
      : fRanges(std::move(ranges)), fNThreads(threads), fMemoryBytes(memoryBytes) {}

  [[nodiscard]] std::unique_ptr<QvCRunner> Make(const QvRegSettings& settings) const override {
    return std::make_unique<ThreadRunner>(fRanges, settings, fNThreads, fMemoryBytes);
  }

 private:
  std::shared_ptr<const QvCRanges> fRanges;
  int fNThreads;
  long long fMemoryBytes;
};

}  // namespace

std::shared_ptr<const QvCRunnerPlan> QvCPlanCallback(qvreg_runner_callback callback, void* user) {
  return std::make_shared<CallbackPlan>(callback, user);
}

std::shared_ptr<const QvCRunnerPlan> QvCPlanThreads(std::shared_ptr<const QvCRanges> ranges,
                                                    int threads, long long memoryBytes) {
  return std::make_shared<ThreadPlan>(std::move(ranges), threads, memoryBytes);
}
