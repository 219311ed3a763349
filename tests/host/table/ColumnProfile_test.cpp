#include "host/table/ColumnProfile.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "host/Hash.h"

namespace qvhost {
namespace {

const ProfileLimits kSmall = {.values = 8, .textBytes = 1000, .hashes = 1000};

void Add(double value, NumberProfile& profile) { profile.Add(value, HashNumber(value)); }

TEST(NumberProfile, SumsUpBothSidesOfALimit) {
  // Few and many different values: what is counted, and what is not.
  for (const int modulus : {5, 500}) {
    NumberProfile profile(kSmall);
    double sum = 0.0;
    for (int i = 0; i < 3000; ++i) {
      Add(i % modulus, profile);
      sum += i % modulus;
    }
    const ColumnSummary summary = profile.Finish();
    EXPECT_EQ(summary.distinct, modulus);
    EXPECT_TRUE(summary.isDistinctExact);
    EXPECT_EQ(summary.areLevelsExact, modulus == 5);
    ASSERT_TRUE(summary.numbers);
    EXPECT_DOUBLE_EQ(summary.numbers->mean, sum / 3000);
    EXPECT_EQ(summary.numbers->minimum, 0.0);
    EXPECT_EQ(summary.numbers->maximum, modulus - 1.0);
    // The variance of 0, ..., m - 1 in equal numbers.
    const double variance = (modulus * modulus - 1.0) / 12.0 * 3000.0 / 2999.0;
    EXPECT_NEAR(*summary.numbers->deviation, std::sqrt(variance), 1e-12 * modulus);
    EXPECT_TRUE(summary.numbers->areQuartilesExact);
    EXPECT_EQ(summary.numbers->quartiles[1], modulus == 5 ? 2.0 : 249.5);
  }
}

TEST(NumberProfile, KeepsSmallDifferencesOfLargeNumbers) {
  NumberProfile profile(kSmall);
  for (int i = 0; i < 5000; ++i) Add(1e15 + i % 2, profile);
  EXPECT_NEAR(*profile.Finish().numbers->deviation, 0.5 * std::sqrt(5000.0 / 4999.0), 1e-12);
}

TEST(NumberProfile, TellsMissingFromInfinite) {
  NumberProfile profile(kSmall);
  profile.AddMissing();
  Add(std::numeric_limits<double>::quiet_NaN(), profile);
  Add(std::numeric_limits<double>::infinity(), profile);
  Add(3.5, profile);
  const ColumnSummary summary = profile.Finish();
  EXPECT_EQ(summary.rows, 4);
  EXPECT_EQ(summary.missing, 2);
  EXPECT_EQ(summary.infinite, 1);
  EXPECT_EQ(summary.distinct, 2);
  EXPECT_EQ(summary.numbers->maximum, 3.5);
  EXPECT_FALSE(summary.numbers->deviation);
  EXPECT_FALSE(summary.numbers->areWhole);
}

TEST(NumberProfile, WithoutAValueHasNoNumbers) {
  NumberProfile profile(kSmall);
  profile.AddMissing();
  const ColumnSummary summary = profile.Finish();
  EXPECT_FALSE(summary.numbers);
  EXPECT_EQ(summary.distinct, 0);
}

TEST(TextProfile, CountsFewLevelsExactly) {
  TextProfile profile(kSmall);
  for (int i = 0; i < 100; ++i) profile.Add(i % 3 == 0 ? "b" : i % 3 == 1 ? "a" : "c");
  profile.AddMissing();
  const ColumnSummary summary = profile.Finish();
  EXPECT_EQ(summary.rows, 101);
  EXPECT_EQ(summary.missing, 1);
  EXPECT_TRUE(summary.areLevelsExact);
  ASSERT_EQ(summary.levels.size(), 3U);
  // Most frequent first, of equal ones the first by bytes.
  EXPECT_EQ(summary.levels[0].level, "b");
  EXPECT_EQ(summary.levels[0].count, 34);
  EXPECT_EQ(summary.levels[1].level, "a");
  EXPECT_EQ(summary.first, "a");
  EXPECT_EQ(summary.last, "c");
}

TEST(TextProfile, OfManyLevelsKeepsTheFrequentOnes) {
  TextProfile profile(kSmall);
  for (int i = 0; i < 900; ++i) {
    profile.Add(i % 3 == 0 ? "often" : "x" + std::to_string(i));
  }
  const ColumnSummary summary = profile.Finish();
  EXPECT_FALSE(summary.areLevelsExact);
  EXPECT_EQ(summary.distinct, 601);
  // Nothing else is certain to be frequent.
  ASSERT_EQ(summary.levels.size(), 1U);
  EXPECT_EQ(summary.levels.front().level, "often");
  EXPECT_LE(summary.levels.front().count, 300);
  EXPECT_GT(summary.levels.front().count, 100);
}

TEST(TextProfile, LongTextsTakeNoMoreMemoryThanTheyMay) {
  TextProfile profile(kSmall);
  for (int i = 0; i < 50; ++i) profile.Add(std::string(400, static_cast<char>('A' + i)));
  const ColumnSummary summary = profile.Finish();
  EXPECT_EQ(summary.distinct, 50);
  std::size_t bytes = 0;
  for (const LevelCount& level : summary.levels) bytes += level.level.size();
  EXPECT_LE(bytes, kSmall.textBytes);
}

TEST(ProfileLimits, GrowSmallerWithMoreColumns) {
  EXPECT_GT(ProfileLimits::Of(5).values, ProfileLimits::Of(500).values);
  EXPECT_GT(ProfileLimits::Of(100000).values, 1000U);
}

}  // namespace
}  // namespace qvhost
