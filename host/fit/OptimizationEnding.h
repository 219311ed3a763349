#pragma once

#include <string>

#include "qvreg/logistic/QvOptimizationOutcome.h"

namespace qvhost {

/// An outcome as one word for programs: `parameters_converged`, `complete_separation`, ….
[[nodiscard]] std::string OutcomeName(QvOptimizationOutcome outcome);

/// How the iterations ended, as a sentence for people. `iterations`: how many were made.
[[nodiscard]] std::string EndingText(QvOptimizationOutcome outcome, int iterations);

}  // namespace qvhost
