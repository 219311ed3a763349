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

}  // namespace qvhost
