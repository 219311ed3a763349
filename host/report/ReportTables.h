#pragma once

#include <span>
#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The parameters of one linear predictor as a table: estimate, standard error, test and limits; of
/// a logistic model also the odds ratio with its limits.
[[nodiscard]] std::string ParameterTable(std::span<const ParameterResult> parameters,
                                         ModelKind kind, double confidence);

/// The parts of the printed summary that only a logistic model has.
/// REQUIRES for all: `fit.logistic` is there.

/// The dependent's levels with their weighted counts, and which one is the reference.
[[nodiscard]] std::string LevelTable(const FitResult& fit);

/// One table of parameters for each level but the reference.
[[nodiscard]] std::string LevelParameters(const FitResult& fit);

/// How well the model fits and how the iterations ended.
[[nodiscard]] std::string LikelihoodText(const FitResult& fit);

/// What the model predicts for the records that it was fitted to, beside what they are.
[[nodiscard]] std::string ClassificationText(const FitResult& fit);

}  // namespace qvhost
