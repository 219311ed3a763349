#pragma once

#include <functional>
#include <string>
#include <utility>

#include "qvreg/component/ProgressListener.h"

namespace qvhost {

/// Hears of the iterations of a logistic model and puts them into words for a progress line. One
/// thread: the one that builds the model.
class IterationListener : public ProgressListener {
 public:
  /// `onChange` is called when another iteration begins.
  explicit IterationListener(std::function<void()> onChange) : onChange_(std::move(onChange)) {}

  void ReportProgress(ProgressReport* report) override;

  /// The iteration that is under way, such as `iteration 4, log-likelihood -123.457`, with what is
  /// known from the one before; `estimating` before the first report.
  [[nodiscard]] const std::string& Stage() const { return stage_; }

 private:
  std::function<void()> onChange_;
  std::string stage_ = "estimating";
};

}  // namespace qvhost
