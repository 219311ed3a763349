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

using qvtest::DenseMatrix;
using qvtest::LowerRows;
using qvtest::SymMatrixOf;
using Rows = std::vector<std::vector<double>>;
using Vector = std::vector<double>;

constexpr double kTolerance = 1e-12;

/// Positive definite, with factor {{2}, {1, 3}, {-1, 1, 2}}.
const Rows kDefinite = {{4}, {2, 10}, {-2, 2, 6}};
/// The second row repeats the first.
const Rows kRepeated = {{4}, {4, 4}, {2, 2, 5}};

int Factor(QvSymMatrix& matrix, double tolerance = kTolerance) {
  double measure = -1.0;
  const int result = matrix.LTChol(tolerance, measure, false);
  EXPECT_GE(measure, 0.0);
  return result;
}

double MeasureOf(const Rows& rows) {
  QvSymMatrix matrix = SymMatrixOf(rows);
  double measure = -1.0;
  matrix.LTChol(kTolerance, measure, false);
  return measure;
}

Vector Solution(const QvSymMatrix& factor, const Vector& b) {
  Vector x;
  EXPECT_EQ(factor.LTSubstitute(b, x), 0);
  return x;
}

QvSymMatrix RandomDefinite(int order, std::mt19937& random) {
  std::normal_distribution<double> normal;
  QvSymMatrix matrix(order);
  for (int i = 0; i < order; ++i) matrix.SetElem(i, i, 1.0);
  for (int record = 0; record < order; ++record) {
    Vector row(static_cast<std::size_t>(order));
    for (double& value : row) value = normal(random);
    matrix.UpdateXX(row, 1.0);
  }
  return matrix;
}

TEST(QvSymMatrixCholesky, KeepsTheFactorInTheLowerTriangle) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  EXPECT_EQ(Factor(matrix), 0);
  EXPECT_EQ(LowerRows(matrix), (Rows{{2}, {1, 3}, {-1, 1, 2}}));
}

TEST(QvSymMatrixCholesky, MeasureIsTheSmallestRootOfAPivotOverItsDiagonal) {
  // Roots of pivots 2, 3 and 2 of diagonals 4, 10 and 6.
  EXPECT_DOUBLE_EQ(MeasureOf(kDefinite), 2.0 / std::sqrt(6.0));
  EXPECT_EQ(MeasureOf({{5}}), 1.0);
  // The second of two columns that share three quarters of their squares.
  EXPECT_DOUBLE_EQ(MeasureOf({{4}, {6, 12}}), 0.5);
  EXPECT_DOUBLE_EQ(MeasureOf({{4}, {6, 12}, {0, 0, 1}}), 0.5);
}

TEST(QvSymMatrixCholesky, MeasureDoesNotDependOnUnits) {
  EXPECT_EQ(MeasureOf({{1}, {0, 8}, {0, 0, 4}}), 1.0);
  EXPECT_EQ(MeasureOf({{1e-200}, {0, 1e200}}), 1.0);
  for (const double unit : {1e-9, 0.3, 1e9}) {
    EXPECT_DOUBLE_EQ(MeasureOf({{4}, {6 * unit, 12 * unit * unit}}), 0.5) << unit;
    EXPECT_DOUBLE_EQ(MeasureOf({{4 * unit * unit}, {6 * unit, 12}}), 0.5) << unit;
  }
}

TEST(QvSymMatrixCholesky, SolvesASystemByHand) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  Factor(matrix);
  EXPECT_EQ(Solution(matrix, {2, 28, 20}), (Vector{1, 2, 3}));
}

TEST(QvSymMatrixCholesky, InvertsByHand) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  Factor(matrix);
  matrix.LTInverse();
  const Rows adjugate = {{56}, {-16, 20}, {24, -12, 36}};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j <= i; ++j) {
      const double expected = adjugate[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
      EXPECT_NEAR(matrix.GetElem(i, j), expected / 144.0, 1e-16);
    }
  }
}

TEST(QvSymMatrixCholesky, AgreesWithEliminationOnRandomMatrices) {
  std::mt19937 random(12);
  for (const int order : {1, 2, 3, 17, 60}) {
    const QvSymMatrix original = RandomDefinite(order, random);
    QvSymMatrix matrix = original;
    ASSERT_EQ(Factor(matrix), 0);

    DenseMatrix factor(order, order);
    for (int i = 0; i < order; ++i) {
      for (int j = 0; j <= i; ++j) factor(i, j) = matrix.GetElem(i, j);
    }
    const DenseMatrix a(original);
    EXPECT_LT((factor * factor.Transposed()).LargestDifference(a), 1e-14 * a.Largest());

    const DenseMatrix inverse = a.Inverse();
    const Vector unit(static_cast<std::size_t>(order), 1.0);
    const Vector x = Solution(matrix, unit);
    for (int i = 0; i < order; ++i) {
      long double expected = 0.0L;
      for (int j = 0; j < order; ++j) expected += inverse(i, j);
      EXPECT_NEAR(x[static_cast<std::size_t>(i)], static_cast<double>(expected), 1e-12);
    }
    matrix.LTInverse();
    EXPECT_LT(DenseMatrix(matrix).LargestDifference(inverse), 1e-12);
  }
}

TEST(QvSymMatrixCholesky, AnEmptyMatrixIsSound) {
  QvSymMatrix matrix;
  EXPECT_EQ(Factor(matrix), 0);
  EXPECT_EQ(Solution(matrix, {}), Vector{});
  matrix.LTInverse();
  EXPECT_EQ(matrix.GetOrder(), 0);
}

TEST(QvSymMatrixCholesky, ASingularPivotIsNamedByOnePlusItsIndex) {
  QvSymMatrix first = SymMatrixOf({{0}, {0, 1}});
  QvSymMatrix second = SymMatrixOf(kRepeated);
  QvSymMatrix third = SymMatrixOf({{4}, {2, 3}, {6, 5, 11}});  // The sum of the first two.
  EXPECT_EQ(Factor(first), 1);
  EXPECT_EQ(Factor(second), 2);
  EXPECT_EQ(Factor(third), 3);
}

TEST(QvSymMatrixCholesky, OfSeveralSingularPivotsTheFirstIsNamed) {
  QvSymMatrix matrix = SymMatrixOf({{4}, {4, 4}, {2, 2, 5}, {4, 4, 2, 4}});
  EXPECT_EQ(Factor(matrix), 2);
  EXPECT_EQ(LowerRows(matrix), (Rows{{2}, {0, 0}, {1, 0, 2}, {0, 0, 0, 0}}));
}

TEST(QvSymMatrixCholesky, ASingularRowAndColumnAreTreatedAsZero) {
  QvSymMatrix matrix = SymMatrixOf(kRepeated);
  Factor(matrix);
  EXPECT_EQ(LowerRows(matrix), (Rows{{2}, {0, 0}, {1, 0, 2}}));
}

TEST(QvSymMatrixCholesky, TheMeasureOfASingularMatrixIsZero) {
  EXPECT_EQ(MeasureOf(kRepeated), 0.0);
  EXPECT_EQ(MeasureOf({{0}}), 0.0);
}

TEST(QvSymMatrixCholesky, ASingularPlaceOfTheSolutionIsZero) {
  QvSymMatrix matrix = SymMatrixOf(kRepeated);
  Factor(matrix);
  EXPECT_EQ(Solution(matrix, {4, 4, 7}), (Vector{0.375, 0, 1.25}));
}

TEST(QvSymMatrixCholesky, ASingularPlaceOfTheInverseIsZero) {
  QvSymMatrix matrix = SymMatrixOf(kRepeated);
  Factor(matrix);
  matrix.LTInverse();
  EXPECT_EQ(LowerRows(matrix), (Rows{{0.3125}, {0, 0}, {-0.125, 0, 0.25}}));
}

TEST(QvSymMatrixCholesky, AZeroMatrixGivesAZeroSolution) {
  QvSymMatrix matrix(3);
  EXPECT_EQ(Factor(matrix), 1);
  EXPECT_EQ(Solution(matrix, {1, 2, 3}), (Vector{0, 0, 0}));
  matrix.LTInverse();
  EXPECT_EQ(LowerRows(matrix), (Rows{{0}, {0, 0}, {0, 0, 0}}));
}

TEST(QvSymMatrixCholesky, ANegativePivotIsSingular) {
  QvSymMatrix negative = SymMatrixOf({{-4}, {0, 1}});
  EXPECT_EQ(Factor(negative), 1);
  EXPECT_EQ(Solution(negative, {1, 3}), (Vector{0, 3}));
  QvSymMatrix indefinite = SymMatrixOf({{1}, {2, 1}});
  EXPECT_EQ(Factor(indefinite), 2);
}

TEST(QvSymMatrixCholesky, APivotEqualToToleranceTimesItsDiagonalIsSingular) {
  // The second pivot is 12 - 9 = 3, a quarter of its diagonal.
  QvSymMatrix at = SymMatrixOf({{4}, {6, 12}});
  QvSymMatrix below = at;
  EXPECT_EQ(Factor(at, 0.25), 2);
  EXPECT_EQ(Factor(below, 0.2499), 0);
}

TEST(QvSymMatrixCholesky, AnElementThatIsNotANumberLeavesFiniteSolutions) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double bad : {std::nan(""), kInfinity, -kInfinity}) {
    QvSymMatrix matrix = SymMatrixOf({{4}, {bad, 10}, {-2, 2, 6}});
    EXPECT_EQ(Factor(matrix), 2);
    for (const double x : Solution(matrix, {1, 2, 3})) EXPECT_TRUE(std::isfinite(x));
  }
}

TEST(QvSymMatrixCholesky, StopsAtTheFirstSingularPivotOnRequest) {
  QvSymMatrix matrix = SymMatrixOf(kRepeated);
  double measure = -1.0;
  EXPECT_EQ(matrix.LTChol(kTolerance, measure, true), 2);
  EXPECT_EQ(measure, 0.0);
  EXPECT_EQ(matrix.GetElem(2, 2), 5.0);
}

TEST(QvSymMatrixCholesky, SubstitutionRefusesAnotherLength) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  Factor(matrix);
  Vector x = {42};
  EXPECT_NE(matrix.LTSubstitute({1, 2}, x), 0);
  EXPECT_EQ(x, (Vector{42}));
}

TEST(QvSymMatrixCholesky, SubstitutionWithoutMemoryFails) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  Factor(matrix);
  const Vector b = {2, 28, 20};
  Vector x;
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  EXPECT_NE(matrix.LTSubstitute(b, x), 0);
  EXPECT_TRUE(x.empty());
}

TEST(QvSymMatrixCholesky, SubstitutionMayReplaceItsRightSide) {
  QvSymMatrix matrix = SymMatrixOf(kDefinite);
  Factor(matrix);
  Vector b = {2, 28, 20};
  EXPECT_EQ(matrix.LTSubstitute(b, b), 0);
  EXPECT_EQ(b, (Vector{1, 2, 3}));
}

}  // namespace
}  // namespace QvCommon
