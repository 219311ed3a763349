#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "host/fit/Interrupt.h"

namespace qvhost {

/// Sees to it that a signal ends the command within a second, wherever it is. A thread of its own
/// waits for the interrupt; then it stops the queries that run, and ends the process itself when
/// the run has not ended by then: after half a second, or at once when another signal follows. The
/// temporary folders are removed in any case, and nothing is committed.
///
/// Borrows the interrupt. All operations belong to the thread that made it.
class InterruptWatch {
 public:
  explicit InterruptWatch(const Interrupt& interrupt);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// Runs the last step, which no signal may tear apart: throws Cancelled, and does not run it,
  /// when a signal came before; one that comes later has no effect.
  void RunLastStep(const std::function<void()>& step);

 private:
  void Watch();
  [[noreturn]] void EndProcess() const;

  const Interrupt& interrupt_;
  std::mutex mutex_;  ///< Held by whoever decides how the run ends.
  std::condition_variable over_;
  bool isOver_ = false;
  std::thread thread_;
};

}  // namespace qvhost
