#include "host/table/DistinctCount.h"

#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "host/Hash.h"

namespace qvhost {
namespace {

DistinctCount CountOf(std::uint64_t values, std::uint64_t repeats, std::size_t most) {
  DistinctCount count(most);
  for (std::uint64_t k = 0; k < repeats; ++k) {
    for (std::uint64_t i = 0; i < values; ++i) count.Add(MixBits(i));
  }
  return count;
}

TEST(DistinctCount, IsExactUpToItsLimit) {
  const DistinctCount count = CountOf(1000, 3, 1000);
  EXPECT_TRUE(count.IsExact());
  EXPECT_EQ(count.Value(), 1000);
  EXPECT_FALSE(CountOf(1001, 1, 1000).IsExact());
}

TEST(DistinctCount, IsNearBeyondIt) {
  for (const std::uint64_t values : {20000U, 300000U, 1000000U}) {
    const DistinctCount count = CountOf(values, 1, 16384);
    // Five standard errors.
    EXPECT_NEAR(static_cast<double>(count.Value()), static_cast<double>(values),
                5 * 1.2 / std::sqrt(16384.0) * static_cast<double>(values));
  }
}

TEST(DistinctCount, DoesNotDependOnTheOrder) {
  DistinctCount backwards(512);
  for (std::uint64_t i = 5000; i-- > 0;) backwards.Add(MixBits(i));
  EXPECT_EQ(backwards.Value(), CountOf(5000, 2, 512).Value());
}

TEST(DistinctCount, CountsTheHashThatIsZero) {
  DistinctCount count(64);
  count.Add(0);
  count.Add(0);
  EXPECT_EQ(count.Value(), 1);
}

}  // namespace
}  // namespace qvhost
