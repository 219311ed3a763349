#include "qvreg/common/QvBlockSweep.h"

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBitSet.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using qvtest::AllocationFault;
using qvtest::LowerRows;
using Vector = std::vector<double>;

constexpr double kTolerance = 1e-12;
const QvStopQuery kNever = [] { return false; };

/// The cross-products of a random design, of which a column depends on two before it with the
/// chance `dependent`; `sparse` is the chance that a value is 0.
QvSymMatrix RandomProducts(int order, double dependent, double sparse, std::mt19937& random) {
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  std::vector<Vector> columns;
  const int nRecords = order + 20;
  for (int j = 0; j < order; ++j) {
    Vector column(static_cast<std::size_t>(nRecords));
    if (j > 1 && uniform(random) < dependent) {
      const Vector& first = columns[random() % columns.size()];
      const Vector& second = columns[random() % columns.size()];
      for (std::size_t r = 0; r < column.size(); ++r) column[r] = first[r] - 2.0 * second[r];
    } else {
      for (double& value : column) value = uniform(random) < sparse ? 0.0 : normal(random);
    }
    columns.push_back(column);
  }
  QvSymMatrix matrix(order);
  Vector row(columns.size());
  for (std::size_t r = 0; r < static_cast<std::size_t>(nRecords); ++r) {
    for (std::size_t j = 0; j < columns.size(); ++j) row[j] = columns[j][r];
    EXPECT_TRUE(matrix.UpdateXX(row, 1.0));
  }
  return matrix;
}

/// The definition: pivot by pivot.
QvBitSet SweepOneByOne(QvSymMatrix& matrix, int nPivots) {
  Vector diagonal;
  EXPECT_TRUE(matrix.GetDiagonal(diagonal));
  QvBitSet swept(matrix.GetOrder());
  for (int k = 0; k < nPivots; ++k) {
    EXPECT_TRUE(matrix.Sweep(k, kTolerance, diagonal, swept, true));
  }
  return swept;
}

/// The same by blocks; settles before each pivot with the chance `settle`.
QvBitSet SweepByBlocks(QvSymMatrix& matrix, int nPivots, double settle, std::mt19937& random) {
  std::uniform_real_distribution<double> uniform;
  Vector diagonal;
  EXPECT_TRUE(matrix.GetDiagonal(diagonal));
  QvBitSet swept(matrix.GetOrder());
  QvBlockSweep blocks(matrix, kTolerance, diagonal, swept, kNever);
  for (int k = 0; k < nPivots; ++k) {
    EXPECT_TRUE(blocks.Advance(k));
    if (uniform(random) < settle) {
      EXPECT_TRUE(blocks.Settle());
    }
    EXPECT_TRUE(blocks.Sweep(k));
  }
  EXPECT_TRUE(blocks.Settle());
  return swept;
}

void ExpectSame(const QvSymMatrix& matrix, const QvSymMatrix& expected) {
  ASSERT_EQ(matrix.GetOrder(), expected.GetOrder());
  int different = 0;
  for (int i = 0; i < matrix.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      const double a = matrix.GetElem(i, j);
      const double b = expected.GetElem(i, j);
      if (a != b && !(a != a && b != b)) ++different;
    }
  }
  EXPECT_EQ(different, 0);
}

void ExpectSameSweep(const QvSymMatrix& matrix, int nPivots, double settle, std::mt19937& random) {
  QvSymMatrix expected = matrix;
  QvSymMatrix blocked = matrix;
  const QvBitSet kept = SweepOneByOne(expected, nPivots);
  const QvBitSet keptByBlocks = SweepByBlocks(blocked, nPivots, settle, random);
  for (int k = 0; k < matrix.GetOrder(); ++k) ASSERT_EQ(keptByBlocks.IsIn(k), kept.IsIn(k)) << k;
  ExpectSame(blocked, expected);
}

TEST(QvBlockSweep, GivesEveryBitOfTheSweepPivotByPivot) {
  std::mt19937 random(1);
  for (const int order : {1, 3, 63, 64, 65, 79, 80, 81, 127, 128, 129, 145, 200, 260, 301}) {
    for (const int unswept : {0, 1, order / 3}) {
      SCOPED_TRACE(order);
      ExpectSameSweep(RandomProducts(order, 0.0, 0.0, random), order - unswept, 0.0, random);
    }
  }
}

TEST(QvBlockSweep, SkipsTheColumnsThatTheSweepPivotByPivotSkips) {
  std::mt19937 random(2);
  for (const double dependent : {0.05, 0.3, 0.9}) {
    for (const int order : {70, 128, 190, 300}) {
      SCOPED_TRACE(order);
      ExpectSameSweep(RandomProducts(order, dependent, 0.0, random), order - 1, 0.0, random);
    }
  }
}

TEST(QvBlockSweep, MaySettleAtAnyPivot) {
  std::mt19937 random(3);
  for (const double settle : {0.02, 0.2, 1.0}) {
    SCOPED_TRACE(settle);
    ExpectSameSweep(RandomProducts(210, 0.2, 0.0, random), 209, settle, random);
  }
}

TEST(QvBlockSweep, SweepsSparseProducts) {
  std::mt19937 random(4);
  for (const double sparse : {0.9, 0.99, 0.999}) {
    SCOPED_TRACE(sparse);
    ExpectSameSweep(RandomProducts(220, 0.1, sparse, random), 220, 0.0, random);
  }
}

TEST(QvBlockSweep, AColumnThatIsNotANumberStaysApart) {
  std::mt19937 random(5);
  QvSymMatrix matrix = RandomProducts(150, 0.1, 0.0, random);
  for (const int bad : {7, 100, 149}) {
    for (int j = 0; j < 150; ++j) matrix.SetElem(bad, j, std::numeric_limits<double>::quiet_NaN());
  }
  ExpectSameSweep(matrix, 150, 0.0, random);
}

TEST(QvBlockSweep, HoldsThePivotsDiagonalAfterAdvance) {
  std::mt19937 random(6);
  const QvSymMatrix original = RandomProducts(150, 0.2, 0.0, random);
  QvSymMatrix expected = original;
  QvSymMatrix matrix = original;
  Vector diagonal;
  ASSERT_TRUE(matrix.GetDiagonal(diagonal));
  QvBitSet kept(150);
  QvBitSet swept(150);
  QvBlockSweep blocks(matrix, kTolerance, diagonal, swept, kNever);
  for (int k = 0; k < 150; ++k) {
    ASSERT_TRUE(blocks.Advance(k));
    ASSERT_EQ(matrix.GetElem(k, k), expected.GetElem(k, k)) << k;
    ASSERT_TRUE(blocks.Sweep(k));
    ASSERT_TRUE(expected.Sweep(k, kTolerance, diagonal, kept, true));
  }
}

TEST(QvBlockSweep, WithoutMemoryForBlocksSweepsPivotByPivot) {
  std::mt19937 random(7);
  const QvSymMatrix original = RandomProducts(100, 0.2, 0.0, random);
  QvSymMatrix expected = original;
  const QvBitSet kept = SweepOneByOne(expected, 100);
  Vector diagonal;
  ASSERT_TRUE(original.GetDiagonal(diagonal));
  for (long long n = 1;; ++n) {
    QvSymMatrix matrix = original;
    QvBitSet swept(100);
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    QvBlockSweep blocks(matrix, kTolerance, diagonal, swept, kNever);
    if (!fault.HasStruck()) break;
    for (int k = 0; k < 100; ++k) ASSERT_TRUE(blocks.Advance(k) && blocks.Sweep(k));
    ASSERT_TRUE(blocks.Settle());
    EXPECT_EQ(LowerRows(matrix), LowerRows(expected)) << n;
    EXPECT_EQ(swept.Count(), kept.Count());
  }
}

TEST(QvBlockSweep, MayBeStoppedWhileABlockIsFinished) {
  std::mt19937 random(8);
  const QvSymMatrix original = RandomProducts(300, 0.0, 0.0, random);
  Vector diagonal;
  ASSERT_TRUE(original.GetDiagonal(diagonal));
  int polls = 0;
  for (int stopAt = 1; stopAt <= 5; ++stopAt) {
    polls = 0;
    const QvStopQuery atPoll = [&] { return ++polls == stopAt; };
    QvSymMatrix matrix = original;
    QvBitSet swept(300);
    QvBlockSweep blocks(matrix, kTolerance, diagonal, swept, atPoll);
    bool isDone = true;
    for (int k = 0; k < 300 && isDone; ++k) isDone = blocks.Advance(k) && blocks.Sweep(k);
    EXPECT_FALSE(isDone && blocks.Settle()) << stopAt;
    EXPECT_EQ(polls, stopAt);
  }
}

}  // namespace
}  // namespace QvCommon
