#include <climits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace QvCommon {
namespace {

TEST(QvSymMatrixData, IsEmptyByDefault) {
  const QvSymMatrixData matrix;
  EXPECT_EQ(matrix.GetOrder(), 0);
  EXPECT_TRUE(matrix.IsValidMatrix());
}

TEST(QvSymMatrixData, OfAnOrderHasZeros) {
  const QvSymMatrixData matrix(4);
  EXPECT_EQ(matrix.GetOrder(), 4);
  EXPECT_TRUE(matrix.IsValidMatrix());
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) EXPECT_EQ(matrix.GetElem(i, j), 0.0);
  }
}

TEST(QvSymMatrixData, AnElementIsSeenFromBothTriangles) {
  QvSymMatrixData matrix(3);
  for (int i = 0; i < 3; ++i) {
    for (int j = i; j < 3; ++j) EXPECT_TRUE(matrix.SetElem(i, j, 10 * i + j));
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = i; j < 3; ++j) {
      EXPECT_EQ(matrix.GetElem(i, j), 10 * i + j);
      EXPECT_EQ(matrix.GetElem(j, i), 10 * i + j);
    }
  }
}

TEST(QvSymMatrixData, RefusesAnElementThatDoesNotExist) {
  QvSymMatrixData matrix(2);
  EXPECT_FALSE(matrix.SetElem(2, 0, 1.0));
  EXPECT_FALSE(matrix.SetElem(0, 2, 1.0));
  EXPECT_FALSE(matrix.SetElem(-1, 1, 1.0));
  EXPECT_FALSE(QvSymMatrixData().SetElem(0, 0, 1.0));
}

TEST(QvSymMatrixData, GetDiagonalReplacesTheVector) {
  QvSymMatrixData matrix(3);
  for (int i = 0; i < 3; ++i) matrix.SetElem(i, i, i + 1);
  matrix.SetElem(2, 0, 9.0);
  std::vector<double> diagonal(7, -1.0);
  EXPECT_TRUE(matrix.GetDiagonal(diagonal));
  EXPECT_EQ(diagonal, (std::vector<double>{1, 2, 3}));
}

TEST(QvSymMatrixData, IsNotValidWithoutStorage) {
  const QvSymMatrixData huge(INT_MAX);
  EXPECT_FALSE(huge.IsValidMatrix());
  EXPECT_EQ(huge.GetOrder(), 0);
}

TEST(QvSymMatrixData, IsNotValidWhenItsAllocationFails) {
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  const QvSymMatrixData matrix(3);
  EXPECT_TRUE(fault.HasStruck());
  EXPECT_FALSE(matrix.IsValidMatrix());
  EXPECT_EQ(matrix.GetOrder(), 0);
}

TEST(QvSymMatrixData, IsNotValidOfANegativeOrder) {
  const QvSymMatrixData matrix(-1);
  EXPECT_FALSE(matrix.IsValidMatrix());
  EXPECT_EQ(matrix.GetOrder(), 0);
}

TEST(QvSymMatrixData, CopiesAreIndependent) {
  QvSymMatrixData original(2);
  original.SetElem(1, 0, 4.0);
  const QvSymMatrixData copy = original;
  original.SetElem(1, 0, 5.0);
  EXPECT_EQ(copy.GetElem(0, 1), 4.0);
}

TEST(QvSymMatrixData, DisplayPrintsTheLowerTriangle) {
  QvSymMatrixData matrix(2);
  matrix.SetElem(0, 0, 1.0);
  matrix.SetElem(1, 0, -0.5);
  matrix.SetElem(1, 1, 2.0);
  EXPECT_EQ(qvtest::OutputOf([&] { matrix.Display(); }), "Order: 2\nRow: 1\nRow: -0.5 2\n");
}

using qvtest::AllocationFault;

QvSymMatrixData TwoByTwo() {
  QvSymMatrixData matrix(2);
  matrix.SetElem(1, 0, 4.0);
  return matrix;
}

TEST(QvSymMatrixData, AnElementThatDoesNotExistIsZero) {
  const QvSymMatrixData matrix = TwoByTwo();
  EXPECT_EQ(matrix.GetElem(2, 0), 0.0);
  EXPECT_EQ(matrix.GetElem(0, -1), 0.0);
  EXPECT_EQ(QvSymMatrixData().GetElem(0, 0), 0.0);
}

TEST(QvSymMatrixData, GetDiagonalWithoutMemoryAnswersFalseAndChangesNothing) {
  const QvSymMatrixData matrix = TwoByTwo();
  std::vector<double> diagonal{7.0};
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(matrix.GetDiagonal(diagonal));
  EXPECT_EQ(diagonal, (std::vector<double>{7.0}));
}

TEST(QvSymMatrixData, ACopyWithoutMemoryIsEmptyAndNotValid) {
  const QvSymMatrixData original = TwoByTwo();
  QvSymMatrixData assigned(1);
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    const QvSymMatrixData copy(original);
    EXPECT_FALSE(copy.IsValidMatrix());
    EXPECT_EQ(copy.GetOrder(), 0);
    assigned = original;
  }
  EXPECT_FALSE(assigned.IsValidMatrix());
  EXPECT_EQ(assigned.GetOrder(), 0);
  EXPECT_FALSE(QvSymMatrixData(assigned).IsValidMatrix()) << "a copy of what is not valid";
  assigned = original;
  EXPECT_TRUE(assigned.IsValidMatrix());
  EXPECT_EQ(assigned.GetElem(0, 1), 4.0);
}

TEST(QvSymMatrixData, WhatWasMovedFromIsEmptyAndMayBeUsed) {
  QvSymMatrixData first = TwoByTwo();
  const QvSymMatrixData taken(std::move(first));
  QvSymMatrixData second = TwoByTwo();
  QvSymMatrixData assigned;
  assigned = std::move(second);
  for (const QvSymMatrixData* moved : {&first, &second}) {  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved->GetOrder(), 0);
    EXPECT_TRUE(moved->IsValidMatrix());
    EXPECT_EQ(moved->GetElem(1, 0), 0.0);
    EXPECT_EQ(qvtest::OutputOf([&] { moved->Display(); }), "Order: 0\n");
  }
  for (const QvSymMatrixData* target : {&taken, static_cast<const QvSymMatrixData*>(&assigned)}) {
    EXPECT_EQ(target->GetOrder(), 2);
    EXPECT_EQ(target->GetElem(1, 0), 4.0);
  }
}

TEST(QvSymMatrixData, DisplayNeedsNoMemory) {
  const QvSymMatrixData matrix = TwoByTwo();
  EXPECT_EQ(qvtest::OutputOf([&] {
              const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
              matrix.Display();
            }),
            "Order: 2\nRow: 0\nRow: 4 0\n");
}

}  // namespace
}  // namespace QvCommon
