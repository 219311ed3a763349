#pragma once

#include <atomic>

#include "qvreg/QvExport.h"

/// What a host implements to stop a run. The host owns it; it must outlive every component whose
/// settings name it. Both questions may have the same answer: loops over records ask
/// QueryWillCancel, pivots QueryCancel. Called on the thread that runs the estimation, once per
/// record and pivot, so an answer should cost little; with a pass runner as often as that asks
/// (QvThreadRunner: every 10 ms), and that of a QvPassWorker on the worker's thread.
class QVREG_EXPORT QvQueryCancel {
 public:
  virtual ~QvQueryCancel() = default;
  /// True to stop; the host is then not asked again.
  virtual bool QueryCancel() = 0;
  /// True to stop; asked before every record that is read, and before every row, or panel of up to
  /// 256 rows, that is kept in memory.
  virtual bool QueryWillCancel() = 0;
};

/// Joins the two ways to stop a run: the host's cancel query, borrowed, and a flag that SetCancel
/// sets. Nothing clears the flag.
///
/// SetCancel may be called from any thread; everything else belongs to the thread that runs.
class QVREG_EXPORT QvCancelInfo {
 public:
  /// No query, no stop requested.
  QvCancelInfo() = default;
  /// Borrows `query`, which may be null; no stop requested.
  explicit QvCancelInfo(QvQueryCancel* query) : fpQuery(query) {}
  /// Borrows the query of `other` and takes its flag as it is now.
  QvCancelInfo(const QvCancelInfo& other);
  /// As the copy: the query of `other`, and its flag as it is now.
  QvCancelInfo& operator=(const QvCancelInfo& other);
  ~QvCancelInfo() = default;

  /// Requests a stop.
  void SetCancel() { fbCancel.store(true, std::memory_order_relaxed); }
  /// True when a stop was requested or the host's QueryCancel answers true, which sets the flag.
  bool IsCancel();
  /// True when a stop was requested or the host's QueryWillCancel answers true now.
  [[nodiscard]] bool WillCancel() const {
    if (IsFlagSet()) return true;
    return fpQuery != nullptr && fpQuery->QueryWillCancel();
  }
  /// As WillCancel, and true sets the flag: for a loop, before each step.
  bool StopRequested() {
    if (WillCancel()) SetCancel();
    return IsFlagSet();
  }
  /// True when a stop was requested or seen; the host is not asked.
  [[nodiscard]] bool IsFlagSet() const { return fbCancel.load(std::memory_order_relaxed); }
  /// Borrows `query` from now on; null for none.
  void SetCancelPtr(QvQueryCancel* query) { fpQuery = query; }
  /// The host's query; null for none.
  [[nodiscard]] QvQueryCancel* GetCancelPtr() const { return fpQuery; }

 private:
  QvQueryCancel* fpQuery = nullptr;
  std::atomic<bool> fbCancel = false;
};
