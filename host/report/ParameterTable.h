#pragma once

#include <span>
#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The parameters of one linear predictor as a table: estimate, standard error, test and limits; of
/// a logistic model also what a unit multiplies the odds by, with its limits.
[[nodiscard]] std::string ParameterTable(std::span<const ParameterResult> parameters,
                                         ModelKind kind, double confidence);

}  // namespace qvhost
