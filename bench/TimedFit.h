#pragma once

#include <memory>
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

/// A fit that is done, and when its steps ended. Owns the component, and with it the statistics.
struct TimedFit {
  std::unique_ptr<IQvRegComponent> component;
  IQvRegOutputStats* stats = nullptr;  ///< Null when the fit failed.
  QvCommon::QvStatus status;
  Elapsed parametersEnd;
  Elapsed modelEnd;
  Elapsed statisticsEnd;
};

/// Fits a model through the library's public interface, as a host does: parameters, model,
/// statistics. A fit that fails says so on standard error. REQUIRES: an iterator that tells
/// `clock`.
TimedFit Fit(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter, const PassClock& clock);

/// Fits a linear model and prints what each pass took, and the whole since the clock was made.
/// False, with a line on standard error, when the fit fails. REQUIRES: as Fit, and no frequency
/// weight.
bool FitAndPrint(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                 const PassClock& clock);

}  // namespace qvbench
