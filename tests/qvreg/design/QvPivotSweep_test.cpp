#include "qvreg/design/QvPivotSweep.h"

#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvBitSet;
using QvCommon::QvSymMatrix;

constexpr double kTolerance = 1e-12;
constexpr int kLevels = 230;
/// The intercept, a covariate, and one column for each level.
constexpr int kOrder = kLevels + 2;

/// How many records a level has: thousands, but of the last one only a handful.
double CountOf(int level) { return level + 1 < kLevels ? 8000.0 + 37.0 * level : 3.0; }
double CovariateOf(int level, int record) { return 100.0 + (level * 71 + record * 53) % 900; }

/// The cross-products of such a design; its last column depends on those before it.
QvSymMatrix RareLastLevel() {
  QvSymMatrix matrix(kOrder);
  EXPECT_TRUE(matrix.StartCompensation());
  for (int level = 0; level < kLevels; ++level) {
    for (int record = 0; record < 3; ++record) {
      matrix.UpdateXXSparse(3, {0, 1, level + 2}, {1.0, CovariateOf(level, record), 1.0},
                            CountOf(level) / 3.0);
    }
  }
  return matrix;
}

/// Records of the same design as {response, level, covariate, frequency}.
std::vector<QvCommon::Record> RareLastRecords() {
  std::vector<std::vector<double>> rows;
  for (int level = 0; level < kLevels; ++level) {
    for (int record = 0; record < 3; ++record) {
      rows.push_back({static_cast<double>((level + record) % 2), static_cast<double>(level),
                      CovariateOf(level, record), CountOf(level)});
    }
  }
  return qvtest::MakeRecords(rows);
}

bool IsKept(const IQvRegOutputStats& stats, int parameter) {
  return stats.GetRedundancyIndicators().IsIn(parameter);
}

TEST(QvPivotSweep, FindsADependentColumnThatTheSweepAloneMistakesForAPivot) {
  QvSymMatrix plain = RareLastLevel();
  plain.EndCompensation();
  std::vector<double> diagonal;
  plain.GetDiagonal(diagonal);
  QvBitSet swept;
  swept.Resize(kOrder, false);
  for (int k = 0; k + 1 < kOrder; ++k) plain.Sweep(k, kTolerance, diagonal, swept, true);
  const double left = plain.GetElem(kOrder - 1, kOrder - 1);
  ASSERT_GT(std::abs(left), kTolerance * diagonal.back())
      << "The case is too easy to show anything";

  QvSymMatrix matrix = RareLastLevel();
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(kOrder, kOrder, kTolerance, kept, cancel).IsOK());
  EXPECT_EQ(kept.Count(), kOrder - 1);
  EXPECT_FALSE(kept.IsIn(kOrder - 1));
}

TEST(QvPivotSweep, KeepsAColumnOfWhichLittleIsLeftWhenThatIsReal) {
  // x, and x with a small part of its own: 1e-10 of the diagonal is left, and exactly known.
  QvSymMatrix matrix(2);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1.0, 1.0}, 1.0);
  matrix.UpdateXX({0.0, 0x1p-17}, 1.0);
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(2, 2, kTolerance, kept, cancel).IsOK());
  EXPECT_EQ(kept.Count(), 2);
  EXPECT_EQ(matrix.GetElem(1, 1), 0x1p34);
}

TEST(QvPivotSweep, KeepsAColumnThatRoundingPushesBelowTheTolerance) {
  // Beside the levels a column that is the rare last level's but for two records of the first one:
  // the squares there are exactly what is left of it.
  constexpr double kShare = 2e-11;
  int lost = 0;
  for (int seed = 0; seed < 30; ++seed) {
    const double own = std::sqrt(kShare * 3.0 / 2.0);
    const auto fill = [&](QvSymMatrix& matrix) {
      for (int level = 0; level < kLevels; ++level) {
        const double count = std::floor(CountOf(level) * (1.0 + 0.01 * ((seed * 7 + level) % 13)));
        const double last = level + 1 < kLevels ? 0.0 : 1.0;
        matrix.UpdateXXSparse(3, {0, level + 1, kLevels + 1}, {1.0, 1.0, last},
                              last == 1.0 ? 3.0 : count);
      }
      matrix.UpdateXXSparse(3, {0, 1, kLevels + 1}, {1.0, 1.0, own}, 1.0);
      matrix.UpdateXXSparse(3, {0, 1, kLevels + 1}, {1.0, 1.0, -own}, 1.0);
    };
    QvSymMatrix plain(kLevels + 2);
    fill(plain);
    std::vector<double> diagonal;
    plain.GetDiagonal(diagonal);
    QvBitSet swept;
    swept.Resize(kLevels + 2, false);
    // The last level is redundant: the rare column comes in its place.
    for (int k = 0; k < kLevels; ++k) plain.Sweep(k, kTolerance, diagonal, swept, true);
    if (plain.GetElem(kLevels + 1, kLevels + 1) <= kTolerance * diagonal.back()) ++lost;

    QvSymMatrix matrix(kLevels + 2);
    ASSERT_TRUE(matrix.StartCompensation());
    fill(matrix);
    QvBitSet kept;
    QvCancelInfo cancel;
    EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0)
                    .Run(kLevels + 2, kLevels + 2, kTolerance, kept, cancel)
                    .IsOK());
    EXPECT_FALSE(kept.IsIn(kLevels));
    ASSERT_TRUE(kept.IsIn(kLevels + 1)) << "seed " << seed;
    EXPECT_NEAR(matrix.GetElem(kLevels + 1, kLevels + 1) * 2.0 * own * own, 1.0, 1e-9);
  }
  EXPECT_GT(lost, 0) << "The case is too easy to show anything";
}

TEST(QvPivotSweep, ComputesTheWholeRowOfADoubtfulPivot) {
  // (1, 1, y) and (0, d, 1): the regression of y on the second column less the first is 1 / d.
  constexpr double kOwn = 0x1p-17;
  QvSymMatrix matrix(3);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1.0, 1.0, 3.0}, 1.0);
  matrix.UpdateXX({0.0, kOwn, 1.0}, 1.0);
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(2, 3, kTolerance, kept, cancel).IsOK());
  EXPECT_EQ(matrix.GetElem(2, 1), 0x1p17);
  EXPECT_EQ(matrix.GetElem(2, 0), 3.0 - 0x1p17);
}

TEST(QvPivotSweep, LeavesTheRowsToComeFreeOfTheirRounding) {
  // Two columns explain three values of which the last follows from the others: nothing is left.
  constexpr double kOwn = 0x1p-17;
  QvSymMatrix matrix(3);
  ASSERT_TRUE(matrix.StartCompensation());
  for (int i = 0; i < 20; ++i) {
    const double a = 1.0 / (3.0 + i % 5);
    const double b = kOwn * (i % 3);
    matrix.UpdateXX({a, a + b, 3.0 * a + 0x1p17 * b}, 0.1);
  }
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(2, 3, kTolerance, kept, cancel).IsOK());
  EXPECT_EQ(kept.Count(), 2);
  EXPECT_NEAR(matrix.GetElem(2, 2), 0.0, 1e-14);
}

TEST(QvPivotSweep, WithToleranceZeroDropsWhatOnlyRoundingLeaves) {
  // The third column is 0.1 times the first plus 0.3 times the second, rounded nowhere but in the
  // coefficients that the sweep finds.
  QvSymMatrix matrix(3);
  ASSERT_TRUE(matrix.StartCompensation());
  for (int i = 0; i < 40; ++i) {
    const double a = 1.0 + i % 7;
    const double b = 1.0 + (i * i) % 11;
    matrix.UpdateXX({10.0 * a, 10.0 * b, a + 3.0 * b}, 0.1);
  }
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(3, 3, 0.0, kept, cancel).IsOK());
  EXPECT_EQ(kept.Count(), 2);
}

/// The products of 1, x, x^2, x^3 and (x - 105)^3 = x^3 - 315 x^2 + 33075 x - 1157625, for x from
/// 100 to 110, where the powers are nearly the same.
QvSymMatrix CubicProducts() {
  QvSymMatrix matrix(5);
  EXPECT_TRUE(matrix.StartCompensation());
  for (int x = 100; x <= 110; ++x) {
    const double number = x;
    const double centred = number - 105.0;
    matrix.UpdateXX(
        {1.0, number, number * number, number * number * number, centred * centred * centred}, 1.0);
  }
  return matrix;
}

const std::vector<double> kCubic{-1157625.0, 33075.0, -315.0, 1.0};

TEST(QvPivotSweep, TellsHowACubicDependsOnPowersThatAreNearlyTheSame) {
  QvSymMatrix matrix = CubicProducts();
  QvBitSet kept;
  QvCancelInfo cancel;
  QvPivotSweep sweep(matrix, 1.0, 0.0);
  ASSERT_TRUE(sweep.Run(5, 5, 0.0, kept, cancel).IsOK());
  ASSERT_EQ(kept.Count(), 4);
  std::vector<double> combination;
  ASSERT_TRUE(sweep.TakeRedundant().Get(4, 5, combination));
  for (std::size_t j = 0; j < kCubic.size(); ++j) {
    EXPECT_NEAR(combination[j], kCubic[j], 1e-9 * std::abs(kCubic[j])) << j;
  }
}

TEST(QvPivotSweep, FindsTheCoefficientsOfACubicToTheLastDigits) {
  QvSymMatrix matrix = CubicProducts();
  QvBitSet kept;
  QvCancelInfo cancel;
  ASSERT_TRUE(QvPivotSweep(matrix, 1.0, 0.0).Run(4, 5, 0.0, kept, cancel).IsOK());
  ASSERT_EQ(kept.Count(), 4);
  for (std::size_t j = 0; j < kCubic.size(); ++j) {
    EXPECT_NEAR(matrix.GetElem(4, static_cast<int>(j)), kCubic[j], 1e-12 * std::abs(kCubic[j]));
  }
}

TEST(QvPivotSweep, FindsIndicatorsThatAddUpToTheInterceptWithoutFactors) {
  qvtest::LinearSettings settings(0, {}, {1, 2, 3});
  settings.Effect({}, {1}).Effect({}, {2}).Effect({}, {3}).FrequencyWeight(4);
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < 50000; ++i) {
    const int level = i % 97 == 0 ? 2 : i % 3 == 0 ? 1 : 0;
    rows.push_back({static_cast<double>(i % 11), level == 0 ? 1.0 : 0.0, level == 1 ? 1.0 : 0.0,
                    level == 2 ? 1.0 : 0.0, 0.1});
  }
  const qvtest::FittedModel model(settings.Get(), qvtest::MakeRecords(rows));
  EXPECT_EQ(model.Stats().GetRedundancyIndicators().Count(), 3);
  EXPECT_FALSE(IsKept(model.Stats(), 3));
}

TEST(QvPivotSweep, ScalesOnceBeforeTheFirstPivot) {
  QvSymMatrix matrix(2);
  matrix.UpdateXX({2.0, 0.0}, 1.0);
  matrix.UpdateXX({0.0, 3.0}, 1.0);
  QvBitSet kept;
  QvCancelInfo cancel;
  EXPECT_TRUE(QvPivotSweep(matrix, 0.5, 0.0).Run(1, 2, kTolerance, kept, cancel).IsOK());
  EXPECT_EQ(matrix.GetElem(0, 0), 0.5);
  EXPECT_EQ(matrix.GetElem(1, 1), 4.5);
  EXPECT_EQ(kept.Size(), 2);
  EXPECT_FALSE(kept.IsIn(1));
}

TEST(QvPivotSweep, StopsBetweenPivotsWhenCancelled) {
  QvSymMatrix matrix(2);
  matrix.UpdateXX({1.0, 0.0}, 1.0);
  matrix.UpdateXX({0.0, 1.0}, 1.0);
  qvtest::CancelAtPoll query(2);
  QvCancelInfo cancel(&query);
  QvBitSet kept;
  const QvCommon::QvStatus status =
      QvPivotSweep(matrix, 1.0, 0.0).Run(2, 2, kTolerance, kept, cancel);
  EXPECT_EQ(status.GetCode(), QvStatusCode::kCancelled);
  EXPECT_EQ(kept.Count(), 1);
}

/// The cross-products of random columns, some of which depend on two before them, wholly or but for
/// a small part of their own.
QvSymMatrix RandomProducts(int order, std::mt19937& random) {
  std::normal_distribution<double> normal;
  QvSymMatrix matrix(order);
  EXPECT_TRUE(matrix.StartCompensation());
  std::vector<double> row(static_cast<std::size_t>(order));
  for (int record = 0; record < 2 * order; ++record) {
    for (std::size_t j = 0; j < row.size(); ++j) {
      row[j] = normal(random);
      if (j % 7 == 6) row[j] = row[j / 2] - 3.0 * row[j / 3];
      if (j % 31 == 30) row[j] += 0x1p-18 * normal(random);
    }
    matrix.UpdateXX(row, 1.0);
  }
  return matrix;
}

TEST(QvPivotSweep, KeepsTheSamePivotsWithTheSameBitsByBlocksAndOneByOne) {
  std::mt19937 random(11);
  for (const int order : {70, 150, 220}) {
    SCOPED_TRACE(order);
    QvSymMatrix byBlocks = RandomProducts(order, random);
    QvSymMatrix oneByOne = byBlocks;
    QvBitSet kept;
    QvBitSet expected;
    QvCancelInfo cancel;
    ASSERT_TRUE(
        QvPivotSweep(byBlocks, 0.25, 0.0).Run(order - 1, order, kTolerance, kept, cancel).IsOK());
    {
      // The products, the diagonal and the bits have memory, the blocks do not.
      const qvtest::AllocationFault fault(4, qvtest::AllocationFault::Extent::kOnce);
      ASSERT_TRUE(QvPivotSweep(oneByOne, 0.25, 0.0)
                      .Run(order - 1, order, kTolerance, expected, cancel)
                      .IsOK());
      ASSERT_TRUE(fault.HasStruck());
    }
    EXPECT_LT(expected.Count(), order - 1 - order / 9);
    for (int k = 0; k < order; ++k) {
      EXPECT_EQ(kept.IsIn(k), expected.IsIn(k)) << k;
      for (int j = 0; j <= k; ++j) ASSERT_EQ(byBlocks.GetElem(k, j), oneByOne.GetElem(k, j));
    }
  }
}

TEST(QvPivotSweep, LetsALinearModelFindARareLevelRedundant) {
  qvtest::LinearSettings settings(0, {{1, kLevels}}, {2});
  settings.Effect({}, {2}).Effect({1}).FrequencyWeight(3);
  const qvtest::FittedModel model(settings.Get(), RareLastRecords());
  EXPECT_FALSE(IsKept(model.Stats(), kOrder - 1));
  EXPECT_TRUE(IsKept(model.Stats(), kOrder - 2));
}

TEST(QvPivotSweep, LetsALogisticModelFindARareLevelRedundant) {
  qvtest::LogisticSettings settings(0, 2, {{1, kLevels}}, {2});
  settings.Effect({}, {2}).Effect({1}).FrequencyWeight(3);
  const qvtest::LogisticFit fit(settings.Get(), RareLastRecords());
  EXPECT_FALSE(IsKept(fit.Stats(), kOrder - 1));
  EXPECT_TRUE(IsKept(fit.Stats(), kOrder - 2));
  EXPECT_EQ(fit.Stats().GetOutcome(), kOptParamConverged);
}

}  // namespace
