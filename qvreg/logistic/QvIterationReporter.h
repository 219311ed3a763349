#pragma once

#include <string>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/component/ProgressReport.h"

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
