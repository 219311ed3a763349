#include "qvreg/common/QvScaledProduct.h"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvScaledProduct;
using QvCommon::QvWeightUnit;
using Limits = std::numeric_limits<double>;

QvScaledProduct ProductOf(const std::vector<double>& values) {
  QvScaledProduct product;
  for (const double value : values) product.Multiply(value);
  return product;
}

TEST(QvScaledProduct, OfNothingIsOne) {
  EXPECT_EQ(QvScaledProduct().InUnitsOf(0), 1.0);
  EXPECT_EQ(QvScaledProduct().GetMagnitude(), 0);
}

TEST(QvScaledProduct, OfUsualNumbersIsThePlainOne) {
  const QvScaledProduct product = ProductOf({0.1, -3.7, 1e100});
  EXPECT_TRUE(product.IsPlain());
  EXPECT_EQ(product.InUnitsOf(0), 0.1 * -3.7 * 1e100);
  EXPECT_EQ(product.InUnitsOf(10), 0.1 * -3.7 * 1e100 / 1024);
}

TEST(QvScaledProduct, RoundsAsThePlainOneInOtherUnits) {
  // 500, 800 and 700 powers of two more than the numbers that the plain product has.
  const double expected = 1.1 * 1.3 * 1.7;
  const QvScaledProduct large =
      ProductOf({std::ldexp(1.1, 500), std::ldexp(1.3, 800), std::ldexp(1.7, 700)});
  EXPECT_FALSE(large.IsPlain());
  EXPECT_EQ(large.InUnitsOf(2000), expected);
  EXPECT_EQ(large.GetMagnitude(), 2001);
  const QvScaledProduct small =
      ProductOf({std::ldexp(1.1, -500), std::ldexp(1.3, -800), std::ldexp(1.7, -700)});
  EXPECT_EQ(small.InUnitsOf(-2000), expected);
  EXPECT_EQ(small.GetMagnitude(), -1999);
}

TEST(QvScaledProduct, GoesBeyondTheRangeOnTheWay) {
  const QvScaledProduct product = ProductOf({1e200, 1e200, 1e-200, 1e-200, 3.0});
  EXPECT_FALSE(product.IsPlain());
  EXPECT_NEAR(product.InUnitsOf(0), 3.0, 1e-14);
}

TEST(QvScaledProduct, TakesSubnormalNumbersExactly) {
  const double least = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(ProductOf({5 * least}).InUnitsOf(-1074), 5.0);
  EXPECT_EQ(ProductOf({least, least, 3.0}).InUnitsOf(-2148), 3.0);
}

TEST(QvScaledProduct, HasNoMagnitudeWhereThereIsNone) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(ProductOf({1e200, 0.0, 1e200}).HasMagnitude());
  EXPECT_EQ(ProductOf({1e200, 1e200, 0.0}).InUnitsOf(700), 0.0);
  EXPECT_FALSE(ProductOf({2.0, infinity}).HasMagnitude());
  EXPECT_EQ(ProductOf({2.0, -infinity, 1e300}).InUnitsOf(1300), -infinity);
  EXPECT_FALSE(ProductOf({infinity, 0.0}).HasMagnitude());
  EXPECT_TRUE(std::isnan(ProductOf({infinity, 0.0}).InUnitsOf(5)));
}

TEST(QvScaledProduct, OverflowsAndUnderflowsInUnitsThatDoNotHoldIt) {
  const QvScaledProduct product = ProductOf({1e300, 1e300, 1e300});
  EXPECT_EQ(product.InUnitsOf(0), std::numeric_limits<double>::infinity());
  EXPECT_EQ(product.InUnitsOf(1LL << 40), 0.0);
  EXPECT_EQ(product.InUnitsOf(-(1LL << 40)), std::numeric_limits<double>::infinity());
}

TEST(QvWeightUnit, IsTheLargestPowerOfTwoNotAboveAWeight) {
  EXPECT_EQ(QvWeightUnit().GetExponent(), 0);
  EXPECT_EQ(QvWeightUnit(1.0).GetExponent(), 0);
  EXPECT_EQ(QvWeightUnit(1000.0).GetExponent(), 9);
  EXPECT_EQ(QvWeightUnit(1024.0).GetExponent(), 10);
  EXPECT_EQ(QvWeightUnit(0.75).GetExponent(), -1);
  EXPECT_EQ(QvWeightUnit(Limits::max()).GetExponent(), 1023);
  EXPECT_EQ(QvWeightUnit(Limits::min()).GetExponent(), -1022);
  EXPECT_EQ(QvWeightUnit(Limits::denorm_min()).GetExponent(), -1074);
}

TEST(QvWeightUnit, OfAProductNeedsNoProductInRange) {
  EXPECT_EQ(QvWeightUnit(3.0, 3.0).GetExponent(), 3);
  EXPECT_EQ(QvWeightUnit(1.5, 1.25).GetExponent(), 0);
  EXPECT_EQ(QvWeightUnit(0x1.8p+1000, 0x1.8p+1000).GetExponent(), 2001);
  EXPECT_EQ(QvWeightUnit(0x1p-1000, 0x1p-1000).GetExponent(), -2000);
}

TEST(QvWeightUnit, CountsTheProductOfWeightsInUnits) {
  EXPECT_EQ(QvWeightUnit().Of(3.0, 0.25), 0.75);
  EXPECT_EQ(QvWeightUnit(1000.0).Of(7.0), 7.0 / 512);
  EXPECT_EQ(QvWeightUnit(0.3).Of(0.1, 3.0), (0.1 * 3.0) * 4.0) << "rounded once, as a product is";
  EXPECT_EQ(QvWeightUnit(5.0).Of(0.0, 3.0), 0.0);
}

TEST(QvWeightUnit, KeepsWhatAProductWouldLose) {
  EXPECT_EQ(QvWeightUnit(0x1p+700).Of(0x1.8p+700, 0x1.4p+700), 0x1.ep+700);
  EXPECT_EQ(QvWeightUnit(0x1p-700).Of(0x1.8p-700, 0x1.4p-700), 0x1.ep-700);
  EXPECT_EQ(QvWeightUnit(0x1p-540).Of(0x1.8000000000001p-540, 0x1.8p-540),
            0x1.8000000000001p-540 * 1.5)
      << "not by way of a number below the least normal one";
}

TEST(QvWeightUnit, MayBeBeyondTheRangeOfADouble) {
  EXPECT_EQ(QvWeightUnit(0x1p+1000, 0x1p+1000).Of(0x1.8p+1000, 0x1p+1001), 3.0);
  EXPECT_EQ(QvWeightUnit(0x1p-1000, 0x1p-1000).Of(0x1.8p-1000, 0x1p-999), 3.0);
  EXPECT_EQ(QvWeightUnit(0x1p-1070).Of(0x1.8p-1069), 3.0);
  EXPECT_EQ(QvWeightUnit(0x1p-1030).Of(0x1.8p-1000), 0x1.8p+30);
  EXPECT_EQ(QvWeightUnit(Limits::max()).Of(Limits::max()), Limits::max() * 0x1p-1023);
}

TEST(QvWeightUnit, LeavesWhatIsNotFinite) {
  EXPECT_EQ(QvWeightUnit(8.0).Of(Limits::infinity(), 2.0), Limits::infinity());
  EXPECT_EQ(QvWeightUnit(8.0).Of(2.0, Limits::infinity()), Limits::infinity());
  EXPECT_TRUE(std::isnan(QvWeightUnit(8.0).Of(Limits::quiet_NaN(), 2.0)));
  EXPECT_TRUE(std::isnan(QvWeightUnit(8.0).Of(0.0, Limits::infinity())));
}

}  // namespace
