#include "host/inference/CoefficientCovariance.h"

#include <array>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "host/fit/ScaledEstimates.h"
#include "tests/host/fit/Fitting.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

constexpr const char* kRows =
    "SELECT *, 2 * x + 1 AS x2 FROM (VALUES (3.1, 1.0, 'a', 1, 1.0), (4.9, 2, 'b', 2, 0.5), "
    "(7.2, 3, 'a', 1, 2), (8.8, 4, 'b', 3, 1), (2.0, 1.5, 'c', 1, 1.5), (9.5, 5, 'c', 1, 0.25), "
    "(11.1, 6, 'a', 2, 1), (6.4, 3.5, 'b', 1, 3), (5.0, 2.5, 'c', 2, 1), (12.5, 7, 'a', 1, 0.75)) "
    "t(y, x, g, f, w)";

class CoefficientCovarianceTest : public TableTest {};

void ExpectNear(double value, double expected) { EXPECT_NEAR(value / expected, 1.0, 1e-11); }

// R: d$g <- relevel(factor(d$g), "c"); m <- lm(y ~ x + g, d[rep(1:10, d$f), ], weights = w)
//    coef(m), vcov(m)
TEST_F(CoefficientCovarianceTest, IsVcovOfRWithBothWeightsAndARedundantColumn) {
  FitOptions options = OptionsFor(kRows, "y ~ x + x2 + g");
  options.binding.freqWeight = "f";
  options.binding.regressionWeight = "w";
  const BuiltModel model(options);
  const CoefficientCovariance covariance = CoefficientCovarianceOf(model.Output(), std::nullopt);
  ASSERT_EQ(covariance.Size(), 6U);
  EXPECT_EQ(covariance.DegreesOfFreedom(), 11.0);
  EXPECT_FALSE(covariance.IsKept(2));
  EXPECT_EQ(covariance.At(2, 1), 0.0);
  EXPECT_EQ(covariance.Estimate(2), 0.0);
  EXPECT_FALSE(covariance.IsKept(5));
  ExpectNear(covariance.Estimate(1), 1.6125403230468609);
  ExpectNear(covariance.At(0, 0), 0.27334655777372191);
  ExpectNear(covariance.At(1, 0), -0.045914941075942552);
  ExpectNear(covariance.At(4, 3), 0.21800789797311351);
}

TEST_F(CoefficientCovarianceTest, IsTheSquareOfTheStandardErrorsWhateverTheUnits) {
  const std::string sql =
      std::string("SELECT y * 1e-40 AS y, x * 1e60 AS x, g FROM (") + kRows + ")";
  const BuiltModel model(sql, "y ~ x + g");
  const FitResult fit = Fit(sql, "y ~ x + g");
  const CoefficientCovariance covariance = CoefficientCovarianceOf(model.Output(), std::nullopt);
  for (std::size_t i = 0; i < covariance.Size(); ++i) {
    if (!covariance.IsKept(i)) continue;
    const double error = fit.parameters[i].statistics.stdError.value();
    ExpectNear(std::sqrt(covariance.At(i, i)), error);
    ExpectNear(covariance.Estimate(i), fit.parameters[i].estimate.value());
    const std::array<std::size_t, 1> one = {i};
    const std::array<double, 1> weight = {-2.0};
    ExpectNear(covariance.Combine(one, weight).stdError.value(), 2.0 * error);
    ExpectNear(covariance.Combine(one, weight).value.value(), -2.0 * covariance.Estimate(i));
  }
}

TEST_F(CoefficientCovarianceTest, CombinesEstimatesWithTheirCovariance) {
  const BuiltModel model(kRows, "y ~ x + g");
  const CoefficientCovariance v = CoefficientCovarianceOf(model.Output(), std::nullopt);
  const std::array<std::size_t, 3> places = {0, 1, 2};
  const std::array<double, 3> weights = {1.0, 2.5, -3.0};
  double variance = 0.0;
  double value = 0.0;
  for (std::size_t i = 0; i < 3; ++i) {
    value += weights[i] * v.Estimate(i);
    for (std::size_t j = 0; j < 3; ++j) variance += weights[i] * weights[j] * v.At(i, j);
  }
  ExpectNear(v.Combine(places, weights).value.value(), value);
  ExpectNear(v.Combine(places, weights).stdError.value(), std::sqrt(variance));
}

TEST_F(CoefficientCovarianceTest, TakesTheImposedDegreesOfFreedom) {
  const BuiltModel model(kRows, "y ~ x + g");
  const CoefficientCovariance usual = CoefficientCovarianceOf(model.Output(), std::nullopt);
  const CoefficientCovariance imposed = CoefficientCovarianceOf(model.Output(), 3.0);
  EXPECT_EQ(imposed.DegreesOfFreedom(), 3.0);
  ExpectNear(imposed.At(1, 1) * 3.0, usual.At(1, 1) * usual.DegreesOfFreedom());
}

TEST_F(CoefficientCovarianceTest, OfALogisticModelIsItsMatrix) {
  const BuiltModel model(kRows, "g ~ x");
  const CoefficientCovariance covariance = CoefficientCovarianceOf(model.Output(), std::nullopt);
  EXPECT_EQ(covariance.DegreesOfFreedom(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(covariance.At(1, 0), model.Output().GetCovarianceMatrix()->GetElem(1, 0));
}

TEST_F(CoefficientCovarianceTest, WithoutAResidualThereIsNone) {
  const BuiltModel model("SELECT * FROM (VALUES (1, 1), (2, 3)) t(y, x)", "y ~ x");
  const CoefficientCovariance covariance = CoefficientCovarianceOf(model.Output(), std::nullopt);
  EXPECT_FALSE(covariance.HasMatrix());
  const std::array<std::size_t, 1> one = {1};
  const std::array<double, 1> weight = {1.0};
  EXPECT_TRUE(covariance.Combine(one, weight).value.has_value());
  EXPECT_FALSE(covariance.Combine(one, weight).stdError.has_value());
}

}  // namespace
}  // namespace qvhost
