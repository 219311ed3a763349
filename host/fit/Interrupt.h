#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>

#include "qvreg/data/QvCancelInfo.h"

namespace qvhost {

/// Catches the signals that ask a run to end (Ctrl-C's SIGINT, SIGTERM, and SIGHUP where there is
/// one) while it lives, instead of letting them end the process, and tells the library whether to
/// stop. A signal that was ignored before stays ignored.
///
/// At most one at a time. Any thread may query it; construction and destruction belong to one.
class Interrupt : public QvQueryCancel {
 public:
  Interrupt();
  ~Interrupt() override;
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// Whether a signal came.
  [[nodiscard]] bool Requested() const noexcept { return Signal() != 0; }
  /// Whether another one followed.
  [[nodiscard]] bool Repeated() const noexcept;
  /// The first signal; 0 for none.
  [[nodiscard]] int Signal() const noexcept;

  bool QueryCancel() override { return Requested(); }
  bool QueryWillCancel() override { return Requested(); }

 private:
  using Handler = void (*)(int);
  static constexpr std::size_t kMostSignals = 3;

  std::array<Handler, kMostSignals> previous_{};
};

/// Makes a signal end the command within a second, whatever it is doing. A thread of its own polls
/// the interrupt; then it stops the queries that run, and ends the process itself when the run has
/// not ended by then: after half a second, or at once when another signal follows. The temporary
/// folders are removed in any case, and nothing is committed.
///
/// Borrows the interrupt. All operations belong to the thread that made it.
class InterruptWatch {
 public:
  explicit InterruptWatch(const Interrupt& interrupt);
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// Runs the last step, which no signal may interrupt: throws Cancelled, and does not run it, when
  /// a signal came before; one that comes later has no effect.
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
