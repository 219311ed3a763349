#include "qvreg/common/QvDoubleDouble.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace QvCommon {
namespace {

/// A whole number held by a double, modulo 2^64.
std::uint64_t Modulo64(double whole) {
  const double rest = std::fmod(std::fabs(whole), 0x1p64);
  const auto bits = static_cast<std::uint64_t>(rest);
  return whole < 0.0 ? 0 - bits : bits;
}

/// A random whole number of up to 53 bits, of either sign.
std::int64_t RandomWhole(std::mt19937_64& random) {
  constexpr std::int64_t kBound = std::int64_t{1} << 53;
  return std::uniform_int_distribution<std::int64_t>(-kBound, kBound)(random);
}

/// The high part is the rounded number exactly when the low part is at most half of its last place.
void ExpectRounded(const QvDoubleDouble& number) {
  EXPECT_EQ(number.fHigh + number.fLow, number.fHigh);
}

TEST(QvDoubleDouble, StartsAtZero) { EXPECT_EQ(QvDoubleDouble().Value(), 0.0); }

TEST(QvDoubleDouble, SumKeepsWhatRoundingLoses) {
  const QvDoubleDouble sum = QvDoubleDouble::Sum(1.0, 0x1p-80);
  EXPECT_EQ(sum.fHigh, 1.0);
  EXPECT_EQ(sum.fLow, 0x1p-80);
  const QvDoubleDouble swapped = QvDoubleDouble::Sum(0x1p-80, 1.0);
  EXPECT_EQ(swapped.fHigh, 1.0);
  EXPECT_EQ(swapped.fLow, 0x1p-80);
}

TEST(QvDoubleDouble, SumOfRandomNumbersIsExact) {
  std::mt19937_64 random(1);
  for (int trial = 0; trial < 10000; ++trial) {
    const std::int64_t a = RandomWhole(random);
    const std::int64_t b = RandomWhole(random) >> (trial % 50);
    const QvDoubleDouble sum = QvDoubleDouble::Sum(static_cast<double>(a), static_cast<double>(b));
    EXPECT_EQ(static_cast<std::int64_t>(sum.fHigh) + static_cast<std::int64_t>(sum.fLow), a + b);
    ExpectRounded(sum);
  }
}

TEST(QvDoubleDouble, ProductKeepsWhatRoundingLoses) {
  const double a = 1.0 + 0x1p-30;
  const QvDoubleDouble square = QvDoubleDouble::Product(a, a);
  EXPECT_EQ(square.fHigh, 1.0 + 0x1p-29);
  EXPECT_EQ(square.fLow, 0x1p-60);
}

TEST(QvDoubleDouble, ProductErrorNeedsNoFusedOperation) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> mantissa(1.0, 2.0);
  std::uniform_int_distribution<int> exponent(-400, 400);
  for (int trial = 0; trial < 10000; ++trial) {
    const double a = std::ldexp(mantissa(random), exponent(random));
    const double b = -std::ldexp(mantissa(random), exponent(random));
    const double high = a * b;
    EXPECT_EQ(QvDoubleDouble::ProductError(a, b, high), QvDoubleDouble::Product(a, b).fLow);
  }
}

TEST(QvDoubleDouble, ProductErrorOfWhatIsNotFiniteIsNotANumber) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(std::isnan(QvDoubleDouble::ProductError(infinity, 2.0, infinity)));
  EXPECT_TRUE(std::isnan(QvDoubleDouble::ProductError(2.0, -infinity, -infinity)));
  EXPECT_TRUE(std::isnan(QvDoubleDouble::ProductError(notANumber, 2.0, notANumber)));
}

TEST(QvDoubleDouble, ProductErrorOfTheLargestNumbersIsExact) {
  const double large = 0x1.fffffffffffffp+1023;  // (2 - 2^-52) 2^1023
  const double factor = 1.0 - 0x1p-53;
  // 2^1024 (1 - 2^-53) (1 - 2^-53): the square's last term, 2^-106, is what rounding loses.
  EXPECT_EQ(QvDoubleDouble::ProductError(large, factor, large * factor), 0x1p+918);
  EXPECT_EQ(QvDoubleDouble::ProductError(factor, large, large * factor), 0x1p+918);
}

TEST(QvDoubleDouble, ProductOfRandomNumbersIsExact) {
  // A product has at most 106 bits: the rounded high part and the product modulo 2^64 fix it.
  std::mt19937_64 random(2);
  for (int trial = 0; trial < 10000; ++trial) {
    const std::int64_t a = RandomWhole(random);
    const std::int64_t b = RandomWhole(random);
    const QvDoubleDouble product =
        QvDoubleDouble::Product(static_cast<double>(a), static_cast<double>(b));
    EXPECT_EQ(Modulo64(product.fHigh) + Modulo64(product.fLow),
              static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
    ExpectRounded(product);
  }
}

TEST(QvDoubleDouble, TimesMultipliesBothParts) {
  const QvDoubleDouble number = {1.0, 0x1p-80};
  const QvDoubleDouble product = number.Times(-3.0);
  EXPECT_EQ(product.fHigh, -3.0);
  EXPECT_EQ(product.fLow, -3.0 * 0x1p-80);
}

TEST(QvDoubleDouble, AddSurvivesCancellation) {
  QvDoubleDouble sum;
  for (const double term : {1e100, 1.0, -1e100}) sum.Add({term, 0.0});
  EXPECT_EQ(sum.Value(), 1.0);
}

TEST(QvDoubleDouble, AddTakesTheLowPartsOfItsTerms) {
  QvDoubleDouble sum;
  sum.Add({1.0, 0x1p-80});
  sum.Add({-1.0, 0x1p-81});
  EXPECT_EQ(sum.Value(), 0x1p-80 + 0x1p-81);
}

TEST(QvDoubleDouble, ADotProductThatCancelsIsRight) {
  // 20 products of about 2^80, their negatives, and 12345 among them. The error of twice working
  // precision is at most (41 2^-53)^2 of the terms' sum, 2^-9; that of one double is about 2^27.
  std::mt19937_64 random(3);
  std::vector<std::pair<double, double>> pairs = {{12345.0, 1.0}};
  for (int i = 0; i < 20; ++i) {
    const auto a = static_cast<double>(RandomWhole(random) >> 13);
    const auto b = static_cast<double>(RandomWhole(random) >> 13);
    pairs.emplace_back(a, b);
    pairs.emplace_back(-b, a);
  }
  std::shuffle(pairs.begin(), pairs.end(), random);
  QvDoubleDouble sum;
  for (const auto& [a, b] : pairs) sum.Add(QvDoubleDouble::Product(a, b));
  EXPECT_NEAR(sum.Value(), 12345.0, 0x1p-9);
}

}  // namespace
}  // namespace QvCommon
