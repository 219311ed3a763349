#include "host/table/QuantileSketch.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

constexpr std::array<double, 3> kQuartiles = {0.25, 0.5, 0.75};

TEST(QuantilesOf, InterpolatesAsTheDefaultOfR) {
  // quantile(c(1, 2, 4, 8), c(.25, .5, .75))
  EXPECT_EQ(QuantilesOf({{8.0, 1}, {1.0, 1}, {4.0, 1}, {2.0, 1}}, kQuartiles),
            (std::vector<double>{1.75, 3.0, 5.0}));
  // The same with a weight: quantile(c(1, 1, 1, 5), ...)
  EXPECT_EQ(QuantilesOf({{5.0, 1}, {1.0, 3}}, kQuartiles), (std::vector<double>{1.0, 1.0, 2.0}));
  EXPECT_EQ(QuantilesOf({{7.0, 1}}, kQuartiles), (std::vector<double>{7.0, 7.0, 7.0}));
}

TEST(QuantileSketch, IsExactUpToItsBuffer) {
  QuantileSketch sketch;
  for (std::size_t i = QuantileSketch::kBuffer; i-- > 0;) sketch.Add(static_cast<double>(i));
  EXPECT_TRUE(sketch.IsExact());
  EXPECT_EQ(QuantilesOf(sketch.Values(), kQuartiles),
            (std::vector<double>{1023.75, 2047.5, 3071.25}));
  sketch.Add(0.0);
  EXPECT_FALSE(sketch.IsExact());
}

TEST(QuantileSketch, TakesTheOtherValuesByTurns) {
  QuantileSketch sketch;
  constexpr std::size_t kTwice = 2 * QuantileSketch::kBuffer;
  for (std::size_t i = 0; i <= kTwice; ++i) sketch.Add(static_cast<double>(i));
  for (const WeightedValue& value : sketch.Values()) {
    if (value.weight == 1) continue;
    const bool isSecond = value.value >= static_cast<double>(QuantileSketch::kBuffer);
    EXPECT_EQ(std::fmod(value.value, 2.0), isSecond ? 1.0 : 0.0) << value.value;
  }
}

TEST(QuantileSketch, KeepsItsPromiseBeyondIt) {
  constexpr std::int64_t kCount = 1000003;
  QuantileSketch sketch;
  // All numbers below kCount, which is a prime, in an order that is far from sorted.
  for (std::int64_t i = 0; i < kCount; ++i) {
    sketch.Add(static_cast<double>(i * 367879 % kCount));
  }
  std::int64_t weights = 0;
  for (const WeightedValue& value : sketch.Values()) weights += value.weight;
  EXPECT_EQ(weights, kCount);
  const double allowed = std::log2(kCount / 4096.0) / 8192.0 * kCount;
  const std::vector<double> quartiles = QuantilesOf(sketch.Values(), kQuartiles);
  for (std::size_t i = 0; i < quartiles.size(); ++i) {
    EXPECT_NEAR(quartiles[i], kQuartiles.at(i) * kCount, allowed);
  }
}

}  // namespace
}  // namespace qvhost
