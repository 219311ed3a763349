#include "qvreg/common/QvWeightUnit.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvWeightUnit;
using Limits = std::numeric_limits<double>;

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
