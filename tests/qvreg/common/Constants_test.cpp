#include "qvreg/common/Constants.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Constants, MachineMaxExpIsTheLargestArgumentWithAFiniteExponential) {
  EXPECT_LT(std::exp(QvPower::gMachineMaxExp), kInfinity);
  EXPECT_EQ(std::exp(std::nextafter(QvPower::gMachineMaxExp, kInfinity)), kInfinity);
}

}  // namespace
