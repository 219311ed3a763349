#pragma once

#include <optional>
#include <string>

namespace qvhost {

/// How to estimate a logistic model. The defaults are the library's own, but for the step-halvings:
/// rare levels need more of them.
struct LogisticOptions {
  /// The level that the others are compared with: its text, "first" or "last" (of those that
  /// occur; a level of that name goes before). Empty: the last.
  std::string reference;
  std::optional<bool> inMemory;  ///< Keep the records in memory; none: by their size.
  int maxIterations = 100;       ///< 0 or more.
  int maxStepHalving = 10;       ///< Of one iteration, 1 or more.
  /// Converged when the log-likelihood changes by less; 0: not looked at.
  double logLikelihoodCriterion = 0.0;
  bool absoluteLogLikelihood = false;  ///< The change itself, not its share.
  /// Converged when the estimates change by less; 0: not looked at.
  double parameterCriterion = 1e-6;
  bool absoluteParameter = false;  ///< The changes themselves, not their shares.
  int separationFrom = 20;         ///< The iteration from which separation is looked for; 0: never.
};

}  // namespace qvhost
