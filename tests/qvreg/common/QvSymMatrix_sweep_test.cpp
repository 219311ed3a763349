#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using qvtest::AllocationFault;
using qvtest::DenseMatrix;
using qvtest::LowerRows;
using qvtest::SymMatrixOf;
using Rows = std::vector<std::vector<double>>;
using Vector = std::vector<double>;

constexpr double kTolerance = 1e-12;

/// Sweeps all rows but the last `unswept`; the bit of every pivot that was kept.
QvBitSet SweepAllBut(int unswept, QvSymMatrix& matrix, double tolerance = kTolerance) {
  Vector diagonal;
  matrix.GetDiagonal(diagonal);
  QvBitSet kept(matrix.GetOrder());
  for (int k = 0; k < matrix.GetOrder() - unswept; ++k) {
    EXPECT_TRUE(matrix.Sweep(k, tolerance, diagonal, kept, true));
  }
  return kept;
}

/// The bits that a single sweep of pivot 0 leaves on a matrix whose first element is `first`.
bool IsKept(double first, double original, double tolerance) {
  QvSymMatrix matrix = SymMatrixOf({{first}, {0.5, 1}});
  QvBitSet kept(2);
  EXPECT_TRUE(matrix.Sweep(0, tolerance, {original, 1}, kept, true));
  if (!kept.IsIn(0)) {
    EXPECT_EQ(matrix.GetElem(1, 1), 1.0) << "a skipped pivot changed the matrix";
  }
  return kept.IsIn(0);
}

/// A random whole-number design. A redundant column is the sum of one earlier column and twice
/// another; it is marked, and its rows are records.
struct Design {
  DenseMatrix rows;
  QvBitSet independent;
};

Design RandomDesign(int nRecords, int nColumns, bool withRedundant, std::mt19937& random) {
  std::uniform_int_distribution<int> value(-5, 5);
  Design design{DenseMatrix(nRecords, nColumns), QvBitSet(nColumns)};
  for (int j = 0; j < nColumns; ++j) {
    const bool isRedundant = withRedundant && j >= 2 && j % 3 == 2;
    design.independent.Set(j, !isRedundant);
    for (int i = 0; i < nRecords; ++i) {
      design.rows(i, j) = isRedundant ? design.rows(i, j - 1) + 2 * design.rows(i, j - 2)
                                      : static_cast<long double>(value(random));
    }
  }
  return design;
}

QvSymMatrix CrossProducts(const DenseMatrix& rows) {
  QvSymMatrix matrix(rows.Columns());
  Vector row(static_cast<std::size_t>(rows.Columns()));
  for (int i = 0; i < rows.Rows(); ++i) {
    for (int j = 0; j < rows.Columns(); ++j) {
      row[static_cast<std::size_t>(j)] = static_cast<double>(rows(i, j));
    }
    EXPECT_TRUE(matrix.UpdateXX(row, 1.0));
  }
  return matrix;
}

TEST(QvSymMatrixSweep, OfEveryPivotIsTheInverse) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  const QvBitSet kept = SweepAllBut(0, matrix);
  EXPECT_EQ(kept.Count(), 2);
  EXPECT_EQ(LowerRows(matrix), (Rows{{0.375}, {-0.25, 0.5}}));
}

TEST(QvSymMatrixSweep, OfOnePivotGivesTheCoefficientsAndWhatIsLeft) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  QvBitSet kept(2);
  EXPECT_TRUE(matrix.Sweep(0, kTolerance, {4, 3}, kept, true));
  EXPECT_TRUE(kept.IsIn(0));
  EXPECT_FALSE(kept.IsIn(1));
  EXPECT_EQ(LowerRows(matrix), (Rows{{0.25}, {0.5, 2}}));
}

TEST(QvSymMatrixSweep, FitsALineThroughThreePoints) {
  // y = 1, 2, 4 at x = 0, 1, 2: intercept 5/6, slope 3/2, residual sum of squares 1/6.
  QvSymMatrix matrix(3);
  matrix.UpdateXX({1, 0, 1}, 1.0);
  matrix.UpdateXX({1, 1, 2}, 1.0);
  matrix.UpdateXX({1, 2, 4}, 1.0);
  const QvBitSet kept = SweepAllBut(1, matrix);
  Vector coefficients;
  ASSERT_TRUE(matrix.GetRegCoeffs(coefficients, kept));
  ASSERT_EQ(coefficients.size(), 2U);
  EXPECT_DOUBLE_EQ(coefficients[0], 5.0 / 6.0);
  EXPECT_DOUBLE_EQ(coefficients[1], 1.5);
  EXPECT_NEAR(matrix.GetElem(2, 2), 1.0 / 6.0, 1e-14);
  EXPECT_DOUBLE_EQ(matrix.GetElem(0, 0), 5.0 / 6.0);
  EXPECT_DOUBLE_EQ(matrix.GetElem(1, 0), -0.5);
  EXPECT_DOUBLE_EQ(matrix.GetElem(1, 1), 0.5);
}

TEST(QvSymMatrixSweep, AgreesWithEliminationOnRandomMatrices) {
  std::mt19937 random(3);
  for (const int order : {1, 2, 3, 10, 40}) {
    QvSymMatrix matrix = CrossProducts(RandomDesign(3 * order + 5, order, false, random).rows);
    const DenseMatrix expected = DenseMatrix(matrix).Inverse();
    EXPECT_EQ(SweepAllBut(0, matrix).Count(), order);
    EXPECT_LT(DenseMatrix(matrix).LargestDifference(expected), 1e-12 * expected.Largest());
  }
}

TEST(QvSymMatrixSweep, GivesTheSameInverseInAnyOrderOfPivots) {
  std::mt19937 random(4);
  QvSymMatrix forward = CrossProducts(RandomDesign(30, 8, false, random).rows);
  QvSymMatrix backward = forward;
  Vector diagonal;
  backward.GetDiagonal(diagonal);
  SweepAllBut(0, forward);
  QvBitSet kept(8);
  for (int k = 7; k >= 0; --k) ASSERT_TRUE(backward.Sweep(k, kTolerance, diagonal, kept, true));
  EXPECT_LT(DenseMatrix(forward).LargestDifference(DenseMatrix(backward)), 1e-14);
}

TEST(QvSymMatrixSweep, SkipsExactlyTheColumnsThatEarlierOnesExplain) {
  std::mt19937 random(5);
  for (int trial = 0; trial < 20; ++trial) {
    const Design design = RandomDesign(60, 14, true, random);
    QvSymMatrix matrix = CrossProducts(design.rows);
    const QvBitSet kept = SweepAllBut(0, matrix);
    for (int k = 0; k < 14; ++k) EXPECT_EQ(kept.IsIn(k), design.independent.IsIn(k)) << k;
  }
}

TEST(QvSymMatrixSweep, LeavesAPositiveGeneralizedInverse) {
  std::mt19937 random(6);
  for (int trial = 0; trial < 20; ++trial) {
    QvSymMatrix matrix = CrossProducts(RandomDesign(60, 14, true, random).rows);
    const DenseMatrix a(matrix);
    const QvBitSet kept = SweepAllBut(0, matrix);
    ASSERT_TRUE(matrix.ZeroOutRedundant(kept));
    const DenseMatrix g(matrix);
    EXPECT_LT((a * g * a).LargestDifference(a), 1e-12 * a.Largest());
    EXPECT_LT((g * a * g).LargestDifference(g), 1e-12 * g.Largest());
    for (int k = 0; k < 14; ++k) {
      if (kept.IsIn(k)) {
        EXPECT_GT(matrix.GetElem(k, k), 0.0);
      }
    }
  }
}

TEST(QvSymMatrixSweep, OfTheKeptBlockIsItsOrdinaryInverse) {
  std::mt19937 random(8);
  QvSymMatrix matrix = CrossProducts(RandomDesign(60, 14, true, random).rows);
  const DenseMatrix before(matrix);
  const QvBitSet kept = SweepAllBut(0, matrix);
  const DenseMatrix expected = before.Block(kept).Inverse();
  EXPECT_LT(DenseMatrix(matrix).Block(kept).LargestDifference(expected),
            1e-12 * expected.Largest());
}

TEST(QvSymMatrixSweep, ARedundantRowTellsItsCombination) {
  std::mt19937 random(9);
  // Column 2 is column 1 plus twice column 0.
  QvSymMatrix matrix = CrossProducts(RandomDesign(40, 3, true, random).rows);
  const QvBitSet kept = SweepAllBut(0, matrix);
  EXPECT_FALSE(kept.IsIn(2));
  EXPECT_NEAR(matrix.GetElem(2, 0), 2.0, 1e-13);
  EXPECT_NEAR(matrix.GetElem(2, 1), 1.0, 1e-13);
}

TEST(QvSymMatrixSweep, CoefficientsSolveTheNormalEquationsWithRedundantColumns) {
  std::mt19937 random(10);
  constexpr int kColumns = 12;
  Design design = RandomDesign(50, kColumns, true, random);
  QvSymMatrix matrix = CrossProducts(design.rows);
  // Column 11 is a combination of others as well: it plays the dependent, fitted without residual.
  const DenseMatrix a(matrix);
  const QvBitSet kept = SweepAllBut(1, matrix);
  Vector coefficients;
  ASSERT_TRUE(matrix.GetRegCoeffs(coefficients, kept));
  ASSERT_EQ(coefficients.size(), static_cast<std::size_t>(kColumns - 1));
  for (int i = 0; i < kColumns - 1; ++i) {
    long double left = 0.0L;
    for (int j = 0; j < kColumns - 1; ++j) {
      left += a(i, j) * coefficients[static_cast<std::size_t>(j)];
    }
    EXPECT_NEAR(static_cast<double>(left - a(i, kColumns - 1)), 0.0, 1e-9) << "equation " << i;
    if (!kept.IsIn(i)) {
      EXPECT_EQ(coefficients[static_cast<std::size_t>(i)], 0.0);
    }
  }
}

TEST(QvSymMatrixSweep, KeepsAPivotAboveTheToleranceOnly) {
  EXPECT_TRUE(IsKept(2.0, 8.0, 0.2));
  EXPECT_FALSE(IsKept(2.0, 8.0, 0.25)) << "equal to tolerance times original";
  EXPECT_FALSE(IsKept(2.0, 8.0, 0.3));
}

TEST(QvSymMatrixSweep, SkipsAPivotThatIsNotPositiveWhateverTheTolerance) {
  EXPECT_FALSE(IsKept(0.0, 1.0, 0.0));
  EXPECT_FALSE(IsKept(0.0, 1.0, -1.0));
  EXPECT_FALSE(IsKept(-1.0, 1.0, -2.0));
  EXPECT_TRUE(IsKept(1e-300, 1.0, 0.0));
}

TEST(QvSymMatrixSweep, SkipsAPivotThatIsNotFinite) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(IsKept(kInfinity, 1.0, kTolerance));
  EXPECT_FALSE(IsKept(std::nan(""), 1.0, kTolerance));
}

TEST(QvSymMatrixSweep, DuplicateColumnsKeepTheFirst) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {4, 4}, {4, 4, 4}});
  const QvBitSet kept = SweepAllBut(0, matrix);
  EXPECT_TRUE(kept.IsIn(0));
  EXPECT_FALSE(kept.IsIn(1));
  EXPECT_FALSE(kept.IsIn(2));
}

TEST(QvSymMatrixSweep, TakesABitSetAsLongAsThePivots) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  QvBitSet kept(1);
  EXPECT_TRUE(matrix.Sweep(0, kTolerance, {4}, kept, true));
  EXPECT_TRUE(kept.IsIn(0));
  Vector coefficients;
  EXPECT_TRUE(matrix.GetRegCoeffs(coefficients, kept));
  EXPECT_EQ(coefficients, (Vector{0.5}));
}

TEST(QvSymMatrixSweep, LeavesTheBitToTheCallerOnRequest) {
  QvSymMatrix tracked = SymMatrixOf({{4}, {2, 3}});
  QvSymMatrix untracked = tracked;
  QvBitSet kept = SweepAllBut(0, tracked);
  QvBitSet own(2);
  EXPECT_TRUE(untracked.Sweep(0, kTolerance, {4, 3}, own, false));
  EXPECT_FALSE(own.IsIn(0));
  own.Set(0, true);
  EXPECT_TRUE(untracked.Sweep(1, kTolerance, {4, 3}, own, false));
  EXPECT_EQ(LowerRows(untracked), LowerRows(tracked));
}

TEST(QvSymMatrixSweep, RefusesABadShapeAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  QvBitSet kept(2);
  QvBitSet tooShort(1);
  EXPECT_FALSE(matrix.Sweep(-1, kTolerance, {4, 3}, kept, true));
  EXPECT_FALSE(matrix.Sweep(2, kTolerance, {4, 3}, kept, true));
  EXPECT_FALSE(matrix.Sweep(1, kTolerance, {4}, kept, true));
  EXPECT_FALSE(matrix.Sweep(1, kTolerance, {4, 3}, tooShort, true));
  EXPECT_EQ(LowerRows(matrix), (Rows{{4}, {2, 3}}));
  EXPECT_EQ(kept.Count() + tooShort.Count(), 0);
}

TEST(QvSymMatrixSweep, GetRegCoeffsRefusesABadShapeAndWritesNothing) {
  Vector coefficients = {42};
  EXPECT_FALSE(QvSymMatrix().GetRegCoeffs(coefficients, QvBitSet()));
  EXPECT_FALSE(SymMatrixOf({{4}, {2, 3}}).GetRegCoeffs(coefficients, QvBitSet()));
  EXPECT_EQ(coefficients, (Vector{42}));
}

TEST(QvSymMatrixSweep, WithoutMemoryFailsAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  const Vector diagonal = {4, 3};
  QvBitSet kept(2);
  for (const long long n : {1, 2}) {
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(matrix.Sweep(0, kTolerance, diagonal, kept, true));
    EXPECT_TRUE(fault.HasStruck());
  }
  EXPECT_EQ(LowerRows(matrix), (Rows{{4}, {2, 3}}));
  EXPECT_EQ(kept.Count(), 0);
}

TEST(QvSymMatrixSweep, GetRegCoeffsWithoutMemoryFails) {
  const QvSymMatrix matrix = SymMatrixOf({{4}, {2, 3}});
  const QvBitSet kept(2);
  Vector coefficients;
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(matrix.GetRegCoeffs(coefficients, kept));
  EXPECT_TRUE(coefficients.empty());
}

}  // namespace
}  // namespace QvCommon
