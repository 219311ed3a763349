#include "qvreg/design/QvColumnSizes.h"

#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/ModelSettings.h"

namespace {

constexpr int kX = 1;
constexpr int kZ = 2;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

QvRegrParameter Effect(int index, const std::vector<std::pair<int, int>>& powers) {
  QvRegrParameter parameter = qvtest::ParameterOf(powers);
  parameter.SetEffectIndex(index);
  return parameter;
}

/// The effects intercept, x, x z, z^3.
std::vector<QvRegrParameter> Effects() {
  return {Effect(0, {}), Effect(1, {{kX, 1}}), Effect(2, {{kX, 1}, {kZ, 1}}), Effect(3, {{kZ, 3}})};
}

void Add(QvColumnSizes& sizes, double x, double z) {
  const std::vector<double> record{-1e300, x, z};
  sizes.MeasureVariable(0, x);
  sizes.MeasureVariable(1, z);
  sizes.MeasureProducts(record.data());
}

QvColumnSizes SizesOf(const std::vector<std::pair<double, double>>& pairs) {
  QvColumnSizes sizes;
  sizes.SetVariables({kX, kZ});
  sizes.SetEffects(Effects());
  for (const auto& [x, z] : pairs) Add(sizes, x, z);
  return sizes;
}

std::vector<int> ExponentsOf(const QvColumnSizes& sizes) {
  return sizes.GetParameterExponents(Effects());
}

TEST(QvColumnSizes, OfUsualNumbersHaveTheExponent0) {
  EXPECT_EQ(ExponentsOf(SizesOf({{3.0, -7.0}, {0.0, 1e-300}})), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{0x1p-20, 1.0}})), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{-0x1.fp+19, 1.0}})), (std::vector<int>{0, 0, 0, 0}));
}

TEST(QvColumnSizes, TheLargestSizeCounts) {
  EXPECT_EQ(ExponentsOf(SizesOf({{0x1p+20, 1.0}})), (std::vector<int>{0, 20, 20, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{1.0, 1.0}, {-0x1.8p+30, 1.0}, {2.0, 1.0}})),
            (std::vector<int>{0, 30, 30, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{-0x1.8p-30, 1.0}, {0x1p-31, 1.0}})),
            (std::vector<int>{0, -30, -30, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{std::numeric_limits<double>::denorm_min(), 1.0}})),
            (std::vector<int>{0, -1074, -1074, 0}));
}

TEST(QvColumnSizes, AProductsSizeIsThatOfTheLargestProduct) {
  // The largest of each are in different records.
  const QvColumnSizes sizes = SizesOf({{0x1p+600, 0x1p-580}, {0x1p-580, 0x1p+600}});
  EXPECT_EQ(ExponentsOf(sizes), (std::vector<int>{0, 600, 20, 1800}));
  const QvColumnSizes usual = SizesOf({{0x1p+600, 0x1p-600}, {0x1p-600, 0x1p+600}});
  EXPECT_EQ(ExponentsOf(usual), (std::vector<int>{0, 600, 0, 1800}));
  EXPECT_FALSE(usual.IsPlainProduct(2));
  EXPECT_TRUE(usual.IsPlainProduct(1));
  const QvColumnSizes mixed = SizesOf({{0x1p+30, 0x1p+2}, {0x1p-600, 0x1p-3}});
  EXPECT_EQ(ExponentsOf(mixed), (std::vector<int>{0, 30, 32, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{0x1p-700, 0x1p-700}, {0x1p-500, 0x1p-700}})),
            (std::vector<int>{0, -500, -1200, -2100}));
}

TEST(QvColumnSizes, AProductThatUnderflowsOnTheWayCountsBesideASmallOne) {
  QvColumnSizes sizes;
  sizes.SetVariables({0, 1, 2});
  sizes.SetEffects({Effect(0, {{0, 1}, {1, 1}, {2, 1}})});
  for (const std::vector<double>& record :
       {std::vector<double>{0x1p-300, 1.0, 1.0}, std::vector<double>{0x1p-900, 0x1p-300, 0x1p+950},
        std::vector<double>{0x1p-310, 1.0, 1.0}}) {
    sizes.MeasureProducts(record.data());
  }
  EXPECT_EQ(sizes.GetEffectExponent(0), -250);
  EXPECT_FALSE(sizes.IsPlainProduct(0));
}

TEST(QvColumnSizes, AProductThatOverflowsOnTheWayToZeroIsNotPlain) {
  QvColumnSizes sizes;
  sizes.SetVariables({0, 1});
  sizes.SetEffects({Effect(0, {{0, 2}, {1, 1}})});
  for (const std::vector<double>& record : {std::vector<double>{7.0, 1.0}, {1e200, 0.0}}) {
    sizes.MeasureProducts(record.data());
  }
  EXPECT_FALSE(sizes.IsPlainProduct(0));
  EXPECT_EQ(sizes.GetEffectExponent(0), 0) << "49 is the largest";
}

TEST(QvColumnSizes, WhatHasNoMagnitudeHasNoSize) {
  EXPECT_EQ(ExponentsOf(SizesOf({{kInfinity, 1.0}, {kNaN, -kInfinity}, {0x1p+30, 1.0}})),
            (std::vector<int>{0, 30, 30, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({{0.0, 0.0}})), (std::vector<int>{0, 0, 0, 0}));
  EXPECT_EQ(ExponentsOf(SizesOf({})), (std::vector<int>{0, 0, 0, 0}));
}

TEST(QvColumnSizes, OfVariablesAreToldApart) {
  const QvColumnSizes sizes = SizesOf({{0x1p+30, 0x1p-30}});
  EXPECT_EQ(sizes.GetVariableExponent(kX), 30);
  EXPECT_EQ(sizes.GetVariableExponent(kZ), -30);
  EXPECT_EQ(sizes.GetVariableExponent(0), 0) << "it is not measured";
}

TEST(QvColumnSizes, WithoutEffectsEveryColumnIsAsItIs) {
  QvColumnSizes sizes;
  sizes.SetVariables({kX});
  sizes.MeasureVariable(0, 1e300);
  sizes.MeasureProducts(nullptr);
  EXPECT_EQ(sizes.GetEffectExponent(0), 0);
  EXPECT_TRUE(sizes.IsPlainProduct(7));
}

TEST(QvColumnSizes, NewVariablesAndEffectsAreMeasuredAfresh) {
  QvColumnSizes sizes = SizesOf({{0x1p+30, 0x1p+30}});
  sizes.SetVariables({kX, kZ});
  sizes.SetEffects(Effects());
  EXPECT_EQ(ExponentsOf(sizes), (std::vector<int>{0, 0, 0, 0}));
}

TEST(QvColumnSizes, AProductOfLargeNumbersCountsThoughTheirQuotientIsSmall) {
  EXPECT_EQ(ExponentsOf(SizesOf({{1.0, 1.0}, {0x1p+30, 0x1p+30}})),
            (std::vector<int>{0, 30, 60, 90}));
}

/// Products that differ in kind: usual, large, beyond a double, and overflowing on the way only.
const std::vector<std::vector<std::pair<double, double>>> kKinds{{},
                                                                 {{1.0, 2.0}},
                                                                 {{0x1p+30, 0x1p+30}, {3.0, 1.0}},
                                                                 {{0x1p+600, 0x1p+600}},
                                                                 {{0x1p+700, 0x1p+800}},
                                                                 {{0x1p+600, 0x1p-600}},
                                                                 {{0x1p-700, 0x1p-700}},
                                                                 {{kNaN, kInfinity}}};

TEST(QvColumnSizes, OfPartsAreThoseOfAllRecords) {
  for (const auto& first : kKinds) {
    for (const auto& second : kKinds) {
      std::vector<std::pair<double, double>> all = first;
      all.insert(all.end(), second.begin(), second.end());
      const QvColumnSizes expected = SizesOf(all);
      QvColumnSizes merged = SizesOf(first);
      merged.Merge(SizesOf(second));
      EXPECT_EQ(ExponentsOf(merged), ExponentsOf(expected));
      for (std::size_t effect = 0; effect < Effects().size(); ++effect) {
        EXPECT_EQ(merged.IsPlainProduct(effect),
                  SizesOf(first).IsPlainProduct(effect) && SizesOf(second).IsPlainProduct(effect));
      }
      // Further records count as they would have among all.
      QvColumnSizes further = expected;
      Add(further, 0x1p+29, 0x1p+30);
      Add(merged, 0x1p+29, 0x1p+30);
      EXPECT_EQ(ExponentsOf(merged), ExponentsOf(further));
    }
  }
}

TEST(QvColumnSizes, ThatAreKeptAreThoseThatWereMeasured) {
  for (const auto& kind : kKinds) {
    const QvColumnSizes measured = SizesOf(kind);
    QvColumnSizes taken = SizesOf({});
    ASSERT_TRUE(taken.TakeContents(measured.GetContents()));
    EXPECT_EQ(ExponentsOf(taken), ExponentsOf(measured));
    for (std::size_t effect = 0; effect < Effects().size(); ++effect) {
      EXPECT_EQ(taken.IsPlainProduct(effect), measured.IsPlainProduct(effect));
    }
  }
}

TEST(QvColumnSizes, ThatNobodyMeasuredAreRefused) {
  const QvColumnSizeContents contents = SizesOf({{3.0, 4.0}}).GetContents();
  const auto refuses = [&](auto&& change) {
    QvColumnSizeContents changed = contents;
    change(changed);
    return !SizesOf({}).TakeContents(changed);
  };
  EXPECT_FALSE(refuses([](auto&) {}));
  for (const double size : {-1.0, kNaN, kInfinity}) {
    EXPECT_TRUE(refuses([size](auto& changed) { changed.fLargest[1] = size; })) << size;
    EXPECT_TRUE(refuses([size](auto& changed) { changed.fProducts[1].fLargest = size; })) << size;
  }
  for (const long long sign : {1, -1}) {
    const auto refusesMagnitude = [&](long long magnitude) {
      return refuses([=](auto& changed) { changed.fProducts[0].fMagnitude = sign * magnitude; });
    };
    EXPECT_FALSE(refusesMagnitude(1 << 30)) << "no product of many numbers is farther away";
    EXPECT_TRUE(refusesMagnitude((1 << 30) + 1));
  }
  EXPECT_TRUE(refuses([](auto& changed) { changed.fLargest.pop_back(); }));
  EXPECT_TRUE(refuses([](auto& changed) { changed.fProducts.pop_back(); }));
}

}  // namespace
