#include "qvreg/common/Constants.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Constants, MachineEpsilonIsTheGapBehindOne) {
  EXPECT_EQ(QvPower::gMachineEpsilon, std::ldexp(1.0, -52));
  EXPECT_EQ(std::nextafter(1.0, 2.0) - 1.0, QvPower::gMachineEpsilon);
}

TEST(Constants, MachineMaxExpIsTheLargestArgumentWithAFiniteExponential) {
  EXPECT_LT(std::exp(QvPower::gMachineMaxExp), kInfinity);
  EXPECT_EQ(std::exp(std::nextafter(QvPower::gMachineMaxExp, kInfinity)), kInfinity);
}

TEST(Constants, TheMissingValueIsTheLowestFiniteDouble) {
  EXPECT_TRUE(std::isfinite(QvMV::gMissingValue));
  EXPECT_EQ(std::nextafter(QvMV::gMissingValue, -kInfinity), -kInfinity);
}

}  // namespace
