#include "qvreg/common/QvBitSet.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace QvCommon {
namespace {

TEST(QvBitSet, StartsEmpty) {
  const QvBitSet bits;
  EXPECT_EQ(bits.Size(), 0);
  EXPECT_EQ(bits.Count(), 0);
  EXPECT_FALSE(bits.IsIn(0));
}

TEST(QvBitSet, OfASizeHasEveryBitClear) {
  const QvBitSet bits(70);
  EXPECT_EQ(bits.Size(), 70);
  for (int i = 0; i < 70; ++i) EXPECT_FALSE(bits.IsIn(i));
}

TEST(QvBitSet, SetChangesOneBitBothWays) {
  QvBitSet bits(3);
  EXPECT_TRUE(bits.Set(1, true));
  EXPECT_FALSE(bits.IsIn(0));
  EXPECT_TRUE(bits.IsIn(1));
  EXPECT_FALSE(bits.IsIn(2));
  EXPECT_EQ(bits.Count(), 1);
  EXPECT_TRUE(bits.Set(1, false));
  EXPECT_FALSE(bits.IsIn(1));
}

TEST(QvBitSet, RefusesABitThatDoesNotExist) {
  QvBitSet bits(3);
  EXPECT_FALSE(bits.Set(3, true));
  EXPECT_FALSE(bits.Set(-1, true));
  EXPECT_EQ(bits.Size(), 3);
  EXPECT_EQ(bits.Count(), 0);
  EXPECT_FALSE(bits.IsIn(3));
  EXPECT_FALSE(bits.IsIn(-1));
}

TEST(QvBitSet, ResizeKeepsOldBitsAndGivesNewOnesTheValue) {
  QvBitSet bits(2);
  bits.Set(0, true);
  bits.Resize(4, true);
  EXPECT_EQ(bits.Size(), 4);
  EXPECT_TRUE(bits.IsIn(0));
  EXPECT_FALSE(bits.IsIn(1));
  EXPECT_TRUE(bits.IsIn(2));
  EXPECT_TRUE(bits.IsIn(3));
}

TEST(QvBitSet, ShrinkingForgetsTheBitsCutOff) {
  QvBitSet bits(3);
  bits.Set(2, true);
  bits.Resize(2, false);
  EXPECT_EQ(bits.Count(), 0);
  bits.Resize(3, false);
  EXPECT_FALSE(bits.IsIn(2));
}

TEST(QvBitSet, ANegativeSizeIsEmpty) {
  EXPECT_EQ(QvBitSet(-5).Size(), 0);
  QvBitSet bits(3);
  bits.Resize(-1, true);
  EXPECT_EQ(bits.Size(), 0);
}

TEST(QvBitSet, ClearKeepsTheSize) {
  QvBitSet bits;
  bits.Resize(5, true);
  EXPECT_EQ(bits.Count(), 5);
  bits.Clear();
  EXPECT_EQ(bits.Size(), 5);
  EXPECT_EQ(bits.Count(), 0);
}

TEST(QvBitSet, AssignmentCopiesTheBits) {
  QvBitSet original(2);
  original.Set(1, true);
  QvBitSet copy(9);
  copy = original;
  original.Set(1, false);
  EXPECT_EQ(copy.Size(), 2);
  EXPECT_TRUE(copy.IsIn(1));
}

TEST(QvBitSet, DisplayPrintsOneDigitABit) {
  QvBitSet bits(4);
  bits.Set(1, true);
  bits.Set(2, true);
  EXPECT_EQ(qvtest::OutputOf([&] { bits.Display(); }), "Bits: 0110\n");
}

using qvtest::AllocationFault;

QvBitSet ThreeBits() {
  QvBitSet bits(3);
  bits.Set(1, true);
  return bits;
}

TEST(QvBitSet, WithoutMemoryIsEmptyAndNotValid) {
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  const QvBitSet bits(70);
  EXPECT_TRUE(fault.HasStruck());
  EXPECT_FALSE(bits.IsValid());
  EXPECT_EQ(bits.Size(), 0);
}

TEST(QvBitSet, ResizeWithoutMemoryAnswersFalseAndChangesNothing) {
  QvBitSet bits = ThreeBits();
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(bits.Resize(1000, true));
  }
  EXPECT_TRUE(bits.IsValid());
  EXPECT_EQ(bits.Size(), 3);
  EXPECT_TRUE(bits.IsIn(1));
}

TEST(QvBitSet, ACopyWithoutMemoryIsEmptyAndNotValid) {
  const QvBitSet original = ThreeBits();
  QvBitSet assigned(1);
  {
    const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
    const QvBitSet copy(original);
    EXPECT_FALSE(copy.IsValid());
    EXPECT_EQ(copy.Size(), 0);
    const QvBitSet large = copy;
    EXPECT_FALSE(large.IsValid()) << "a copy of what is not valid is not valid";
  }
  QvBitSet many;
  ASSERT_TRUE(many.Resize(1000, true));
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    assigned = many;
  }
  EXPECT_FALSE(assigned.IsValid());
  EXPECT_EQ(assigned.Size(), 0);
  assigned = many;
  EXPECT_TRUE(assigned.IsValid());
  EXPECT_EQ(assigned.Count(), 1000);
}

TEST(QvBitSet, ResizeMakesASetValidAgain) {
  QvBitSet bits;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    bits = QvBitSet(70);
  }
  ASSERT_FALSE(bits.IsValid());
  EXPECT_TRUE(bits.Resize(2, true));
  EXPECT_TRUE(bits.IsValid());
  EXPECT_EQ(bits.Count(), 2);
}

TEST(QvBitSet, DisplayNeedsNoMemory) {
  const QvBitSet bits(100);
  EXPECT_EQ(qvtest::OutputOf([&] {
              const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
              bits.Display();
            }),
            "Bits: " + std::string(100, '0') + "\n");
}

}  // namespace
}  // namespace QvCommon
