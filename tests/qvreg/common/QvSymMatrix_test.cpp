// Updates, scaling and copies; the sweep and the Cholesky operations have files of their own.
#include "qvreg/common/QvSymMatrix.h"

#include <algorithm>
#include <climits>
#include <limits>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using qvtest::DenseMatrix;
using qvtest::LowerRows;
using qvtest::SymMatrixOf;
using Rows = std::vector<std::vector<double>>;
using Vector = std::vector<double>;

/// One row of a design, complete and as its non-zero places in random order.
struct DesignRow {
  Vector dense;
  std::vector<int> indices;
  Vector values;
};

DesignRow RandomRow(int order, int nonZero, std::mt19937& random) {
  DesignRow row;
  row.dense.assign(static_cast<std::size_t>(order), 0.0);
  row.indices.resize(static_cast<std::size_t>(order));
  std::iota(row.indices.begin(), row.indices.end(), 0);
  std::shuffle(row.indices.begin(), row.indices.end(), random);
  row.indices.resize(static_cast<std::size_t>(nonZero));
  for (const int index : row.indices) {
    const double value = std::uniform_int_distribution<int>(-9, 9)(random) / 4.0;
    row.values.push_back(value);
    row.dense[static_cast<std::size_t>(index)] = value;
  }
  return row;
}

TEST(QvSymMatrix, IsEmptyOrZeroAtConstruction) {
  EXPECT_EQ(QvSymMatrix().GetOrder(), 0);
  EXPECT_EQ(LowerRows(QvSymMatrix(2)), (Rows{{0}, {0, 0}}));
  EXPECT_FALSE(QvSymMatrix(INT_MAX).IsValidMatrix());
}

TEST(QvSymMatrix, UpdateXXAddsTheWeightedOuterProduct) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {1, 1}, {1, 1, 1}});
  EXPECT_TRUE(matrix.UpdateXX({1, -2, 3}, 0.5));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1.5}, {0, 3}, {2.5, -2, 5.5}}));
}

TEST(QvSymMatrix, UpdateXXRefusesAnotherLengthAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(matrix.UpdateXX({1}, 1.0));
  EXPECT_FALSE(matrix.UpdateXX({1, 2, 3}, 1.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, UpdateXXSparseAddsTheFirstPairsInAnyOrder) {
  QvSymMatrix matrix(3);
  EXPECT_TRUE(matrix.UpdateXXSparse(2, {2, 0, 1}, {3, 1, 99}, 2.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{2}, {0, 0}, {6, 0, 18}}));
}

TEST(QvSymMatrix, UpdateXXSparseOfNothingChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_TRUE(matrix.UpdateXXSparse(0, {}, {}, 2.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, UpdateXXSparseRefusesABadShapeAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(matrix.UpdateXXSparse(2, {0, 2}, {1, 1}, 1.0));
  EXPECT_FALSE(matrix.UpdateXXSparse(2, {0, -1}, {1, 1}, 1.0));
  EXPECT_FALSE(matrix.UpdateXXSparse(2, {0}, {1, 1}, 1.0));
  EXPECT_FALSE(matrix.UpdateXXSparse(2, {0, 1}, {1}, 1.0));
  EXPECT_FALSE(matrix.UpdateXXSparse(-1, {0, 1}, {1, 1}, 1.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, DenseAndSparseUpdatesAgreeWithThePlainProduct) {
  constexpr int kOrder = 37;
  std::mt19937 random(11);
  QvSymMatrix dense(kOrder);
  QvSymMatrix sparse(kOrder);
  DenseMatrix expected(kOrder, kOrder);
  for (int record = 0; record < 60; ++record) {
    const int nonZero = record % (kOrder + 1);
    const DesignRow row = RandomRow(kOrder, nonZero, random);
    const double weight = (record % 7) / 8.0;
    ASSERT_TRUE(dense.UpdateXX(row.dense, weight));
    ASSERT_TRUE(sparse.UpdateXXSparse(nonZero, row.indices, row.values, weight));
    for (int i = 0; i < kOrder; ++i) {
      for (int j = 0; j < kOrder; ++j) {
        expected(i, j) += weight * row.dense[static_cast<std::size_t>(i)] *
                          row.dense[static_cast<std::size_t>(j)];
      }
    }
  }
  // Every number has few bits, so every sum is exact whatever its order.
  EXPECT_EQ(LowerRows(dense), LowerRows(sparse));
  EXPECT_EQ(DenseMatrix(dense).LargestDifference(expected), 0.0);
}

TEST(QvSymMatrix, ZeroOutRedundantClearsRowsAndColumnsWithoutBit) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}, {4, 5, 6}, {7, 8, 9, 10}});
  QvBitSet kept(4);
  kept.Set(0, true);
  kept.Set(2, true);
  EXPECT_TRUE(matrix.ZeroOutRedundant(kept));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {0, 0}, {4, 0, 6}, {0, 0, 0, 0}}));
}

TEST(QvSymMatrix, ZeroOutRedundantRefusesASetWithoutBits) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(matrix.ZeroOutRedundant(QvBitSet()));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, ScalesChangesSignAndClears) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {-2, 3}});
  matrix.MultiplyByNumber(0.5);
  EXPECT_EQ(LowerRows(matrix), (Rows{{0.5}, {-1, 1.5}}));
  matrix.ChangeSign();
  EXPECT_EQ(LowerRows(matrix), (Rows{{-0.5}, {1, -1.5}}));
  matrix.SetToZero();
  EXPECT_EQ(LowerRows(matrix), (Rows{{0}, {0, 0}}));
}

TEST(QvSymMatrix, ExtractFirstNRowsCopiesTheLeadingBlock) {
  const QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}, {4, 5, 6}});
  QvSymMatrix two(2);
  matrix.ExtractFirstNRows(two);
  EXPECT_EQ(LowerRows(two), (Rows{{1}, {2, 3}}));
  QvSymMatrix all(3);
  matrix.ExtractFirstNRows(all);
  EXPECT_EQ(LowerRows(all), LowerRows(matrix));
  QvSymMatrix none;
  matrix.ExtractFirstNRows(none);
  EXPECT_EQ(none.GetOrder(), 0);
}

TEST(QvSymMatrix, ExpandScattersTheRowsToTheSetBits) {
  const QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}, {4, 5, 6}});
  QvBitSet keep(5);
  for (const int bit : {0, 2, 3}) keep.Set(bit, true);
  QvSymMatrix out;
  EXPECT_TRUE(matrix.Expand(keep, out));
  EXPECT_EQ(LowerRows(out), (Rows{{1}, {0, 0}, {2, 0, 3}, {4, 0, 5, 6}, {0, 0, 0, 0, 0}}));
}

TEST(QvSymMatrix, ExpandOfNothingIsZero) {
  QvSymMatrix out;
  EXPECT_TRUE(QvSymMatrix().Expand(QvBitSet(2), out));
  EXPECT_EQ(LowerRows(out), (Rows{{0}, {0, 0}}));
}

TEST(QvSymMatrix, ExpandRefusesACountThatDoesNotFit) {
  const QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  QvBitSet one(3);
  one.Set(1, true);
  QvSymMatrix out;
  EXPECT_FALSE(matrix.Expand(one, out));
  EXPECT_EQ(out.GetOrder(), 0);
}

TEST(QvSymMatrix, ExpandWithoutMemoryFailsAndLeavesTheTarget) {
  const QvSymMatrix matrix = SymMatrixOf({{1}});
  QvBitSet keep(3);
  keep.Set(1, true);
  QvSymMatrix out;
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  EXPECT_FALSE(matrix.Expand(keep, out));
  EXPECT_TRUE(fault.HasStruck());
  EXPECT_EQ(out.GetOrder(), 0);
}

TEST(QvSymMatrix, UpdatesAllocateNothing) {
  QvSymMatrix matrix(3);
  const Vector dense = {1, 2, 3};
  const std::vector<int> indices = {0, 2};
  const long long before = qvtest::AllocationCount();
  matrix.UpdateXX(dense, 1.0);
  matrix.UpdateXXSparse(2, indices, dense, 1.0);
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

/// Records whose weights are 2^60, 1 and -2^60: a plain sum forgets the one in the middle.
constexpr double kHugeWeight = 0x1p60;

TEST(QvSymMatrix, ACompensatedSumKeepsWhatAPlainOneLoses) {
  const Vector x = {1, -2, 3, 4, -5, 6};
  QvSymMatrix plain(6);
  QvSymMatrix compensated(6);
  ASSERT_TRUE(compensated.StartCompensation());
  for (const double weight : {kHugeWeight, 1.0, -kHugeWeight}) {
    EXPECT_TRUE(plain.UpdateXX(x, weight));
    EXPECT_TRUE(compensated.UpdateXX(x, weight));
  }
  compensated.EndCompensation();
  QvSymMatrix expected(6);
  expected.UpdateXX(x, 1.0);
  EXPECT_EQ(LowerRows(plain), LowerRows(QvSymMatrix(6)));
  EXPECT_EQ(LowerRows(compensated), LowerRows(expected));
}

TEST(QvSymMatrix, SparseUpdatesAreCompensatedAsWell) {
  QvSymMatrix matrix(3);
  ASSERT_TRUE(matrix.StartCompensation());
  for (const double weight : {kHugeWeight, 1.0, -kHugeWeight}) {
    EXPECT_TRUE(matrix.UpdateXXSparse(2, {2, 0}, {3, 5}, weight));
  }
  matrix.EndCompensation();
  EXPECT_EQ(LowerRows(matrix), (Rows{{25}, {0, 0}, {15, 0, 9}}));
}

TEST(QvSymMatrix, ManySmallTermsAddUpInACompensatedSum) {
  QvSymMatrix matrix(1);
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1}, 1.0);
  for (int i = 0; i < 1024; ++i) matrix.UpdateXX({1}, 0x1p-60);
  matrix.EndCompensation();
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0 + 0x1p-50);
}

TEST(QvSymMatrix, EndedCompensationAddsNothingMore) {
  QvSymMatrix matrix(1);
  matrix.EndCompensation();
  ASSERT_TRUE(matrix.StartCompensation());
  matrix.UpdateXX({1}, 1.0);
  matrix.UpdateXX({1}, 0x1p-53);
  matrix.UpdateXX({1}, 0x1p-53);
  matrix.EndCompensation();
  matrix.EndCompensation();
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0 + 0x1p-52);
  matrix.UpdateXX({1}, 0x1p-54);
  matrix.EndCompensation();
  EXPECT_EQ(matrix.GetElem(0, 0), 1.0 + 0x1p-52);
}

TEST(QvSymMatrix, WithoutMemoryForCompensationSumsPlainly) {
  QvSymMatrix matrix(2);
  {
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
    EXPECT_FALSE(matrix.StartCompensation());
  }
  EXPECT_TRUE(matrix.UpdateXX({1, 2}, 1.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 4}}));
}

TEST(QvSymMatrix, SetOuterProductReplacesEveryElement) {
  QvSymMatrix matrix = SymMatrixOf({{9}, {9, 9}, {9, 9, 9}});
  EXPECT_TRUE(matrix.SetOuterProduct({2, 0, -3}));
  EXPECT_EQ(LowerRows(matrix), (Rows{{4}, {0, 0}, {-6, 0, 9}}));
}

TEST(QvSymMatrix, SetOuterProductRefusesAnotherLengthAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(matrix.SetOuterProduct({1}));
  EXPECT_FALSE(matrix.SetOuterProduct({1, 2, 3}));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, AddMatrixAddsAMultiple) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  const QvSymMatrix other = SymMatrixOf({{10}, {20, 30}});
  EXPECT_TRUE(matrix.AddMatrix(other, -0.5));
  EXPECT_EQ(LowerRows(matrix), (Rows{{-4}, {-8, -12}}));
  EXPECT_EQ(LowerRows(other), (Rows{{10}, {20, 30}}));
}

TEST(QvSymMatrix, AddMatrixRefusesAnotherOrderAndChangesNothing) {
  QvSymMatrix matrix = SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(matrix.AddMatrix(QvSymMatrix(1), 1.0));
  EXPECT_FALSE(matrix.AddMatrix(QvSymMatrix(3), 1.0));
  EXPECT_EQ(LowerRows(matrix), (Rows{{1}, {2, 3}}));
}

TEST(QvSymMatrix, AnOuterProductAddedIsADenseUpdate) {
  std::mt19937 random(7);
  for (int order = 1; order <= 19; ++order) {
    const DesignRow row = RandomRow(order, order, random);
    QvSymMatrix direct(order);
    direct.UpdateXX(row.dense, 0.75);
    QvSymMatrix product(order);
    ASSERT_TRUE(product.SetOuterProduct(row.dense));
    QvSymMatrix sum(order);
    ASSERT_TRUE(sum.AddMatrix(product, 0.75));
    EXPECT_LE(DenseMatrix(sum).LargestDifference(DenseMatrix(direct)), 1e-14) << order;
  }
}

TEST(QvSymMatrix, ExpandMakesATargetValidWhoseConstructionFailed) {
  const QvSymMatrix matrix = SymMatrixOf({{5}});
  QvBitSet keep(2);
  keep.Set(1, true);
  QvSymMatrix out(-1);
  ASSERT_FALSE(out.IsValidMatrix());
  EXPECT_TRUE(matrix.Expand(keep, out));
  EXPECT_TRUE(out.IsValidMatrix());
  EXPECT_EQ(LowerRows(out), (Rows{{0}, {0, 5}}));
}

TEST(QvSymMatrix, WhatIsNotValidIsNotExpanded) {
  QvSymMatrix out;
  EXPECT_FALSE(QvSymMatrix(-1).Expand(QvBitSet(2), out));
  EXPECT_EQ(out.GetOrder(), 0);
}

TEST(QvSymMatrix, ACopyWhoseCompensationHasNoMemoryIsEmptyAndNotValid) {
  QvSymMatrix original(3);
  ASSERT_TRUE(original.StartCompensation());
  for (const long long n : {1, 2}) {
    const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested
    const QvSymMatrix copy(original);
    EXPECT_TRUE(fault.HasStruck());
    EXPECT_FALSE(copy.IsValidMatrix());
    EXPECT_EQ(copy.GetOrder(), 0);
  }
  EXPECT_TRUE(QvSymMatrix(original).IsValidMatrix());
}

TEST(QvSymMatrix, WhatWasMovedFromTakesNoPartInAnything) {
  QvSymMatrix moved = SymMatrixOf({{4}, {2, 3}});
  ASSERT_TRUE(moved.StartCompensation());
  const QvSymMatrix taken(std::move(moved));
  // NOLINTBEGIN(bugprone-use-after-move): what that leaves is the matter of this test
  double measure = -1.0;
  QvBitSet swept(2);
  QvSymMatrix out(1);
  EXPECT_EQ(moved.GetOrder(), 0);
  EXPECT_FALSE(moved.UpdateXX({1, 2}, 1.0));
  EXPECT_FALSE(moved.UpdateXXSparse(1, {1}, {2}, 1.0));
  EXPECT_FALSE(moved.Sweep(0, 1e-12, {4, 3}, swept, true));
  moved.EndCompensation();
  moved.SetToZero();
  moved.ChangeSign();
  moved.ExtractFirstNRows(out);
  EXPECT_EQ(moved.LTChol(1e-12, measure, false), 0);
  moved.LTInverse();
  EXPECT_TRUE(moved.IsValidMatrix());
  // NOLINTEND(bugprone-use-after-move)
  EXPECT_EQ(taken.GetOrder(), 2);
}

}  // namespace
TEST(QvSymMatrix, IsMultipliedByPowersOfTwoOfRowsAndColumns) {
  QvSymMatrix matrix(2);
  matrix.SetElem(0, 0, 3.0);
  matrix.SetElem(1, 0, -5.0);
  matrix.SetElem(1, 1, 7.0);
  matrix.MultiplyByPowersOf2({600, -599});
  EXPECT_EQ(matrix.GetElem(0, 0), std::numeric_limits<double>::infinity());
  EXPECT_EQ(matrix.GetElem(0, 1), -10.0);
  EXPECT_EQ(matrix.GetElem(1, 1), 0.0);
}

}  // namespace QvCommon
