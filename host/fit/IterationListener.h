#pragma once

#include <functional>
#include <string>
#include <utility>

#include "host/fit/IterationHistory.h"
#include "qvreg/component/ProgressListener.h"

namespace qvhost {

/// Receives the iterations of a logistic model, formats them for a progress line and keeps the
/// latest. One thread: the one that builds the model.
class IterationListener : public ProgressListener {
 public:
  /// `onChange` is called when another iteration begins.
  explicit IterationListener(std::function<void()> onChange) : onChange_(std::move(onChange)) {}

  void ReportProgress(ProgressReport* report) override;

  /// A further build starts where the one before ended, after so many iterations of all.
  void GoOnFrom(int iterations) { iterationsBefore_ = iterations; }

  /// The iteration that is under way, such as `iteration 4, log-likelihood -123.457`, with what is
  /// known from the one before; `estimating` before the first report.
  [[nodiscard]] const std::string& Stage() const { return stage_; }
  /// The iterations of all builds.
  [[nodiscard]] IterationHistory& History() { return history_; }

 private:
  std::function<void()> onChange_;
  std::string stage_ = "estimating";
  int iterationsBefore_ = 0;
  IterationHistory history_;
};

}  // namespace qvhost
