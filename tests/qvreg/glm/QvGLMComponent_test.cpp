#include "qvreg/glm/QvGLMComponent.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;

/// A factor A of three categories, of which the data hold 0 and 1, and a covariate: y is
/// 1 + 2 x where A is 0 and 4 + 2 x where it is 1.
class QvGLMComponentTest : public ::testing::Test {
 protected:
  QvGLMComponentTest() { settings_.Effect({kA}).Effect({}, {kX}); }

  LinearSettings settings_{kY, {{kA, 3}}, {kX}};
  VectorRecordIter data_{MakeRecords({{1, 0, 0}, {3, 0, 1}, {6, 1, 1}, {8, 1, 2}, {7, 0, 3}})};
  std::vector<QvRegrParameter> parameters_;
};

TEST(QvGLMComponent, WithoutADependentEveryOperationAnswers301) {
  QvGLMComponent component{QvRegSettings()};
  VectorRecordIter data(MakeRecords({{1.0}}));
  std::vector<QvRegrParameter> parameters;
  IQvRegOutputStats* stats = nullptr;
  double predicted = 5.0;
  std::vector<double> values;

  EXPECT_EQ(component.GetStatus().GetCode(), 301);
  EXPECT_EQ(component.CreateParameters(data, parameters).GetCode(), 301);
  EXPECT_EQ(component.BuildModel(data).GetCode(), 301);
  EXPECT_EQ(component.GetOutputStats(stats).GetCode(), 301);
  EXPECT_EQ(component.Score(MakeRecord({1.0}), predicted, values).GetCode(), 301);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_TRUE(component.GetWarnings().empty());
  component.Cancel();
  EXPECT_EQ(component.GetStatus().GetCode(), 301);
  EXPECT_EQ(data.Passes(), 0);
  EXPECT_EQ(stats, nullptr);
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(component.GetRecordCounts().fRead, 0);
  EXPECT_EQ(CapturedDisplay(component).find("fpAlgorithm"), std::string::npos)
      << "no algorithm was made";
}

TEST(QvGLMComponent, WithoutATermTheStatusIs302) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  settings.SetInterceptUse(false);
  EXPECT_EQ(QvGLMComponent(settings).GetStatus().GetCode(), 302);
}

TEST_F(QvGLMComponentTest, KeepsItsOwnCopyOfTheSettings) {
  QvGLMComponent component(settings_.Get());
  settings_.Get().SetTolerance(0.5);
  settings_.NoIntercept();
  EXPECT_EQ(component.GetCompSettings().GetTolerance(), 1e-12);
  EXPECT_TRUE(component.GetCompSettings().GetInterceptUse());
  EXPECT_EQ(component.GetModelType(), QvConst::QvRegModelGLM);
}

TEST_F(QvGLMComponentTest, BuildsAfterCreatingTheParameters) {
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(component.CreateParameters(data_, parameters_).IsOK());
  EXPECT_EQ(data_.Passes(), 1);
  EXPECT_EQ(parameters_.size(), 4U);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_EQ(data_.Passes(), 3);
  EXPECT_TRUE(component.IsModelBuilt());
}

TEST_F(QvGLMComponentTest, BuildsWithoutParametersCreatedBefore) {
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
  EXPECT_EQ(data_.Passes(), 3);
  EXPECT_TRUE(component.IsModelBuilt());
}

TEST_F(QvGLMComponentTest, CreatingTheParametersTwiceGives306ForGood) {
  QvGLMComponent component(settings_.Get());
  component.CreateParameters(data_, parameters_);
  EXPECT_TRUE(component.CreateParameters(data_, parameters_) == QvStatus(306, false));
  EXPECT_EQ(component.GetStatus().GetCode(), 306);
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 306);
  EXPECT_FALSE(component.IsModelBuilt());
}

TEST_F(QvGLMComponentTest, CreatingTheParametersOfABuiltModelGives310) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  EXPECT_EQ(component.CreateParameters(data_, parameters_).GetCode(), 310);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_TRUE(parameters_.empty());
}

TEST_F(QvGLMComponentTest, BuildingTwiceGives310ForGood) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  EXPECT_TRUE(component.BuildModel(data_) == QvStatus(310, false));
  EXPECT_EQ(component.GetStatus().GetCode(), 310);
  EXPECT_FALSE(component.IsModelBuilt());
  EXPECT_EQ(data_.Passes(), 3) << "the second build reads nothing";
  IQvRegOutputStats* stats = nullptr;
  EXPECT_EQ(component.GetOutputStats(stats).GetCode(), 310);
  EXPECT_EQ(stats, nullptr);
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_EQ(component.Score(MakeRecord({0, 0, 0}), predicted, values).GetCode(), 310);
  EXPECT_EQ(predicted, 5.0);
}

TEST_F(QvGLMComponentTest, GetOutputStatsBeforeTheBuildAnswers311AndWritesNothing) {
  QvGLMComponent component(settings_.Get());
  QvGLMComponent other(settings_.Get());
  ASSERT_TRUE(other.BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(other.GetOutputStats(stats).IsOK());
  IQvRegOutputStats* const before = stats;
  EXPECT_TRUE(component.GetOutputStats(stats) == QvStatus(311, false));
  EXPECT_EQ(stats, before);
  EXPECT_TRUE(component.GetStatus().IsOK()) << "311 is not kept";
  EXPECT_TRUE(component.BuildModel(data_).IsOK());
}

TEST_F(QvGLMComponentTest, GetOutputStatsTwiceGivesOnePointer) {
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  IQvRegOutputStats* first = nullptr;
  IQvRegOutputStats* second = nullptr;
  EXPECT_TRUE(component.GetOutputStats(first).IsOK());
  EXPECT_TRUE(component.GetOutputStats(second).IsOK());
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(first, second);
}

TEST_F(QvGLMComponentTest, ScoreBeforeTheBuildSucceedsAndWritesNothing) {
  QvGLMComponent component(settings_.Get());
  double predicted = 5.0;
  std::vector<double> values{7.0};
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values).IsOK());
  component.CreateParameters(data_, parameters_);
  EXPECT_TRUE(component.Score(MakeRecord({0, 0, 0}), predicted, values).IsOK());
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(values, (std::vector<double>{7.0}));
}

TEST_F(QvGLMComponentTest, ScoresARecordAndLeavesTheValues) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  double predicted = 0.0;
  std::vector<double> values{7.0};
  EXPECT_TRUE(component.Score(MakeRecord({0, 1, 10}), predicted, values).IsOK());
  EXPECT_NEAR(predicted, 24.0, 1e-12);
  EXPECT_EQ(values, (std::vector<double>{7.0}));
}

TEST_F(QvGLMComponentTest, ScoreNeedsNeitherDependentNorWeights) {
  LinearSettings settings(3, {}, {0});
  settings.Effect({}, {0}).FrequencyWeight(4).RegressionWeight(5);
  QvGLMComponent component(settings.Get());
  VectorRecordIter data(MakeRecords({{0, 0, 0, 1, 1, 1}, {1, 0, 0, 3, 1, 1}, {2, 0, 0, 5, 1, 1}}));
  ASSERT_TRUE(component.BuildModel(data).IsOK());
  double predicted = 0.0;
  std::vector<double> values;
  EXPECT_TRUE(component.Score(MakeRecord({5.0}), predicted, values).IsOK());
  EXPECT_NEAR(predicted, 11.0, 1e-12);
}

TEST_F(QvGLMComponentTest, ScoringALevelThatWasNeverSeenGivesTheMissingValue) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  double predicted = 0.0;
  std::vector<double> values;
  EXPECT_TRUE(component.Score(MakeRecord({0, 2, 1}), predicted, values).IsOK());
  EXPECT_EQ(predicted, QvMV::gMissingValue);
}

TEST_F(QvGLMComponentTest, ScoringARecordTooShortAnswers315AndIsNotKept) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  double predicted = 5.0;
  std::vector<double> values;
  EXPECT_TRUE(component.Score(MakeRecord({0, 1}), predicted, values) == QvStatus(315, false));
  EXPECT_TRUE(component.Score(QvCommon::Record(0), predicted, values).IsError());
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(component.GetStatus().IsOK());
  EXPECT_TRUE(component.Score(MakeRecord({0, 1, 1}), predicted, values).IsOK());
}

TEST_F(QvGLMComponentTest, AnEffectWithAnUnknownFactorGives309) {
  const std::vector<int> variables{kA, 9};
  QvModelEffect effect(2, 0, &variables);
  ASSERT_TRUE(effect.AddNewFactor(9, false));
  EXPECT_TRUE(settings_.Get().AddModelEffect(effect));
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(component.GetStatus().IsOK()) << "the settings are not checked for it";
  EXPECT_TRUE(component.CreateParameters(data_, parameters_) == QvStatus(309, false));
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 309);
  EXPECT_TRUE(parameters_.empty());
}

TEST_F(QvGLMComponentTest, AnEffectWithAnUnknownCovariateGives309) {
  const std::vector<int> variables{kX, kY};
  QvModelEffect effect(0, 2, &variables);
  ASSERT_EQ(effect.AddCovariate(kY), 1);  // the dependent is no covariate
  EXPECT_TRUE(settings_.Get().AddModelEffect(effect));
  QvGLMComponent component(settings_.Get());
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 309);
}

TEST_F(QvGLMComponentTest, AnEffectThatUsesACovariateAsAFactorGives309) {
  const std::vector<int> variables{kX};
  QvModelEffect effect(1, 0, &variables);
  ASSERT_TRUE(effect.AddNewFactor(kX, false));
  EXPECT_TRUE(settings_.Get().AddModelEffect(effect));
  QvGLMComponent component(settings_.Get());
  EXPECT_EQ(component.BuildModel(data_).GetCode(), 309);
}

TEST_F(QvGLMComponentTest, WarningsAreNoneForALinearModel) {
  QvGLMComponent component(settings_.Get());
  component.BuildModel(data_);
  EXPECT_TRUE(component.GetWarnings().empty());
}

TEST_F(QvGLMComponentTest, TooManyParametersGive305WithTheirNumberAndTheBound) {
  constexpr int kLevels = 46339;
  LinearSettings settings(kY, {{kA, kLevels}}, {});
  settings.Effect({kA});
  std::vector<QvCommon::Record> records;
  records.reserve(kLevels);
  for (int level = 0; level < kLevels; ++level) {
    records.push_back(MakeRecord({1.0, static_cast<double>(level)}));
  }
  VectorRecordIter data(std::move(records));
  QvGLMComponent component(settings.Get());
  const QvStatus status = component.CreateParameters(data, parameters_);
  EXPECT_EQ(status.GetCode(), 305);
  long count = 0;
  long bound = 0;
  EXPECT_TRUE(status.GetDiscreteDatum(0, count));
  EXPECT_TRUE(status.GetDiscreteDatum(1, bound));
  EXPECT_EQ(count, 46340);  // the levels and the intercept
  EXPECT_EQ(bound, 46339);
  EXPECT_TRUE(parameters_.empty());
  EXPECT_EQ(component.BuildModel(data).GetCode(), 305);
}

TEST_F(QvGLMComponentTest, StatisticsWithoutMemoryGive305WithoutDataUntilThereIsSome) {
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(component.BuildModel(data_).IsOK());
  IQvRegOutputStats* stats = nullptr;
  int failures = 0;
  for (bool hasStruck = true; hasStruck;) {
    const qvtest::AllocationFault fault(failures + 1, qvtest::AllocationFault::Extent::kOnce);
    const QvStatus status = component.GetOutputStats(stats);
    hasStruck = fault.HasStruck();
    if (!hasStruck) break;
    ++failures;
    long datum = 0;
    EXPECT_EQ(status.GetCode(), 305) << failures;
    EXPECT_FALSE(status.GetDiscreteDatum(0, datum)) << failures;
    EXPECT_FALSE(status.GetDiscreteDatum(1, datum)) << failures;
    EXPECT_EQ(stats, nullptr);
    EXPECT_TRUE(component.GetStatus().IsOK()) << "a result that is not kept";
  }
  EXPECT_GT(failures, 5);
  ASSERT_NE(stats, nullptr);
  EXPECT_EQ(stats->GetCovarianceMatrix()->GetOrder(),
            static_cast<int>(stats->GetParamEstimates().size()));
}

TEST_F(QvGLMComponentTest, DisplayShowsSettingsAlgorithmAndStatistics) {
  QvGLMComponent component(settings_.Get());
  EXPECT_EQ(CapturedDisplay(component).find("fpOutputStats"), std::string::npos);
  component.BuildModel(data_);
  IQvRegOutputStats* stats = nullptr;
  component.GetOutputStats(stats);
  EXPECT_TRUE(HoldsInOrder(
      CapturedDisplay(component),
      {" \n", "QvGLMComponent display start\n", "fCompSettings\n", "QvRegSettings display start\n",
       "QvRegSettings display end\n", "fpAlgorithm\n", "QvGLMAlgorithm display start\n",
       "QvGLMAlgorithm display end\n", "fpOutputStats\n", "QvGLMOutputStats display start\n",
       "QvGLMOutputStats display end\n", "QvGLMComponent display end\n"}));
}

}  // namespace
