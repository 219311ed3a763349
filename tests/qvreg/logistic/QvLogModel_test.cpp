// Categories, parameter layout, redundancy, starting values and estimates of the logistic model;
// what it answers about single rows is in QvLogModel_rows_test.cpp.
#include "qvreg/logistic/QvLogModel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/DenseMatrix.h"
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
constexpr int kRegression = 4;

/// y of four categories, of which 2 is not observed; A of three, of which 1 is not; x; weights.
const Rows kRows{
    {0, 0, 1, 2, 1}, {1, 2, 3, 1, 1}, {3, 0, 2, 1, 0.5}, {3, 2, 5, 4, 1}, {1, 0, -1, 1, 2}};

/// Intercept, A (levels 0 and 2) and x, without weights: P = 4, of which column 2 is redundant.
class QvLogModelTest : public ::testing::Test {
 protected:
  QvLogModelTest() { settings_.Effect({kA}).Effect({}, {kX}); }

  std::unique_ptr<LogModelOnTables> Make(const Rows& rows = kRows) {
    return std::make_unique<LogModelOnTables>(settings_.Get(), rows);
  }
  /// Ready for the optimizer.
  std::unique_ptr<LogModelOnTables> Ready(const Rows& rows = kRows) {
    auto made = Make(rows);
    made->FindRedundancy();
    return made;
  }
  /// Every row classified and the classification closed.
  static void Finish(LogModelOnTables& made) {
    Doubles noResiduals;
    for (const QvCommon::Record& record : made.Records()) {
      made.model.UpdateClassification(noResiduals, record.GetAll());
    }
    ASSERT_TRUE(made.model.FinishClassification().IsOK());
  }

  LogisticSettings settings_{kY, 4, {{kA, 3}}, {kX}};
};

TEST_F(QvLogModelTest, KeepsTheObservedCategoriesWithTheLastAsReference) {
  const auto made = Make();
  EXPECT_TRUE(made->Initialize().IsOK());
  EXPECT_EQ(made->model.GetNumDependCategories(), 3);
  EXPECT_EQ(made->model.GetDependCategories(), (Ints{0, 1, 3}));
  EXPECT_EQ(made->model.GetDependCategoryLocalIndices(), (Ints{0, 1, -1, 2}));
}

TEST_F(QvLogModelTest, OnlyOneCategoryOfPositiveWeightGives318) {
  const auto made = Make({{1, 0, 1, 1, 1}, {1, 2, 2, 1, 1}});
  EXPECT_TRUE(made->Initialize() == QvStatus(318, false));
  EXPECT_TRUE(made->model.GetStatus() == QvStatus(318, false));
  EXPECT_FALSE(made->model.IsInitialized());
}

TEST_F(QvLogModelTest, AnAbsentReferenceGivesWarning319AndTheLastCategory) {
  settings_.Reference(2);
  const auto made = Make();
  QvStatus status;
  made->model.SetDependentCategories(status, made->tables.GetDependCountsPtr());
  EXPECT_TRUE(status == QvStatus(319, true));
  EXPECT_EQ(made->model.GetDependCategories(), (Ints{0, 1, 3}));
  EXPECT_TRUE(made->model.GetStatus() == QvStatus(319, true));
}

TEST_F(QvLogModelTest, ReferenceMinusTwoIsTheFirstCategory) {
  settings_.Reference(QvLogRegSettings::kFirstObserved);
  const auto made = Make();
  EXPECT_TRUE(made->Initialize().IsOK());
  EXPECT_EQ(made->model.GetDependCategories(), (Ints{1, 3, 0}));
}

TEST_F(QvLogModelTest, AllParametersStandInBlocksOfTheBasicOnes) {
  const auto made = Make();
  EXPECT_TRUE(made->Initialize().IsOK());
  const QvLogModel& model = made->model;
  EXPECT_TRUE(model.IsInitialized());
  EXPECT_EQ(model.GetNumBasicParameters(), 4);
  EXPECT_EQ(model.GetNumAllParameters(), 8);
  ASSERT_EQ(model.GetBasicParameters().size(), 4U);
  ASSERT_EQ(model.GetAllParameters().size(), 8U);
  const Ints effects{0, 1, 1, 2};
  const Ints targets{0, 1};
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(model.GetAllParameters()[i].GetEffectIndex(), effects[i % 4]) << i;
    EXPECT_EQ(model.GetAllParameters()[i].GetTargetCategory(), targets[i / 4]) << i;
  }
  EXPECT_EQ(model.GetAllParameters()[6].GetCategories(), Ints{2});
  EXPECT_EQ(model.GetAllParameters()[7].GetCovariates(), Ints{kX});
  EXPECT_EQ(model.GetParameterEstimates(), Doubles(8, 0.0));
  ASSERT_NE(model.GetXPrimeXMatrix(), nullptr);
  EXPECT_EQ(model.GetXPrimeXMatrix()->GetOrder(), 4);
  EXPECT_EQ(model.GetHessianGI(), nullptr);
  EXPECT_EQ(model.GetFactorTables(), &made->tables);
}

TEST_F(QvLogModelTest, ABlocksTargetIsACodeAndNotALocalIndex) {
  settings_.Reference(QvLogRegSettings::kFirstObserved);
  const auto made = Make();
  made->Initialize();
  EXPECT_EQ(made->model.GetAllParameters()[0].GetTargetCategory(), 1);
  EXPECT_EQ(made->model.GetAllParameters()[4].GetTargetCategory(), 3);
}

TEST_F(QvLogModelTest, TellsTheParametersOfEachEffect) {
  const auto made = Make();
  made->Initialize();
  int first = -7;
  int count = -7;
  const std::vector<Ints> expected{{0, 1}, {1, 2}, {3, 1}};
  for (int effect = 0; effect < 3; ++effect) {
    EXPECT_TRUE(made->model.GetEffectParameterRange(effect, first, count));
    EXPECT_EQ((Ints{first, count}), expected[static_cast<std::size_t>(effect)]) << effect;
  }
  for (const int effect : {-1, 3, 100}) {
    EXPECT_FALSE(made->model.GetEffectParameterRange(effect, first, count)) << effect;
  }
}

TEST_F(QvLogModelTest, WithoutAnInterceptEffectsStartAt0) {
  settings_.NoIntercept();
  const auto made = Make();
  made->Initialize();
  EXPECT_EQ(made->model.GetNumBasicParameters(), 3);
  int first = -7;
  int count = -7;
  EXPECT_TRUE(made->model.GetEffectParameterRange(0, first, count));
  EXPECT_EQ((Ints{first, count}), (Ints{0, 2}));
  EXPECT_TRUE(made->model.GetEffectParameterRange(1, first, count));
  EXPECT_EQ((Ints{first, count}), (Ints{2, 1}));
  EXPECT_FALSE(made->model.GetEffectParameterRange(2, first, count));
}

/// As many parameters as a factor has levels plus an intercept, times categories less one.
QvStatus InitializeOfSize(int nLevels, int nCategories) {
  LogisticSettings settings(kY, nCategories, {{kA, nLevels}}, {});
  settings.Effect({kA});
  Rows rows;
  for (int i = 0; i < nLevels || i < nCategories; ++i) {
    rows.push_back({static_cast<double>(i % nCategories), static_cast<double>(i % nLevels)});
  }
  LogModelOnTables made(settings.Get(), rows);
  const QvStatus status = made.Initialize();
  EXPECT_EQ(made.model.IsInitialized(), status.IsOK());
  EXPECT_EQ(made.model.GetXPrimeXMatrix() != nullptr, status.IsOK());
  EXPECT_EQ(made.model.GetAllParameters().empty(), !status.IsOK()) << "nothing is created";
  return status;
}

TEST(QvLogModelSize, AsManyAs46340ParametersAreAccepted) {
  EXPECT_TRUE(InitializeOfSize(330, 141).IsOK());  // 331 x 140
}

TEST(QvLogModelSize, With46341ParametersTheStatusIs305) {
  const QvStatus status = InitializeOfSize(270, 172);  // 271 x 171
  EXPECT_TRUE(status == QvStatus(305, false));
  long datum = 0;
  EXPECT_TRUE(status.GetDiscreteDatum(0, datum));
  EXPECT_EQ(datum, 46341);
  EXPECT_TRUE(status.GetDiscreteDatum(1, datum));
  EXPECT_EQ(datum, 46340);
}

TEST(QvLogModelSize, MoreParametersThanALongHoldsAreReportedAsItsLargest) {
  const QvStatus status = InitializeOfSize(50000, 50001);  // 50001 x 50000
  EXPECT_TRUE(status == QvStatus(305, false));
  long datum = 0;
  EXPECT_TRUE(status.GetDiscreteDatum(0, datum));
  EXPECT_EQ(datum,
            std::min(2500050000LL, static_cast<long long>(std::numeric_limits<long>::max())));
}

TEST_F(QvLogModelTest, AddsWeightedRowsToXPrimeX) {
  settings_.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  const auto made = Make();
  made->Initialize();
  ASSERT_TRUE(made->model.AddRecordToXPrimeX(kRows[3].data()));  // A 2, x 5, weight 4
  ASSERT_TRUE(made->model.AddRecordToXPrimeX(kRows[2].data()));  // A 0, x 2, weight 0.5
  EXPECT_EQ(qvtest::LowerRows(*made->model.GetXPrimeXMatrix()),
            (Rows{{4.5}, {0.5, 0.5}, {4, 0, 4}, {21, 1, 20, 102}}));
}

TEST(QvLogModelWeights, MayStandFirstInARecord) {
  constexpr int kWeight = 0;
  for (const bool isFrequency : {true, false}) {
    LogisticSettings settings(1, 2, {}, {2});
    settings.Effect({}, {2});
    isFrequency ? settings.FrequencyWeight(kWeight) : settings.RegressionWeight(kWeight);
    const Rows rows{{3, 0, 2}, {0.5, 1, 4}};
    LogModelOnTables made(settings.Get(), rows);
    made.Initialize();
    for (const Doubles& row : rows) ASSERT_TRUE(made.model.AddRecordToXPrimeX(row.data()));
    EXPECT_EQ(qvtest::LowerRows(*made.model.GetXPrimeXMatrix()), (Rows{{3.5}, {8, 20}}));
  }
}

TEST_F(QvLogModelTest, RefusesRowsBeforeItIsInitialized) {
  const auto made = Make();
  EXPECT_FALSE(made->model.AddRecordToXPrimeX(kRows[0].data()));
  EXPECT_FALSE(made->model.AddRowToXPrimeX(kRows[0].data(), {0, 1, 3}));
  QvLogModel bare(settings_.Get(), made->cancel);
  EXPECT_FALSE(bare.AddRecordToXPrimeX(kRows[0].data()));
}

TEST_F(QvLogModelTest, RefusesARowThatIsNotThereOrCannotBeCoded) {
  const auto made = Make();
  made->Initialize();
  EXPECT_FALSE(made->model.AddRecordToXPrimeX(nullptr));
  EXPECT_FALSE(made->model.AddRowToXPrimeX(nullptr, {0, 1, 3}));
  const Doubles unseen{0, 1, 1, 1, 1};
  EXPECT_FALSE(made->model.AddRecordToXPrimeX(unseen.data()));
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(309, false)) << "no row was added";
}

TEST_F(QvLogModelTest, RefusesRowsWhenCancelledOrFinished) {
  const auto cancelled = Make();
  cancelled->Initialize();
  cancelled->cancel.SetCancel();
  EXPECT_FALSE(cancelled->model.AddRecordToXPrimeX(kRows[0].data()));

  const auto finished = Ready();
  Finish(*finished);
  EXPECT_TRUE(finished->model.IsFinished());
  EXPECT_FALSE(finished->model.AddRecordToXPrimeX(kRows[0].data()));
}

TEST_F(QvLogModelTest, ARedundantColumnIsClearedInEveryBlock) {
  const auto made = Ready();
  const QvLogModel& model = made->model;
  // A 0 and A 2 add up to the intercept.
  EXPECT_EQ(model.GetNumBasicNonRedundant(), 3);
  EXPECT_EQ(model.GetNumAllNonRedundant(), 6);
  ASSERT_EQ(model.GetBasicRedundancy().Size(), 4);
  ASSERT_EQ(model.GetAllRedundancy().Size(), 8);
  for (int k = 0; k < 8; ++k) {
    EXPECT_EQ(model.GetAllRedundancy().IsIn(k), k % 4 != 2) << k;
  }
  for (int k = 0; k < 4; ++k) EXPECT_EQ(model.GetBasicRedundancy().IsIn(k), k != 2) << k;
  EXPECT_TRUE(qvtest::HoldsInOrder(qvtest::CapturedDisplay(model),
                                   {"local indices", "0", "1", "-1", "2", "XPrimeXMatrix"}));
}

TEST_F(QvLogModelTest, AColumnIdenticalToAnEarlierOneIsRedundant) {
  LogisticSettings twice(kY, 4, {}, {kX, kFrequency});
  twice.Effect({}, {kX}).Effect({}, {kFrequency});
  LogModelOnTables made(twice.Get(), {{0, 0, 1, 1}, {1, 0, 3, 3}, {3, 0, 7, 7}, {0, 0, 2, 2}});
  made.FindRedundancy();
  EXPECT_FALSE(made.model.GetBasicRedundancy().IsIn(2));
  EXPECT_FALSE(made.model.GetAllRedundancy().IsIn(2));
  EXPECT_FALSE(made.model.GetAllRedundancy().IsIn(5));
  EXPECT_EQ(made.model.GetNumBasicNonRedundant(), 2);
}

TEST_F(QvLogModelTest, RedundancyWithoutARowIs309AndClearsEverything) {
  const auto made = Make();
  made->Initialize();
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(309, false));
  EXPECT_EQ(made->model.GetNumBasicNonRedundant(), 0);
  EXPECT_EQ(made->model.GetNumAllNonRedundant(), 0);
  EXPECT_EQ(made->model.GetAllRedundancy().Size(), 8);
  for (int k = 0; k < 8; ++k) EXPECT_FALSE(made->model.GetAllRedundancy().IsIn(k));
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(309, false)) << "an error stays";
}

TEST_F(QvLogModelTest, RedundancyOfAFinishedModelIs310AndKeepsTheCounts) {
  const auto made = Ready();
  Finish(*made);
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(310, false));
  EXPECT_EQ(made->model.GetNumAllNonRedundant(), 6);
}

TEST_F(QvLogModelTest, RedundancyOfACancelledRunIs1) {
  const auto made = Make();
  made->Initialize();
  made->model.AddRecordToXPrimeX(kRows[0].data());
  made->cancel.SetCancel();
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(1, false));
}

TEST_F(QvLogModelTest, AWarningOutlivesTheRedundancy) {
  settings_.Reference(2);
  const auto made = Make();
  made->Initialize();
  made->model.AddRecordToXPrimeX(kRows[0].data());
  EXPECT_TRUE(made->model.FindRedundancy() == QvStatus(319, true));
}

TEST_F(QvLogModelTest, StartingValuesAreLogRatiosOfTheWeightedCounts) {
  settings_.FrequencyWeight(kFrequency);
  const auto made = Ready();
  QvStatus status;
  Doubles values;
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status.IsOK());
  // Weights 2, 2 and 5; three kept parameters a block.
  ASSERT_EQ(values.size(), 6U);
  EXPECT_NEAR(values[0], std::log(2.0 / 5.0), 1e-15);
  EXPECT_NEAR(values[3], std::log(2.0 / 5.0), 1e-15);
  for (const std::size_t slope : {1U, 2U, 4U, 5U}) EXPECT_EQ(values[slope], 0.0);
}

TEST_F(QvLogModelTest, StartingValuesOfACategoryWithoutWeightAre303) {
  // Frequency and regression weight are positive, and their product is not.
  settings_.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  const auto made = Ready({{0, 0, 1, 1, 1}, {1, 2, 3, 1e-200, 1e-200}, {3, 0, 2, 1, 1}});
  QvStatus status;
  Doubles values;
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status == QvStatus(303, false));
  EXPECT_TRUE(made->model.GetStatus() == QvStatus(303, false));
}

TEST_F(QvLogModelTest, StartingValuesWithoutAnInterceptAreZero) {
  settings_.NoIntercept();
  const auto made = Ready();
  QvStatus status;
  Doubles values{9};
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status.IsOK());
  EXPECT_EQ(values, Doubles(6, 0.0));
}

TEST_F(QvLogModelTest, StartingValuesBeforeInitializeAre303) {
  const auto made = Make();
  QvStatus status;
  Doubles values;
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status == QvStatus(303, false));
  EXPECT_TRUE(made->model.GetStatus() == QvStatus(303, false));
}

TEST_F(QvLogModelTest, StartingValuesOfCategoriesWithAWeightOfZeroAre303) {
  settings_.FrequencyWeight(kFrequency);
  const auto made = Make({{0, 0, 1, 0, 1}, {1, 2, 3, 0, 1}, {3, 0, 2, 0, 1}});
  EXPECT_TRUE(made->Initialize() == QvStatus(318, false));
  QvStatus status;
  Doubles values;
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status == QvStatus(303, false));
  EXPECT_TRUE(values.empty());
}

TEST_F(QvLogModelTest, StartingValuesOfAFinishedModelAre310) {
  const auto made = Ready();
  Finish(*made);
  QvStatus status;
  Doubles values;
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status == QvStatus(310, false));
}

TEST_F(QvLogModelTest, StartingValuesOfACancelledRunAreLeftAlone) {
  const auto made = Ready();
  made->cancel.SetCancel();
  QvStatus status;
  Doubles values{9};
  made->model.GetStartingValues(status, values);
  EXPECT_TRUE(status.IsOK());
  EXPECT_EQ(values, Doubles{9});
}

QvSymMatrix NumberedInverse() {
  QvSymMatrix inverse(6);
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j <= i; ++j) inverse.SetElem(i, j, 10 * i + j + 1);
  }
  return inverse;
}

TEST_F(QvLogModelTest, StoresEstimatesAndInverseInTheLayoutOfAllParameters) {
  const auto made = Ready();
  EXPECT_TRUE(made->model.SetEstimates({1, 2, 3, 4, 5, 6}, NumberedInverse()).IsOK());
  EXPECT_EQ(made->model.GetParameterEstimates(), (Doubles{1, 2, 0, 3, 4, 5, 0, 6}));
  const QvSymMatrix* covariance = made->model.GetHessianGI();
  ASSERT_NE(covariance, nullptr);
  ASSERT_EQ(covariance->GetOrder(), 8);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(covariance->GetElem(i, 2), 0.0);
    EXPECT_EQ(covariance->GetElem(i, 6), 0.0);
  }
  EXPECT_EQ(covariance->GetElem(0, 0), 1.0);
  EXPECT_EQ(covariance->GetElem(3, 1), 22.0);  // compressed (2, 1)
  EXPECT_EQ(covariance->GetElem(7, 4), 54.0);  // compressed (5, 3)
}

TEST_F(QvLogModelTest, ACancelledRunStoresNothing) {
  const auto made = Ready();
  made->cancel.SetCancel();
  EXPECT_TRUE(made->model.SetEstimates({1, 2, 3, 4, 5, 6}, NumberedInverse()) ==
              QvStatus(1, false));
  EXPECT_EQ(made->model.GetParameterEstimates(), Doubles(8, 0.0));
  EXPECT_EQ(made->model.GetHessianGI(), nullptr);
}

TEST_F(QvLogModelTest, MatricesCanBeFreed) {
  const auto made = Ready();
  made->model.SetEstimates({1, 2, 3, 4, 5, 6}, NumberedInverse());
  made->model.DeleteXPrimeXMatrix();
  made->model.DeleteHessianGI();
  EXPECT_EQ(made->model.GetXPrimeXMatrix(), nullptr);
  EXPECT_EQ(made->model.GetHessianGI(), nullptr);
  EXPECT_FALSE(made->model.AddRecordToXPrimeX(kRows[0].data()));
  EXPECT_EQ(made->model.GetParameterEstimates(), (Doubles{1, 2, 0, 3, 4, 5, 0, 6}));
}

TEST_F(QvLogModelTest, DisplayPrintsItsFieldsInOrder) {
  settings_.FrequencyWeight(kFrequency);
  const auto made = Ready();
  made->model.SetEstimates({1, 2, 3, 4, 5, 6}, NumberedInverse());
  const std::string text = qvtest::CapturedDisplay(made->model);
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"QvLogModel display start",
             "Total number of model effects",
             "3",
             "Covariate pattern offsets:",
             "2",
             "Covariate offsets:",
             "2",
             "Dependent categories in subpopulation, reference last",
             "Local indices of the dependent categories in subpopulation in consecutive numeration",
             "Reference category for dependent variable in subpopulation",
             "3",
             "Weighted counts of dependent categories in subpopulation, reference last",
             "Unweighted counts of dependent categories in subpopulation, reference last",
             "Factor Tables pointer is non-zero",
             "Vector of first parameter indices",
             "Vector of numbers of parameters for each effect",
             "Number of basic regression parameters",
             "4",
             "Number of all regression parameters",
             "8",
             "Number of basic non-redundand parameters",
             "3",
             "Number of all non-redundand parameters",
             "6",
             "Vector of basic non-redundant parameter local indices",
             "XPrimeXMatrix:",
             "Records added to matrix",
             "5",
             "Redundancy indicators for basic parameters",
             "Redundancy indicators for all parameters",
             "Parameter estimates",
             "Pointer to the generalized inverse of Hessian (uncompressed)",
             "Misclassification matrix",
             "QvLogModel display end"}))
      << text;
}

TEST_F(QvLogModelTest, DisplayTellsWhatIsMissing) {
  QvCancelInfo cancel;
  const QvLogModel model(settings_.Get(), cancel);
  const std::string text = qvtest::CapturedDisplay(model);
  EXPECT_TRUE(qvtest::HoldsInOrder(text, {"XPrimeXMatrix pointer is 0", "Records added to matrix",
                                          "fpHessianGI is 0", "fpClassificationTable is 0"}))
      << text;
  EXPECT_EQ(text.find("Factor Tables pointer"), std::string::npos);
}

TEST(QvLogModelDeathTest, RedundancyOfAFreedMatrixIsAnErrorAndNoCrash) {
  constexpr int kAnError = 53;
  const auto run = [] {
    LogisticSettings settings(kY, 4, {}, {kX});
    settings.Effect({}, {kX});
    LogModelOnTables made(settings.Get(), kRows);
    made.Initialize();
    made.model.AddRecordToXPrimeX(kRows[0].data());
    made.model.DeleteXPrimeXMatrix();
    std::exit(made.model.FindRedundancy().IsError() ? kAnError : 0);
  };
  EXPECT_EXIT(run(), ::testing::ExitedWithCode(kAnError), "");
}

}  // namespace
