#include "qvreg/design/QvCategory.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

TEST(QvCategory, AddsOneHalfAndTruncatesTowardZero) {
  EXPECT_EQ(CategoryIndex(2.0, 0), 2);
  EXPECT_EQ(CategoryIndex(1.6, 0), 2);
  EXPECT_EQ(CategoryIndex(1.4, 0), 1);
  EXPECT_EQ(CategoryIndex(-0.4, 0), 0);
  EXPECT_EQ(CategoryIndex(-3.0, 0), -2);
}

TEST(QvCategory, IsCountedFromTheFirstCode) {
  EXPECT_EQ(CategoryIndex(1.0, 1), 0);
  EXPECT_EQ(CategoryIndex(7.0, 5), 2);
  EXPECT_EQ(CategoryIndex(4.0, 5), -1);
}

TEST(QvCategory, OfAValueThatNoIntHoldsIsMinusOne) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(CategoryIndex(1e300, 0), -1);
  EXPECT_EQ(CategoryIndex(-1e300, 0), -1);
  EXPECT_EQ(CategoryIndex(2147483648.0, 0), -1);
  EXPECT_EQ(CategoryIndex(kInfinity, 0), -1);
  EXPECT_EQ(CategoryIndex(-kInfinity, 0), -1);
  EXPECT_EQ(CategoryIndex(std::numeric_limits<double>::quiet_NaN(), 0), -1);
}

TEST(QvCategory, NearTheEndsOfIntDoesNotOverflow) {
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_EQ(CategoryIndex(2147483647.0, 0), kMost);
  EXPECT_EQ(CategoryIndex(2147483647.0, kMost - 2), 2);
  EXPECT_EQ(CategoryIndex(-2147483648.0, kLeast), 1) << "half is added before it is truncated";
  EXPECT_EQ(CategoryIndex(-2147483649.0, kLeast), 0);
  // No int holds the difference.
  EXPECT_EQ(CategoryIndex(2147483647.0, -1), -1);
  EXPECT_EQ(CategoryIndex(2e9, -2000000000), -1);
  EXPECT_EQ(CategoryIndex(-2e9, 2000000000), -1);
}

}  // namespace
