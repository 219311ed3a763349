#pragma once

#include <string>
#include <vector>

#include "qvreg/logistic/QvIterationReporter.h"

namespace qvhost {

/// How the estimation of a logistic model ended, over all builds that it took.
struct OptimizationEnding {
  QvOptimizationOutcome outcome = kOptContinue;
  int iterations = 0;
  int stepHalvings = 0;
  /// Of separated levels: what each estimate gained in the last iteration, 0 where it does not keep
  /// growing. Empty for any other outcome.
  std::vector<double> growth = {};
};

/// An outcome as one word for programs: `parameters_converged`, `complete_separation`, ….
[[nodiscard]] std::string OutcomeName(QvOptimizationOutcome outcome);

/// How the iterations ended, as a sentence for people. `iterations`: how many were made.
[[nodiscard]] std::string EndingText(QvOptimizationOutcome outcome, int iterations);

}  // namespace qvhost
