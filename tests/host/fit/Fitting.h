#pragma once

#include <map>
#include <string>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"

namespace qvhost {

/// Options to fit `formula` to the result of `sql`.
[[nodiscard]] FitOptions OptionsFor(const std::string& sql, const std::string& formula);

/// Runs a fit without a progress bar and without a Ctrl-C.
[[nodiscard]] FitResult Fit(const FitOptions& options);
[[nodiscard]] FitResult Fit(const std::string& sql, const std::string& formula);

/// The message and the exit code with which a fit fails; empty and 0 when it does not.
struct Failure {
  std::string message;
  int code = 0;
};
[[nodiscard]] Failure FailureOf(const FitOptions& options);

/// The value that a fit gives a record: of each factor its level, of each covariate its value.
[[nodiscard]] double Predict(const FitResult& fit, const std::map<std::string, std::string>& levels,
                             const std::map<std::string, double>& covariates);

/// The probability that a logistic fit gives each level of the dependent for a record.
[[nodiscard]] std::map<std::string, double> Probabilities(
    const FitResult& fit, const std::map<std::string, std::string>& levels,
    const std::map<std::string, double>& covariates);

}  // namespace qvhost
