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
  OutputFiles outputs;
  return RunFit(options, none, interrupt, outputs);
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

namespace {

/// What a parameter adds to its linear predictor for a record.
double Contribution(const ParameterResult& parameter,
                    const std::map<std::string, std::string>& levels,
                    const std::map<std::string, double>& covariates) {
  const bool applies = std::ranges::all_of(parameter.levels, [&](const FactorLevel& level) {
    return levels.at(level.factor) == level.level;
  });
  if (!applies) return 0.0;
  double product = parameter.estimate.value();
  for (const CovariatePower& factor : parameter.covariates) {
    product *= std::pow(covariates.at(factor.covariate), factor.power);
  }
  return product;
}

}  // namespace

double Predict(const FitResult& fit, const std::map<std::string, std::string>& levels,
               const std::map<std::string, double>& covariates) {
  double sum = 0.0;
  for (const ParameterResult& parameter : fit.parameters) {
    sum += Contribution(parameter, levels, covariates);
  }
  return sum;
}

std::map<std::string, double> Probabilities(const FitResult& fit,
                                            const std::map<std::string, std::string>& levels,
                                            const std::map<std::string, double>& covariates) {
  std::map<std::string, double> values;
  for (const DependentLevel& level : fit.logistic.value().levels) values[level.level] = 0.0;
  for (const ParameterResult& parameter : fit.parameters) {
    values.at(parameter.category.value()) += Contribution(parameter, levels, covariates);
  }
  double total = 0.0;
  for (auto& [level, value] : values) total += value = std::exp(value);
  for (auto& [level, value] : values) value /= total;
  return values;
}

}  // namespace qvhost
