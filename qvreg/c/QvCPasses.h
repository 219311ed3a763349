#pragma once

/// \file
/// What travels between the makers of passes, and who makes them: bytes, workers and runners.

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCSource.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/parallel/QvPassWorker.h"
#include "qvreg/settings/QvRegSettings.h"

using QvCBytes = std::vector<unsigned char>;

struct qvreg_bytes final : QvCHandle<0x7176627974650007> {
  static constexpr const char* kName = "bytes";

  explicit qvreg_bytes(QvCBytes bytes)
      : fBytes(std::make_shared<const QvCBytes>(std::move(bytes))) {}

  /// A call that may call the host back holds a copy, so that a callback may destroy the handle.
  std::shared_ptr<const QvCBytes> fBytes;
};

/// A worker, as its handle and the call that runs it share it. Used from one thread at a time, but
/// Cancel from any.
class QvCWorker : private QvQueryCancel {
 public:
  QvCWorker() : fWorker(this) {}
  QvCWorker(const QvCWorker&) = delete;
  QvCWorker& operator=(const QvCWorker&) = delete;
  ~QvCWorker() override = default;

  void Cancel() { fbCancelled.store(true, std::memory_order_relaxed); }
  /// The answer of a part. Throws the refusal when the worker or the source is in use, or the
  /// source fails.
  QvCReport Run(const QvCBytes& request, int part, QvCSource& source, QvCBytes& answer);
  QvCReport Merge(const QvCBytes& request, const QvCBytes& first, const QvCBytes& second,
                  QvCBytes& merged);

 private:
  bool QueryCancel() override { return QueryWillCancel(); }
  bool QueryWillCancel() override { return fbCancelled.load(std::memory_order_relaxed); }
  [[nodiscard]] QvCInUse Use() { return {fbInUse, "worker"}; }

  QvPassWorker fWorker;
  std::atomic<bool> fbCancelled = false;
  bool fbInUse = false;
};

struct qvreg_worker final : QvCHandle<0x7176776f726b0008> {
  static constexpr const char* kName = "a worker";

  /// A call holds a copy, so that a callback may destroy the handle during the call.
  std::shared_ptr<QvCWorker> fWorker = std::make_shared<QvCWorker>();
};

/// Makes the passes of one component in place of the component, and counts those of a call. Its
/// failures are thrown as refusals, which pass through the component.
class QvCRunner : public IQvPassRunner {
 public:
  /// Counts passes from here on.
  void StartCall() { fPass = 0; }
  QvCommon::QvStatus Run(const QvCBytes& request, QvCancelInfo& cancel, QvCBytes& answer) final {
    if (cancel.StopRequested()) return {QvStatusCode::kCancelled, false};
    ++fPass;
    return RunPass(request, cancel, answer);
  }
  /// The record that ended the last pass, counted from 1; 0 where that is not known, or none did.
  [[nodiscard]] virtual std::int64_t StoppedAt() const { return 0; }
  /// How many values the records have; 0 where that is not known.
  [[nodiscard]] virtual int RecordSize() const { return 0; }

 protected:
  [[nodiscard]] std::int64_t Pass() const { return fPass; }
  virtual QvCommon::QvStatus RunPass(const QvCBytes& request, QvCancelInfo& cancel,
                                     QvCBytes& answer) = 0;

 private:
  std::int64_t fPass = 0;
};

/// What settings keep of the runner that a host chose. It does not change; copies of settings share
/// it, and every component has a runner of its own.
class QvCRunnerPlan {
 public:
  QvCRunnerPlan() = default;
  QvCRunnerPlan(const QvCRunnerPlan&) = delete;
  QvCRunnerPlan& operator=(const QvCRunnerPlan&) = delete;
  virtual ~QvCRunnerPlan() = default;
  /// The runner of a component of these settings. Throws the refusal when it cannot be made.
  [[nodiscard]] virtual std::unique_ptr<QvCRunner> Make(const QvRegSettings& settings) const = 0;
};

/// A runner that is the host's callback.
[[nodiscard]] std::shared_ptr<const QvCRunnerPlan> QvCPlanCallback(qvreg_runner_callback callback,
                                                                   void* user);
/// Threads over ranges of records; 0 `threads` for as many as the machine has cores, 0
/// `memoryBytes` for the library's bound.
[[nodiscard]] std::shared_ptr<const QvCRunnerPlan> QvCPlanThreads(
    std::shared_ptr<const QvCRanges> ranges, int threads, long long memoryBytes);
