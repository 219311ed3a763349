#pragma once

#include <utility>
#include <vector>

#include "bench/Stopwatch.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// Notes when each pass over the data starts.
class PassClock {
 public:
  void PassStarts() { starts_.push_back(Now()); }
  /// Time since construction.
  [[nodiscard]] Elapsed Now() const { return watch_.Now(); }
  [[nodiscard]] const std::vector<Elapsed>& Starts() const { return starts_; }

 private:
  Stopwatch watch_;
  std::vector<Elapsed> starts_;
};

/// A record iterator that tells a clock of its passes. Only NewPass is overridden, so a record
/// costs what it costs without. Borrows the clock.
template <typename Iterator>
class TimedIterator : public Iterator {
 public:
  template <typename... Arguments>
  explicit TimedIterator(PassClock& clock, Arguments&&... arguments)
      : Iterator(std::forward<Arguments>(arguments)...), clock_(&clock) {}

  int NewPass() override {
    clock_->PassStarts();
    return Iterator::NewPass();
  }

 private:
  PassClock* clock_;
};

/// Fits a linear model through the library's public interface, as a host does: parameters, model,
/// statistics. Prints what each pass took, and the whole since the clock was made. False, with a
/// line on standard error, when the fit fails. REQUIRES: an iterator that tells `clock`, and no
/// frequency weight.
bool FitAndPrint(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                 const PassClock& clock);

}  // namespace qvbench
