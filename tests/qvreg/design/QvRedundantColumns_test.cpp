#include "qvreg/design/QvRedundantColumns.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kSize = 6;

/// Of six columns 2 and 5 depend on others: 2 on both before it, 5 on the third of those kept.
QvRedundantColumns TwoColumns() {
  QvRedundantColumns columns;
  columns.Add(2, {0, 1}, {3.0, -0.5}, Doubles(kSize, 1.0));
  columns.Add(5, {0, 1, 3}, {0.0, 0.0, 2.0}, Doubles(kSize, 1.0));
  return columns;
}

Doubles CombinationOf(const QvRedundantColumns& columns, int column) {
  Doubles combination{7.0};
  EXPECT_TRUE(columns.Get(column, kSize, combination)) << column;
  return combination;
}

TEST(QvRedundantColumns, AreCombinationsOfThoseKept) {
  const QvRedundantColumns columns = TwoColumns();
  EXPECT_EQ(CombinationOf(columns, 2), (Doubles{3.0, -0.5, 0, 0, 0, 0}));
  EXPECT_EQ(CombinationOf(columns, 5), (Doubles{0, 0, 0, 2.0, 0, 0}));
}

TEST(QvRedundantColumns, AColumnThatIsKeptIsNoCombination) {
  for (const int column : {0, 1, 3, 4, 6}) {
    Doubles combination(2, 7.0);
    EXPECT_FALSE(TwoColumns().Get(column, kSize, combination)) << column;
    EXPECT_EQ(combination, Doubles(kSize, 0.0));
  }
}

TEST(QvRedundantColumns, WhatIsNoMoreThanRoundingCountsAsZero) {
  // Shares of 10^-9 and 10^-11 of the largest, once times the root of the sum of squares.
  QvRedundantColumns columns;
  columns.Add(4, {0, 1, 2, 3}, {1.0, 1e-9, 1e-11, -1e-12}, {1.0, 1.0, 1.0, 1e6, 1.0, 1.0});
  EXPECT_EQ(CombinationOf(columns, 4), (Doubles{1.0, 1e-9, 0, -1e-12, 0, 0}));
}

TEST(QvRedundantColumns, ThatAreKeptComeBack) {
  QvRedundantColumns taken;
  taken.Add(1, {0}, {4.0}, Doubles(kSize, 1.0));
  ASSERT_TRUE(taken.TakeContents(TwoColumns().GetContents(), kSize));
  EXPECT_EQ(CombinationOf(taken, 2), (Doubles{3.0, -0.5, 0, 0, 0, 0}));
  EXPECT_EQ(CombinationOf(taken, 5), (Doubles{0, 0, 0, 2.0, 0, 0}));
  Doubles combination;
  EXPECT_FALSE(taken.Get(1, kSize, combination)) << "what was there before is replaced";
}

TEST(QvRedundantColumns, ThatAreNoneOfTheDesignAreRefused) {
  const auto takes = [](const std::vector<QvRedundantContents>& contents) {
    return QvRedundantColumns().TakeContents(contents, kSize);
  };
  EXPECT_TRUE(takes({}));
  EXPECT_TRUE(takes({{0, {}, {}}, {1, {0, 5}, {1, 2}}, {5, {3}, {2}}}));
  EXPECT_FALSE(takes({{-1, {}, {}}}));
  EXPECT_FALSE(takes({{kSize, {0}, {1}}}));
  EXPECT_FALSE(takes({{2, {0}, {1}}, {2, {0}, {1}}})) << "twice";
  EXPECT_FALSE(takes({{3, {0}, {1}}, {2, {0}, {1}}})) << "not in order";
  EXPECT_FALSE(takes({{2, {-1}, {1}}}));
  EXPECT_FALSE(takes({{2, {0, kSize}, {1, 1}}}));
  EXPECT_FALSE(takes({{2, {0, 1}, {1}}})) << "a coefficient is missing";
  EXPECT_FALSE(takes({{2, {0}, {1, 1}}})) << "a coefficient of nothing";
}

}  // namespace
