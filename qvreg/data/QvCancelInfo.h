#pragma once

#include <atomic>

#include "qvreg/QvExport.h"
#include "qvreg/data/QvQueryCancel.h"

/// Joins the two ways to stop a run: the host's cancel query, borrowed, and a flag that SetCancel
/// sets. Nothing clears the flag.
///
/// SetCancel may be called from any thread; everything else belongs to the thread that runs.
class QVREG_EXPORT QvCancelInfo {
 public:
  QvCancelInfo() = default;
  explicit QvCancelInfo(QvQueryCancel* query) : fpQuery(query) {}
  QvCancelInfo(const QvCancelInfo& other);
  QvCancelInfo& operator=(const QvCancelInfo& other);
  ~QvCancelInfo() = default;

  void SetCancel() { fbCancel.store(true, std::memory_order_relaxed); }
  /// True when a stop was requested, or the host's QueryCancel says so; the flag keeps its yes.
  bool IsCancel();
  /// True when a stop was requested, or the host's QueryWillCancel says so now.
  [[nodiscard]] bool WillCancel() const {
    if (IsFlagSet()) return true;
    return fpQuery != nullptr && fpQuery->QueryWillCancel();
  }
  /// As WillCancel, and a yes is kept: what a loop asks before it goes on.
  bool StopRequested() {
    if (WillCancel()) SetCancel();
    return IsFlagSet();
  }
  /// True when a stop was requested or seen; the host is not asked.
  [[nodiscard]] bool IsFlagSet() const { return fbCancel.load(std::memory_order_relaxed); }
  void SetCancelPtr(QvQueryCancel* query) { fpQuery = query; }
  [[nodiscard]] QvQueryCancel* GetCancelPtr() const { return fpQuery; }

 private:
  QvQueryCancel* fpQuery = nullptr;
  std::atomic<bool> fbCancel = false;
};
