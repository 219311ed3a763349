#include "qvreg/design/QvLevelNumbers.h"

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Ints = std::vector<int>;

TEST(QvLevelNumbers, KnowNothingAtFirst) {
  QvLevelNumbers numbers;
  EXPECT_FALSE(numbers.IsSetUp());
  ASSERT_TRUE(numbers.SetUp({0}, {3}, 3));
  for (int level = 0; level < 3; ++level) {
    ASSERT_NE(numbers.Find({level}), nullptr);
    EXPECT_EQ(*numbers.Find({level}), QvLevelNumbers::kNone);
  }
}

TEST(QvLevelNumbers, KeepANumberPerCombination) {
  QvLevelNumbers numbers;
  // The second and the first of three values.
  ASSERT_TRUE(numbers.SetUp({1, 0}, {3, 4}, 12));
  EXPECT_EQ(numbers.GetSize(), 12U);
  int next = 0;
  for (int a = 0; a < 4; ++a) {
    for (int b = 0; b < 3; ++b) *numbers.Find({a, b, 99}) = next++;
  }
  next = 0;
  for (int a = 0; a < 4; ++a) {
    for (int b = 0; b < 3; ++b) EXPECT_EQ(*numbers.Find({a, b, -5}), next++);
  }
}

TEST(QvLevelNumbers, OfFactorsOfOneLevelAreKeptToo) {
  QvLevelNumbers numbers;
  ASSERT_TRUE(numbers.SetUp({0, 1}, {1, 2}, 2));
  EXPECT_EQ(numbers.GetSize(), 2U);
  *numbers.Find({0, 1}) = 5;
  EXPECT_EQ(numbers.At(1), 5);
}

TEST(QvLevelNumbers, OfALevelOutOfRangeThereIsNone) {
  QvLevelNumbers numbers;
  ASSERT_TRUE(numbers.SetUp({0, 1}, {3, 2}, 100));
  for (const Ints& levels : {Ints{3, 0}, Ints{0, 2}, Ints{-1, 1}, Ints{0, -1}}) {
    EXPECT_EQ(numbers.Find(levels), nullptr);
  }
}

TEST(QvLevelNumbers, AreRefusedWhereThereWouldBeTooMany) {
  QvLevelNumbers numbers;
  EXPECT_FALSE(numbers.SetUp({0, 1}, {3, 4}, 11));
  EXPECT_FALSE(numbers.IsSetUp());
  EXPECT_TRUE(numbers.SetUp({0, 1}, {3, 4}, 12));
  constexpr int kHuge = 2147483647;
  EXPECT_FALSE(numbers.SetUp({0, 1, 2, 3}, {kHuge, kHuge, kHuge, kHuge}, std::size_t{1} << 20U));
  EXPECT_FALSE(numbers.IsSetUp());
  EXPECT_FALSE(numbers.SetUp({0}, {0}, 12));
}

}  // namespace
