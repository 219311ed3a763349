#include "qvreg/common/QvRectMatrix.h"

#include <climits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace QvCommon {
namespace {

TEST(QvRectMatrix, StartsWithZeros) {
  const QvRectMatrix matrix(2, 3);
  EXPECT_EQ(matrix.GetNRows(), 2);
  EXPECT_EQ(matrix.GetNColumns(), 3);
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 3; ++j) EXPECT_EQ(matrix.GetElem(i, j), 0.0);
  }
}

TEST(QvRectMatrix, EveryElementHasItsOwnPlace) {
  QvRectMatrix matrix(3, 2);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 2; ++j) EXPECT_TRUE(matrix.SetElem(i, j, 10 * i + j));
  }
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 2; ++j) EXPECT_EQ(matrix.GetElem(i, j), 10 * i + j);
  }
}

TEST(QvRectMatrix, RefusesAnElementThatDoesNotExist) {
  QvRectMatrix matrix(2, 3);
  EXPECT_FALSE(matrix.SetElem(2, 0, 1.0));
  EXPECT_FALSE(matrix.SetElem(0, 3, 1.0));
  EXPECT_FALSE(matrix.SetElem(-1, 0, 1.0));
  EXPECT_FALSE(matrix.SetElem(0, -1, 1.0));
  EXPECT_EQ(matrix.GetElem(2, 0), 0.0);
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 3; ++j) EXPECT_EQ(matrix.GetElem(i, j), 0.0);
  }
}

TEST(QvRectMatrix, WithoutStorageHasNoElements) {
  QvRectMatrix huge(INT_MAX, INT_MAX);
  EXPECT_EQ(huge.GetNRows(), 0);
  EXPECT_EQ(huge.GetNColumns(), 0);
  EXPECT_FALSE(huge.SetElem(0, 0, 1.0));

  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  const QvRectMatrix failed(2, 2);
  EXPECT_TRUE(fault.HasStruck());
  EXPECT_EQ(failed.GetNRows(), 0);
  EXPECT_EQ(failed.GetNColumns(), 0);
}

TEST(QvRectMatrix, ANegativeCountGivesAnEmptyMatrix) {
  EXPECT_EQ(QvRectMatrix(-1, 2).GetNColumns(), 0);
  EXPECT_EQ(QvRectMatrix(2, -1).GetNRows(), 0);
}

TEST(QvRectMatrix, CopiesAreIndependent) {
  QvRectMatrix original(1, 1);
  original.SetElem(0, 0, 4.0);
  const QvRectMatrix copy = original;
  original.SetElem(0, 0, 5.0);
  EXPECT_EQ(copy.GetElem(0, 0), 4.0);
}

TEST(QvRectMatrix, DisplayPrintsTheShapeAndTheRows) {
  QvRectMatrix matrix(2, 2);
  matrix.SetElem(0, 1, 1.5);
  matrix.SetElem(1, 0, -2.0);
  EXPECT_EQ(qvtest::OutputOf([&] { matrix.Display(); }),
            "Rows: 2\nColumns: 2\nRow: 0 1.5\nRow: -2 0\n");
}

using qvtest::AllocationFault;

QvRectMatrix OneByTwo() {
  QvRectMatrix matrix(1, 2);
  matrix.SetElem(0, 1, 4.0);
  return matrix;
}

TEST(QvRectMatrix, IsNotValidWithoutMemoryOrOfANegativeCount) {
  EXPECT_TRUE(QvRectMatrix(0, 0).IsValidMatrix());
  EXPECT_TRUE(OneByTwo().IsValidMatrix());
  EXPECT_FALSE(QvRectMatrix(-1, 2).IsValidMatrix());
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(QvRectMatrix(2, 2).IsValidMatrix());
}

TEST(QvRectMatrix, ACopyWithoutMemoryIsEmptyAndNotValid) {
  const QvRectMatrix original = OneByTwo();
  QvRectMatrix assigned(3, 3);
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    const QvRectMatrix copy(original);
    EXPECT_FALSE(copy.IsValidMatrix());
    EXPECT_EQ(copy.GetNRows(), 0);
    EXPECT_EQ(copy.GetNColumns(), 0);
    assigned = original;
  }
  EXPECT_FALSE(assigned.IsValidMatrix());
  EXPECT_EQ(assigned.GetNRows(), 0);
  EXPECT_FALSE(QvRectMatrix(assigned).IsValidMatrix()) << "a copy of what is not valid";
  assigned = original;
  EXPECT_TRUE(assigned.IsValidMatrix());
  EXPECT_EQ(assigned.GetElem(0, 1), 4.0);
}

TEST(QvRectMatrix, WhatWasMovedFromIsEmptyAndMayBeUsed) {
  QvRectMatrix first = OneByTwo();
  const QvRectMatrix taken(std::move(first));
  QvRectMatrix second = OneByTwo();
  QvRectMatrix assigned(0, 0);
  assigned = std::move(second);
  for (QvRectMatrix* moved : {&first, &second}) {  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(moved->GetNRows(), 0);
    EXPECT_EQ(moved->GetElem(0, 1), 0.0);
    EXPECT_FALSE(moved->SetElem(0, 1, 1.0));
    EXPECT_TRUE(moved->IsValidMatrix());
    EXPECT_EQ(qvtest::OutputOf([&] { moved->Display(); }), "Rows: 0\nColumns: 0\n");
  }
  EXPECT_EQ(taken.GetElem(0, 1), 4.0);
  EXPECT_EQ(assigned.GetElem(0, 1), 4.0);
}

TEST(QvRectMatrix, DisplayNeedsNoMemory) {
  const QvRectMatrix matrix = OneByTwo();
  EXPECT_EQ(qvtest::OutputOf([&] {
              const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
              matrix.Display();
            }),
            "Rows: 1\nColumns: 2\nRow: 0 4\n");
}

}  // namespace
}  // namespace QvCommon
