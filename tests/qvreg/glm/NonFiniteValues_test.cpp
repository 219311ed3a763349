// Values that are not finite: parameters concerned are named and left out, and no number that is
// reported is infinite or not a number.
#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelReport.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kWeight = 3;
constexpr int kLevel = 4;

/// y, x, z, a weight, a level.
const Rows kRows{{1.1, 0.2, 0.0, 1, 0}, {3.2, 1.3, 1.0, 2, 1}, {2.3, 2.4, 0.5, 1, 1},
                 {6.4, 3.1, 2.0, 3, 0}, {5.9, 4.4, 0.0, 5, 1}, {7.7, 5.3, 1.5, 1, 0}};
constexpr std::size_t kRecord = 3;  ///< The one that tests change.

Rows With(int variable, double value) {
  Rows rows = kRows;
  rows[kRecord][static_cast<std::size_t>(variable)] = value;
  return rows;
}

const QvGLMOutputStats& StatsOf(const FittedModel& model) {
  return dynamic_cast<const QvGLMOutputStats&>(model.Stats());
}

double RSquareOf(const FittedModel& model) {
  return model.Stats().GetModelFitStat(QvConst::QvFitMultipleRSquare);
}

double ErrorOf(const FittedModel& model) {
  return model.Stats().GetModelFitStat(QvConst::QvFitRootMeanSquareError);
}

/// Compares with the fit of the model that lacks the parameters in `left`.
void ExpectFitWithout(const std::vector<std::size_t>& left, const FittedModel& model,
                      const FittedModel& without) {
  const QvGLMOutputStats& stats = StatsOf(model);
  std::size_t next = 0;
  for (std::size_t k = 0; k < stats.GetParamEstimates().size(); ++k) {
    const auto place = static_cast<int>(k);
    const bool isLeft = std::find(left.begin(), left.end(), k) != left.end();
    EXPECT_EQ(stats.GetNonFiniteParameters().IsIn(place), isLeft) << k;
    const double variance = stats.GetCovarianceMatrix()->GetElem(place, place);
    if (isLeft) {
      EXPECT_EQ(stats.GetParamEstimates()[k], 0.0);
      EXPECT_FALSE(stats.GetRedundancyIndicators().IsIn(place));
      EXPECT_EQ(variance, 0.0);
      continue;
    }
    const auto other = static_cast<int>(next);
    EXPECT_EQ(stats.GetParamEstimates()[k], without.Stats().GetParamEstimates()[next]) << k;
    EXPECT_EQ(variance, without.Stats().GetCovarianceMatrix()->GetElem(other, other)) << k;
    ++next;
  }
  EXPECT_EQ(next, without.Stats().GetParamEstimates().size());
  EXPECT_EQ(RSquareOf(model), RSquareOf(without));
  EXPECT_EQ(ErrorOf(model), ErrorOf(without));
  EXPECT_GT(RSquareOf(model), 0.5);
}

void ExpectNoStatistics(const FittedModel& model) {
  EXPECT_EQ(RSquareOf(model), QvMV::gMissingValue);
  EXPECT_EQ(ErrorOf(model), QvMV::gMissingValue);
}

class NonFiniteValues : public ::testing::TestWithParam<bool> {
 protected:
  /// Of the given effects of covariates, weighted.
  FittedModel Fit(const std::vector<std::vector<int>>& effects, const Rows& rows) {
    LinearSettings settings(kY, {}, {kX, kZ});
    for (const std::vector<int>& effect : effects) settings.Effect({}, effect);
    return Fit(settings, rows);
  }
  FittedModel Fit(LinearSettings& settings, const Rows& rows) {
    settings.FrequencyWeight(kWeight);
    if (GetParam()) settings.Refined();
    return FittedModel(settings.Get(), MakeRecords(rows));
  }
};

TEST_P(NonFiniteValues, FiniteDataNamesNothing) {
  const FittedModel model = Fit({{kX}, {kZ}}, kRows);
  EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Size(), 3);
  EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 0);
  EXPECT_TRUE(StatsOf(model).IsDependentFinite());
}

TEST_P(NonFiniteValues, AColumnThatIsNotFiniteIsLeftOut) {
  for (const double value : {kNaN, kInfinity, -kInfinity}) {
    SCOPED_TRACE(value);
    const Rows rows = With(kZ, value);
    ExpectFitWithout({2}, Fit({{kX}, {kZ}}, rows), Fit({{kX}}, rows));
    ExpectFitWithout({1}, Fit({{kZ}, {kX}}, rows), Fit({{kX}}, rows));
    ExpectFitWithout({1, 3}, Fit({{kZ}, {kX}, {kX, kZ}}, rows), Fit({{kX}}, rows));
    EXPECT_TRUE(StatsOf(Fit({{kX}, {kZ}}, rows)).IsDependentFinite());
  }
}

TEST_P(NonFiniteValues, ALevelsSlopeIsLeftOutAlone) {
  // Record 3 is of level 0: parameters are the intercept, two levels and two slopes.
  LinearSettings slopes(kY, {{kLevel, 2}}, {kX});
  slopes.Effect({kLevel}).Effect({kLevel}, {kX});
  const FittedModel model = Fit(slopes, With(kX, kNaN));
  const QvGLMOutputStats& stats = StatsOf(model);
  ASSERT_EQ(stats.GetParamEstimates().size(), 5U);
  EXPECT_EQ(stats.GetNonFiniteParameters().Count(), 1);
  EXPECT_TRUE(stats.GetNonFiniteParameters().IsIn(3));
  EXPECT_FALSE(stats.GetRedundancyIndicators().IsIn(3));
  EXPECT_TRUE(stats.GetRedundancyIndicators().IsIn(4));
  // Level 0 keeps its mean, (1.1 + 3 x 6.4 + 7.7) / 5, which the intercept and level give.
  const Doubles& estimates = stats.GetParamEstimates();
  EXPECT_NEAR(estimates[0] + estimates[1], 5.6, 1e-13);
  EXPECT_LT(RSquareOf(model), 1.0);
  EXPECT_GT(RSquareOf(model), 0.0);
}

TEST_P(NonFiniteValues, AnInfiniteWeightConcernsAllParameters) {
  // Two of the six records have z = 0: those products count as well.
  for (const std::size_t record : {std::size_t{0}, kRecord}) {
    Rows rows = kRows;
    rows[record][kWeight] = kInfinity;
    const FittedModel model = Fit({{kX}, {kZ}}, rows);
    EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 3);
    EXPECT_EQ(model.Stats().GetParamEstimates(), (Doubles{0, 0, 0}));
    EXPECT_EQ(model.Stats().GetRedundancyIndicators().Count(), 0);
    EXPECT_TRUE(StatsOf(model).IsDependentFinite());
    ExpectNoStatistics(model);
  }
}

TEST_P(NonFiniteValues, AnInfiniteWeightConcernsLevelsOfOtherRecordsToo) {
  LinearSettings levels(kY, {{1, 6}}, {});
  levels.Effect({1}).RegressionWeight(2);
  if (GetParam()) levels.Refined();
  const Rows rows{{3, 0, kInfinity}, {1, 1, 1}, {4, 2, 1}, {1, 3, 1}, {5, 4, 1}, {9, 5, 1}};
  const FittedModel model(levels.Get(), MakeRecords(rows));
  EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 7);
  EXPECT_EQ(model.Stats().GetParamEstimates(), Doubles(7, 0.0));
}

TEST_P(NonFiniteValues, SoDoesAnInfiniteOrTooLargeRegressionWeight) {
  for (const double weight : {kInfinity, std::numeric_limits<double>::max()}) {
    LinearSettings settings(kY, {}, {kX});
    settings.Effect({}, {kX}).RegressionWeight(kWeight);
    if (GetParam()) settings.Refined();
    const FittedModel model(settings.Get(), MakeRecords(With(kWeight, weight)));
    EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 2);
    EXPECT_EQ(model.Stats().GetParamEstimates(), (Doubles{0, 0}));
    ExpectNoStatistics(model);
  }
}

TEST_P(NonFiniteValues, ADependentThatIsNotFiniteLeavesNoEstimates) {
  for (const double value : {kNaN, kInfinity, -kInfinity}) {
    SCOPED_TRACE(value);
    const FittedModel model = Fit({{kX}, {kZ}}, With(kY, value));
    EXPECT_FALSE(StatsOf(model).IsDependentFinite());
    EXPECT_EQ(model.Stats().GetParamEstimates(), (Doubles{0, 0, 0}));
    EXPECT_EQ(StatsOf(model).GetNonFiniteParameters().Count(), 0);
    EXPECT_EQ(model.Stats().GetRedundancyIndicators().Count(), 3) << "the columns are sound";
    ExpectNoStatistics(model);
  }
}

TEST_P(NonFiniteValues, WhatHasNoEstimateDoesNotEnterAPrediction) {
  FittedModel leftOut = Fit({{kX}, {kZ}}, With(kZ, kNaN));
  const Doubles& estimates = leftOut.Stats().GetParamEstimates();
  EXPECT_EQ(leftOut.Predict(MakeRecord({0, 2, kInfinity, 1, 0})), estimates[0] + 2 * estimates[1]);
  EXPECT_EQ(leftOut.Predict(MakeRecord({0, kInfinity, 0, 1, 0})), kInfinity);
  // z = x: the second of the two is redundant.
  Rows same = kRows;
  for (Doubles& row : same) row[kZ] = row[kX];
  FittedModel redundant = Fit({{kX}, {kZ}}, same);
  EXPECT_EQ(redundant.Predict(MakeRecord({0, kInfinity, kInfinity, 1, 0})), kInfinity);
}

TEST_P(NonFiniteValues, AreNamedByARestoredModelAsWell) {
  for (const Rows& rows : {kRows, With(kZ, kNaN), With(kY, kInfinity), With(kWeight, kInfinity)}) {
    FittedModel model = Fit({{kX}, {kZ}}, rows);
    const std::vector<unsigned char> bytes = qvtest::BytesOf(model.Component());
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> restored(factory.RestoreComponent(bytes));
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(qvtest::ReportOf(*restored), qvtest::ReportOf(model.Component()));
    EXPECT_EQ(qvtest::ScoresOf(MakeRecords(kRows), *restored),
              qvtest::ScoresOf(MakeRecords(kRows), model.Component()));
    EXPECT_EQ(qvtest::BytesOf(*restored), bytes);
    QvModelContents contents;
    ASSERT_TRUE(QvModelMessage::Read(bytes, contents).IsOK());
    EXPECT_EQ(contents.fLinear.fEstimates.fNonFinite.empty(),
              StatsOf(model).GetNonFiniteParameters().Count() == 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Fits, NonFiniteValues, ::testing::Bool(), [](const auto& fit) {
  return std::string(fit.param ? "refined" : "plain");
});

}  // namespace
