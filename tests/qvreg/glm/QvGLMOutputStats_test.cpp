#include "qvreg/glm/QvGLMOutputStats.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::CapturedDisplay;
using qvtest::FittedModel;
using qvtest::HoldsInOrder;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Doubles = std::vector<double>;
using Counts = QvFactorCounts::Counts;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kFrequency = 2;
constexpr int kRegression = 3;

/// One factor of two levels with an intercept, so that the second level is redundant.
///
/// Weights f r: 2 and 1 at level 0 (y = 1, 4), 2 and 6 at level 1 (y = 3, 7). Level means 2 and 6;
/// weighted residuals 2 x 1 + 1 x 4 + 2 x 9 + 6 x 1 = 30; grand mean 54 / 11.
class QvGLMOutputStatsTest : public ::testing::Test {
 protected:
  QvGLMOutputStatsTest() {
    settings_.Effect({kA}).FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  }

  LinearSettings settings_{kY, {{kA, 3}}, {}};
  const std::vector<QvCommon::Record> records_ =
      MakeRecords({{1, 0, 1, 2}, {4, 0, 2, 0.5}, {3, 1, 4, 0.5}, {7, 1, 3, 2}});
};

TEST_F(QvGLMOutputStatsTest, ReportsTheEstimatesOfTheLevels) {
  FittedModel model(settings_.Get(), records_);
  const Doubles& estimates = model.Stats().GetParamEstimates();
  ASSERT_EQ(estimates.size(), 3U);
  EXPECT_NEAR(estimates[0], 6.0, 1e-13);
  EXPECT_NEAR(estimates[1], -4.0, 1e-13);
}

TEST_F(QvGLMOutputStatsTest, ARedundantParameterHasEstimateZeroAndItsFlag) {
  FittedModel model(settings_.Get(), records_);
  const std::vector<QvRegrParameterStats>& stats = model.Stats().GetParamStats();
  ASSERT_EQ(stats.size(), 3U);
  EXPECT_EQ(stats[2].fEstimate, 0.0);
  EXPECT_TRUE(stats[2].fbRedundant);
  EXPECT_FALSE(stats[0].fbRedundant);
  EXPECT_FALSE(stats[1].fbRedundant);
}

TEST_F(QvGLMOutputStatsTest, FillsFourFieldsOfAParametersStatistics) {
  FittedModel model(settings_.Get(), records_);
  const QvRegrParameterStats& stats = model.Stats().GetParamStats()[1];
  EXPECT_EQ(stats.fParameterIndex, 1);
  EXPECT_EQ(stats.fEstimate, model.Stats().GetParamEstimates()[1]);
  EXPECT_EQ(stats.fEffectIndex, 1);
  EXPECT_EQ(stats.fStatistic, QvMV::gMissingValue);
  EXPECT_EQ(stats.fCount, 0.0);
}

TEST_F(QvGLMOutputStatsTest, RedundancyBitsAreSetForKeptParametersOnly) {
  FittedModel model(settings_.Get(), records_);
  const QvCommon::QvBitSet& kept = model.Stats().GetRedundancyIndicators();
  ASSERT_EQ(kept.Size(), 3) << "the dependent's bit is dropped";
  EXPECT_TRUE(kept.IsIn(0));
  EXPECT_TRUE(kept.IsIn(1));
  EXPECT_FALSE(kept.IsIn(2));
}

TEST_F(QvGLMOutputStatsTest, TheCovarianceMatrixHasZerosForARedundantParameter) {
  // The intercept is the mean of level 1 (total weight 8), the difference adds level 0 (3).
  FittedModel model(settings_.Get(), records_);
  const QvCommon::QvSymMatrixData& covariance = *model.Stats().GetCovarianceMatrix();
  ASSERT_EQ(covariance.GetOrder(), 3);
  EXPECT_NEAR(covariance.GetElem(0, 0), 1.0 / 8, 1e-15);
  EXPECT_NEAR(covariance.GetElem(0, 1), -1.0 / 8, 1e-15);
  EXPECT_NEAR(covariance.GetElem(1, 1), 1.0 / 8 + 1.0 / 3, 1e-15);
  for (int j = 0; j < 3; ++j) EXPECT_EQ(covariance.GetElem(2, j), 0.0);
}

TEST_F(QvGLMOutputStatsTest, TotalsTheWeights) {
  FittedModel model(settings_.Get(), records_);
  EXPECT_EQ(model.Stats().GetTotalFreqWeight(), 10.0);
  EXPECT_EQ(model.Stats().GetTotalRegrWeight(), 11.0);
}

TEST_F(QvGLMOutputStatsTest, ComputesTheFitStatistics) {
  // Between levels: 3 (2 - 54/11)^2 + 8 (6 - 54/11)^2 = 384/11; R square = (384/11) / (384/11 +
  // 30).
  FittedModel model(settings_.Get(), records_);
  const IQvRegOutputStats& stats = model.Stats();
  EXPECT_NEAR(stats.GetModelFitStat(QvConst::QvFitRootMeanSquareError), std::sqrt(3.0), 1e-13);
  EXPECT_NEAR(stats.GetModelFitStat(QvConst::QvFitMultipleRSquare), 384.0 / 714, 1e-13);
}

TEST_F(QvGLMOutputStatsTest, FitStatisticsOfOtherModelsAreMissing) {
  FittedModel model(settings_.Get(), records_);
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    EXPECT_EQ(model.Stats().GetModelFitStat(stat), QvMV::gMissingValue);
  }
}

TEST_F(QvGLMOutputStatsTest, CountsTheRecordsPerCategory) {
  FittedModel model(settings_.Get(), records_);
  const QvFactorCounts& counts = model.Stats().GetFactorCounts();
  EXPECT_EQ(counts.GetNFactors(), 1);
  EXPECT_EQ(*counts.GetCountsPtr(0), (Counts{{3, 2}, {7, 2}, {0, 0}}));
  EXPECT_EQ(counts.GetNActiveCategories(0), 2);
}

TEST_F(QvGLMOutputStatsTest, DegreesOfFreedomCountRedundantParametersToo) {
  FittedModel model(settings_.Get(), records_);
  EXPECT_EQ(model.Stats().GetNDegFreedom(), 8.0);  // 11 - 3
}

TEST_F(QvGLMOutputStatsTest, ImposedDegreesOfFreedomPrevail) {
  for (const double imposed : {2.5, 0.5}) {
    settings_.Get().SetDF(imposed);
    FittedModel model(settings_.Get(), records_);
    EXPECT_EQ(model.Stats().GetNDegFreedom(), imposed);
  }
}

TEST(QvGLMOutputStats, OneRecordIsSomethingToFit) {
  LinearSettings settings(kY, {{kA, 3}}, {});
  settings.Effect({kA});
  const FittedModel model(settings.Get(), MakeRecords({{5, 1}}));
  const Doubles& estimates = model.Stats().GetParamEstimates();
  EXPECT_EQ(estimates[0] + estimates[1], 5.0);
  EXPECT_EQ(model.Stats().GetModelFitStat(QvConst::QvFitRootMeanSquareError), 0.0);
}

TEST(QvGLMOutputStats, TenRecordsAndThreeParametersLeaveSevenDegreesOfFreedom) {
  LinearSettings settings(0, {}, {1, 2});
  settings.Effect({}, {1}).Effect({}, {2}).RegressionWeight(3);
  Doubles y{3, 1, 4, 1, 5, 9, 2, 6, 5, 3};
  std::vector<QvCommon::Record> records;
  for (int i = 0; i < 10; ++i) {
    records.push_back(MakeRecord({y[static_cast<std::size_t>(i)], 1.0 * i, 1.0 * (i % 3), 1.0}));
  }
  FittedModel model(settings.Get(), records);
  EXPECT_EQ(model.Stats().GetParameters().size(), 3U);
  EXPECT_EQ(model.Stats().GetNDegFreedom(), 7.0);
}

TEST(QvGLMOutputStats, MeansAreThoseOfTheCovariatesInTheOrderOfTheSettings) {
  LinearSettings settings(0, {}, {2, 1});
  settings.Effect({}, {1});
  FittedModel model(settings.Get(), MakeRecords({{1, 10, 100}, {2, 20, 100}, {6, 60, 400}}));
  const Doubles& means = model.Stats().GetMeanValues();
  ASSERT_EQ(means.size(), 3U);
  EXPECT_DOUBLE_EQ(means[0], 200.0);
  EXPECT_DOUBLE_EQ(means[1], 30.0);
  EXPECT_DOUBLE_EQ(means[2], 3.0);
}

TEST_F(QvGLMOutputStatsTest, ExpandsARecordIntoItsDesignRow) {
  FittedModel model(settings_.Get(), records_);
  Doubles row;
  EXPECT_TRUE(model.Stats().ExpandRow(MakeRecord({5, 1, 1, 1}), row));
  EXPECT_EQ(row, (Doubles{1, 0, 1, 5}));
  EXPECT_FALSE(model.Stats().ExpandRow(MakeRecord({5, 2, 1, 1}), row)) << "level 2 was never seen";
  EXPECT_EQ(row, (Doubles{1, 0, 0, 5}));
}

TEST_F(QvGLMOutputStatsTest, ListsTheNonZerosOfADesignRow) {
  const FittedModel model(settings_.Get(), records_);
  const auto& stats = dynamic_cast<const QvGLMOutputStats&>(model.Stats());
  std::vector<int> indices;
  Doubles values;
  EXPECT_TRUE(stats.ExpandScaledRow(MakeRecord({5, 1, 1, 1}), indices, values));
  EXPECT_EQ(indices, (std::vector<int>{0, 2}));
  EXPECT_EQ(values, (Doubles{1, 1}));
  EXPECT_FALSE(stats.ExpandScaledRow(MakeRecord({5, 2, 1, 1}), indices, values));
  EXPECT_EQ(indices, std::vector<int>{0});
  EXPECT_FALSE(stats.ExpandScaledRow(MakeRecord({5}), indices, values));
}

TEST_F(QvGLMOutputStatsTest, WithoutMemoryNothingIsExpanded) {
  using qvtest::AllocationFault;
  const FittedModel model(settings_.Get(), records_);
  const auto& stats = dynamic_cast<const QvGLMOutputStats&>(model.Stats());
  const QvCommon::Record record = MakeRecord({5, 1, 1, 1});
  std::vector<int> indices;
  Doubles numbers;
  const auto isRefused = [](auto&& operation) {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    return !operation() && fault.HasStruck();
  };
  EXPECT_TRUE(isRefused([&] { return stats.ExpandRow(record, numbers); }));
  EXPECT_TRUE(isRefused([&] { return stats.ExpandScaledRow(record, indices, numbers); }));
  EXPECT_TRUE(isRefused([&] { return stats.GetRedundantCombination(2, numbers); }));
  EXPECT_TRUE(stats.GetRedundantCombination(2, numbers));
}

TEST_F(QvGLMOutputStatsTest, DoesNotExpandARecordWithoutItsFactor) {
  FittedModel model(settings_.Get(), records_);
  Doubles row;
  EXPECT_FALSE(model.Stats().ExpandRow(MakeRecord({5}), row));
  EXPECT_FALSE(model.Stats().ExpandRow(QvCommon::Record(0), row));
}

TEST(QvGLMOutputStats, ARecordThatEndsBeforeTheDependentExpandsWithAMissingDependent) {
  LinearSettings settings(4, {}, {0});
  settings.Effect({}, {0});
  FittedModel model(settings.Get(), MakeRecords({{0, 0, 0, 0, 1}, {1, 0, 0, 0, 3}}));
  Doubles row;
  EXPECT_TRUE(model.Stats().ExpandRow(MakeRecord({5}), row));
  EXPECT_EQ(row, (Doubles{1, 5, QvMV::gMissingValue}));
}

TEST_F(QvGLMOutputStatsTest, HandsOutTheRecordValidator) {
  FittedModel model(settings_.Get(), records_);
  QvCommon::QvStatus status;
  const QvRegRecordValidator& validator = model.Stats().GetRecordValidator();
  EXPECT_TRUE(validator.IsValidRecord(records_[0], status));
  EXPECT_FALSE(validator.IsValid4Scoring(MakeRecord({0, 0.5, 1, 1}), status));
  EXPECT_EQ(status.GetCode(), 316);
}

TEST_F(QvGLMOutputStatsTest, ReportsTheRecordCounts) {
  FittedModel model(settings_.Get(), records_);
  const auto& stats = dynamic_cast<const QvGLMOutputStats&>(model.Stats());
  EXPECT_EQ(stats.GetRecordCounts().fRead, 4);
  EXPECT_EQ(stats.GetRecordCounts().fUsed, 4);
}

TEST_F(QvGLMOutputStatsTest, ACopyIsValidWithoutTheComponent) {
  std::unique_ptr<QvGLMOutputStats> copy;
  {
    FittedModel model(settings_.Get(), records_);
    copy = std::make_unique<QvGLMOutputStats>(dynamic_cast<const QvGLMOutputStats&>(model.Stats()));
  }
  EXPECT_EQ(copy->GetModelType(), QvConst::QvRegModelGLM);
  EXPECT_EQ(copy->GetParameters().size(), 3U);
  EXPECT_NEAR(copy->GetParamEstimates()[1], -4.0, 1e-13);
  EXPECT_NEAR(copy->GetCovarianceMatrix()->GetElem(0, 0), 1.0 / 8, 1e-15);
  EXPECT_EQ(*copy->GetFactorCounts().GetCountsPtr(0), (Counts{{3, 2}, {7, 2}, {0, 0}}));
  EXPECT_EQ(copy->GetNDegFreedom(), 8.0);
}

TEST_F(QvGLMOutputStatsTest, DisplayPrintsEveryFieldUnderItsLabel) {
  FittedModel model(settings_.Get(), records_);
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(model.Stats()),
                           {"QvGLMOutputStats display start\n",
                            "fFactorCounts:\n",
                            "QvFactorCounts display start\n",
                            "QvFactorCounts display end\n",
                            "fParamEstimates:",
                            "fParameters and fParamStats: total model parameters: 3\n",
                            "End QvRegrParameter object display.\n",
                            "Parameter estimate:",
                            "Redundant: false\n",
                            "Parameter estimate:",
                            "Redundant: false\n",
                            "Parameter estimate: 0\n",
                            "Redundant: true\n",
                            "fTotalFreqWeight: 10\n",
                            "fTotalRegrWeight: 11\n",
                            "fNDegFreedom: 8\n",
                            "RMSE: ",
                            "Multiple R Square: ",
                            "Covariance matrix:\n",
                            "Order: 3\n",
                            "QvGLMOutputStats display end\n"}));
}

}  // namespace
