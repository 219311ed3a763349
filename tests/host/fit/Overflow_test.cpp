// An overflow ends in a failed run that names the columns, never in a model without estimates.

#include <algorithm>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

FitOptions Options(const std::string& columns, const std::string& formula = "y ~ x") {
  return OptionsFor(fmt::format("SELECT {} FROM range(1, 15) r(i)", columns), formula);
}

void ExpectOverflow(const FitOptions& options, const std::string& columns,
                    const std::string& which = "this column") {
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, 1);
  EXPECT_EQ(failure.message,
            "The numbers are so large that sums of their squares and products overflow, and the "
            "model cannot be fitted: " +
                columns + ". Rescale " + which + ".");
}

void ExpectEstimates(const FitOptions& options) {
  const FitResult fit = Fit(options);
  for (const ParameterResult& parameter : fit.parameters) {
    EXPECT_FALSE(parameter.redundant) << parameter.label;
    EXPECT_TRUE(parameter.estimate) << parameter.label;
  }
}

TEST(Overflow, OfACovariate) {
  ExpectOverflow(Options("i * 1e200 AS x, i + i % 3 AS y"), "'x' (up to 1.4e+201)");
  ExpectOverflow(Options("i * -1e307 AS x, i + i % 3 AS y"), "'x' (up to 1.4e+308)");
  ExpectOverflow(Options("i * 1e200 AS x, i % 5 AS z, i + i % 3 AS y", "y ~ z + x"),
                 "'x' (up to 1.4e+201)");
}

TEST(Overflow, OfAnExpression) {
  ExpectOverflow(Options("i * 50.0 AS x, i + i % 3 AS y", "y ~ I(exp(x))"),
                 "'exp(x)' (up to 1.01e+304)");
}

TEST(Overflow, OfAProductAndAPower) {
  ExpectOverflow(Options("i * 1e100 AS x, (i % 5 + 1) * 1e100 AS z, i + i % 3 AS y", "y ~ x:z"),
                 "'x' (up to 1.4e+101), 'z' (up to 5e+100)", "these columns");
  ExpectOverflow(Options("i * 1e60 AS x, i + i % 3 AS y", "y ~ I(x^3)"), "'x' (up to 1.4e+61)");
}

TEST(Overflow, OfTheDependent) {
  ExpectOverflow(Options("i AS x, (i + i % 3) * 1e307 AS y"), "'y' (up to 1.6e+308)");
}

TEST(Overflow, OfTheSquaresOfTheDependentLeavesTheMean) {
  const FitOptions options = Options("i AS x, (i + i % 3) * 1e307 AS y", "y ~ 1");
  ExpectEstimates(options);
  const FitResult fit = Fit(options);
  EXPECT_FALSE(fit.rSquare);
  EXPECT_FALSE(fit.rmse);
  EXPECT_EQ(fit.warnings.back(),
            "Numbers of the data are so large that their squares overflow; rescale them.");
}

TEST(Overflow, OfWeights) {
  for (const ModelKind kind : {ModelKind::kLinear, ModelKind::kLogistic}) {
    FitOptions options = Options("i AS x, i % 3 = 0 AS b, i + i % 3 AS y, 1e308 AS w",
                                 kind == ModelKind::kLinear ? "y ~ x" : "b ~ x");
    options.binding.model = kind;
    options.binding.freqWeight = "w";
    ExpectOverflow(options, "'w' (up to 1e+308)");
    options.binding.freqWeight.clear();
    options.binding.regressionWeight = "w";
    ExpectOverflow(options, "'w' (up to 1e+308)");
  }
}

TEST(Overflow, OfWeightsOfAFactorModel) {
  FitOptions options = Options("'a' || i % 2 AS g, i + i % 3 AS y, 1e308 AS w", "y ~ g");
  options.binding.freqWeight = "w";
  ExpectOverflow(options, "'w' (up to 1e+308)");
}

TEST(Overflow, OfALogisticModel) {
  ExpectOverflow(Options("i * 1e200 AS x, i % 3 = 0 AS y"), "'x' (up to 1.4e+201)");
}

TEST(Overflow, LargeNumbersThatFit) {
  ExpectEstimates(Options("i * 1e150 AS x, i + i % 3 AS y"));
  FitOptions weighted = Options("i AS x, i + i % 3 AS y, 1e300 AS w");
  weighted.binding.freqWeight = "w";
  ExpectEstimates(weighted);
}

TEST(Overflow, OfTheResidualAloneIsAWarning) {
  const FitResult fit = Fit(Options("i AS x, (i + i % 3) * 1e200 AS y"));
  EXPECT_EQ(std::ranges::count(fit.warnings,
                               "Numbers of the data are so large that their squares overflow; "
                               "rescale them."),
            1);
  ExpectEstimates(Options("i AS x, (i + i % 3) * 1e200 AS y"));
}

TEST(Overflow, RedundantColumnsOfUsualSizeAreNone) {
  const FitResult fit =
      Fit(Options("i AS x, 2 * i AS z, 'a' || i % 2 AS g, i + i % 3 AS y", "y ~ x + z + g"));
  EXPECT_EQ(std::ranges::count(fit.parameters, true, &ParameterResult::redundant), 2);
}

}  // namespace
}  // namespace qvhost
