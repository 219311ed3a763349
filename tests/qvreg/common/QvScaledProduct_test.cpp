#include "qvreg/common/QvScaledProduct.h"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvScaledProduct;

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

}  // namespace
