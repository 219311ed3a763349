#include "host/report/FitForComparison.h"

#include <fmt/format.h>

#include "host/Error.h"
#include "host/inference/Inference.h"

namespace qvhost {

namespace {

SavedParameter ParameterOf(const ParameterResult& result) {
  SavedParameter parameter;
  parameter.category = result.category.value_or("");
  parameter.label = result.label;
  for (const FactorLevel& level : result.levels) parameter.factors.insert(level.factor);
  for (const CovariatePower& covariate : result.covariates) {
    parameter.covariates.emplace(covariate.covariate, covariate.power);
  }
  parameter.estimate = result.estimate.value_or(0.0);
  parameter.stdError = result.statistics.stdError;
  parameter.redundant = result.redundant;
  return parameter;
}

std::vector<SavedStatistic> Statistics(const FitResult& fit) {
  if (fit.logistic) {
    const LogisticFit& logistic = *fit.logistic;
    return {{"loglik", logistic.logLikelihood},
            {"mcfadden", logistic.mcFadden},
            {"cox_snell", logistic.coxSnell},
            {"nagelkerke", logistic.nagelkerke},
            {"aic", logistic.aic},
            {"bic", logistic.bic}};
  }
  const LinearQuality& quality = fit.quality;
  return {{"r_square", fit.rSquare},
          {"adjusted_r_square", quality.adjustedRSquare},
          {"residual_std_error", fit.residualStdError},
          {"log_likelihood", quality.logLikelihood},
          {"aic", quality.aic},
          {"bic", quality.bic}};
}

}  // namespace

SavedFit FitForComparison(const FitResult& fit, const std::string& file) {
  if (fit.records.digest.empty()) {
    throw Error(ExitCode::kBadInput,
                fmt::format("'{}' has no digest of the records used ('records/digest'); write it "
                            "anew with 'qvreg fit'.",
                            file));
  }
  SavedFit saved;
  saved.file = file;
  saved.isLogistic = fit.logistic.has_value();
  saved.formula = fit.formula;
  saved.data = fit.data;
  saved.where = fit.where;
  saved.dependent = fit.dependent;
  saved.used = fit.records.used;
  saved.digest = fit.records.digest;
  saved.degreesOfFreedom = Finite(fit.degreesOfFreedom);
  saved.covariance = CovarianceName(fit.covariance.kind);
  for (const ParameterResult& parameter : fit.parameters) {
    saved.parameters.push_back(ParameterOf(parameter));
  }
  saved.statistics = Statistics(fit);
  if (fit.logistic) {
    saved.reference = fit.logistic->levels.back().level;
    saved.isSound = fit.logistic->converged && fit.logistic->separation == "none";
  }
  return saved;
}

}  // namespace qvhost
