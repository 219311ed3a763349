#pragma once

#include "host/fit/FitResult.h"

namespace qvhost {

/// A made-up fit that has a bit of everything a report shows.
inline FitResult SampleFit() {
  FitResult fit;
  fit.formula = "y ~ g*x";
  fit.data = "data.csv";
  fit.dependent = "y";
  fit.freqWeight = "n";
  fit.confidence = 0.9;
  fit.records = {1200, 1100, 90, 10, {{"g", 40}, {"x", 60}}, {{"x", "N/A", 1}, {"g", "?", 1234}}};
  fit.degreesOfFreedom = 1097;
  fit.libraryDegreesOfFreedom = 1096;
  ParameterResult intercept;
  intercept.label = "(Intercept)";
  intercept.estimate = 0.1;
  intercept.statistics = {0.02, 5.0, 6.7e-7, 0.06708, 0.13292};
  ParameterResult cell;
  cell.label = "g=ä:I(x^2)";
  cell.levels = {{"g", "ä"}};
  cell.covariates = {{"x", 2}};
  cell.estimate = -12.5;
  cell.statistics = {6.25, -2.0, 0.04574, -22.789, -2.211};
  ParameterResult base;
  base.label = "g=b:I(x^2)";
  base.levels = {{"g", "b"}};
  base.covariates = {{"x", 2}};
  base.estimate = 0.0;
  base.redundant = true;
  fit.parameters = {intercept, cell, base};
  fit.rSquare = 0.75;
  fit.rmse = 1.0 / 3.0;
  fit.residualStdError = 0.334;
  fit.warnings = {"Something is odd."};
  fit.statusMessage = "The model was fitted.";
  return fit;
}

/// A made-up logistic fit of three levels that has a bit of everything a report shows.
inline FitResult SampleLogisticFit() {
  FitResult fit;
  fit.kind = ModelKind::kLogistic;
  fit.formula = "y ~ g + x";
  fit.data = "data.csv";
  fit.dependent = "y";
  fit.freqWeight = "n";
  fit.confidence = 0.9;
  fit.records = {1200, 1100, 90, 10, {{"g", 40}, {"x", 60}}};
  fit.degreesOfFreedom = 1994;
  fit.libraryDegreesOfFreedom = 1992;
  const auto add = [&fit](const char* category, const char* label, double estimate,
                          const CoefficientStatistics& statistics) -> ParameterResult& {
    ParameterResult& parameter = fit.parameters.emplace_back();
    parameter.category = category;
    parameter.label = label;
    parameter.estimate = estimate;
    parameter.statistics = statistics;
    return parameter;
  };
  for (const char* category : {"high", "low"}) {
    add(category, "(Intercept)", 0.5, {0.25, 2.0, 0.0455, 0.08875, 0.91125});
    add(category, "g=a", -1.5, {0.5, -3.0, 0.0027, -2.325, -0.675}).levels = {{"g", "a"}};
    ParameterResult& base = add(category, "g=b", 0.0, {});
    base.levels = {{"g", "b"}};
    base.redundant = true;
    add(category, "x", 800.0, {}).covariates = {{"x", 1}};
  }
  LogisticFit& logistic = fit.logistic.emplace();
  logistic.levels = {{"high", 500.0}, {"low", 1000.0}, {"mid", 500.5}};
  logistic.inMemory = true;
  logistic.distinctRecords = 640;
  logistic.iterations = 7;
  logistic.stepHalvings = 2;
  logistic.outcomeCode = 3;
  logistic.converged = true;
  logistic.outcome = "both_converged";
  logistic.ending = "Converged.";
  logistic.initialLogLikelihood = -2197.5;
  logistic.logLikelihood = -2000.25;
  logistic.logLikelihoodChange = 1e-9;
  logistic.parameterChange = 1e-7;
  logistic.chiSquare = 394.5;
  logistic.chiSquareDegrees = 4;
  logistic.chiSquareP = 4e-85;
  logistic.coxSnell = 0.125;
  logistic.nagelkerke = 0.25;
  logistic.mcFadden = 0.1;
  logistic.aic = 4012.5;
  logistic.bic = 4046.0;
  logistic.classification = {{400.0, 100.0, 0.0}, {0.0, 750.0, 250.0}, {500.5, 0.0, 0.0}};
  fit.warnings = {"Something is odd."};
  fit.statusMessage = "The model was fitted.";
  return fit;
}

}  // namespace qvhost
