#include "qvreg/glm/QvGLMAlgorithm.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "tests/qvreg/support/Cancellation.h"
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
using Doubles = std::vector<double>;

constexpr int kY = 3;
constexpr int kA = 0;
constexpr int kX = 1;

/// A factor A of three categories, of which the data hold 0 and 1, and a covariate: y is
/// 1 + 2 x where A is 0 and 4 + 2 x where it is 1. Variable 2 plays no role.
class QvGLMAlgorithmTest : public ::testing::Test {
 protected:
  QvGLMAlgorithmTest() { settings_.Effect({kA}).Effect({}, {kX}); }

  void Fit(QvGLMAlgorithm& algorithm) {
    ASSERT_TRUE(algorithm.CreateParameters(data_, parameters_).IsOK());
    ASSERT_TRUE(algorithm.BuildModel(data_).IsOK());
  }

  LinearSettings settings_{kY, {{kA, 3}}, {kX}};
  VectorRecordIter data_{
      MakeRecords({{0, 0, 9, 1}, {0, 1, 9, 3}, {1, 1, 9, 6}, {1, 2, 9, 8}, {0, 6, 9, 13}})};
  std::vector<QvRegrParameter> parameters_;
  Doubles values_;  ///< Untouched by a score.
};

TEST_F(QvGLMAlgorithmTest, AnEmptyIteratorGives307AtParameterCreation) {
  QvGLMAlgorithm algorithm(settings_.Get());
  VectorRecordIter empty({});
  EXPECT_TRUE(algorithm.CreateParameters(empty, parameters_) == QvStatus(307, false));
  EXPECT_EQ(algorithm.GetStatus().GetCode(), 307);
  EXPECT_FALSE(algorithm.AreParametersCreated());
}

TEST_F(QvGLMAlgorithmTest, BuildingWithoutParametersGives309) {
  QvGLMAlgorithm algorithm(settings_.Get());
  EXPECT_TRUE(algorithm.BuildModel(data_) == QvStatus(309, false));
  EXPECT_EQ(algorithm.GetStatus().GetCode(), 309);
}

TEST_F(QvGLMAlgorithmTest, ProcessingTheDataTwiceGives306) {
  QvGLMAlgorithm algorithm(settings_.Get());
  algorithm.CreateParameters(data_, parameters_);
  EXPECT_TRUE(algorithm.AreParametersCreated());
  EXPECT_TRUE(algorithm.CreateParameters(data_, parameters_) == QvStatus(306, false));
}

TEST_F(QvGLMAlgorithmTest, BuildingTwiceGives310AndLeavesTheModelIntact) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Fit(algorithm);
  const Doubles estimates = algorithm.GetModel().GetEstimates();
  EXPECT_TRUE(algorithm.BuildModel(data_) == QvStatus(310, false));
  EXPECT_TRUE(algorithm.IsModelBuilt());
  EXPECT_EQ(algorithm.GetModel().GetEstimates(), estimates);
  double predicted = 0.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({1, 10}), predicted, values_).IsOK());
  EXPECT_NEAR(predicted, 24.0, 1e-12);
}

TEST_F(QvGLMAlgorithmTest, CreatingTheParametersOfABuiltModelGives310) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Fit(algorithm);
  EXPECT_TRUE(algorithm.CreateParameters(data_, parameters_) == QvStatus(310, false));
}

TEST_F(QvGLMAlgorithmTest, CancellingDuringTheSecondPassGivesStatus1AndNoModel) {
  qvtest::CancelAtPoll query(5 + 3);
  settings_.Get().SetCancelPointer(&query);
  QvGLMAlgorithm algorithm(settings_.Get());
  ASSERT_TRUE(algorithm.CreateParameters(data_, parameters_).IsOK());
  EXPECT_TRUE(algorithm.BuildModel(data_) == QvStatus(1, false));
  EXPECT_EQ(data_.Position(), 2U);
  EXPECT_FALSE(algorithm.IsModelBuilt());
  EXPECT_EQ(algorithm.GetStatus().GetCode(), 1);
}

TEST_F(QvGLMAlgorithmTest, ScoringBeforeTheBuildGives311) {
  QvGLMAlgorithm algorithm(settings_.Get());
  double predicted = 5.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({0, 0}), predicted, values_) == QvStatus(311, false));
  EXPECT_EQ(predicted, 5.0);
  EXPECT_TRUE(algorithm.GetStatus().IsOK()) << "a score's status is not kept";
}

TEST_F(QvGLMAlgorithmTest, ACancelledScoreComesBeforeAMissingModel) {
  QvGLMAlgorithm algorithm(settings_.Get());
  algorithm.Cancel();
  double predicted = 5.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({0, 0}), predicted, values_) == QvStatus(1, false));
}

TEST_F(QvGLMAlgorithmTest, ScoringALevelCombinationNeverSeenGivesTheMissingValue) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Fit(algorithm);
  double predicted = 5.0;
  EXPECT_TRUE(algorithm.Score(MakeRecord({2, 1}), predicted, values_).IsOK());
  EXPECT_EQ(predicted, QvMV::gMissingValue);
}

TEST_F(QvGLMAlgorithmTest, ScoringReturnsAnErrorThatIsKept) {
  QvGLMAlgorithm algorithm(settings_.Get());
  VectorRecordIter empty({});
  algorithm.CreateParameters(empty, parameters_);
  double predicted = 5.0;
  EXPECT_EQ(algorithm.Score(MakeRecord({0, 0}), predicted, values_).GetCode(), 307);
}

TEST_F(QvGLMAlgorithmTest, MeansAreThoseOfTheCovariatesThenOfTheDependent) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Fit(algorithm);
  const Doubles& means = algorithm.GetMeanValues();
  ASSERT_EQ(means.size(), 2U);
  EXPECT_DOUBLE_EQ(means[0], 2.0);
  EXPECT_DOUBLE_EQ(means[1], 6.2);
}

TEST_F(QvGLMAlgorithmTest, ExpandsARowBeforeAndAfterTheBuild) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Doubles row;
  EXPECT_FALSE(algorithm.ExpandRow(MakeRecord({1, 5, 9, 7}), row)) << "no parameters yet";
  algorithm.CreateParameters(data_, parameters_);
  EXPECT_TRUE(algorithm.ExpandRow(MakeRecord({1, 5, 9, 7}), row));
  EXPECT_EQ(row, (Doubles{1, 0, 1, 5, 7}));
}

TEST_F(QvGLMAlgorithmTest, DoesNotExpandARecordWithoutACovariate) {
  QvGLMAlgorithm algorithm(settings_.Get());
  algorithm.CreateParameters(data_, parameters_);
  Doubles row;
  EXPECT_FALSE(algorithm.ExpandRow(MakeRecord({1}), row));
}

TEST_F(QvGLMAlgorithmTest, DisplayPrintsItsPartsInOrder) {
  QvGLMAlgorithm algorithm(settings_.Get());
  Fit(algorithm);
  EXPECT_TRUE(
      HoldsInOrder(CapturedDisplay(algorithm),
                   {"QvGLMAlgorithm display start\n", "Record Validator\n",
                    "Variable roles in QvRegRecordValidator\n", "fFactorTables\n",
                    "QvFactorTables display start\n", "QvFactorTables display end\n",
                    "fMeanValues: 2 6.", "fModel\n", "QvGLMModel display start\n",
                    "QvGLMModel display end\n", "fbDataProcessed: true\n", "fbModelBuilt: true\n",
                    "fRecordCount: 5\n", "fValidCount: 5\n", "QvGLMAlgorithm display end\n"}));
}

}  // namespace
