#include "qvreg/common/QvSymBlockMatrix.h"

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using qvtest::AllocationFault;
using qvtest::LowerRows;
using Rows = std::vector<std::vector<double>>;

/// Two block rows of order 2 whose three blocks are all different.
QvSymBlockMatrix TwoByTwo() {
  QvSymBlockMatrix blocks;
  EXPECT_TRUE(blocks.SetNRows(2, 2));
  blocks.GetElemSSRef(0, 0) = qvtest::SymMatrixOf({{1}, {2, 3}});
  blocks.GetElemSSRef(1, 0) = qvtest::SymMatrixOf({{4}, {5, 6}});
  blocks.GetElemSSRef(1, 1) = qvtest::SymMatrixOf({{7}, {8, 9}});
  return blocks;
}

Rows WholeOf(const QvSymBlockMatrix& blocks) {
  QvSymMatrix whole;
  EXPECT_EQ(blocks.CopyToSymMatrix(whole), 0);
  return LowerRows(whole);
}

TEST(QvSymBlockMatrix, IsEmptyByDefault) { EXPECT_EQ(WholeOf(QvSymBlockMatrix()), Rows{}); }

TEST(QvSymBlockMatrix, SetNRowsMakesZeroBlocks) {
  QvSymBlockMatrix blocks;
  EXPECT_TRUE(blocks.SetNRows(3, 2));
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j <= i; ++j) {
      EXPECT_EQ(LowerRows(blocks.GetElemSSRef(i, j)), (Rows{{0}, {0, 0}}));
    }
  }
}

TEST(QvSymBlockMatrix, SetNRowsStartsAnew) {
  QvSymBlockMatrix blocks = TwoByTwo();
  EXPECT_TRUE(blocks.SetNRows(1, 3));
  EXPECT_EQ(WholeOf(blocks), (Rows{{0}, {0, 0}, {0, 0, 0}}));
}

TEST(QvSymBlockMatrix, CopyPutsEveryBlockInItsPlace) {
  EXPECT_EQ(WholeOf(TwoByTwo()), (Rows{{1}, {2, 3}, {4, 5, 7}, {5, 6, 8, 9}}));
}

TEST(QvSymBlockMatrix, AddAddsEveryBlockInItsPlace) {
  QvSymMatrix sum = qvtest::SymMatrixOf({{10}, {20, 30}, {40, 50, 60}, {70, 80, 90, 100}});
  EXPECT_TRUE(TwoByTwo().AddToSymMatrix(sum));
  EXPECT_EQ(LowerRows(sum), (Rows{{11}, {22, 33}, {44, 55, 67}, {75, 86, 98, 109}}));
}

TEST(QvSymBlockMatrix, AddRefusesAnotherOrder) {
  QvSymMatrix other = qvtest::SymMatrixOf({{1}, {2, 3}});
  EXPECT_FALSE(TwoByTwo().AddToSymMatrix(other));
  EXPECT_EQ(LowerRows(other), (Rows{{1}, {2, 3}}));
}

TEST(QvSymBlockMatrix, AddsAnotherBlockByBlock) {
  QvSymBlockMatrix sum = TwoByTwo();
  sum.Add(TwoByTwo());
  EXPECT_EQ(WholeOf(sum), (Rows{{2}, {4, 6}, {8, 10, 14}, {10, 12, 16, 18}}));
  QvSymMatrix kept = qvtest::SymMatrixOf({{0}, {0, 0}, {0, 0, 0}, {0, 0, 0, 0}});
  EXPECT_TRUE(sum.AddToSymMatrix(kept));
  EXPECT_EQ(LowerRows(kept), WholeOf(sum));
}

TEST(QvSymBlockMatrix, ComesBackFromItsBytesInTheSameShape) {
  QvByteWriter writer;
  TwoByTwo().Write(writer);
  const QvBytes bytes = writer.TakeBytes();
  QvSymBlockMatrix read;
  ASSERT_TRUE(read.SetNRows(2, 2));
  QvByteReader reader(bytes);
  read.Read(reader);
  EXPECT_TRUE(reader.IsAtEnd());
  EXPECT_EQ(WholeOf(read), WholeOf(TwoByTwo()));
  for (const auto& [rows, order] : {std::pair(2, 3), std::pair(3, 2), std::pair(1, 2)}) {
    QvSymBlockMatrix other;
    ASSERT_TRUE(other.SetNRows(rows, order));
    QvByteReader again(bytes);
    other.Read(again);
    EXPECT_FALSE(again.IsAtEnd());
  }
}

TEST(QvSymBlockMatrix, CopyReplacesAMatrixOfAnotherOrder) {
  QvSymMatrix whole(9);
  whole.SetElem(8, 8, 1.0);
  EXPECT_EQ(TwoByTwo().CopyToSymMatrix(whole), 0);
  EXPECT_EQ(whole.GetOrder(), 4);
}

TEST(QvSymBlockMatrix, BlocksAreUpdatedInPlace) {
  QvSymBlockMatrix blocks = TwoByTwo();
  EXPECT_TRUE(blocks.GetElemSSRef(1, 0).UpdateXX({1, 2}, 10.0));
  EXPECT_EQ(WholeOf(blocks), (Rows{{1}, {2, 3}, {14, 25, 7}, {25, 46, 8, 9}}));
}

TEST(QvSymBlockMatrix, ClearKeepsTheShape) {
  QvSymBlockMatrix blocks = TwoByTwo();
  blocks.Clear();
  EXPECT_EQ(WholeOf(blocks), (Rows{{0}, {0, 0}, {0, 0, 0}, {0, 0, 0, 0}}));
}

TEST(QvSymBlockMatrix, RefusesAShapeThatCannotBeAndChangesNothing) {
  QvSymBlockMatrix blocks = TwoByTwo();
  EXPECT_FALSE(blocks.SetNRows(-1, 2));
  EXPECT_FALSE(blocks.SetNRows(2, -1));
  EXPECT_FALSE(blocks.SetNRows(1, INT_MAX));
  EXPECT_FALSE(blocks.SetNRows(INT_MAX, 1));
  EXPECT_EQ(WholeOf(blocks), WholeOf(TwoByTwo()));
}

TEST(QvSymBlockMatrix, WithoutMemoryKeepsItsBlocks) {
  QvSymBlockMatrix blocks = TwoByTwo();
  // One allocation for a block to copy, one for the row of blocks, one for each of the three.
  for (const long long n : {1, 2, 3, 5}) {
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(blocks.SetNRows(2, 3));
    EXPECT_TRUE(fault.HasStruck());
  }
  EXPECT_EQ(WholeOf(blocks), WholeOf(TwoByTwo()));
}

TEST(QvSymBlockMatrix, WithoutMemoryTheCopyFailsAndLeavesTheTarget) {
  const QvSymBlockMatrix blocks = TwoByTwo();
  QvSymMatrix whole = qvtest::SymMatrixOf({{42}});
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_NE(blocks.CopyToSymMatrix(whole), 0);
  EXPECT_EQ(whole.GetOrder(), 1);
  EXPECT_EQ(whole.GetElem(0, 0), 42.0);
}

TEST(QvSymBlockMatrix, CopiesAreIndependent) {
  QvSymBlockMatrix original = TwoByTwo();
  const QvSymBlockMatrix copy = original;
  original.Clear();
  EXPECT_EQ(WholeOf(copy), WholeOf(TwoByTwo()));
}

TEST(QvSymBlockMatrix, DisplayPrintsEveryBlock) {
  QvSymBlockMatrix blocks;
  ASSERT_TRUE(blocks.SetNRows(2, 1));
  blocks.GetElemSSRef(1, 0).SetElem(0, 0, 0.5);
  EXPECT_EQ(qvtest::OutputOf([&] { blocks.Display(); }),
            "Block rows: 2\nBlock order: 1\n"
            "Block: 0 0\nOrder: 1\nRow: 0\n"
            "Block: 1 0\nOrder: 1\nRow: 0.5\n"
            "Block: 1 1\nOrder: 1\nRow: 0\n");
}

TEST(QvSymBlockMatrix, DisplayPrintsABlockUnderItsOwnPlace) {
  QvSymBlockMatrix blocks;
  ASSERT_TRUE(blocks.SetNRows(3, 1));
  blocks.GetElemSSRef(2, 0).SetElem(0, 0, 0.5);
  const std::string text = qvtest::OutputOf([&] { blocks.Display(); });
  EXPECT_NE(text.find("Block: 2 0\nOrder: 1\nRow: 0.5\nBlock: 2 1\n"), std::string::npos) << text;
}

TEST(QvSymBlockMatrix, ACopyWithoutMemoryIsEmpty) {
  const QvSymBlockMatrix original = TwoByTwo();
  for (long long n = 1; n <= 4; ++n) {  // the list and its three blocks
    QvSymBlockMatrix copy;
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      copy = original;
      EXPECT_TRUE(fault.HasStruck()) << n;
    }
    EXPECT_EQ(WholeOf(copy), Rows{}) << n;
  }
}

TEST(QvSymBlockMatrix, WithoutMemoryForABlockTheShapeStays) {
  QvSymBlockMatrix blocks = TwoByTwo();
  for (long long n = 1; n <= 5; ++n) {
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(blocks.SetNRows(2, 3)) << n;
    EXPECT_TRUE(fault.HasStruck()) << n;
  }
  EXPECT_EQ(WholeOf(blocks), WholeOf(TwoByTwo()));
}

TEST(QvSymBlockMatrix, WhatWasMovedFromIsEmptyAndMayBeUsed) {
  QvSymBlockMatrix first = TwoByTwo();
  const QvSymBlockMatrix taken(std::move(first));
  QvSymBlockMatrix second = TwoByTwo();
  QvSymBlockMatrix assigned;
  assigned = std::move(second);
  for (QvSymBlockMatrix* moved : {&first, &second}) {  // NOLINT(bugprone-use-after-move)
    moved->Clear();
    EXPECT_EQ(WholeOf(*moved), Rows{});
    EXPECT_EQ(qvtest::OutputOf([&] { moved->Display(); }), "Block rows: 0\nBlock order: 0\n");
  }
  EXPECT_EQ(WholeOf(taken), WholeOf(TwoByTwo()));
  EXPECT_EQ(WholeOf(assigned), WholeOf(TwoByTwo()));
}

}  // namespace
}  // namespace QvCommon
