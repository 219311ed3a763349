// Fits as a host sees them: that the estimates solve the likelihood equations, separated and
// singular data, step-halving, and models without an intercept.
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"
#include "tests/qvreg/support/DenseMatrix.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::DenseMatrix;
using qvtest::LogisticFit;
using qvtest::LogisticSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::MultinomialSums;
using Rows = std::vector<std::vector<double>>;
using Doubles = std::vector<double>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;

void ExpectAllFinite(const LogisticFit& fit) {
  for (const double number : fit.AllNumbers()) ASSERT_TRUE(std::isfinite(number));
}

class LogisticFitTest : public ::testing::TestWithParam<bool> {
 protected:
  /// y over two covariates.
  LogisticFitTest() : settings_(kY, 3, {}, {kX, kZ}) {
    settings_.Effect({}, {kX}).Effect({}, {kZ}).InMemory(GetParam());
    EXPECT_TRUE(settings_.Get().SetStartingIteration(5));
  }

  LogisticSettings settings_;
};

/// y of K categories over x and z, drawn from a model of their own.
Rows RandomRows(unsigned seed, int n, int K) {
  std::mt19937 generator(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  std::uniform_real_distribution<double> share(0.0, 1.0);
  Rows rows;
  for (int i = 0; i < n; ++i) {
    const double x = normal(generator);
    const double z = normal(generator);
    Doubles odds;
    double sum = 0.0;
    for (int c = 0; c < K; ++c) {
      odds.push_back(std::exp(0.4 * (c % 3 - 1) * x - 0.3 * (c % 2) * z + 0.2 * c));
      sum += odds.back();
    }
    double u = share(generator) * sum;
    int y = 0;
    while (y + 1 < K && u > odds[static_cast<std::size_t>(y)]) {
      u -= odds[static_cast<std::size_t>(y++)];
    }
    rows.push_back({static_cast<double>(y), x, z});
  }
  return rows;
}

TEST_P(LogisticFitTest, EstimatesSolveTheLikelihoodEquationsAndTheCovarianceIsTheirInverse) {
  for (const int K : {2, 3, 5, 7}) {
    SCOPED_TRACE(K);
    const Rows rows = RandomRows(17, 400, K);
    LogisticSettings settings(kY, K, {}, {kX, kZ});
    settings.Effect({}, {kX}).Effect({}, {kZ}).InMemory(GetParam());
    const LogisticFit fit(settings.Get(), MakeRecords(rows));
    MultinomialSums sums(3, K, fit.Stats().GetParamEstimates());
    for (const Doubles& row : rows)
      sums.Add({1.0, row[kX], row[kZ]}, static_cast<int>(row[kY]), 1.0);

    EXPECT_NEAR(fit.Stats().GetFinalLL(), static_cast<double>(sums.LogLikelihood()), 1e-9);
    EXPECT_LE(sums.Scores().Largest(), 1e-5);
    const QvCommon::QvSymMatrixData& stored = *fit.Stats().GetCovarianceMatrix();
    const int order = 3 * (K - 1);
    ASSERT_EQ(stored.GetOrder(), order);
    DenseMatrix covariance(order, order);
    for (int i = 0; i < order; ++i) {
      for (int j = 0; j < order; ++j)
        covariance(i, j) = static_cast<long double>(stored.GetElem(i, j));
    }
    EXPECT_LE((sums.Information() * covariance).LargestDifference(DenseMatrix::Identity(order)),
              1e-6);
  }
}

TEST_P(LogisticFitTest, AFurtherNewtonStepWouldNotMoveTheEstimates) {
  const Rows rows = RandomRows(29, 300, 3);
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  MultinomialSums sums(3, 3, fit.Stats().GetParamEstimates());
  for (const Doubles& row : rows) sums.Add({1.0, row[kX], row[kZ]}, static_cast<int>(row[kY]), 1.0);
  const DenseMatrix step = sums.Information().Inverse() * sums.Scores();
  EXPECT_LE(step.Largest(), 1e-9);
}

TEST(LogisticRounding, OrdinaryFitsWithDefaultSettingsConverge) {
  // The last steps change the log-likelihood by less than its last digit; that is no fall.
  int failures = 0;
  for (unsigned seed = 1; seed <= 100; ++seed) {
    LogisticSettings settings(kY, 4, {}, {kX, kZ});
    settings.Effect({}, {kX}).Effect({}, {kZ});
    EXPECT_TRUE(
        settings.Get().SetParamEstConCriterion(QvLogRegSettings().GetParamEstConCriterion()));
    const LogisticFit fit(settings.Get(), MakeRecords(RandomRows(seed, 300, 4)));
    failures += fit.Stats().GetOutcome() == kOptParamConverged ? 0 : 1;
  }
  EXPECT_EQ(failures, 0) << "of 100 fits";
}

TEST_P(LogisticFitTest, CompleteSeparationIsNoticed) {
  Rows rows;
  for (int i = 0; i < 30; ++i)
    rows.push_back({i < 10 ? 0.0 : (i < 20 ? 1.0 : 2.0), 1.0 * i, 1.0 * (i % 4)});
  LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptCompleteSeparation);
  EXPECT_GE(fit.Stats().GetIterations(), 5);
  ExpectAllFinite(fit);
  EXPECT_EQ(fit.TableByCode(3), (Doubles{10, 0, 0, 0, 10, 0, 0, 0, 10}));
  EXPECT_NEAR(fit.Stats().GetFinalLL(), 0.0, 0.31);  // 30 log 0.99 at least
}

TEST_P(LogisticFitTest, WithoutTheTestSeparationRunsToAnotherEndAndStaysFinite) {
  EXPECT_TRUE(settings_.Get().SetStartingIteration(0));
  Rows rows;
  for (int i = 0; i < 20; ++i) rows.push_back({i < 10 ? 0.0 : 2.0, 1.0 * i, 1.0 * (i % 4)});
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_NE(fit.Stats().GetOutcome(), kOptCompleteSeparation);
  EXPECT_NE(fit.Stats().GetOutcome(), kOptQuasiSeparation);
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, QuasiCompleteSeparationIsNoticed) {
  // x tells 0 from 1 except at x = 5, where both occur.
  Rows rows;
  for (int i = 0; i < 11; ++i) {
    if (i <= 5) rows.push_back({0, 1.0 * i, 1.0 * (i % 3)});
    if (i >= 5) rows.push_back({1, 1.0 * i, 1.0 * (i % 2)});
  }
  rows.push_back({0, 5, 1});
  rows.push_back({1, 5, 2});
  LogisticSettings binary(kY, 2, {}, {kX, kZ});
  binary.Effect({}, {kX}).Effect({}, {kZ}).InMemory(GetParam());
  EXPECT_TRUE(binary.Get().SetStartingIteration(5));
  const LogisticFit fit(binary.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptQuasiSeparation);
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, ALevelThatHoldsOneCategoryOnlyIsQuasiCompleteSeparation) {
  LogisticSettings cells(kY, 2, {{kX, 3}}, {});
  cells.Effect({kX}).InMemory(GetParam());
  EXPECT_TRUE(cells.Get().SetStartingIteration(5));
  Rows rows;
  for (int i = 0; i < 24; ++i) {
    const int level = i % 3;
    rows.push_back({level == 0 ? 1.0 : 1.0 * (i / 3 % 2), 1.0 * level, 0});
  }
  const LogisticFit fit(cells.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptQuasiSeparation);
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, ASingularDesignDropsItsColumnAndConverges) {
  Rows rows = RandomRows(5, 120, 3);
  for (Doubles& row : rows) row[kZ] = 3.0 - 2.0 * row[kX];
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetParamStats()[2].fbRedundant, true);
  EXPECT_EQ(fit.Stats().GetParamStats()[5].fbRedundant, true);
  ExpectAllFinite(fit);
  LogisticSettings narrow(kY, 3, {}, {kX});
  narrow.Effect({}, {kX}).InMemory(GetParam());
  const LogisticFit expected(narrow.Get(), MakeRecords(rows));
  EXPECT_NEAR(fit.Stats().GetFinalLL(), expected.Stats().GetFinalLL(), 1e-9);
}

TEST_P(LogisticFitTest, ADesignOfZerosStaysFinite) {
  Rows rows;
  for (int i = 0; i < 12; ++i) rows.push_back({1.0 * (i % 3), 0, 0});
  settings_.NoIntercept();
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptNoIterations) << "no parameter is kept";
  EXPECT_NEAR(fit.Stats().GetFinalLL(), 12 * std::log(1.0 / 3), 1e-13);
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, HugeCovariatesStayFinite) {
  Rows rows = RandomRows(11, 60, 3);
  for (Doubles& row : rows) row[kX] *= 1e150;
  const LogisticFit fit(settings_.Get(), MakeRecords(rows));
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, ExhaustedIterationsAreToldAndTheRestIsThere) {
  EXPECT_TRUE(settings_.Get().SetMaxIterations(1));
  const LogisticFit fit(settings_.Get(), MakeRecords(RandomRows(3, 200, 3)));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptMaxIterations);
  EXPECT_EQ(fit.Stats().GetIterations(), 1);
  EXPECT_GT(fit.Stats().GetFinalLL(), fit.Stats().GetInitialLL());
  ExpectAllFinite(fit);
}

TEST_P(LogisticFitTest, WithoutAnInterceptTheStartHasEqualProbabilities) {
  LogisticSettings slope(kY, 2, {}, {kX});
  slope.Effect({}, {kX}).NoIntercept().InMemory(GetParam());
  // log p / (1 - p) = b x with x = 1: three of category 0 and one of 1 give b = log 3.
  const LogisticFit fit(slope.Get(), MakeRecords({{0, 1}, {0, 1}, {0, 1}, {1, 1}}));
  ASSERT_EQ(fit.Stats().GetParamEstimates().size(), 1U);
  EXPECT_NEAR(fit.Stats().GetInitialLL(), 4 * std::log(0.5), 1e-14);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(3.0), 1e-9);
  EXPECT_NEAR(fit.Stats().GetFinalLL(), 3 * std::log(0.75) + std::log(0.25), 1e-12);
}

/// Keeps what the reports said about step-halvings and the log-likelihood.
class HalvingListener final : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* report) override {
    halvings += report->DiscreteMeasure("stepHalving");
    logLikelihoods.push_back(report->ScaleMeasure("loglik"));
  }

  int halvings = 0;
  Doubles logLikelihoods;
};

/// A rare category that half of a small group has: 10 of 20 where x is 1, 1 of 9980 elsewhere. From
/// the start, where everybody has the same small probability, the first Newton step goes some 500
/// where about 9 is right: six halvings at least.
class RareCategoryTest : public LogisticFitTest {
 protected:
  RareCategoryTest() {
    rare_.Effect({}, {kX}).FrequencyWeight(kZ).Reference(0).InMemory(GetParam());
    rare_.Get().SetProgressListener(&listener_);
  }

  LogisticFit Fit() {
    return LogisticFit(rare_.Get(), MakeRecords({{1, 1, 10}, {0, 1, 10}, {1, 0, 1}, {0, 0, 9979}}));
  }

  LogisticSettings rare_{kY, 2, {}, {kX}};
  HalvingListener listener_;
};

TEST_P(RareCategoryTest, ANewtonStepTooFarIsHalvedAndReported) {
  EXPECT_TRUE(rare_.Get().SetMaxStepHalvingValue(20));
  const LogisticFit fit = Fit();
  EXPECT_GE(fit.Stats().GetStepHalvings(), 6);
  EXPECT_EQ(listener_.halvings, fit.Stats().GetStepHalvings());
  for (std::size_t i = 1; i < listener_.logLikelihoods.size(); ++i) {
    // Beyond the rounding of its terms.
    EXPECT_GT(listener_.logLikelihoods[i], listener_.logLikelihoods[i - 1] - 1e-11)
        << "never falls";
  }
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], -std::log(9979.0), 1e-7);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[1], std::log(9979.0), 1e-7);
}

TEST_P(RareCategoryTest, WithTooFewHalvingsTheStartIsTheResult) {
  EXPECT_TRUE(rare_.Get().SetMaxStepHalvingValue(5));
  const LogisticFit fit = Fit();
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptStepHalvingFailed);
  EXPECT_EQ(fit.Stats().GetIterations(), 1);
  EXPECT_EQ(fit.Stats().GetStepHalvings(), 5);
  EXPECT_EQ(listener_.halvings, 5);
  EXPECT_NEAR(fit.Stats().GetParamEstimates()[0], std::log(11.0 / 9989), 1e-12);
  EXPECT_EQ(fit.Stats().GetParamEstimates()[1], 0.0);
  EXPECT_EQ(fit.Stats().GetFinalLL(), fit.Stats().GetInitialLL());
  ExpectAllFinite(fit);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, RareCategoryTest, ::testing::Bool());

TEST_P(LogisticFitTest, EveryIterationIsReported) {
  HalvingListener listener;
  settings_.Get().SetProgressListener(&listener);
  const LogisticFit fit(settings_.Get(), MakeRecords(RandomRows(41, 100, 3)));
  ASSERT_EQ(listener.logLikelihoods.size(),
            static_cast<std::size_t>(fit.Stats().GetIterations() + 1));
  EXPECT_EQ(listener.logLikelihoods.front(), fit.Stats().GetInitialLL());
  EXPECT_EQ(listener.logLikelihoods.back(), fit.Stats().GetFinalLL());
}

TEST_P(LogisticFitTest, ScoresAreProbabilities) {
  LogisticFit fit(settings_.Get(), MakeRecords(RandomRows(7, 150, 3)));
  MultinomialSums sums(3, 3, fit.Stats().GetParamEstimates());
  for (const Doubles& row : RandomRows(8, 20, 3)) {
    const qvtest::LogisticScore score = fit.Score(MakeRecord(row));
    const std::vector<long double> expected = sums.Probabilities({1.0, row[kX], row[kZ]});
    for (std::size_t c = 0; c < 3; ++c) {
      EXPECT_NEAR(score.probabilities[c], static_cast<double>(expected[c]), 1e-14);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutTabulator, LogisticFitTest, ::testing::Bool());

}  // namespace
