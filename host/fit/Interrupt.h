#pragma once

#include <array>
#include <cstddef>

#include "qvreg/data/QvCancelInfo.h"

namespace qvhost {

/// Notices the signals that ask a run to end (Ctrl-C's SIGINT, SIGTERM, and SIGHUP where there is
/// one) while it lives, instead of letting them end the process, and answers the library's question
/// whether to stop. A signal that was ignored when it was made stays ignored.
///
/// At most one at a time. Questions may be asked from any thread; the rest belongs to one.
class Interrupt : public QvQueryCancel {
 public:
  Interrupt();
  ~Interrupt() override;
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// True once a signal came; stays true.
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

}  // namespace qvhost
