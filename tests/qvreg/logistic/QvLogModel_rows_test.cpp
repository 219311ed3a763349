// What the logistic model answers about single rows: sparse rows, expansions, probabilities, the
// predicted category and the classification.
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvLogModel.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"

namespace {

using QvCommon::QvStatus;
using QvCommon::QvSymMatrix;
using qvtest::LogisticSettings;
using qvtest::LogModelOnTables;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kFrequency = 3;
constexpr double kMissing = QvMV::gMissingValue;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// y of four categories, of which 2 is not observed; A of three, of which 1 is not; x.
const Rows kRows{{0, 0, 1}, {1, 2, 3}, {3, 0, 2}, {3, 2, 5}, {1, 0, -1}};

/// Intercept, A (levels 0 and 2), x and A by x^2: basic parameters 0; 1, 2; 3; 4, 5. Columns 2 is
/// redundant; compressed 0; 1; 2; 3, 4.
class LogModelRowsTest : public ::testing::Test {
 protected:
  LogModelRowsTest() {
    settings_.Effect({kA}).Effect({}, {kX}).Effect({kA}, {kX, kX});
    made_ = std::make_unique<LogModelOnTables>(settings_.Get(), kRows);
    made_->FindRedundancy();
  }

  [[nodiscard]] QvLogModel& Model() { return made_->model; }
  /// Stores estimates in the compressed layout, five for each of the categories 0 and 1.
  void SetEstimates(const Doubles& estimates) {
    ASSERT_TRUE(Model().SetEstimates(estimates, QvSymMatrix(10)).IsOK());
  }

  LogisticSettings settings_{kY, 4, {{kA, 3}}, {kX}};
  std::unique_ptr<LogModelOnTables> made_;
  int count_ = -7;
  Ints indices_{9, 9, 9, 9, 9, 9};
  Doubles values_{9, 9, 9, 9, 9, 9};
};

TEST_F(LogModelRowsTest, ASparseRowHoldsKeptParametersInCompressedNumbers) {
  ASSERT_EQ(Model().GetNumBasicNonRedundant(), 5);
  const Doubles row{0, 2, 3};
  EXPECT_TRUE(Model().GetSparseRow(row.data(), count_, indices_, values_));
  EXPECT_EQ(count_, 3);
  EXPECT_EQ(indices_, (Ints{0, 2, 4}));
  EXPECT_EQ(values_, (Doubles{1, 3, 9}));
}

TEST_F(LogModelRowsTest, ADesignValueOfExactlyZeroIsLeftOut) {
  const Doubles row{0, 0, 0};
  EXPECT_TRUE(Model().GetSparseRow(row.data(), count_, indices_, values_));
  EXPECT_EQ(count_, 2);
  EXPECT_EQ(indices_, (Ints{0, 1}));
  EXPECT_EQ(values_, (Doubles{1, 1}));
}

TEST_F(LogModelRowsTest, ADesignValueThatIsNotANumberIsKept) {
  const Doubles row{0, 0, kNaN};
  EXPECT_TRUE(Model().GetSparseRow(row.data(), count_, indices_, values_));
  EXPECT_EQ(count_, 4);
  EXPECT_EQ(indices_, (Ints{0, 1, 2, 3}));
  EXPECT_TRUE(std::isnan(values_[2]));
  EXPECT_TRUE(std::isnan(values_[3]));
}

TEST_F(LogModelRowsTest, ARowThatCannotBeCodedHasNoSparseForm) {
  const Doubles row{0, 1, 3};
  EXPECT_FALSE(Model().GetSparseRow(row.data(), count_, indices_, values_));
  EXPECT_EQ(count_, 0);
  EXPECT_TRUE(indices_.empty());
  EXPECT_TRUE(values_.empty());
}

TEST_F(LogModelRowsTest, ARowOfKnownParametersNeedsNoFactors) {
  const Doubles row{kNaN, kNaN, 3};
  EXPECT_TRUE(Model().GetSparseRowFromIndices(row.data(), {0, 1, 3, 4}, count_, indices_, values_));
  EXPECT_EQ(count_, 4);
  EXPECT_EQ(indices_, (Ints{0, 1, 2, 3}));
  EXPECT_EQ(values_, (Doubles{1, 1, 3, 9}));
}

TEST_F(LogModelRowsTest, AnEmptyListOfParametersIsAnEmptyRow) {
  const Doubles row{0, 0, 3};
  EXPECT_TRUE(Model().GetSparseRowFromIndices(row.data(), {}, count_, indices_, values_));
  EXPECT_EQ(count_, 0);
  EXPECT_TRUE(indices_.empty());
}

TEST_F(LogModelRowsTest, StoredRowsAreReadAtTheirOwnPositions) {
  QvRowLayout stored;
  stored.fDependent = 0;
  stored.fCovariates = {1};
  LogModelOnTables made(settings_.Get(), kRows);
  made.model.SetLayouts(made.RecordLayout(), stored);
  made.Initialize();
  const Doubles row{0, 3};
  ASSERT_TRUE(made.model.AddRowToXPrimeX(row.data(), {0, 2, 3, 5}));
  EXPECT_EQ(made.model.GetXPrimeXMatrix()->GetElem(3, 3), 9.0);
  EXPECT_EQ(made.model.GetXPrimeXMatrix()->GetElem(5, 5), 81.0);
  // Records are still read at theirs.
  const Doubles record{0, 2, 4};
  ASSERT_TRUE(made.model.ExpandRow(record.data(), indices_, values_));
  EXPECT_EQ(values_, (Doubles{1, 1, 4, 16}));
}

TEST_F(LogModelRowsTest, SparseRowsAllocateNothingOnceTheirVectorsHaveRoom) {
  const Doubles row{0, 2, 3};
  Model().GetSparseRow(row.data(), count_, indices_, values_);
  const long long before = qvtest::AllocationCount();
  for (int i = 0; i < 10; ++i) Model().GetSparseRow(row.data(), count_, indices_, values_);
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

TEST_F(LogModelRowsTest, ExpandsARecordEffectByEffect) {
  const Doubles record{0, 2, 3};
  EXPECT_TRUE(Model().ExpandRow(record.data(), indices_, values_));
  EXPECT_EQ(indices_, (Ints{0, 2, 3, 5}));
  EXPECT_EQ(values_, (Doubles{1, 1, 3, 9})) << "redundant parameters too";
}

TEST_F(LogModelRowsTest, ExpandsARecordIntoADenseRow) {
  Doubles row(12, 7.0);
  const Doubles record{0, 2, 3};
  EXPECT_TRUE(Model().ExpandRow(row, record.data()));
  EXPECT_EQ(row, (Doubles{1, 0, 1, 3, 0, 9, 0, 0, 0, 0, 0, 0}));
}

TEST_F(LogModelRowsTest, ARecordThatCannotBeCodedExpandsToZeros) {
  const Doubles record{0, 1, 3};
  Doubles row(12, 7.0);
  EXPECT_FALSE(Model().ExpandRow(row, record.data()));
  EXPECT_EQ(row, Doubles(12, 0.0));
  EXPECT_FALSE(Model().ExpandRow(record.data(), indices_, values_));
  for (const double value : values_) EXPECT_EQ(value, 0.0);
}

TEST_F(LogModelRowsTest, ARecordThatCannotBeCodedHasItsOtherEffects) {
  const Doubles record{0, 1, 3};
  EXPECT_FALSE(Model().ExpandKnown(record.data(), indices_, values_));
  ASSERT_FALSE(indices_.empty());
  EXPECT_EQ(indices_.front(), 0);
  EXPECT_EQ(values_.front(), 1.0);
  for (std::size_t i = 0; i < indices_.size(); ++i) EXPECT_EQ(values_[i] == 0.0, indices_[i] < 0);
}

/// What ComputeCategoryProbabilities answers.
struct Prediction {
  QvStatus status;
  Doubles probabilities;
  int code = -99;
};

Prediction Predict(const QvLogModel& model, const Doubles& record) {
  Prediction prediction;
  model.ComputeCategoryProbabilities(prediction.status, record.data(), prediction.probabilities,
                                     prediction.code);
  return prediction;
}

TEST_F(LogModelRowsTest, ProbabilitiesByHand) {
  // A 2, x 2: predictors 1 - 0.5 x 2 + 0.25 x 4 = 1 of category 0 and -1 + 0.5 x 2 = 0 of 1.
  SetEstimates({1, 9, -0.5, 9, 0.25, -1, 9, 0.5, 9, 0});
  const Prediction prediction = Predict(Model(), {0, 2, 2});
  const double sum = std::exp(1.0) + 2.0;
  ASSERT_EQ(prediction.probabilities.size(), 3U);
  EXPECT_NEAR(prediction.probabilities[0], std::exp(1.0) / sum, 1e-15);
  EXPECT_NEAR(prediction.probabilities[1], 1.0 / sum, 1e-15);
  EXPECT_NEAR(prediction.probabilities[2], 1.0 / sum, 1e-15);
  EXPECT_EQ(prediction.code, 0);
  EXPECT_TRUE(prediction.status.IsOK());
}

TEST_F(LogModelRowsTest, ThePredictionIsACodeAndNotALocalIndex) {
  SetEstimates({-1, 0, 0, 0, 0, -1, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).code, 3);
  SetEstimates({-1, 0, 0, 0, 0, 1, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).code, 1);
}

TEST_F(LogModelRowsTest, LargePredictorsDoNotOverflow) {
  SetEstimates({5000, 0, 0, 0, 0, -5000, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).probabilities, (Doubles{1, 0, 0}));
  SetEstimates({-5000, 0, 0, 0, 0, -5000, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).probabilities, (Doubles{0, 0, 1}));
}

TEST_F(LogModelRowsTest, ARecordThatCannotBeCodedHasNoPrediction) {
  const Prediction prediction = Predict(Model(), {0, 1, 2});
  EXPECT_EQ(prediction.code, -1);
  EXPECT_EQ(prediction.probabilities, Doubles(3, kMissing));
  EXPECT_TRUE(prediction.status.IsOK()) << "the status stays good";
}

TEST_F(LogModelRowsTest, EqualPredictorsGiveEqualProbabilities) {
  const Prediction prediction = Predict(Model(), {0, 2, 3});
  for (const double probability : prediction.probabilities) {
    EXPECT_NEAR(probability, 1.0 / 3.0, 1e-15);
  }
}

TEST_F(LogModelRowsTest, PredictorsWithinTheMachineEpsilonTie) {
  // Categories 1 and 3 have two records each, 0 has one; 1 and 3 tie, and 1 is the smaller code.
  const double half = QvPower::gMachineEpsilon / 2;
  SetEstimates({half, 0, 0, 0, 0, -half, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).code, 1);
  const double twice = QvPower::gMachineEpsilon * 2;
  SetEstimates({twice, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).code, 0) << "beyond it the largest wins";
  SetEstimates({0, 0, 0, 0, 0, -twice, 0, 0, 0, 0});
  EXPECT_EQ(Predict(Model(), {0, 2, 0}).code, 3);
}

/// The prediction of an untrained model: all predictors 0.
int TieOf(const Rows& rows, int reference, bool weighted) {
  LogisticSettings settings(kY, 4, {}, {kX});
  settings.Effect({}, {kX}).Reference(reference);
  if (weighted) settings.FrequencyWeight(kFrequency);
  LogModelOnTables made(settings.Get(), rows);
  EXPECT_TRUE(made.Initialize().IsOK());
  return Predict(made.model, {0, 0, 5, 1}).code;
}

TEST(LogModelTies, TheLargestWeightedCountWins) {
  const Rows rows{{0, 0, 1, 1}, {0, 0, 1, 1}, {2, 0, 1, 5}, {3, 0, 1, 3}};
  for (const int reference : {0, 2, 3}) EXPECT_EQ(TieOf(rows, reference, true), 2) << reference;
}

TEST(LogModelTies, ThenTheLargestUnweightedCount) {
  const Rows rows{{0, 0, 1, 4}, {2, 0, 1, 1}, {2, 0, 1, 3}, {3, 0, 1, 4}};
  for (const int reference : {0, 2, 3}) EXPECT_EQ(TieOf(rows, reference, true), 2) << reference;
}

TEST(LogModelTies, ThenTheSmallestCode) {
  const Rows rows{{3, 0, 1, 1}, {1, 0, 1, 1}, {2, 0, 1, 1}};
  for (const int reference : {1, 2, 3}) EXPECT_EQ(TieOf(rows, reference, false), 1) << reference;
}

/// The classification of LogModelRowsTest's model, with a frequency weight.
class LogModelClassificationTest : public ::testing::Test {
 protected:
  LogModelClassificationTest() {
    settings_.Effect({kA}).Effect({}, {kX}).FrequencyWeight(kFrequency).RegressionWeight(4);
    made_ = std::make_unique<LogModelOnTables>(
        settings_.Get(), Rows{{0, 0, 1, 1, 1}, {1, 2, 3, 1, 1}, {3, 0, 2, 1, 1}, {3, 2, 5, 1, 1}});
    made_->FindRedundancy();
  }

  void Classify(const Doubles& record, Doubles* residuals = nullptr) {
    Doubles unused;
    made_->model.UpdateClassification(residuals == nullptr ? unused : *residuals, record.data());
  }
  [[nodiscard]] Rows Table() const {
    Rows table(3, Doubles(3));
    for (std::size_t i = 0; i < 9; ++i) {
      table[i / 3][i % 3] = made_->model.GetClassificationTable()->GetElem(static_cast<int>(i / 3),
                                                                           static_cast<int>(i % 3));
    }
    return table;
  }
  void PredictCategory1() {
    // Kept: intercept, A 0 and x of category 0, then of category 1.
    ASSERT_TRUE(made_->model.SetEstimates({0, 0, 0, 1, 0, 0}, QvSymMatrix(6)).IsOK());
  }

  LogisticSettings settings_{kY, 4, {{kA, 3}}, {kX}};
  std::unique_ptr<LogModelOnTables> made_;
};

TEST_F(LogModelClassificationTest, CountsFrequencyWeightsByObservedAndPredictedLocalCategory) {
  PredictCategory1();
  Classify({0, 0, 1, 2, 100});
  Classify({3, 0, 1, 0.5, 100});
  Classify({3, 2, 1, 4, 100});
  Classify({1, 2, 1, 1, 100});
  EXPECT_EQ(Table(), (Rows{{0, 2, 0}, {0, 1, 0}, {0, 4.5, 0}}));
}

TEST_F(LogModelClassificationTest, TheObservedCodeIsRounded) {
  PredictCategory1();
  Classify({2.9, 0, 1, 1, 1});
  EXPECT_EQ(Table(), (Rows{{0, 0, 0}, {0, 0, 0}, {0, 1, 0}}));
}

TEST_F(LogModelClassificationTest, ResidualsAreWeightedByFrequencyOnly) {
  PredictCategory1();
  Doubles residuals(8, 77.0);
  Classify({0, 2, 3, 2, 100}, &residuals);
  // Predictors 0, 1, 0; the observed category is 0; the row is (1, 0, 1, 3); weight 2.
  const double sum = 2.0 + std::exp(1.0);
  const double r0 = (1.0 - 1.0 / sum) * 2.0;
  const double r1 = -std::exp(1.0) / sum * 2.0;
  const Doubles expected{r0, 0, r0, 3 * r0, r1, 0, r1, 3 * r1};
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(residuals[i], expected[i], 1e-14) << i;
}

TEST_F(LogModelClassificationTest, OfTheReferenceEveryResidualIsMinusItsProbability) {
  PredictCategory1();
  Doubles residuals(8, 77.0);
  Classify({3, 0, 0, 1, 1}, &residuals);
  const double sum = 2.0 + std::exp(1.0);
  const Doubles expected{-1 / sum, -1 / sum, 0, 0, -std::exp(1.0) / sum, -std::exp(1.0) / sum,
                         0,        0};
  for (std::size_t i = 0; i < 8; ++i) EXPECT_NEAR(residuals[i], expected[i], 1e-15) << i;
}

TEST_F(LogModelClassificationTest, ARecordThatCannotBeCodedIsLeftOut) {
  Classify({0, 1, 1, 1, 1});
  EXPECT_EQ(Table(), Rows(3, Doubles(3, 0.0)));
  EXPECT_TRUE(made_->model.FinishClassification() == QvStatus(308, false));
}

TEST_F(LogModelClassificationTest, ACancelledRunClassifiesNothing) {
  made_->cancel.SetCancel();
  Classify({0, 0, 1, 1, 1});
  EXPECT_EQ(Table(), Rows(3, Doubles(3, 0.0)));
}

TEST_F(LogModelClassificationTest, OneRecordOfPositiveWeightClosesWell) {
  Classify({0, 0, 1, 0.25, 1});
  EXPECT_TRUE(made_->model.FinishClassification().IsOK());
  EXPECT_TRUE(made_->model.IsFinished());
}

TEST_F(LogModelClassificationTest, WithoutARecordTheClosingIs308) {
  EXPECT_TRUE(made_->model.FinishClassification() == QvStatus(308, false));
  EXPECT_FALSE(made_->model.IsFinished());
  EXPECT_TRUE(made_->model.GetStatus() == QvStatus(308, false));
}

TEST_F(LogModelClassificationTest, WithoutPositiveWeightTheClosingIs308) {
  Classify({0, 0, 1, 0, 1});
  EXPECT_TRUE(made_->model.FinishClassification() == QvStatus(308, false));
  EXPECT_FALSE(made_->model.IsFinished());
}

TEST_F(LogModelClassificationTest, AStoredRowIsClassifiedByItsLocalIndex) {
  PredictCategory1();
  Doubles residuals(8, 77.0);
  const Doubles row{2, 0, 3, 4, 1};  // Local index 2 is code 3.
  made_->model.UpdateClassificationFromIndices(residuals, row.data(), {0, 2, 3});
  EXPECT_EQ(Table(), (Rows{{0, 0, 0}, {0, 0, 0}, {0, 4, 0}}));
  EXPECT_NE(residuals[2], 0.0);
  EXPECT_EQ(residuals[1], 0.0);
}

TEST_F(LogModelClassificationTest, AllocatesNothingPerRecord) {
  Doubles residuals(8);
  const Doubles record{0, 0, 1, 1, 1};
  made_->model.UpdateClassification(residuals, record.data());
  const long long before = qvtest::AllocationCount();
  for (int i = 0; i < 10; ++i) made_->model.UpdateClassification(residuals, record.data());
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

TEST_F(LogModelRowsTest, RecordsOfACancelledRunAreNotAddedToXPrimeX) {
  LogisticSettings settings(kY, 4, {{kA, 3}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  LogModelOnTables made(settings.Get(), kRows);
  made.Initialize();
  const std::vector<const double*> records{kRows[0].data(), kRows[1].data()};
  EXPECT_TRUE(made.model.AddRecordsToXPrimeX(records));
  made.cancel.SetCancel();
  EXPECT_FALSE(made.model.AddRecordsToXPrimeX(records));
}

}  // namespace
