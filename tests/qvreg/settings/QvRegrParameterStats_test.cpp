#include "qvreg/settings/QvRegrParameterStats.h"

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"

namespace {

constexpr double kMissing = QvMV::gMissingValue;

TEST(QvRegrParameterStats, StartsWithMissingValues) {
  const QvRegrParameterStats stats;
  EXPECT_EQ(stats.fParameterIndex, -1);
  EXPECT_EQ(stats.fEstimate, kMissing);
  EXPECT_TRUE(stats.fbRedundant);
  for (const double statistic : stats.fStatistics) EXPECT_EQ(statistic, kMissing);
  EXPECT_EQ(stats.fCount, 0.0);
  EXPECT_EQ(stats.fStatistic, kMissing);
  EXPECT_EQ(stats.fDesignEffect, kMissing);
  EXPECT_EQ(stats.fEffectIndex, -1);
  EXPECT_EQ(stats.fLastStatistic, kMissing);
}

TEST(QvRegrParameterStats, TheRootOfAMissingDesignEffectIsMissing) {
  EXPECT_EQ(QvRegrParameterStats().GetSqrtDeff(), kMissing);
}

TEST(QvRegrParameterStats, TheRootOfADesignEffectIsItsSquareRoot) {
  QvRegrParameterStats stats;
  stats.fDesignEffect = 4.0;
  EXPECT_EQ(stats.GetSqrtDeff(), 2.0);
  stats.fDesignEffect = 0.0;
  EXPECT_EQ(stats.GetSqrtDeff(), 0.0);
}

TEST(QvRegrParameterStats, TheRootOfANegativeDesignEffectIsMissing) {
  QvRegrParameterStats stats;
  stats.fDesignEffect = -1.0;
  EXPECT_EQ(stats.GetSqrtDeff(), kMissing);
}

TEST(QvRegrParameterStats, AssignmentCopiesEveryField) {
  QvRegrParameterStats original;
  original.fParameterIndex = 3;
  original.fEstimate = 0.5;
  original.fbRedundant = false;
  original.fStatistics[2] = 7.0;
  original.fEffectIndex = 1;
  QvRegrParameterStats copy;
  copy = original;
  EXPECT_EQ(copy.fParameterIndex, 3);
  EXPECT_EQ(copy.fEstimate, 0.5);
  EXPECT_FALSE(copy.fbRedundant);
  EXPECT_EQ(copy.fStatistics[2], 7.0);
  EXPECT_EQ(copy.fEffectIndex, 1);
}

}  // namespace
