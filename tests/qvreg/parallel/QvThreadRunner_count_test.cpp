#include <gtest/gtest.h>

#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/ModelSettings.h"

namespace {

TEST(QvPartCount, EstimatesTheParametersOfSettings) {
  qvtest::LogisticSettings logistic(0, 4, {{1, 100}, {2, 50}}, {3});
  logistic.Effect({1, 2}).Effect({1}).Effect({}, {3, 3});
  qvtest::LinearSettings linear(0, {{1, 100}, {2, 50}}, {3});
  linear.Effect({1, 2}).Effect({1}).Effect({}, {3, 3});
  // About 1 + 5000 + 100 + 1 parameters, and three times as many: 64 n / (p^2 / 2).
  EXPECT_EQ(QvPartCount(20000000, linear.Get()), 98);
  EXPECT_EQ(QvPartCount(100000000, logistic.Get()), 54);
  EXPECT_EQ(QvPartCount(0, linear.Get()), 1);
}

TEST(QvPartCount, CountsNoMoreLevelCombinationsThanRecords) {
  qvtest::LinearSettings linear(0, {{1, 3000}, {2, 3000}}, {});
  linear.Effect({1, 2});
  // 1 + 100000 parameters, not 9000001: the least of many parts either way, but not fewer.
  EXPECT_EQ(QvPartCount(100000, linear.Get()), 16);
  EXPECT_EQ(QvPartCount(100000, linear.Get()), QvPartCount(100000, 100001));
}

TEST(QvPartCount, GrowsWithTheRecordsUnlessMergingCostsMore) {
  EXPECT_EQ(QvPartCount(0, 10), 1);
  EXPECT_EQ(QvPartCount(2047, 10), 1);
  EXPECT_EQ(QvPartCount(20480, 10), 10);
  EXPECT_EQ(QvPartCount(1000000, 11), 128);
  EXPECT_EQ(QvPartCount(3000000, 4500), 18);
  EXPECT_EQ(QvPartCount(100000, 46339), 16) << "dense rows cost more than a merge";
}

TEST(QvPartCount, EstimatesOneParameterForEachLevelCombinationAndTheIntercept) {
  qvtest::LinearSettings linear(0, {{1, 100}, {2, 50}}, {3});
  linear.Effect({1, 2}).Effect({1}).Effect({}, {3, 3});
  // 1 + 5000 + 100 + 1 parameters: 128 n / 5102^2 is less than 98 up to n = 19929528.
  EXPECT_EQ(QvPartCount(19929528, linear.Get()), 97);
  EXPECT_EQ(QvPartCount(19929529, linear.Get()), 98);
}

}  // namespace
