#include "qvreg/common/QvRectMatrix.h"

#include <climits>

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

}  // namespace
}  // namespace QvCommon
