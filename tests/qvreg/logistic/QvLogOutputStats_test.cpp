#include "qvreg/logistic/QvLogOutputStats.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorCounts.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr double kMissing = QvMV::gMissingValue;

/// Twelve records of y, A and x.
const Rows kRows{{0, 0, 1}, {1, 0, 2},    {2, 0, 8}, {0, 1, 3},   {1, 1, 1},   {2, 1, 5},
                 {2, 0, 2}, {0, 1, 2.25}, {1, 0, 7}, {1, 1, 2.5}, {0, 0, 4.5}, {2, 1, 6.5}};

// A Newton iteration to a step of 1e-35 with mpmath at 40 digits, intercept, A 0 and x.
const Doubles kEstimates{2.13676787109259081, 0.553598854754969972, -0.607564225264419871,
                         1.78819991164539216, 0.529976745674791348, -0.483149092412046304};
const Rows kCovariance{
    {3.18534799093195929},
    {-0.664020086792756429, 2.84932192740460523},
    {-0.567108327908662921, -0.14802931703849776, 0.166037670950845771},
    {2.03602479876757045, -0.123180025462028764, -0.337170904672663936, 3.03124031855708845},
    {-0.147024331910765643, 1.75342636921467687, -0.139683225429658115, -0.540373180796979067,
     2.68120892105563692},
    {-0.330127268058457988, -0.145267765460806466, 0.0792990995828978515, -0.507774306077600332,
     -0.162384129175544874, 0.138629243716680234}};
constexpr double kInitialLL = -13.1833474640173163;
constexpr double kFinalLL = -11.4885187397559169;
constexpr double kCoxSnell = 0.246081837032815023;
constexpr double kNagelkerke = 0.276842066661916901;
constexpr double kMcFadden = 0.128558298936387138;

/// With the tabulator, or without. All parameters: two blocks of intercept, A 0, A 1 and x.
class QvLogOutputStatsTest : public ::testing::TestWithParam<bool> {
 protected:
  QvLogOutputStatsTest() { settings_.Effect({kA}).Effect({}, {kX}).InMemory(GetParam()); }

  LogisticFit Fit() { return LogisticFit(settings_.Get(), MakeRecords(kRows)); }

  LogisticSettings settings_{kY, 3, {{kA, 3}}, {kX}};
};

constexpr std::size_t kKept[] = {0, 1, 3, 4, 5, 7};

TEST_P(QvLogOutputStatsTest, EstimatesAgreeWithTheExactOnes) {
  const LogisticFit fit = Fit();
  ASSERT_EQ(fit.Stats().GetParamEstimates().size(), 8U);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(fit.Stats().GetParamEstimates()[kKept[i]], kEstimates[i], 1e-11) << i;
  }
}

TEST_P(QvLogOutputStatsTest, TheCovarianceAgreesWithTheExactOne) {
  const LogisticFit fit = Fit();
  const QvCommon::QvSymMatrixData* covariance = fit.Stats().GetCovarianceMatrix();
  ASSERT_NE(covariance, nullptr);
  ASSERT_EQ(covariance->GetOrder(), 8);
  for (std::size_t i = 0; i < 6; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      EXPECT_NEAR(covariance->GetElem(static_cast<int>(kKept[i]), static_cast<int>(kKept[j])),
                  kCovariance[i][j], 1e-10);
    }
  }
}

TEST_P(QvLogOutputStatsTest, ARedundantParameterIsFlaggedZeroAndWithoutCovariance) {
  const LogisticFit fit = Fit();
  ASSERT_EQ(fit.Stats().GetParamStats().size(), 8U);
  for (int i = 0; i < 8; ++i) {
    const bool isRedundant = i % 4 == 2;
    const QvRegrParameterStats& parameter =
        fit.Stats().GetParamStats()[static_cast<std::size_t>(i)];
    EXPECT_EQ(parameter.fParameterIndex, i);
    EXPECT_EQ(parameter.fbRedundant, isRedundant);
    EXPECT_EQ(fit.Stats().GetRedundancyIndicators().IsIn(i), !isRedundant);
    EXPECT_EQ(parameter.fEffectIndex, (Ints{0, 1, 1, 2})[static_cast<std::size_t>(i % 4)]);
    EXPECT_EQ(parameter.fEstimate, fit.Stats().GetParamEstimates()[static_cast<std::size_t>(i)]);
    if (!isRedundant) continue;
    EXPECT_EQ(parameter.fEstimate, 0.0);
    for (int j = 0; j < 8; ++j) EXPECT_EQ(fit.Stats().GetCovarianceMatrix()->GetElem(i, j), 0.0);
  }
}

TEST_P(QvLogOutputStatsTest, LogLikelihoodsAndPseudoRSquaresAgreeWithTheExactOnes) {
  const LogisticFit fit = Fit();
  EXPECT_NEAR(fit.Stats().GetInitialLL(), kInitialLL, 1e-13);
  EXPECT_NEAR(fit.Stats().GetFinalLL(), kFinalLL, 1e-13);
  EXPECT_NEAR(fit.Stats().GetModelFitStat(QvConst::QvFitCoxSnellRSquare), kCoxSnell, 1e-13);
  EXPECT_NEAR(fit.Stats().GetModelFitStat(QvConst::QvFitNagelkerkeRSquare), kNagelkerke, 1e-13);
  EXPECT_NEAR(fit.Stats().GetModelFitStat(QvConst::QvFitMcFaddenRSquare), kMcFadden, 1e-13);
}

TEST_P(QvLogOutputStatsTest, TellsItsModelTypeAndServesTheValidator) {
  LogisticFit fit = Fit();
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(fit.Component().GetOutputStats(stats).IsOK());
  EXPECT_EQ(stats->GetModelType(), QvConst::QvRegModelLogistic);
  QvCommon::QvStatus status;
  const QvRegRecordValidator& validator = stats->GetRecordValidator();
  EXPECT_TRUE(validator.IsValid4Scoring(MakeRecord({kMissing, 0, 1}), status));
  EXPECT_FALSE(validator.IsValid4Scoring(MakeRecord({0, 0, kMissing}), status));
}

TEST_P(QvLogOutputStatsTest, StatisticsOfALinearModelAreMissing) {
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetModelFitStat(QvConst::QvFitRootMeanSquareError), kMissing);
  EXPECT_EQ(fit.Stats().GetModelFitStat(QvConst::QvFitMultipleRSquare), kMissing);
  EXPECT_EQ(fit.Stats().GetModelFitStat(static_cast<QvConst::QvModelFitStat>(5)), kMissing);
}

TEST_P(QvLogOutputStatsTest, TellsHowTheIterationsWent) {
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptParamConverged);
  EXPECT_GE(fit.Stats().GetIterations(), 4);
  EXPECT_LE(fit.Stats().GetIterations(), 8);
  EXPECT_EQ(fit.Stats().GetStepHalvings(), 0);
  EXPECT_LT(fit.Stats().GetParameterChange(), 1e-10);
  EXPECT_LT(fit.Stats().GetLLChange(), 1e-10);
}

TEST_P(QvLogOutputStatsTest, TellsTheChangesOfAnIterationThatDidNotConverge) {
  EXPECT_TRUE(settings_.Get().SetMaxIterations(1));
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptMaxIterations);
  EXPECT_GT(fit.Stats().GetLLChange(), 0.01) << "from -13.2 to about -11.5";
  EXPECT_GT(fit.Stats().GetParameterChange(), 0.01);
}

TEST_P(QvLogOutputStatsTest, DisplayPrintsEveryParameter) {
  const LogisticFit fit = Fit();
  const std::string text = qvtest::CapturedDisplay(fit.Stats());
  int count = 0;
  for (std::size_t at = text.find("Parameter estimate"); at != std::string::npos;
       at = text.find("Parameter estimate", at + 1)) {
    ++count;
  }
  EXPECT_EQ(count, 8);
}

TEST_P(QvLogOutputStatsTest, ClassifiesByObservedAndPredicted) {
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.TableByCode(3), (Doubles{2, 2, 0, 3, 0, 1, 1, 0, 3}));
}

TEST_P(QvLogOutputStatsTest, TheClassificationStandsInLocalOrder) {
  settings_.Reference(0);
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetDependCategories(), (Ints{1, 2, 0}));
  EXPECT_EQ(fit.Stats().GetClassificationTable()->GetElem(0, 2), 3.0) << "observed 1, predicted 0";
  EXPECT_EQ(fit.Stats().GetClassificationTable()->GetElem(2, 0), 2.0);
}

TEST_P(QvLogOutputStatsTest, CountsMeansAndWeights) {
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetTotalFreqWeight(), 12.0);
  EXPECT_EQ(fit.Stats().GetTotalRegrWeight(), 12.0);
  ASSERT_EQ(fit.Stats().GetMeanValues().size(), 1U);
  EXPECT_NEAR(fit.Stats().GetMeanValues()[0], 44.75 / 12, 1e-14);
  EXPECT_EQ(fit.Stats().GetFactorCounts().GetNActiveCategories(0), 2);
  ASSERT_NE(fit.Stats().GetFactorCounts().GetDependCountsPtr(), nullptr);
  EXPECT_EQ((*fit.Stats().GetFactorCounts().GetDependCountsPtr())[1].second, 4.0);
  EXPECT_EQ(fit.Stats().GetDependCategoryWeights(), (Doubles{4, 4, 4}));
  EXPECT_EQ(fit.Stats().GetRecordCounts().fUsed, 12);
  EXPECT_EQ(fit.Stats().GetParameters().size(), 8U);
}

TEST_P(QvLogOutputStatsTest, DegreesOfFreedomAreTheSettingsOnesWhenSet) {
  settings_.Get().SetDF(7.5);
  EXPECT_EQ(Fit().Stats().GetNDegFreedom(), 7.5);
}

TEST_P(QvLogOutputStatsTest, DegreesOfFreedomCountRedundantParametersToo) {
  // 100 records of weight 1, K = 3 and P = 4, of which two of eight are redundant: 92.
  Rows rows;
  for (int i = 0; i < 100; ++i) {
    rows.push_back(
        {static_cast<double>(i % 3), static_cast<double>(i / 3 % 2), 1.0 * (i * i % 11)});
  }
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetTotalRegrWeight(), 100.0);
  EXPECT_FALSE(fit.Stats().GetRedundancyIndicators().IsIn(2));
  EXPECT_EQ(fit.Stats().GetNDegFreedom(), 92.0);
}

TEST_P(QvLogOutputStatsTest, DegreesOfFreedomUseTheRegressionWeights) {
  constexpr int kFrequency = 3;
  constexpr int kRegression = 4;
  Rows rows = kRows;
  for (Doubles& row : rows) row.insert(row.end(), {2.0, 0.75});
  settings_.FrequencyWeight(kFrequency).RegressionWeight(kRegression);
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetTotalFreqWeight(), 24.0);
  EXPECT_EQ(fit.Stats().GetTotalRegrWeight(), 18.0);
  EXPECT_EQ(fit.Stats().GetNDegFreedom(), 10.0);
  // Equal weights of 1.5 a record leave the estimates and multiply the log-likelihood.
  EXPECT_NEAR(fit.Stats().GetFinalLL(), 1.5 * kFinalLL, 1e-12);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], kEstimates[0], 1e-10);
  EXPECT_EQ(fit.TableByCode(3)[0], 4.0) << "frequency weights only";
}

TEST_P(QvLogOutputStatsTest, ExpandsARecordIntoARowAsLongAsAllParameters) {
  const LogisticFit fit = Fit();
  Doubles row{9};
  EXPECT_TRUE(fit.Stats().ExpandRow(MakeRecord({2, 1, 6}), row));
  EXPECT_EQ(row, (Doubles{1, 0, 1, 6, 0, 0, 0, 0}));
}

TEST_P(QvLogOutputStatsTest, ExpandsARecordEffectByEffect) {
  const LogisticFit fit = Fit();
  Ints indices;
  Doubles values;
  EXPECT_TRUE(fit.Stats().ExpandRow(MakeRecord({2, 1, 6}), indices, values));
  EXPECT_EQ(indices, (Ints{0, 2, 3}));
  EXPECT_EQ(values, (Doubles{1, 1, 6}));
}

TEST_P(QvLogOutputStatsTest, ExpandsNoRecordThatMayNotBeScored) {
  const LogisticFit fit = Fit();
  Ints indices;
  Doubles values;
  for (const Doubles& record :
       Rows{{0, 0, kMissing}, {0, -1, 1}, {0, 0.5, 1}, {0, 4, 1}, {0, 2, 1}, {0, 1}}) {
    EXPECT_FALSE(fit.Stats().ExpandRow(MakeRecord(record), values));
    EXPECT_FALSE(fit.Stats().ExpandRow(MakeRecord(record), indices, values));
  }
}

TEST_P(QvLogOutputStatsTest, TheDependentOfAnExpandedRecordDoesNotMatter) {
  const LogisticFit fit = Fit();
  Doubles row;
  EXPECT_TRUE(fit.Stats().ExpandRow(MakeRecord({kMissing, 1, 6}), row));
  EXPECT_TRUE(fit.Stats().ExpandRow(MakeRecord({99.5, 1, 6}), row));
}

TEST_P(QvLogOutputStatsTest, AnInterceptOnlyModelIsItsStart) {
  LogisticSettings intercept(kY, 3, {}, {});
  intercept.InMemory(GetParam());
  Rows rows;
  for (int i = 0; i < 10; ++i) rows.push_back({i < 2 ? 0.0 : (i < 5 ? 1.0 : 2.0)});
  LogisticFit fit(intercept.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptNoIterations);
  EXPECT_EQ(fit.Stats().GetIterations(), 0);
  ASSERT_EQ(fit.Stats().GetParamEstimates().size(), 2U);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(2.0 / 5.0), 1e-15);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[1], std::log(3.0 / 5.0), 1e-15);
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    EXPECT_EQ(fit.Stats().GetModelFitStat(stat), 0.0);
  }
  const double ll = 2 * std::log(0.2) + 3 * std::log(0.3) + 5 * std::log(0.5);
  EXPECT_NEAR(fit.Stats().GetInitialLL(), ll, 1e-14);
  EXPECT_NEAR(fit.Stats().GetFinalLL(), ll, 1e-14);
  // The covariance of log ratios of counts: 1 / n_j + 1 / n_ref, and 1 / n_ref beside the diagonal.
  const QvCommon::QvSymMatrixData& covariance = *fit.Stats().GetCovarianceMatrix();
  EXPECT_NEAR(covariance.GetElem(0, 0), 1.0 / 2 + 1.0 / 5, 1e-14);
  EXPECT_NEAR(covariance.GetElem(1, 1), 1.0 / 3 + 1.0 / 5, 1e-14);
  EXPECT_NEAR(covariance.GetElem(0, 1), 1.0 / 5, 1e-14);
  EXPECT_EQ(fit.Score(MakeRecord({0})).predicted, 2.0);
}

TEST_P(QvLogOutputStatsTest, ACovariateThatTellsNothingHasPseudoRSquaresOfZero) {
  // Every x with every y: both log-likelihoods are equal.
  LogisticSettings slope(kY, 2, {}, {1});
  slope.Effect({}, {1}).InMemory(GetParam());
  const LogisticFit fit(slope.Get(), MakeRecords({{0, 1}, {1, 1}, {0, 3}, {1, 3}}));
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    EXPECT_NEAR(fit.Stats().GetModelFitStat(stat), 0.0, 1e-15);
  }
}

TEST_P(QvLogOutputStatsTest, WithoutIterationsTheStartIsTheResult) {
  EXPECT_TRUE(settings_.Get().SetMaxIterations(0));
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptNoIterations);
  EXPECT_EQ(fit.Stats().GetParamEstimates(), Doubles(8, 0.0)) << "equal counts";
  EXPECT_NEAR(fit.Stats().GetFinalLL(), kInitialLL, 1e-13);
  EXPECT_NE(fit.Stats().GetCovarianceMatrix(), nullptr);
}

TEST_P(QvLogOutputStatsTest, DisplayPrintsItsFieldsInOrder) {
  const LogisticFit fit = Fit();
  const std::string text = qvtest::CapturedDisplay(fit.Stats());
  EXPECT_TRUE(qvtest::HoldsInOrder(text, {"QvLogOutputStats display start",
                                          "fMeanValues",
                                          "fFactorCounts:",
                                          "QvFactorCounts display start",
                                          "fParamEstimates",
                                          "fParameters and fParamStats: total model parameters",
                                          "8",
                                          "Parameter estimate",
                                          "Redundant",
                                          "Parameter estimate",
                                          "Redundant",
                                          "fTotalFreqWeight",
                                          "12",
                                          "fTotalRegrWeight",
                                          "12",
                                          "fNDegFreedom",
                                          "4",
                                          "Covariance matrix:",
                                          "fCoxSnellRSquare",
                                          "fNagelkerkeRSquare",
                                          "fMcFaddenRSquare",
                                          "QvLogOutputStats display end"}))
      << text;
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, QvLogOutputStatsTest, ::testing::Bool());

}  // namespace
