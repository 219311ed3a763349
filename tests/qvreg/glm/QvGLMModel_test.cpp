#include "qvreg/glm/QvGLMModel.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/data/QvCancelInfo.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;
using qvtest::LinearSettings;
using qvtest::ModelOnTables;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;

void ExpectNear(const Doubles& actual, const Doubles& expected, double tolerance = 1e-13) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
  }
}

TEST(QvGLMModel, AnInterceptAloneIsTheWeightedMean) {
  // Frequency weights 1, 3, 4: mean (2 + 3 x 4 + 4 x 6.5) / 8 = 5.
  LinearSettings settings(kY, {}, {});
  settings.FrequencyWeight(1);
  ModelOnTables run(settings.Get(), {{2, 1}, {4, 3}, {6.5, 4}});
  ASSERT_TRUE(run.Fit().IsOK());
  EXPECT_EQ(run.model.GetNParameters(), 1);
  EXPECT_DOUBLE_EQ(run.model.GetEstimates()[0], 5.0);
  EXPECT_EQ(run.model.GetMultipleRSquare(), 0.0);
  // Sum of squares 9 + 3 + 4 x 2.25 = 21, over the total frequency weight.
  EXPECT_DOUBLE_EQ(run.model.GetRootMeanSquareError(), std::sqrt(21.0 / 8.0));
}

TEST(QvGLMModel, TheSecondOfTwoIdenticalCovariatesIsRedundant) {
  LinearSettings settings(kY, {}, {kX, kZ});
  settings.Effect({}, {kX}).Effect({}, {kZ});
  ModelOnTables run(settings.Get(), {{1, 0, 0}, {3, 1, 1}, {5, 2, 2}, {7, 3, 3}});
  ASSERT_TRUE(run.Fit().IsOK());
  const QvCommon::QvBitSet& kept = run.model.GetRedundancy();
  EXPECT_TRUE(kept.IsIn(0));
  EXPECT_TRUE(kept.IsIn(1));
  EXPECT_FALSE(kept.IsIn(2));
  EXPECT_EQ(run.model.GetEstimates()[2], 0.0);
  for (int j = 0; j < 4; ++j) EXPECT_EQ(run.model.GetMatrix().GetElem(2, j), 0.0);
  ExpectNear(run.model.GetEstimates(), {1.0, 2.0, 0.0});
}

TEST(QvGLMModel, AnUnseenLevelCombinationExpandsWithZerosInItsEffect) {
  LinearSettings settings(kY, {{1, 3}}, {2});
  settings.Effect({1}).Effect({}, {2});
  ModelOnTables run(settings.Get(), {{1, 0, 1}, {2, 1, 2}, {4, 1, 3}});
  ASSERT_TRUE(run.Fit().IsOK());
  const Doubles unseen{9, 2, 7};
  Doubles row;
  EXPECT_FALSE(run.model.ExpandRow(unseen.data(), unseen[kY], row));
  EXPECT_EQ(row, (Doubles{1, 0, 0, 7, 9}));
  EXPECT_EQ(run.model.GetPredictedValue(unseen.data()), QvMV::gMissingValue);

  const Doubles seen{9, 1, 7};
  EXPECT_TRUE(run.model.ExpandRow(seen.data(), seen[kY], row));
  EXPECT_EQ(row, (Doubles{1, 0, 1, 7, 9}));
}

TEST(QvGLMModel, WithAllWeightsZeroTheFitGives308) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(kZ);
  ModelOnTables run(settings.Get(), {{1, 0, 0}, {3, 1, 0}});
  EXPECT_TRUE(run.Fit() == QvStatus(308, false));
  EXPECT_EQ(run.model.GetWeightedRecordCount(), 0);
  EXPECT_EQ(run.model.GetRootMeanSquareError(), 0.0);
}

TEST(QvGLMModel, TheMatrixHoldsWeightedMeanCrossProducts) {
  // Weights 8 f r = 2, 2, 6, 2 and a total frequency weight of 1; x = 0, 1, 2, 1; y = 1, 3, 4, 2.
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(2).RegressionWeight(3);
  ModelOnTables run(settings.Get(),
                    {{1, 0, 0.25, 1}, {3, 1, 0.125, 2}, {4, 2, 0.375, 2}, {2, 1, 0.25, 1}});
  run.AddRecords();
  const QvCommon::QvSymMatrix& matrix = run.model.GetMatrix();
  EXPECT_EQ(run.model.GetRecordsAdded(), 4);
  EXPECT_EQ(matrix.GetElem(0, 0), 12.0 / 8);
  EXPECT_EQ(matrix.GetElem(1, 0), 16.0 / 8);
  EXPECT_EQ(matrix.GetElem(1, 1), 28.0 / 8);
  EXPECT_EQ(matrix.GetElem(2, 0), 36.0 / 8);
  EXPECT_EQ(matrix.GetElem(2, 1), 58.0 / 8);
  EXPECT_EQ(matrix.GetElem(2, 2), 124.0 / 8);
}

TEST(QvGLMModel, FitsWithBothWeights) {
  // f r = 1, 2, 2, 1 for (x, y) = (0, 1), (1, 3), (2, 2), (3, 6): sums of w 6, wx 9, wxx 19, wy 17,
  // wxy 32; determinant 33. Slope (6 x 32 - 9 x 17) / 33, intercept (17 - 9 slope) / 6, residual
  // sum 236/33, total sum 89/6. The total frequency weight is 5.
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(2).RegressionWeight(3);
  ModelOnTables run(settings.Get(), {{1, 0, 1, 1}, {3, 1, 2, 1}, {2, 2, 1, 2}, {6, 3, 1, 1}});
  ASSERT_TRUE(run.Fit().IsOK());
  ExpectNear(run.model.GetEstimates(), {35.0 / 33, 13.0 / 11});
  EXPECT_NEAR(run.model.GetResidualSum(), 236.0 / 33 / 5, 1e-13);
  EXPECT_NEAR(run.model.GetTotalSum(), 89.0 / 6 / 5, 1e-13);
  EXPECT_NEAR(run.model.GetRootMeanSquareError(), std::sqrt(236.0 / 165), 1e-13);
  EXPECT_NEAR(run.model.GetMultipleRSquare(), 507.0 / 979, 1e-13);
  EXPECT_EQ(run.model.GetWeightedRecordCount(), 4);

  const QvCommon::QvSymMatrix& inverse = run.model.GetMatrix();
  EXPECT_NEAR(inverse.GetElem(0, 0), 19.0 / 33, 1e-13);
  EXPECT_NEAR(inverse.GetElem(0, 1), -9.0 / 33, 1e-13);
  EXPECT_NEAR(inverse.GetElem(1, 1), 6.0 / 33, 1e-13);
  for (int j = 0; j < 3; ++j) EXPECT_EQ(inverse.GetElem(2, j), 0.0) << "the dependent's row";
}

TEST(QvGLMModel, WithoutInterceptTheTotalIsNotCentred) {
  // As above: slope 32/19, residual sum 173/19, total sum of w y^2 63.
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).FrequencyWeight(2).RegressionWeight(3).NoIntercept();
  ModelOnTables run(settings.Get(), {{1, 0, 1, 1}, {3, 1, 2, 1}, {2, 2, 1, 2}, {6, 3, 1, 1}});
  ASSERT_TRUE(run.Fit().IsOK());
  ExpectNear(run.model.GetEstimates(), {32.0 / 19});
  EXPECT_NEAR(run.model.GetTotalSum(), 63.0 / 5, 1e-13);
  EXPECT_NEAR(run.model.GetMultipleRSquare(), 1024.0 / 1197, 1e-13);
}

TEST(QvGLMModel, RSquareIsZeroWhereResidualsExceedTheTotal) {
  // Without an intercept the total is that of y^2, and x = (1, -1) says nothing of y = (1, 1).
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).NoIntercept();
  ModelOnTables run(settings.Get(), {{1, 1}, {1, -1}});
  ASSERT_TRUE(run.Fit().IsOK());
  EXPECT_EQ(run.model.GetMultipleRSquare(), 0.0);
  EXPECT_EQ(run.model.GetRootMeanSquareError(), 1.0);
}

TEST(QvGLMModel, AConstantDependentHasNoTotalAndRSquareZero) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX});
  ModelOnTables run(settings.Get(), {{4, 0}, {4, 1}, {4, 2}});
  ASSERT_TRUE(run.Fit().IsOK());
  EXPECT_EQ(run.model.GetTotalSum(), 0.0);
  EXPECT_EQ(run.model.GetMultipleRSquare(), 0.0);
}

TEST(QvGLMModel, RemembersWhereEachEffectsParametersStart) {
  LinearSettings settings(kY, {{1, 3}}, {2});
  settings.Effect({1}).Effect({}, {2});
  const ModelOnTables run(settings.Get(), {{1, 0, 1}, {2, 1, 2}, {4, 2, 3}});
  EXPECT_EQ(run.model.GetFirstParameterIndices(), (std::vector<int>{0, 1, 4}));
  EXPECT_EQ(run.model.GetNumbersOfParameters(), (std::vector<int>{1, 3, 1}));
}

class QvGLMModelOrder : public ::testing::Test {
 protected:
  QvGLMModelOrder() { settings_.Effect({}, {kX}); }

  LinearSettings settings_{kY, {}, {kX}};
  const Doubles values_{1, 2};
  QvCancelInfo cancel_;
};

TEST_F(QvGLMModelOrder, NoRecordIsAddedWithoutAMatrix) {
  QvGLMModel model(settings_.Get());
  EXPECT_FALSE(model.HasMatrix());
  EXPECT_FALSE(model.AddRecord(values_.data()));
  EXPECT_FALSE(model.AddRecords(std::vector{values_.data()}));
}

TEST_F(QvGLMModelOrder, NoRecordIsAddedFromANullPointer) {
  ModelOnTables run(settings_.Get(), {{1, 2}});
  EXPECT_FALSE(run.model.AddRecord(nullptr));
  EXPECT_EQ(run.model.GetRecordsAdded(), 0);
}

TEST_F(QvGLMModelOrder, NoRecordIsAddedAfterTheSweep) {
  ModelOnTables run(settings_.Get(), {{1, 2}, {2, 3}});
  ASSERT_TRUE(run.Fit().IsOK());
  EXPECT_FALSE(run.model.AddRecord(values_.data()));
  EXPECT_FALSE(run.model.AddRecords(std::vector{values_.data()}));
  EXPECT_EQ(run.model.GetRecordsAdded(), 2);
}

TEST_F(QvGLMModelOrder, SweepingWithoutARecordGives309) {
  ModelOnTables run(settings_.Get(), {{1, 2}});
  EXPECT_TRUE(run.model.Sweep(cancel_) == QvStatus(309, false));
  EXPECT_FALSE(run.model.IsSwept());
}

TEST_F(QvGLMModelOrder, SweepingTwiceGives310) {
  ModelOnTables run(settings_.Get(), {{1, 2}, {2, 3}});
  run.AddRecords();
  EXPECT_TRUE(run.model.Sweep(cancel_).IsOK());
  EXPECT_TRUE(run.model.IsSwept());
  EXPECT_TRUE(run.model.Sweep(cancel_) == QvStatus(310, false));
}

TEST_F(QvGLMModelOrder, ASweepIsCancelledBeforeAnyPivot) {
  for (const int poll : {1, 2}) {
    CancelAtPoll query(poll);
    QvCancelInfo cancel(&query);
    ModelOnTables run(settings_.Get(), {{1, 2}, {2, 3}});
    run.AddRecords();
    EXPECT_TRUE(run.model.Sweep(cancel) == QvStatus(1, false));
    EXPECT_EQ(query.Polls(), poll);
    EXPECT_FALSE(run.model.IsSwept());
  }
}

TEST_F(QvGLMModelOrder, ThePivotToleranceComesFromTheSettings) {
  // x = 1, 1, 1.1: after the intercept 0.0067 / 3.21 is left of x's diagonal.
  const Rows rows{{1, 1}, {2, 1}, {3, 1.1}};
  ModelOnTables kept(settings_.Get(), rows);
  ASSERT_TRUE(kept.Fit().IsOK());
  EXPECT_TRUE(kept.model.GetRedundancy().IsIn(1));
  settings_.Get().SetTolerance(0.01);
  ModelOnTables dropped(settings_.Get(), rows);
  ASSERT_TRUE(dropped.Fit().IsOK());
  EXPECT_FALSE(dropped.model.GetRedundancy().IsIn(1));
}

std::string Line(const std::string& label, const Doubles& values) {
  std::string line = label + ':';
  for (const double value : values) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), " %.17g", value);
    line += digits.data();
  }
  return line + '\n';
}

/// What a fitted model of 5 records, one of weight 0, and parameters "110" prints from the sweep
/// on.
std::string ResultLines(const QvGLMModel& model) {
  return "Swept: true\nRecords added to matrix: 5\nBits: 1100\n" +
         Line("Parameter estimates", model.GetEstimates()) + Line("Design row", {0, 0, 0, 0}) +
         Line("Residual sum", {model.GetResidualSum()}) + Line("Total sum", {model.GetTotalSum()}) +
         Line("Dependent mean", {5.875}) + Line("Scale", {8}) + Line("Weighted record count", {4}) +
         Line("MultipleRSquare", {model.GetMultipleRSquare()}) +
         Line("RootMeanSquareError", {model.GetRootMeanSquareError()}) + "QvGLMModel display end\n";
}

TEST(QvGLMModelDisplay, PrintsEveryFieldInOrder) {
  // The factor has one level, which is redundant. Mean (1 + 4 + 2 x 3 + 4 x 9) / 8.
  LinearSettings settings(kY, {{3, 2}}, {kX});
  settings.Effect({}, {kX}).Effect({3}).FrequencyWeight(kZ);
  ModelOnTables run(settings.Get(),
                    {{1, 2, 1, 1}, {4, 4, 1, 1}, {3, 6, 2, 1}, {7, 5, 0, 1}, {9, 8, 4, 1}});
  EXPECT_TRUE(
      HoldsInOrder(CapturedDisplay(run.model),
                   {"ZPrimeZMatrix:\nOrder: 4\n", "\nSwept: false\n",
                    "Records added to matrix: 0\n", "\nScale: 8\n", "Weighted record count: 0\n"}));
  ASSERT_TRUE(run.Fit().IsOK());
  const std::string parameter = "Begin QvRegrParameter object display.\n";
  const std::string text = CapturedDisplay(run.model);
  EXPECT_TRUE(HoldsInOrder(
      text,
      {"QvGLMModel display start\n", "QvRegSettings display start\n", "QvRegSettings display end\n",
       "Factor Tables pointer is non-zero\n", "Covariate offsets: 1\n",
       "First parameter indices: 0 1 2\n", "Numbers of parameters: 1 1 1\n", parameter, parameter,
       parameter, "ZPrimeZMatrix:\nOrder: 4\n" + Line("Row", {run.model.GetMatrix().GetElem(0, 0)}),
       ResultLines(run.model)}));
}

TEST_F(QvGLMModelOrder, DisplayOfAnEmptyModelShowsNoMatrix) {
  const std::string text = CapturedDisplay(QvGLMModel(settings_.Get()));
  EXPECT_EQ(text.find("ZPrimeZMatrix"), std::string::npos);
  EXPECT_EQ(text.find("Factor Tables pointer"), std::string::npos);
  EXPECT_TRUE(HoldsInOrder(text, {"QvGLMModel display start\n", "QvGLMModel display end\n"}));
}

}  // namespace
