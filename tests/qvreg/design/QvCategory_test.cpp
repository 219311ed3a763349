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

}  // namespace
