#include "host/fit/RecordPatterns.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Values = std::vector<double>;

Values ValuesOf(const RecordPatterns& patterns, std::size_t pattern) {
  const auto values = patterns.Values(pattern);
  return {values.begin(), values.end()};
}

TEST(RecordPatterns, StandInTheOrderOfTheFirstOfEach) {
  RecordPatterns patterns(2, 10);
  for (const Values& record : {Values{3, 1}, {2, 5}, {3, 1}, {0, 0}, {3, 1}, {2, 5}}) {
    ASSERT_TRUE(patterns.Add(record));
  }
  ASSERT_EQ(patterns.Size(), 3U);
  EXPECT_EQ(ValuesOf(patterns, 0), (Values{3, 1}));
  EXPECT_EQ(ValuesOf(patterns, 1), (Values{2, 5}));
  EXPECT_EQ(ValuesOf(patterns, 2), (Values{0, 0}));
  EXPECT_EQ(patterns.Count(0), 3);
  EXPECT_EQ(patterns.Count(1), 2);
  EXPECT_EQ(patterns.Count(2), 1);
}

TEST(RecordPatterns, BothZerosAreEqual) {
  RecordPatterns patterns(1, 10);
  ASSERT_TRUE(patterns.Add(Values{-0.0}) && patterns.Add(Values{0.0}));
  ASSERT_EQ(patterns.Size(), 1U);
  EXPECT_FALSE(std::signbit(patterns.Values(0)[0]));
  EXPECT_EQ(patterns.Count(0), 2);
}

TEST(RecordPatterns, ThereAreNoMoreThanAllowed) {
  RecordPatterns patterns(1, 2);
  ASSERT_TRUE(patterns.Add(Values{1}) && patterns.Add(Values{2}));
  EXPECT_FALSE(patterns.Add(Values{3}));
  EXPECT_TRUE(patterns.Add(Values{1}));
  EXPECT_EQ(patterns.Size(), 2U);
  EXPECT_EQ(patterns.Count(0), 2);
}

TEST(RecordPatterns, ManyAreAllFoundAgain) {
  constexpr int kMany = 50000;
  RecordPatterns patterns(3, kMany);
  const auto recordOf = [](int i) {
    return Values{i % 7 * 1.0, i * 0.25, i % 2 == 0 ? -1.0 : 5.0};
  };
  for (int turn = 1; turn <= 2; ++turn) {
    for (int i = 0; i < kMany; ++i) ASSERT_TRUE(patterns.Add(recordOf(i)));
    ASSERT_EQ(patterns.Size(), static_cast<std::size_t>(kMany));
  }
  for (int i = 0; i < kMany; ++i) {
    ASSERT_EQ(ValuesOf(patterns, static_cast<std::size_t>(i)), recordOf(i));
    ASSERT_EQ(patterns.Count(static_cast<std::size_t>(i)), 2);
  }
}

TEST(RecordPatterns, MergedFollowThoseBefore) {
  RecordPatterns first(1, 3);
  RecordPatterns second(1, 3);
  for (const double value : {5.0, 4.0, 5.0}) ASSERT_TRUE(first.Add(Values{value}));
  for (const double value : {6.0, 5.0, 6.0, 6.0}) ASSERT_TRUE(second.Add(Values{value}));
  ASSERT_TRUE(first.Merge(second));
  ASSERT_EQ(first.Size(), 3U);
  EXPECT_EQ(ValuesOf(first, 2), (Values{6}));
  EXPECT_EQ(first.Count(0), 3);
  EXPECT_EQ(first.Count(1), 1);
  EXPECT_EQ(first.Count(2), 3);
  RecordPatterns third(1, 3);
  ASSERT_TRUE(third.Add(Values{7}));
  EXPECT_FALSE(first.Merge(third));
}

TEST(RecordPatterns, DigestsOfCodesDiffer) {
  std::set<std::uint64_t> digests;
  std::set<std::uint64_t> lower;
  for (int i = 0; i < 100; ++i) {
    for (int j = 0; j < 100; ++j) {
      const std::uint64_t digest = HashOf(Values{i * 1.0, j * 1.0});
      digests.insert(digest);
      lower.insert(digest & 0xffff);
    }
  }
  EXPECT_EQ(digests.size(), 10000U);
  // Of 65,536 slots 10,000 random ones are 9,274 different ones.
  EXPECT_GT(lower.size(), 9000U);
}

}  // namespace
}  // namespace qvhost
