#pragma once

#include <string>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/component/ProgressListener.h"
#include "qvreg/component/QvOptimizationSummary.h"

/// \file
/// The iterations of a logistic estimation as reported to a host: how they ended, the report for
/// its progress listener, and the switch that prints them.

/// What a developer may print to standard output.
namespace QvComponentDisplay {

/// Switches the diagnostic output of every logistic estimation in this process on or off; off
/// unless switched on. While it is on, the iterations print their estimates, log-likelihoods and
/// matrices to standard output. `display`: whether it is on. Any thread; a running estimation
/// follows at its next step.
QVREG_EXPORT void SetDiagnosticDisplay(bool display);
/// Whether it is on. Any thread.
[[nodiscard]] QVREG_EXPORT bool IsDiagnosticDisplay();

}  // namespace QvComponentDisplay

/// The report that a logistic estimation hands to the host's progress listener. Measures by name:
/// "iterNum" (iterations completed), "stepHalving" (step-halvings of the reported iteration),
/// "loglik" (the log-likelihood after it), "time" (seconds since the start of the estimation, by
/// std::clock) and "paramEstim" (the current estimates of the parameters that are not redundant, in
/// their order, borrowed from the optimizer).
class QVREG_EXPORT QvIterationReporter : public ProgressReportVect {
 public:
  int DiscreteMeasure(const std::string& name) override;
  double ScaleMeasure(const std::string& name) override;
  const std::vector<double>* VectorMeasure(const std::string& name) override;
  /// Clears every measure.
  virtual void Reset();
  /// Prints every measure to standard output.
  virtual void Display() const;

  /// Sets "paramEstim" to `estimates` (borrowed, null for none), "iterNum" to `iterNum`,
  /// "stepHalving" to `stepHalving`, "loglik" to `loglik` and "time" to `time`, in seconds.
  void SetInfo(const std::vector<double>* estimates, int iterNum, int stepHalving, double loglik,
               double time);

 private:
  const std::vector<double>* fpEstimates = nullptr;
  int fIterNum = 0;
  int fStepHalving = 0;
  double fLogLikelihood = 0.0;
  double fTime = 0.0;
};
