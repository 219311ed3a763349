// Numbers of extreme size are fitted like any others; what no number can tell ends in a failed run
// that names the columns, never in a model without estimates.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

/// Columns of 14 records: y is about i, b two levels that i does not separate.
FitOptions Options(const std::string& columns, const std::string& formula = "y ~ x") {
  return OptionsFor(fmt::format("SELECT {} FROM range(1, 15) r(i)", columns), formula);
}

using Sentences = std::vector<std::string>;

const std::string kY = "i + i % 3";
const std::string kB = "i % 3 = 0 OR i % 7 = 1";

void ExpectClose(const std::optional<double>& value, const std::optional<double>& expected,
                 double relative) {
  ASSERT_EQ(value.has_value(), expected.has_value());
  if (!value) return;
  EXPECT_NEAR(*value, *expected, relative * std::abs(*expected));
}

/// Expects the tests of a usual fit, to the last digits, and the same warnings.
void ExpectSameTests(const FitOptions& extreme, const FitOptions& usual) {
  const FitResult fit = Fit(extreme);
  const FitResult expected = Fit(usual);
  EXPECT_EQ(fit.warnings, expected.warnings);
  ExpectClose(fit.rSquare, expected.rSquare, 1e-12);
  ASSERT_EQ(fit.parameters.size(), expected.parameters.size());
  for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
    SCOPED_TRACE(fit.parameters[i].label);
    EXPECT_EQ(fit.parameters[i].redundant, expected.parameters[i].redundant);
    const CoefficientStatistics& statistics = fit.parameters[i].statistics;
    ExpectClose(statistics.statistic, expected.parameters[i].statistics.statistic, 1e-11);
    ExpectClose(statistics.pValue, expected.parameters[i].statistics.pValue, 1e-10);
    EXPECT_TRUE(fit.parameters[i].estimate);
    EXPECT_TRUE(statistics.stdError);
    EXPECT_TRUE(statistics.confLow);
    EXPECT_TRUE(statistics.confHigh);
  }
  if (!fit.logistic) return;
  EXPECT_EQ(fit.logistic->ending, expected.logistic->ending);
  ExpectClose(fit.logistic->logLikelihood, expected.logistic->logLikelihood, 1e-13);
}

void ExpectFailure(const FitOptions& options, const std::string& message) {
  const Failure failure = FailureOf(options);
  EXPECT_EQ(failure.code, 1);
  EXPECT_EQ(failure.message, message);
}

void ExpectWeightOverflow(const FitOptions& options, const std::string& columns) {
  ExpectFailure(options,
                "The weights are so large that sums of them overflow, and the model cannot be "
                "fitted: " +
                    columns + ". Rescale this column.");
}

TEST(ExtremeSizes, OfACovariateHaveTheTestsOfUsualOnes) {
  for (const char* scale : {"1e155", "-1e306", "5e-170", "1e-300"}) {
    SCOPED_TRACE(scale);
    ExpectSameTests(Options(fmt::format("i * {} AS x, {} AS y", scale, kY)),
                    Options(fmt::format("{}i AS x, {} AS y", scale[0] == '-' ? "-" : "", kY)));
    ExpectSameTests(
        Options(fmt::format("i % 5 AS z, i * {} AS x, {} AS y", scale, kB), "y ~ z + x"),
        Options(fmt::format("i % 5 AS z, {}i AS x, {} AS y", scale[0] == '-' ? "-" : "", kB),
                "y ~ z + x"));
  }
}

TEST(ExtremeSizes, OfTheDependentHaveTheTestsOfUsualOnes) {
  for (const char* scale : {"1e-170", "1e-300", "1e200", "1e306"}) {
    SCOPED_TRACE(scale);
    ExpectSameTests(Options(fmt::format("i AS x, ({}) * {} AS y", kY, scale)),
                    Options(fmt::format("i AS x, {} AS y", kY)));
    ExpectSameTests(Options(fmt::format("i AS x, ({}) * {} AS y", kY, scale), "y ~ 1"),
                    Options(fmt::format("i AS x, {} AS y", kY), "y ~ 1"));
  }
}

TEST(ExtremeSizes, OfProductsAndPowersHaveTheTestsOfUsualOnes) {
  const std::string usual = fmt::format("i AS x, i % 5 + 1 AS z, ({}) * 1e300 AS y", kY);
  for (const char* formula : {"y ~ x:z", "y ~ x * z", "y ~ x + I(x^2)"}) {
    SCOPED_TRACE(formula);
    ExpectSameTests(
        Options(fmt::format("i * 1e200 AS x, (i % 5 + 1) * 1e200 AS z, ({}) * 1e300 AS y", kY),
                formula),
        Options(usual, formula));
    ExpectSameTests(
        Options(fmt::format("i * 1e-200 AS x, (i % 5 + 1) * 1e-90 AS z, ({}) * 1e-300 AS y", kY),
                formula),
        Options(usual, formula));
  }
}

TEST(ExtremeSizes, OfAnExpressionAreFitted) {
  const FitResult fit = Fit(Options("i * 50.0 AS x, i + i % 3 AS y", "y ~ I(exp(x))"));
  EXPECT_FALSE(fit.parameters[1].redundant);
  EXPECT_GT(*fit.parameters[1].estimate, 0.0);
}

TEST(ExtremeSizes, KeepTheWordForColumnsThatDoDepend) {
  const FitResult fit = Fit(Options("i * 1e200 AS x, i * 2e200 AS z, i + i % 3 AS y", "y ~ x + z"));
  EXPECT_EQ(fit.warnings,
            Sentences({"'z' depends on the terms before: they leave no more of it than "
                       "the share of --tolerance (1e-14). Unless this is exact, "
                       "centre the variables, as center(x), or lower "
                       "--tolerance."}));
}

TEST(ExtremeSizes, KeepTheWordForAConstantDependent) {
  const FitResult fit = Fit(Options("i AS x, 1e-170 AS y"));
  EXPECT_EQ(fit.warnings,
            Sentences({"The dependent is the same in all records used; there is nothing to "
                       "explain."}));
}

TEST(ExtremeSizes, AnEstimateThatNoNumberTellsNamesTheColumns) {
  ExpectFailure(Options("i * 1e-300 AS x, (i + i % 3) * 1e300 AS y"),
                "The estimate of 'x' is about 1e+600, outside the range of floating-point "
                "numbers, 4.9e-324 to 1.8e+308. Rescale 'y' (up to 1.6e+301), 'x' (up to "
                "1.4e-299).");
  ExpectFailure(Options("i * 1e300 AS x, (i + i % 3) * -1e-300 AS y"),
                "The estimate of 'x' is about -1e-600, outside the range of floating-point "
                "numbers, 4.9e-324 to 1.8e+308. Rescale 'y' (up to 1.6e-299), 'x' (up to "
                "1.4e+301).");
  ExpectFailure(Options("i * 1e200 AS x, i + i % 3 AS y", "y ~ I(x^2)"),
                "The estimate of 'I(x^2)' is about 6.4e-402, outside the range of floating-point "
                "numbers, 4.9e-324 to 1.8e+308. Rescale 'x' (up to 1.4e+201).");
}

TEST(ExtremeSizes, AStandardErrorThatNoNumberTellsNamesTheColumns) {
  const Failure failure =
      FailureOf(Options("i AS x, (1e12 * i + i % 3) * 1e-321 AS y, i * 1e10 AS z", "y ~ z"));
  EXPECT_EQ(failure.code, 1);
  EXPECT_EQ(failure.message.substr(0, 43), "The standard error of 'z' is about 5.7e-333");
}

TEST(Overflow, OfWeights) {
  for (const ModelKind kind : {ModelKind::kLinear, ModelKind::kLogistic}) {
    FitOptions options = Options("i AS x, i % 3 = 0 AS b, i + i % 3 AS y, 1e308 AS w",
                                 kind == ModelKind::kLinear ? "y ~ x" : "b ~ x");
    options.binding.model = kind;
    options.binding.freqWeight = "w";
    ExpectWeightOverflow(options, "'w' (up to 1e+308)");
    options.binding.freqWeight.clear();
    options.binding.regressionWeight = "w";
    ExpectWeightOverflow(options, "'w' (up to 1e+308)");
  }
}

TEST(Overflow, OfWeightsOfAFactorModel) {
  FitOptions options = Options("'a' || i % 2 AS g, i + i % 3 AS y, 1e308 AS w", "y ~ g");
  options.binding.freqWeight = "w";
  ExpectWeightOverflow(options, "'w' (up to 1e+308)");
}

TEST(Overflow, LargeWeightsThatFit) {
  FitOptions weighted = Options("i AS x, i + i % 3 AS y, 1e300 AS w");
  weighted.binding.freqWeight = "w";
  for (const ParameterResult& parameter : Fit(weighted).parameters) {
    EXPECT_FALSE(parameter.redundant) << parameter.label;
    EXPECT_TRUE(parameter.estimate) << parameter.label;
  }
}

TEST(Overflow, RedundantColumnsOfUsualSizeAreNone) {
  const FitResult fit =
      Fit(Options("i AS x, 2 * i AS z, 'a' || i % 2 AS g, i + i % 3 AS y", "y ~ x + z + g"));
  EXPECT_EQ(std::ranges::count(fit.parameters, true, &ParameterResult::redundant), 2);
}

}  // namespace
}  // namespace qvhost
