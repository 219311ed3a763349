#include "tests/host/fit/Fitting.h"

#include <algorithm>
#include <cmath>

#include "host/Error.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"

namespace qvhost {

FitOptions OptionsFor(const std::string& sql, const std::string& formula) {
  FitOptions options;
  options.source.sql = sql;
  options.formula = formula;
  return options;
}

FitResult Fit(const FitOptions& options) {
  ProgressBar none(nullptr);
  Interrupt interrupt;
  return RunFit(options, none, interrupt);
}

FitResult Fit(const std::string& sql, const std::string& formula) {
  return Fit(OptionsFor(sql, formula));
}

Failure FailureOf(const FitOptions& options) {
  try {
    static_cast<void>(Fit(options));
  } catch (const Error& error) {
    return {error.what(), static_cast<int>(error.Code())};
  }
  return {};
}

double Predict(const FitResult& fit, const std::map<std::string, std::string>& levels,
               const std::map<std::string, double>& covariates) {
  double sum = 0.0;
  for (const ParameterResult& parameter : fit.parameters) {
    const bool applies = std::ranges::all_of(parameter.levels, [&](const FactorLevel& level) {
      return levels.at(level.factor) == level.level;
    });
    if (!applies) continue;
    double product = parameter.estimate.value();
    for (const CovariatePower& factor : parameter.covariates) {
      product *= std::pow(covariates.at(factor.covariate), factor.power);
    }
    sum += product;
  }
  return sum;
}

}  // namespace qvhost
