// The algorithm behind the component, where the component hides it.
#include "qvreg/logistic/QvLogAlgorithm.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kX = 1;

class QvLogAlgorithmTest : public ::testing::TestWithParam<bool> {
 protected:
  QvLogAlgorithmTest() { settings_.Effect({}, {kX}).InMemory(GetParam()); }

  LogisticSettings settings_{kY, 2, {}, {kX}};
  VectorRecordIter data_{MakeRecords({{0, 1}, {1, 2}, {0, 3}, {1, 4}, {1, 1}, {0, 2}})};
  std::vector<QvRegrParameter> parameters_;
};

TEST_P(QvLogAlgorithmTest, StartsWithNothingDone) {
  const QvLogAlgorithm algorithm(settings_.Get());
  EXPECT_FALSE(algorithm.AreParametersCreated());
  EXPECT_FALSE(algorithm.IsModelBuilt());
  EXPECT_TRUE(algorithm.GetStatus().IsOK());
  EXPECT_TRUE(algorithm.GetWarnings().empty());
  EXPECT_FALSE(algorithm.GetOptimization());
}

TEST_P(QvLogAlgorithmTest, ItsFlagsMoveForward) {
  QvLogAlgorithm algorithm(settings_.Get());
  EXPECT_TRUE(algorithm.CreateParameters(data_, parameters_).IsOK());
  EXPECT_TRUE(algorithm.AreParametersCreated());
  EXPECT_FALSE(algorithm.IsModelBuilt());
  ASSERT_EQ(algorithm.GetMeanValues().size(), 1U);
  EXPECT_NEAR(algorithm.GetMeanValues()[0], 13.0 / 6, 1e-15);
  EXPECT_TRUE(algorithm.BuildModel(data_).IsOK());
  EXPECT_TRUE(algorithm.IsModelBuilt());
  EXPECT_TRUE(algorithm.GetModel().IsFinished());
}

TEST_P(QvLogAlgorithmTest, BuildModelWithoutParametersDoesNothing) {
  QvLogAlgorithm algorithm(settings_.Get());
  EXPECT_TRUE(algorithm.BuildModel(data_).IsOK());
  EXPECT_FALSE(algorithm.IsModelBuilt());
  EXPECT_EQ(data_.Passes(), 0);
}

TEST_P(QvLogAlgorithmTest, ScoringBeforeTheBuildAnswers311) {
  QvLogAlgorithm algorithm(settings_.Get());
  Doubles probabilities{7};
  double predicted = 5.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({0, 1}), predicted, probabilities) ==
              QvStatus(311, false));
  algorithm.CreateParameters(data_, parameters_);
  EXPECT_TRUE(algorithm.Score(MakeRecord({0, 1}), predicted, probabilities) ==
              QvStatus(311, false));
  EXPECT_EQ(probabilities, Doubles{7});
  EXPECT_EQ(predicted, 5.0);
}

TEST_P(QvLogAlgorithmTest, AnErrorStaysWhateverIsAskedNext) {
  QvLogAlgorithm algorithm(settings_.Get());
  VectorRecordIter empty({});
  EXPECT_TRUE(algorithm.CreateParameters(empty, parameters_) == QvStatus(307, false));
  EXPECT_TRUE(algorithm.CreateParameters(data_, parameters_) == QvStatus(307, false));
  EXPECT_TRUE(algorithm.BuildModel(data_) == QvStatus(307, false));
  Doubles probabilities;
  double predicted = 5.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({0, 1}), predicted, probabilities) ==
              QvStatus(307, false));
  EXPECT_EQ(data_.Passes(), 0);
}

TEST_P(QvLogAlgorithmTest, FreesWhatOnlyTheEstimationNeeds) {
  QvLogAlgorithm algorithm(settings_.Get());
  algorithm.CreateParameters(data_, parameters_);
  EXPECT_NE(algorithm.GetModel().GetXPrimeXMatrix(), nullptr);
  ASSERT_TRUE(algorithm.BuildModel(data_).IsOK());
  EXPECT_EQ(algorithm.GetModel().GetXPrimeXMatrix(), nullptr);
  EXPECT_TRUE(algorithm.GetOptimization());
  EXPECT_NE(algorithm.GetModel().GetHessianGI(), nullptr);
}

TEST_P(QvLogAlgorithmTest, APendingCancelIsTheStatusOfEveryStep) {
  QvLogAlgorithm algorithm(settings_.Get());
  algorithm.Cancel();
  EXPECT_TRUE(algorithm.CreateParameters(data_, parameters_) == QvStatus(1, false));
  EXPECT_EQ(data_.Passes(), 0);
}

TEST_P(QvLogAlgorithmTest, DisplayPrintsItsFieldsInOrder) {
  QvLogAlgorithm algorithm(settings_.Get());
  algorithm.CreateParameters(data_, parameters_);
  const std::string text = qvtest::CapturedDisplay(algorithm);
  EXPECT_TRUE(
      qvtest::HoldsInOrder(text, {"QvLogAlgorithm display start", "fPatternExtractor",
                                  "fFactorTables", "fMeanValues", "fModel", "fbFactorTableFilled",
                                  "true", "fbModelBuilt", "false", "QvLogAlgorithm display end"}))
      << text;
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, QvLogAlgorithmTest, ::testing::Bool());

}  // namespace
