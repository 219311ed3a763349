#pragma once

#include <string>

#include "qvreg/common/QvStatus.h"
#include "qvreg/logistic/QvIterationReporter.h"

namespace qvhost {

/// What a status of the library means to the user of the command, and what to do about it: one or
/// two sentences.
[[nodiscard]] std::string StatusText(const QvCommon::QvStatus& status);

/// An outcome as one word for programs: `parameters_converged`, `complete_separation`, ….
[[nodiscard]] std::string OutcomeName(QvOptimizationOutcome outcome);

/// How an estimation ended after this many iterations, as a sentence for people.
[[nodiscard]] std::string EndingText(QvOptimizationOutcome outcome, int iterations);

}  // namespace qvhost
