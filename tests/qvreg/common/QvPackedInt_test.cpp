#include "qvreg/common/QvPackedInt.h"

#include <climits>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace QvCommon {
namespace {

using qvtest::AllocationFault;
using Ints = std::vector<int>;

QvPackedInt PackerOf(const Ints& ranges) {
  QvPackedInt packer;
  EXPECT_TRUE(packer.SetForSequence(static_cast<int>(ranges.size()), 0, ranges));
  return packer;
}

Ints PackedOf(const QvPackedInt& packer, const Ints& values) {
  Ints packed;
  EXPECT_TRUE(packer.Pack(values, packed, false));
  EXPECT_EQ(static_cast<int>(packed.size()), packer.GetPackedSize());
  return packed;
}

void ExpectReadsBack(const QvPackedInt& packer, const Ints& values) {
  Ints unpacked = {-7};
  ASSERT_TRUE(packer.Unpack(unpacked, PackedOf(packer, values)));
  EXPECT_EQ(unpacked, values);
}

TEST(QvPackedInt, PacksItsRangesAsValuesArePacked) {
  EXPECT_EQ(PackerOf({3, 1, 4, 2}).PackRanges(), Ints{((3 * 1 + 1) * 4 + 4) * 2 + 2});
  EXPECT_EQ(PackerOf({5}).PackRanges(), Ints{5});
  EXPECT_EQ(PackerOf({}).PackRanges(), Ints{});
}

TEST(QvPackedInt, RangesBeyondAnIntTakeTheDigitsThatTheyNeed) {
  // 300003 * 100000 + 100000 in digits of 31 bits, the last one first.
  EXPECT_EQ(PackerOf({100000, 3, 100000}).PackRanges(), (Ints{2083112576, 13}));
}

TEST(QvPackedInt, PackedRangesBeyondAnIntAreTheLargest) {
  EXPECT_EQ(PackerOf({1, 1, INT_MAX}).PackRanges(), Ints{INT_MAX});
  EXPECT_EQ(PackerOf({INT_MAX, 1, 1}).PackRanges(), Ints{INT_MAX});
}

TEST(QvPackedInt, EveryCombinationHasItsOwnPackedValue) {
  const QvPackedInt packer = PackerOf({3, 1, 4, 2});
  std::set<Ints> seen;
  for (int a = 0; a < 3; ++a) {
    for (int c = 0; c < 4; ++c) {
      for (int d = 0; d < 2; ++d) {
        ExpectReadsBack(packer, {a, 0, c, d});
        seen.insert(PackedOf(packer, {a, 0, c, d}));
      }
    }
  }
  EXPECT_EQ(seen.size(), 24U);
}

TEST(QvPackedInt, SmallRangesShareAnInt) {
  EXPECT_EQ(PackerOf({10, 10, 10, 10, 10}).GetPackedSize(), 1);
  EXPECT_EQ(PackerOf(Ints(30, 2)).GetPackedSize(), 1);
  EXPECT_EQ(PackerOf(Ints(60, 2)).GetPackedSize(), 2);
  EXPECT_EQ(PackerOf(Ints(1000, 1)).GetPackedSize(), 1);
}

TEST(QvPackedInt, TheLargestRangesKeepEveryValue) {
  const QvPackedInt packer = PackerOf({INT_MAX, INT_MAX, 2, INT_MAX});
  ExpectReadsBack(packer, {0, 0, 0, 0});
  ExpectReadsBack(packer, {INT_MAX - 1, INT_MAX - 1, 1, INT_MAX - 1});
  ExpectReadsBack(packer, {INT_MAX - 1, 0, 1, 1});
}

TEST(QvPackedInt, ARangeOfOneBesideTheLargestSharesItsInt) {
  const QvPackedInt packer = PackerOf({1, INT_MAX, 1});
  EXPECT_EQ(packer.GetPackedSize(), 1);
  ExpectReadsBack(packer, {0, INT_MAX - 1, 0});
}

TEST(QvPackedInt, TakesNoMoreIntsThanTellTheSequencesApart) {
  // 2^31 sequences: the numbers from 0 to the largest int.
  const QvPackedInt full = PackerOf({1 << 16, 1 << 15});
  EXPECT_EQ(full.GetPackedSize(), 1);
  EXPECT_EQ(PackedOf(full, {(1 << 16) - 1, (1 << 15) - 1}), (Ints{INT_MAX}));
  ExpectReadsBack(full, {(1 << 16) - 1, (1 << 15) - 1});
  ExpectReadsBack(full, {1, 0});
  EXPECT_EQ(PackerOf({1 << 16, (1 << 15) + 1}).GetPackedSize(), 2);

  // Fewer than 2^62 sequences in two ints, although no two neighbours fit in one.
  const QvPackedInt across = PackerOf({1 << 20, 1 << 20, 1 << 20, 3});
  EXPECT_EQ(across.GetPackedSize(), 2);
  ExpectReadsBack(across, {(1 << 20) - 1, 0, (1 << 20) - 1, 2});
  EXPECT_EQ(PackerOf({2, INT_MAX, INT_MAX / 2}).GetPackedSize(), 2);
  EXPECT_EQ(PackerOf(Ints(62, 2)).GetPackedSize(), 2);
  EXPECT_EQ(PackerOf(Ints(63, 2)).GetPackedSize(), 3);
}

TEST(QvPackedInt, RandomSequencesReadBack) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> count(1, 40);
  std::uniform_int_distribution<int> bits(0, 30);
  for (int trial = 0; trial < 500; ++trial) {
    Ints ranges(static_cast<std::size_t>(count(random)));
    for (int& range : ranges) {
      range = std::uniform_int_distribution<int>(1, (1 << bits(random)))(random);
    }
    Ints values;
    for (const int range : ranges) {
      values.push_back(std::uniform_int_distribution<int>(0, range - 1)(random));
    }
    ExpectReadsBack(PackerOf(ranges), values);
  }
}

TEST(QvPackedInt, TheLastValueOfEveryRangeReadsBack) {
  for (int range = 1; range < 2000; range += 13) {
    ExpectReadsBack(PackerOf(Ints(25, range)), Ints(25, range - 1));
  }
}

TEST(QvPackedInt, TakesItsRangesFromThePlaceNamed) {
  QvPackedInt packer;
  ASSERT_TRUE(packer.SetForSequence(2, 1, {99, 3, 5, 99}));
  ExpectReadsBack(packer, {2, 4});
  Ints packed;
  EXPECT_FALSE(packer.Pack({3, 0}, packed, false));
  EXPECT_FALSE(packer.Pack({0, 5}, packed, false));
}

TEST(QvPackedInt, AnEmptySequenceTakesNoInts) {
  QvPackedInt packer;
  ASSERT_TRUE(packer.SetForSequence(0, 2, {4, 4}));
  EXPECT_EQ(packer.GetPackedSize(), 0);
  ExpectReadsBack(packer, {});
}

TEST(QvPackedInt, RefusesRangesThatAreMissingOrBelowOneAndKeepsTheOld) {
  QvPackedInt packer = PackerOf({4});
  EXPECT_FALSE(packer.SetForSequence(2, 0, {4}));
  EXPECT_FALSE(packer.SetForSequence(1, 1, {4}));
  EXPECT_FALSE(packer.SetForSequence(2, 0, {4, 0}));
  EXPECT_FALSE(packer.SetForSequence(1, 0, {-3}));
  EXPECT_FALSE(packer.SetForSequence(-1, 0, {4}));
  EXPECT_FALSE(packer.SetForSequence(1, -1, {4}));
  EXPECT_FALSE(packer.SetForSequence(INT_MAX, INT_MAX, {4}));
  ExpectReadsBack(packer, {3});
}

TEST(QvPackedInt, RefusesAValueOutsideItsRangeAndWritesNothing) {
  const QvPackedInt packer = PackerOf({3, 3});
  Ints packed = {42};
  EXPECT_FALSE(packer.Pack({0, 3}, packed, false));
  EXPECT_FALSE(packer.Pack({-1, 0}, packed, false));
  EXPECT_FALSE(packer.Pack({0}, packed, false));
  EXPECT_EQ(packed, (Ints{42}));
}

TEST(QvPackedInt, UnpackRefusesAWrongLengthAndWritesNothing) {
  const QvPackedInt packer = PackerOf({3, 3});
  Ints values = {42};
  EXPECT_FALSE(packer.Unpack(values, {}));
  EXPECT_FALSE(packer.Unpack(values, {0, 0}));
  EXPECT_EQ(values, (Ints{42}));
}

TEST(QvPackedInt, PackReplacesOrAppends) {
  const QvPackedInt packer = PackerOf({3, 3});
  const Ints alone = PackedOf(packer, {2, 1});
  Ints packed = {42, 43};
  ASSERT_TRUE(packer.Pack({2, 1}, packed, false));
  EXPECT_EQ(packed, alone);
  ASSERT_TRUE(packer.Pack({2, 1}, packed, true));
  EXPECT_EQ(packed, (Ints{alone[0], alone[0]}));
}

TEST(QvPackedInt, WithoutMemoryKeepsTheOldRanges) {
  QvPackedInt packer = PackerOf({4});
  const Ints ranges = {5, 6};
  for (const long long n : {1, 2}) {
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(packer.SetForSequence(2, 0, ranges));
    EXPECT_TRUE(fault.HasStruck());
  }
  ExpectReadsBack(packer, {3});
}

TEST(QvPackedInt, WithoutMemoryWritesNothing) {
  const QvPackedInt packer = PackerOf({4});
  const Ints values = {3};
  const Ints packed = PackedOf(packer, values);
  Ints empty;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(packer.Pack(values, empty, false));
  }
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(packer.Unpack(empty, packed));
  }
  EXPECT_TRUE(empty.empty());
}

TEST(QvPackedInt, DisplayPrintsTheRanges) {
  const QvPackedInt packer = PackerOf({3, INT_MAX});
  EXPECT_EQ(qvtest::OutputOf([&] { packer.Display(); }), "Ranges: 3 2147483647\nPacked ints: 2\n");
}

}  // namespace
}  // namespace QvCommon
