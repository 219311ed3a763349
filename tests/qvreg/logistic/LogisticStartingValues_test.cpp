// Fits that a host lets start from values of its own.
#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr std::size_t kRedundant = 2;  // A 1 of the first block

const std::vector<std::vector<double>> kRows{{0, 0, 1}, {1, 0, 2},   {2, 0, 8},   {0, 1, 3},
                                             {1, 1, 1}, {2, 1, 5},   {2, 0, 2},   {0, 1, 2.25},
                                             {1, 0, 7}, {1, 1, 2.5}, {0, 0, 4.5}, {2, 1, 6.5}};

/// With the tabulator, or without. All parameters: two blocks of intercept, A 0, A 1 and x.
class LogisticStartingValues : public ::testing::TestWithParam<bool> {
 protected:
  LogisticStartingValues() {
    settings_.Effect({kA}).Effect({}, {kX}).InMemory(GetParam());
    EXPECT_TRUE(settings_.Get().SetParamEstConCriterion(1e-6));
  }

  LogisticFit Fit() { return LogisticFit(settings_.Get(), MakeRecords(kRows)); }
  LogisticFit FitFrom(const Doubles& values) {
    EXPECT_TRUE(settings_.Get().SetStartingValues(values));
    return Fit();
  }

  LogisticSettings settings_{kY, 3, {{kA, 2}}, {kX}};
};

/// All that a fit says of its quality.
Doubles QualityOf(const LogisticFit& fit) {
  const QvLogOutputStats& stats = fit.Stats();
  return {stats.GetInitialLL(), stats.GetFinalLL(),
          stats.GetModelFitStat(QvConst::QvFitCoxSnellRSquare),
          stats.GetModelFitStat(QvConst::QvFitNagelkerkeRSquare),
          stats.GetModelFitStat(QvConst::QvFitMcFaddenRSquare)};
}

TEST_P(LogisticStartingValues, GoOnWhereAnotherRunEnded) {
  const LogisticFit whole = Fit();
  ASSERT_GT(whole.Stats().GetIterations(), 3);
  ASSERT_TRUE(settings_.Get().SetMaxIterations(2));
  const LogisticFit begun = Fit();
  ASSERT_EQ(begun.Stats().GetOutcome(), kOptMaxIterations);
  ASSERT_TRUE(settings_.Get().SetMaxIterations(100));
  const LogisticFit rest = FitFrom(begun.Stats().GetParamEstimates());
  EXPECT_EQ(rest.Stats().GetOutcome(), kOptParamConverged);
  EXPECT_EQ(rest.Stats().GetIterations(), whole.Stats().GetIterations() - 2);
  EXPECT_EQ(rest.Stats().GetParamEstimates(), whole.Stats().GetParamEstimates());
  EXPECT_EQ(rest.Stats().GetParameterChange(), whole.Stats().GetParameterChange());
}

TEST_P(LogisticStartingValues, LeaveTheInitialLogLikelihoodAndTheRSquaresAsTheyAre) {
  const LogisticFit usual = Fit();
  const LogisticFit from = FitFrom(Doubles(8, 0.25));
  EXPECT_EQ(from.Stats().GetInitialLL(), usual.Stats().GetInitialLL());
  const Doubles expected = QualityOf(usual);
  const Doubles got = QualityOf(from);
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], 1e-9) << i;
}

TEST_P(LogisticStartingValues, OfRedundantParametersAreNotUsed) {
  Doubles values = Fit().Stats().GetParamEstimates();
  ASSERT_EQ(values[kRedundant], 0.0);
  const LogisticFit expected = FitFrom(values);
  values[kRedundant] = 1e6;
  const LogisticFit fit = FitFrom(values);
  EXPECT_EQ(fit.Stats().GetParamEstimates(), expected.Stats().GetParamEstimates());
  EXPECT_EQ(fit.Stats().GetParamEstimates()[kRedundant], 0.0);
  EXPECT_EQ(fit.Stats().GetIterations(), 1) << "they were the estimates";
}

TEST_P(LogisticStartingValues, WithoutIterationsAreTheEstimates) {
  ASSERT_TRUE(settings_.Get().SetMaxIterations(0));
  const double initial = Fit().Stats().GetInitialLL();
  const Doubles values{0.5, -0.25, 0, 0.125, 1, 0.5, 0, -0.375};
  const LogisticFit fit = FitFrom(values);
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptNoIterations);
  EXPECT_EQ(fit.Stats().GetParamEstimates(), values);
  EXPECT_EQ(fit.Stats().GetInitialLL(), initial);
  double expected = 0.0;
  for (const std::vector<double>& row : kRows) {
    const double level = row[kA] == 0.0 ? 1.0 : 0.0;
    const double first = 0.5 - 0.25 * level + 0.125 * row[kX];
    const double second = 1 + 0.5 * level - 0.375 * row[kX];
    const double own = row[kY] == 0.0 ? first : (row[kY] == 1.0 ? second : 0.0);
    expected += own - std::log(std::exp(first) + std::exp(second) + 1);
  }
  EXPECT_NEAR(fit.Stats().GetFinalLL(), expected, 1e-12);
}

TEST_P(LogisticStartingValues, OfInterceptsAloneAreIgnored) {
  LogisticSettings settings(kY, 3, {}, {});
  settings.InMemory(GetParam());
  const LogisticFit usual(settings.Get(), MakeRecords(kRows));
  ASSERT_TRUE(settings.Get().SetStartingValues({3.0, -3.0}));
  const LogisticFit fit(settings.Get(), MakeRecords(kRows));
  EXPECT_EQ(fit.Stats().GetParamEstimates(), usual.Stats().GetParamEstimates());
  EXPECT_EQ(fit.Stats().GetFinalLL(), usual.Stats().GetFinalLL());
}

TEST_P(LogisticStartingValues, WithoutAnInterceptAreUsedForOneParameterToo) {
  LogisticSettings settings(kY, 3, {}, {kX});
  settings.Effect({}, {kX}).NoIntercept().InMemory(GetParam());
  ASSERT_TRUE(settings.Get().SetMaxIterations(0));
  ASSERT_TRUE(settings.Get().SetStartingValues({0.5, -0.5}));
  const LogisticFit fit(settings.Get(), MakeRecords(kRows));
  EXPECT_EQ(fit.Stats().GetParamEstimates(), (Doubles{0.5, -0.5}));
}

TEST_P(LogisticStartingValues, OfAnotherNumberThanTheParametersAreRefused) {
  for (const std::size_t n : {std::size_t{1}, std::size_t{7}, std::size_t{9}}) {
    ASSERT_TRUE(settings_.Get().SetStartingValues(Doubles(n, 0.0)));
    QvLogComponent component(settings_.Get());
    VectorRecordIter data(MakeRecords(kRows));
    std::vector<QvRegrParameter> parameters;
    QvStatus expected(QvStatusCode::kNoParameters, false);
    expected.SetDiscreteDatum(0, static_cast<long>(n));
    expected.SetDiscreteDatum(1, 8);
    EXPECT_TRUE(component.CreateParameters(data, parameters).IsIdenticalTo(expected)) << n;
    EXPECT_EQ(parameters.size(), 8U) << "so that a host sees which values are asked for";
    EXPECT_TRUE(component.BuildModel(data).IsIdenticalTo(expected)) << n;
    EXPECT_EQ(data.Passes(), 1);
  }
}

TEST_P(LogisticStartingValues, CostOnePass) {
  const auto passes = [&] {
    QvLogComponent component(settings_.Get());
    VectorRecordIter data(MakeRecords(kRows));
    EXPECT_TRUE(component.BuildModel(data).IsOK());
    IQvRegOutputStats* stats = nullptr;
    EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
    // Kept rows are read again at a halved step, the records not.
    if (GetParam()) return data.Passes();
    return data.Passes() - dynamic_cast<const QvLogOutputStats&>(*stats).GetStepHalvings();
  };
  ASSERT_TRUE(settings_.Get().SetMaxIterations(1));
  const int usual = passes();
  ASSERT_TRUE(settings_.Get().SetStartingValues(Doubles(8, 0.25)));
  EXPECT_EQ(passes(), usual + (GetParam() ? 0 : 1));
}

TEST_P(LogisticStartingValues, ACancelAtAnyPollEndsTheRun) {
  ASSERT_TRUE(settings_.Get().SetStartingValues(Doubles(8, 0.25)));
  for (int poll = 1;; ++poll) {
    qvtest::CancelAtPoll query(poll);
    settings_.Get().SetCancelPointer(&query);
    QvLogComponent component(settings_.Get());
    VectorRecordIter data(MakeRecords(kRows));
    const QvStatus status = component.BuildModel(data);
    if (query.Polls() < poll) {
      EXPECT_TRUE(status.IsOK());
      break;
    }
    EXPECT_EQ(status.GetCode(), QvStatusCode::kCancelled) << poll;
    EXPECT_FALSE(component.IsModelBuilt()) << poll;
  }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, LogisticStartingValues, ::testing::Bool());

}  // namespace
