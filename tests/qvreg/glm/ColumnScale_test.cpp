// Columns and dependents of extreme size: the fit of the same numbers in usual units, times powers
// of two.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/glm/QvGLMOutputStats.h"
#include "tests/qvreg/glm/ScaledCases.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::ScaledCase;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kLevel = 3;
constexpr int kFrequency = 4;
constexpr int kRegression = 5;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// y, x, z, level, frequency and regression weight.
const Rows kRows{{1.1, 0.2, 0.7, 0, 1, 1.0}, {3.2, 1.3, 1.9, 1, 2, 0.5}, {2.3, 2.4, 0.4, 1, 1, 2.0},
                 {6.4, 3.1, 2.2, 0, 3, 1.0}, {5.9, 4.4, 1.1, 1, 5, 0.3}, {7.7, 5.3, 0.9, 0, 1, 1.9},
                 {7.1, 6.2, 1.7, 1, 1, 0.1}, {9.4, 7.5, 0.3, 0, 2, 1.2}};

Rows Multiplied(double y, double x, double z) {
  Rows rows = kRows;
  for (Doubles& row : rows) {
    row[kY] *= y;
    row[kX] *= x;
    row[kZ] *= z;
  }
  return rows;
}

using Effects = std::vector<std::pair<std::vector<int>, std::vector<int>>>;

struct Model {
  std::string name;
  double y;
  double x;
  double z;
  Effects effects;
  bool intercept;
  bool weighted;
};

void PrintTo(const Model& model, std::ostream* out) { *out << model.name; }

LinearSettings& Describe(LinearSettings& settings, const Effects& effects, bool intercept,
                         bool weighted) {
  for (const auto& [factors, covariates] : effects) settings.Effect(factors, covariates);
  if (!intercept) settings.NoIntercept();
  if (weighted) settings.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  return settings;
}

const QvGLMOutputStats& StatsOf(const FittedModel& model) {
  return dynamic_cast<const QvGLMOutputStats&>(model.Stats());
}

double ErrorOf(const FittedModel& model) {
  return model.Stats().GetModelFitStat(QvConst::QvFitRootMeanSquareError);
}

double RSquareOf(const FittedModel& model) {
  return model.Stats().GetModelFitStat(QvConst::QvFitMultipleRSquare);
}

double VarianceOf(const QvCommon::QvSymMatrixData& covariance, std::size_t k) {
  return covariance.GetElem(static_cast<int>(k), static_cast<int>(k));
}

const ScaledCase& ExactFitOf(const Model& model) {
  return *std::find_if(qvtest::ScaledCases().begin(), qvtest::ScaledCases().end(),
                       [&](const ScaledCase& exact) { return exact.name == model.name; });
}

class ColumnScale : public ::testing::TestWithParam<Model> {
 protected:
  static FittedModel Fit(bool refine) {
    const Model& model = GetParam();
    LinearSettings settings(kY, {{kLevel, 2}}, {kX, kZ});
    Describe(settings, model.effects, model.intercept, model.weighted);
    if (refine) settings.Refined();
    return FittedModel(settings.Get(), MakeRecords(Multiplied(model.y, model.x, model.z)));
  }
};

/// Relative to what is expected.
void ExpectDigits(double actual, double expected, double share) {
  EXPECT_NEAR(actual, expected, share * std::abs(expected));
}

TEST_P(ColumnScale, IsFittedAsExactArithmeticFitsIt) {
  const ScaledCase& exact = ExactFitOf(GetParam());
  for (const bool refine : {false, true}) {
    SCOPED_TRACE(refine ? "refined" : "plain");
    const double share = refine ? 2e-13 : 2e-11;
    const FittedModel model = Fit(refine);
    const QvGLMOutputStats& stats = StatsOf(model);
    EXPECT_EQ(stats.GetParameterExponents(), exact.exponents);
    EXPECT_EQ(stats.GetDependentExponent(), exact.dependentExponent);
    ASSERT_EQ(stats.GetScaledEstimates().size(), exact.estimates.size());
    for (std::size_t k = 0; k < exact.estimates.size(); ++k) {
      SCOPED_TRACE(k);
      ExpectDigits(stats.GetScaledEstimates()[k], exact.estimates[k], share);
      ExpectDigits(VarianceOf(*stats.GetScaledCovarianceMatrix(), k), exact.variances[k], 1e-10);
    }
    ExpectDigits(RSquareOf(model), exact.rSquare, 1e-13);
    ExpectDigits(stats.GetScaledRootMeanSquareError(), exact.rmse, share);
    EXPECT_TRUE(stats.IsDependentFinite());
    EXPECT_EQ(stats.GetNonFiniteParameters().Count(), 0);
  }
}

TEST_P(ColumnScale, IsReportedInTheHostsUnits) {
  const FittedModel model = Fit(true);
  const QvGLMOutputStats& stats = StatsOf(model);
  const std::vector<int>& exponents = stats.GetParameterExponents();
  const int dependent = stats.GetDependentExponent();
  for (std::size_t k = 0; k < exponents.size(); ++k) {
    const double estimate = std::ldexp(stats.GetScaledEstimates()[k], dependent - exponents[k]);
    EXPECT_EQ(stats.GetParamEstimates()[k], estimate) << k;
    EXPECT_EQ(stats.GetParamStats()[k].fEstimate, estimate) << k;
    for (std::size_t j = 0; j <= k; ++j) {
      const auto row = static_cast<int>(k);
      const auto column = static_cast<int>(j);
      EXPECT_EQ(stats.GetCovarianceMatrix()->GetElem(row, column),
                std::ldexp(stats.GetScaledCovarianceMatrix()->GetElem(row, column),
                           -exponents[k] - exponents[j]))
          << k << ' ' << j;
    }
  }
  EXPECT_EQ(ErrorOf(model), std::ldexp(stats.GetScaledRootMeanSquareError(), dependent));
}

TEST_P(ColumnScale, PredictsInTheHostsUnits) {
  FittedModel model = Fit(true);
  const Rows rows = Multiplied(GetParam().y, GetParam().x, GetParam().z);
  double sum = 0.0;
  for (const Doubles& row : rows) {
    const double share = (model.Predict(MakeRecord(row)) / GetParam().y) - row[kY] / GetParam().y;
    sum += share * share;
  }
  if (GetParam().weighted) return;
  const double scaledUnit = std::ldexp(GetParam().y, -StatsOf(model).GetDependentExponent());
  // Subnormal dependents have few digits themselves.
  const bool isSubnormal = GetParam().y < std::numeric_limits<double>::min();
  EXPECT_NEAR(std::sqrt(sum / static_cast<double>(rows.size())),
              StatsOf(model).GetScaledRootMeanSquareError() / scaledUnit,
              isSubnormal ? 1e-3 : 1e-12);
}

INSTANTIATE_TEST_SUITE_P(
    Linear, ColumnScale,
    ::testing::Values(
        Model{"LargeX", 1, 1e+155, 1, {{{}, {kX}}}, true, false},
        Model{"LargestX", 1, 2e+307, 1, {{{}, {kX}}}, true, false},
        Model{"LargestXAlone", 1, 2e+307, 1, {{{}, {kX}}}, false, false},
        Model{"SmallX", 1, 5e-170, 1, {{{}, {kX}}}, true, false},
        Model{"SubnormalX", 1, 5e-320, 1, {{{}, {kX}}}, true, false},
        Model{"SubnormalXAlone", 1, 5e-320, 1, {{{}, {kX}}}, false, true},
        Model{"SmallY", 1e-170, 1, 1, {{{}, {kX}}, {{}, {kZ}}}, true, false},
        Model{"SubnormalY", 1e-320, 1, 1, {{{}, {kX}}, {{}, {kZ}}}, true, false},
        Model{"LargeY", 1e+300, 1, 1, {{{}, {kX}}, {{}, {kZ}}}, true, true},
        Model{"LargeYAlone", 1e+300, 1, 1, {{{}, {kX}}, {{}, {kZ}}}, false, true},
        Model{"LargeXAndY", 1e+300, 1e+300, 1, {{{}, {kX}}}, true, false},
        Model{"SmallXAndLargeZ", 1, 1e-250, 1e+250, {{{}, {kX}}, {{}, {kZ}}}, true, true},
        Model{"LargeProduct",
              1,
              1e+200,
              1e+200,
              {{{}, {kX}}, {{}, {kZ}}, {{}, {kX, kZ}}},
              true,
              false},
        Model{"LargeProductWeighted", 1e-200, 1e+200, 1e+200, {{{}, {kX, kZ}}}, false, true},
        Model{"SmallProduct",
              1,
              1e-200,
              1e-200,
              {{{}, {kX}}, {{}, {kZ}}, {{}, {kX, kZ}}},
              true,
              false},
        Model{"BalancedProduct",
              1,
              1e+200,
              1e-200,
              {{{}, {kX}}, {{}, {kZ}}, {{}, {kX, kZ}}},
              true,
              true},
        Model{"BalancedSquares", 1, 1e+200, 1e-200, {{{}, {kX, kX, kZ, kZ}}}, true, false},
        Model{"LargePowers",
              1,
              1e+200,
              1,
              {{{}, {kX}}, {{}, {kX, kX}}, {{}, {kX, kX, kX}}},
              true,
              false},
        Model{"SmallPowers",
              1,
              3e-300,
              1,
              {{{}, {kX}}, {{}, {kX, kX}}, {{}, {kX, kX, kX}}},
              true,
              true},
        Model{"Slopes", 1, 1e+160, 1, {{{kLevel}, {}}, {{kLevel}, {kX}}}, true, true},
        Model{"SmallSlopes", 1e-290, 1e-160, 1, {{{kLevel}, {kX}}, {{}, {kX, kZ}}}, false, false},
        Model{"UsualSizes",
              1,
              100000.0,
              1e-05,
              {{{kLevel}, {}}, {{}, {kX}}, {{}, {kZ}}, {{}, {kX, kZ}}},
              true,
              true}),
    [](const auto& model) { return model.param.name; });

/// The fit of all records times powers of two, of covariates crossed with a level.
class ColumnPowers : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(ColumnPowers, ChangeNoBitOfTheFit) {
  const auto [x, y] = GetParam();
  Rows rows = kRows;
  for (Doubles& row : rows) {
    row[kX] = std::ldexp(row[kX], x);
    row[kY] = std::ldexp(row[kY], y);
  }
  const Effects effects{{{kLevel}, {}}, {{}, {kX}}, {{}, {kX, kX}}, {{kLevel}, {kZ}}};
  for (const bool refine : {false, true}) {
    LinearSettings settings(kY, {{kLevel, 2}}, {kX, kZ});
    Describe(settings, effects, true, true);
    if (refine) settings.Refined();
    const FittedModel usual(settings.Get(), MakeRecords(kRows));
    const FittedModel extreme(settings.Get(), MakeRecords(rows));
    const Doubles& estimates = usual.Stats().GetParamEstimates();
    const std::vector<int> powers{0, 0, 0, x, 2 * x, 0, 0};
    ASSERT_EQ(estimates.size(), powers.size());
    for (std::size_t k = 0; k < powers.size(); ++k) {
      EXPECT_EQ(extreme.Stats().GetParamEstimates()[k], std::ldexp(estimates[k], y - powers[k]));
      const double variance = VarianceOf(*usual.Stats().GetCovarianceMatrix(), k);
      EXPECT_EQ(VarianceOf(*extreme.Stats().GetCovarianceMatrix(), k),
                std::ldexp(variance, -2 * powers[k]));
    }
    EXPECT_EQ(RSquareOf(extreme), RSquareOf(usual));
    EXPECT_EQ(ErrorOf(extreme), std::ldexp(ErrorOf(usual), y));
    EXPECT_EQ(extreme.Stats().GetRedundancyIndicators().Count(), 6);
  }
}

INSTANTIATE_TEST_SUITE_P(Linear, ColumnPowers,
                         ::testing::Values(std::pair{20, 0}, std::pair{-24, 0}, std::pair{300, 0},
                                           std::pair{-300, 0}, std::pair{1000, 0},
                                           std::pair{-1000, 0}, std::pair{0, 1020},
                                           std::pair{0, -1000}, std::pair{400, -1000},
                                           std::pair{-400, 200}));

TEST(ColumnScaleLimits, AnEstimateThatNoDoubleHoldsIsInfiniteOrZero) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX});
  const FittedModel large(settings.Get(), MakeRecords(Multiplied(1e300, 1e-300, 1)));
  EXPECT_EQ(large.Stats().GetParamEstimates()[1], kInfinity);
  EXPECT_TRUE(StatsOf(large).IsDependentFinite());
  EXPECT_GT(RSquareOf(large), 0.8);
  const FittedModel small(settings.Get(), MakeRecords(Multiplied(1e-300, 1e300, 1)));
  EXPECT_EQ(small.Stats().GetParamEstimates()[1], 0.0);
  EXPECT_TRUE(small.Stats().GetRedundancyIndicators().IsIn(1));
  // Both predict all the same.
  FittedModel predicting(settings.Get(), MakeRecords(Multiplied(1e300, 1e-300, 1)));
  FittedModel usual(settings.Get(), MakeRecords(kRows));
  EXPECT_NEAR(predicting.Predict(MakeRecord({0, 3e-300})) * 1e-300,
              usual.Predict(MakeRecord({0, 3})), 1e-13);
}

TEST(ColumnScaleLimits, TheExpandedRowIsTheHosts) {
  LinearSettings settings(kY, {{kLevel, 2}}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kX, kZ}).Effect({kLevel}, {kZ});
  const FittedModel model(settings.Get(), MakeRecords(Multiplied(1e300, 1e200, 1e-300)));
  Doubles row;
  ASSERT_TRUE(model.Stats().ExpandRow(MakeRecord({2e300, 3e200, 5e-300, 1}), row));
  EXPECT_EQ(row, (Doubles{1, 3e200, 3e200 * 5e-300, 0, 5e-300, 2e300}));
  // A small number beside large ones keeps its digits.
  ASSERT_TRUE(model.Stats().ExpandRow(MakeRecord({0.1, 0.3, 1, 0}), row));
  EXPECT_EQ(row, (Doubles{1, 0.3, 0.3, 1, 0, 0.1}));
}

TEST(ColumnScaleLimits, TheScaledRowIsDividedByThePowersOfItsColumns) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  const FittedModel model(settings.Get(), MakeRecords(Multiplied(1e300, 1e200, 1e-300)));
  std::vector<int> indices;
  Doubles values;
  ASSERT_TRUE(
      StatsOf(model).ExpandScaledRow(MakeRecord({2e300, 3e200, 5e-300, 1}), indices, values));
  ASSERT_EQ(indices, (std::vector<int>{0, 1, 2}));
  const std::vector<int>& exponents = StatsOf(model).GetParameterExponents();
  ASSERT_GT(exponents[1], 500);
  EXPECT_EQ(values[0], 1.0);
  EXPECT_EQ(values[1], std::ldexp(3e200, -exponents[1]));
  EXPECT_EQ(values[2], std::ldexp(5e-300, -exponents[2]));
}

TEST(ColumnScaleLimits, UsualSizesStayAsTheyAre) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  const FittedModel model(settings.Get(), MakeRecords(Multiplied(0x1p-22, 0x1p+16, 0x1p-21)));
  EXPECT_EQ(StatsOf(model).GetParameterExponents(), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(StatsOf(model).GetDependentExponent(), 0);
  EXPECT_EQ(StatsOf(model).GetScaledCovarianceMatrix(), model.Stats().GetCovarianceMatrix());
  EXPECT_EQ(StatsOf(model).GetScaledEstimates(), model.Stats().GetParamEstimates());
}

TEST(ColumnScaleLimits, NonFiniteValuesHaveNoSize) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  Rows rows = Multiplied(1, 1e155, 1);
  rows[2][kX] = kInfinity;
  const FittedModel model(settings.Get(), MakeRecords(rows));
  EXPECT_EQ(StatsOf(model).GetParameterExponents(), (std::vector<int>{0, 517, 0}));
  EXPECT_TRUE(StatsOf(model).GetNonFiniteParameters().IsIn(1));
  EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 1);
}

TEST(ColumnScaleLimits, MeansOfTheLargestNumbersDoNotOverflow) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX});
  constexpr double kLargest = 0x1.8p+1023;
  const FittedModel model(settings.Get(), MakeRecords({{-kLargest, kLargest},
                                                       {kLargest, -kLargest},
                                                       {kLargest, kLargest / 2},
                                                       {-kLargest, -kLargest / 2}}));
  EXPECT_NEAR(model.Stats().GetMeanValues()[0] / kLargest, 0.0, 1e-15);
  EXPECT_NEAR(model.Stats().GetMeanValues()[1] / kLargest, 0.0, 1e-15);
  EXPECT_NEAR(RSquareOf(model), 0.1, 1e-14);  // (1/2)^2 / ((5/8) 4 (1))
}

}  // namespace
