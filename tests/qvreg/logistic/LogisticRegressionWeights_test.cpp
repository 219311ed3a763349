// Regression weights that differ between the categories of the dependent.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvLogComponent.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kFrequency = 2;
constexpr int kRegression = 3;

/// 25 records of each y and x; category 1 weighs three times as much as category 0.
Rows IndependentRows() {
  Rows rows;
  for (int i = 0; i < 25; ++i) {
    for (const double x : {0.0, 1.0}) {
      rows.push_back({0, x, 1, 1});
      rows.push_back({1, x, 1, 3});
    }
  }
  return rows;
}

/// With the tabulator, or without.
class LogisticRegressionWeights : public ::testing::TestWithParam<bool> {
 protected:
  LogisticSettings& Weighted(LogisticSettings& settings) {
    return settings.RegressionWeight(kRegression).InMemory(GetParam());
  }
};

TEST_P(LogisticRegressionWeights, TheInterceptAloneIsTheLogRatioOfTheWeights) {
  LogisticSettings settings(kY, 2, {}, {});
  const LogisticFit fit(Weighted(settings).Get(), MakeRecords(IndependentRows()));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptNoIterations);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(1.0 / 3.0), 1e-15);
  // The variance of a log ratio: 1/50 + 1/150.
  EXPECT_NEAR(fit.Stats().GetCovarianceMatrix()->GetElem(0, 0), 4.0 / 150, 1e-16);
  const double ll = 50 * std::log(0.25) + 150 * std::log(0.75);
  EXPECT_NEAR(fit.Stats().GetInitialLL(), ll, 1e-12);
  EXPECT_NEAR(fit.Stats().GetFinalLL(), ll, 1e-12);
}

TEST_P(LogisticRegressionWeights, BothWeightsMultiplyInTheStart) {
  // Weights 2 x 0.5, 3 x 2 and 1 x 4, and 5 x 1.
  const Rows rows{{0, 0, 2, 0.5}, {1, 0, 3, 2}, {1, 0, 1, 4}, {2, 0, 5, 1}};
  LogisticSettings settings(kY, 3, {}, {});
  settings.FrequencyWeight(kFrequency);
  const LogisticFit fit(Weighted(settings).Get(), MakeRecords(rows));
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(1.0 / 5), 1e-15);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[1], std::log(10.0 / 5), 1e-15);
}

TEST_P(LogisticRegressionWeights, ACovariateThatTellsNothingAddsNothing) {
  LogisticSettings settings(kY, 2, {}, {kX});
  settings.Effect({}, {kX});
  const LogisticFit fit(Weighted(settings).Get(), MakeRecords(IndependentRows()));
  EXPECT_NEAR(2 * (fit.Stats().GetFinalLL() - fit.Stats().GetInitialLL()), 0.0, 1e-12);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(1.0 / 3.0), 1e-14);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[1], 0.0, 1e-14);
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    EXPECT_NEAR(fit.Stats().GetModelFitStat(stat), 0.0, 1e-14);
  }
}

TEST_P(LogisticRegressionWeights, CountsThatAreShownAndBreakTiesAreByFrequency) {
  // Without an intercept a record of x = 0 is told by nothing: category 0 is the more frequent,
  // category 1 the heavier.
  const Rows rows{{0, 1, 2, 1}, {0, -1, 1, 1}, {1, 1, 1, 5}, {1, -2, 1, 5}};
  LogisticSettings settings(kY, 2, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(kFrequency).NoIntercept();
  LogisticFit fit(Weighted(settings).Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetDependCategoryWeights(), (Doubles{3, 2}));
  EXPECT_EQ(fit.Score(MakeRecord({0, 0, 1, 1})).predicted, 0.0);
}

TEST_P(LogisticRegressionWeights, ACategoryWithoutWeightAnswers303) {
  // Both weights are positive; their product is below the smallest double.
  const Rows rows{{0, 0, 1, 1}, {1, 1, 1e-200, 1e-200}, {2, 1, 1, 1}};
  LogisticSettings settings(kY, 3, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(kFrequency);
  QvLogComponent component(Weighted(settings).Get());
  qvtest::VectorRecordIter data(MakeRecords(rows));
  EXPECT_TRUE(component.BuildModel(data) == QvStatus(303, false));
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, LogisticRegressionWeights, ::testing::Bool());

}  // namespace
