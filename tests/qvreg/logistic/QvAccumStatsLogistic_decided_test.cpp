// What decided pairs of categories add, apart from the rest; and calls that are invalid in a trial.
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::LowerRows;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr auto kNewton = QvConst::QvMethodNewtonRaphson;

/// Three categories and one column, which is 1 everywhere: the predictors are the estimates.
class DecidedStatsTest : public ::testing::Test {
 protected:
  /// After a first pass in which the categories have the shares 0.5, 0.3 and 0.2.
  DecidedStatsTest() {
    stats_.Reset(kNewton, false);
    Add(0, 5.0);
    Add(1, 3.0);
    Add(2, 2.0);
    stats_.Reset(kNewton, false);
  }

  void Add(int category, double weight, bool llOnly = false) {
    EXPECT_EQ(stats_.UpdateForRow({0}, {1.0}, category, weight, llOnly), 0);
  }
  /// Makes the probabilities of the first two categories what they should be beside the third's.
  void SetOdds(double first, double second) { beta_ = {std::log(first), std::log(second)}; }
  Rows Undecided() const {
    QvSymMatrix matrix;
    stats_.GetUndecidedInformation(matrix);
    return LowerRows(matrix);
  }
  Rows Decided() const {
    QvSymMatrix matrix;
    stats_.GetDecidedInformation(matrix);
    return LowerRows(matrix);
  }
  Rows Whole() const {
    QvSymMatrix matrix;
    stats_.GetHessian(matrix);
    return LowerRows(matrix);
  }

  QvLogRegSettings settings_;
  Doubles beta_{0.0, 0.0};
  QvAccumStatsLogistic stats_{settings_, 1, 3, beta_};
};

constexpr double kAlmostAll = 0.9;

const Rows kNothing = {{0}, {0, 0}};

void ExpectNear(const Rows& got, const Rows& expected) {
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t i = 0; i < got.size(); ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      EXPECT_NEAR(got[i][j], expected[i][j], 1e-12 * std::fabs(expected[i][j])) << i << ' ' << j;
    }
  }
}

TEST_F(DecidedStatsTest, InTheFirstPassNothingIs) {
  SetOdds(1e-30, 1e-30);
  QvAccumStatsLogistic first(settings_, 1, 3, beta_);
  first.Reset(kNewton, true);
  EXPECT_EQ(first.UpdateForRow({0}, {1.0}, 2, 1.0, false), 0);
  QvSymMatrix decided;
  first.GetDecidedInformation(decided);
  EXPECT_EQ(LowerRows(decided), kNothing);
}

TEST_F(DecidedStatsTest, ACategoryIsOnceItFallsBelowItsShareTimesOneTenMillionth) {
  SetOdds(1.01 * 0.5e-7, 1.01 * 0.3e-7);
  Add(2, 1.0);
  EXPECT_EQ(Decided(), kNothing);
  stats_.Reset(kNewton, false);
  SetOdds(0.99 * 0.5e-7, 1.01 * 0.3e-7);
  Add(2, 1.0);
  EXPECT_GT(Decided()[0][0], kAlmostAll * 0.5e-7);
  EXPECT_LT(Decided()[1][1], 1e-13) << "but for the pair of both";
  stats_.Reset(kNewton, false);
  SetOdds(1.01 * 0.5e-7, 0.99 * 0.3e-7);
  Add(2, 1.0);
  EXPECT_LT(Decided()[0][0], 1e-13);
  EXPECT_GT(Decided()[1][1], kAlmostAll * 0.3e-7);
}

TEST_F(DecidedStatsTest, TheirMatrixIsMadeForTheFirstDecidedPair) {
  const std::vector<int> indices{0};
  const Doubles values{1.0};
  const auto allocationsOfARow = [&] {
    const long long before = qvtest::AllocationCount();
    EXPECT_EQ(stats_.UpdateForRow(indices, values, 2, 1.0, false), 0);
    return qvtest::AllocationCount() - before;
  };
  EXPECT_EQ(allocationsOfARow(), 0);
  SetOdds(1e-9, 1.0);
  EXPECT_GT(allocationsOfARow(), 0);
  EXPECT_EQ(allocationsOfARow(), 0);
  stats_.Reset(kNewton, false);
  EXPECT_EQ(allocationsOfARow(), 0);
}

TEST_F(DecidedStatsTest, WithoutMemoryForTheirMatrixARowThrows) {
  const std::vector<int> indices{0};
  const Doubles values{1.0};
  SetOdds(1e-9, 1.0);
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  EXPECT_THROW(stats_.UpdateForRow(indices, values, 2, 1.0, false), std::bad_alloc);
}

TEST_F(DecidedStatsTest, AMatrixWithoutMemoryThrows) {
  for (const auto get :
       {&QvAccumStatsLogistic::GetHessian, &QvAccumStatsLogistic::GetUndecidedInformation,
        &QvAccumStatsLogistic::GetDecidedInformation}) {
    QvSymMatrix matrix;
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
    EXPECT_THROW((stats_.*get)(matrix), std::bad_alloc);
  }
}

TEST_F(DecidedStatsTest, TheSharesAreThoseOfTheFirstPass) {
  Add(0, 1000.0);  // Another pass in which the second category does not occur.
  stats_.Reset(kNewton, false);
  SetOdds(1.01 * 0.5e-7, 0.99 * 0.3e-7);
  Add(2, 1.0);
  EXPECT_LT(Decided()[0][0], 1e-13);
  EXPECT_GT(Decided()[1][1], kAlmostAll * 0.3e-7);
}

TEST_F(DecidedStatsTest, TheObservedCategoryNeverIs) {
  SetOdds(1e-9, 1.0);
  Add(0, 1.0);
  EXPECT_EQ(Decided(), kNothing);
  EXPECT_NEAR(Undecided()[0][0], 1e-9 / 2, 1e-17);
}

TEST_F(DecidedStatsTest, PairsWithADecidedCategoryAreSummedApart) {
  // The first is decided: its pairs with both others; the pair of the others is not.
  const double p = 1e-9;
  SetOdds(p, 1.0);
  Add(1, 2.0);
  const double sum = 2.0 + p;
  const double half = 1.0 / sum;
  ExpectNear(Undecided(), {{0}, {0, 2.0 * half * half}});
  ExpectNear(Decided(),
             {{2.0 * (p / sum) * (2.0 / sum)}, {-2.0 * (p / sum) * half, 2.0 * (p / sum) * half}});
  EXPECT_EQ(Whole()[1][1], Undecided()[1][1] + Decided()[1][1]);
  EXPECT_EQ(Whole()[0][0], Decided()[0][0]);
}

TEST_F(DecidedStatsTest, TheReferenceMayBeTheDecidedOne) {
  // Probabilities 0.5, 0.5 and next to nothing.
  SetOdds(1e10, 1e10);
  Add(0, 1.0);
  const double half = 1e10 / (2e10 + 1);
  const double p = 1 / (2e10 + 1);
  ExpectNear(Undecided(), {{half * half}, {-half * half, half * half}});
  ExpectNear(Decided(), {{half * p}, {0, half * p}});
  EXPECT_NEAR(stats_.GetDecidedScores()[0], p, 1e-9 * p);
  EXPECT_EQ(stats_.GetDecidedScores()[1], 0.0);
}

TEST_F(DecidedStatsTest, TheirScoresArePartOfTheScores) {
  const double p = 1e-9;
  SetOdds(p, 1.0);
  Add(1, 2.0);
  const Doubles& decided = stats_.GetDecidedScores();
  EXPECT_NEAR(decided[0], -2.0 * p / (2.0 + p), 1e-24);
  EXPECT_NEAR(decided[1], 2.0 * p / (2.0 + p), 1e-24);
  EXPECT_EQ(stats_.GetScores()[0], decided[0]);
  EXPECT_NEAR(stats_.GetScores()[1], 1.0, 1e-8);
}

TEST_F(DecidedStatsTest, ASmallRestOfTheObservedProbabilityKeepsItsDigits) {
  // 1 - p is 1e-17 and 2e-17: less than what rounding leaves beside 1.
  SetOdds(1e-17, 2e-17);
  Add(2, 1e15);
  EXPECT_NEAR(stats_.GetLL(), -0.03, 1e-16);
  Add(1, 1.0);
  stats_.Reset(kNewton, false);
  beta_ = {40.0, 0.0};
  Add(0, 1.0);
  EXPECT_NEAR(stats_.GetScores()[0], 2.0 * std::exp(-40.0), 1e-30);
  EXPECT_NEAR(Whole()[0][0], 2.0 * std::exp(-40.0), 1e-30);
  EXPECT_NEAR(stats_.GetLL(), -2.0 * std::exp(-40.0), 1e-30);
}

TEST_F(DecidedStatsTest, AProbabilityCloseToOneKeepsTheDigitsOfItsLogarithm) {
  for (const double rest : {1.1e-5, 0.99e-5, 1e-6, 1e-8}) {
    SCOPED_TRACE(rest);
    stats_.Reset(kNewton, false);
    SetOdds(rest / 2, rest / 2);
    Add(2, 1.0);
    const double rounding = rest > 1e-5 ? 1e-16 : 1e-15 * rest;
    EXPECT_NEAR(stats_.GetLL(), -std::log1p(rest), rounding);
  }
}

TEST_F(DecidedStatsTest, ResetForgetsThem) {
  SetOdds(1e-9, 1.0);
  Add(1, 2.0);
  stats_.Reset(kNewton, false);
  EXPECT_EQ(Decided(), kNothing);
  EXPECT_EQ(Undecided(), kNothing);
  EXPECT_EQ(stats_.GetDecidedScores(), (Doubles{0, 0}));
  EXPECT_EQ(Whole(), kNothing);
}

TEST_F(DecidedStatsTest, SparseRowsArePartedAsDenseOnes) {
  // Five columns of which a row has two, and the same columns filled up with zeros.
  Doubles beta(10, 0.0);
  QvAccumStatsLogistic sparse(settings_, 5, 3, beta);
  QvAccumStatsLogistic dense(settings_, 5, 3, beta);
  for (QvAccumStatsLogistic* stats : {&sparse, &dense}) {
    for (const bool isFirst : {true, false}) {
      stats->Reset(kNewton, true);
      beta.assign(10, isFirst ? 0.0 : -15.0);
      beta[3] = 0.5;
      for (int category = 0; category < 3; ++category) {
        if (stats == &sparse) {
          stats->UpdateForRow({1, 3}, {2.0, 3.0}, category, 1.0, false);
        } else {
          stats->UpdateForRow({0, 1, 2, 3, 4}, {0, 2.0, 0, 3.0, 0}, category, 1.0, false);
        }
      }
    }
  }
  QvSymMatrix one;
  QvSymMatrix other;
  sparse.GetDecidedInformation(one);
  dense.GetDecidedInformation(other);
  ExpectNear(LowerRows(one), LowerRows(other));
  EXPECT_GT(one.GetElem(1, 1), 0.0);
  sparse.GetUndecidedInformation(one);
  dense.GetUndecidedInformation(other);
  ExpectNear(LowerRows(one), LowerRows(other));
}

}  // namespace
