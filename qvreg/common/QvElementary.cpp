#include "qvreg/common/QvElementary.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvExpTable.h"

namespace QvCommon {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
/// Below this, e^x rounds to 0.
constexpr double kMinExp = -745.2;
constexpr int kMantissaBits = 52;
constexpr int kBias = 1023;

/// 2^k. REQUIRES: -1022 <= k <= 1023.
double PowerOfTwo(int k) {
  return std::bit_cast<double>(static_cast<std::uint64_t>(k + kBias) << kMantissaBits);
}

/// y 2^k for 1 <= y < 2 and any k at which that is no infinity, rounded once.
double Scale(double y, int k) {
  if (k > -kBias && k <= kBias) [[likely]]
    return y * PowerOfTwo(k);
  if (k > 0) return y * 2.0 * PowerOfTwo(k - 1);
  constexpr int kAway = 1000;
  return y * PowerOfTwo(k + kAway) * PowerOfTwo(-kAway);
}

}  // namespace

double QvElementary::Exp(double x) {
  if (!(x >= kMinExp)) return std::isnan(x) ? x : 0.0;
  if (x > QvPower::gMachineMaxExp) return kInfinity;

  // x = n log(2)/64 + r. The first part of log(2)/64 has 36 bits, so that n times it is exact.
  constexpr double k64OverLog2 = 0x1.71547652b82fep+6;
  constexpr double kLog2Over64High = 0x1.62e42fefa0000p-7;
  constexpr double kLog2Over64Low = 0x1.cf79abc9e3b3ap-46;
  constexpr double kToWhole = 0x1.8p+52;  // adding it rounds to a whole number
  const double shifted = x * k64OverLog2 + kToWhole;
  const double whole = shifted - kToWhole;
  const auto n = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(shifted) & 0xffffffffU);
  const double r = (x - whole * kLog2Over64High) - whole * kLog2Over64Low;

  const double square = r * r;
  const double tail =
      (1.0 / 2 + r * (1.0 / 6)) + square * ((1.0 / 24 + r * (1.0 / 120)) + square * (1.0 / 720));
  const double expm1 = r + square * tail;
  const QvExpTableRow& row = kExpTable[static_cast<std::size_t>(n & 63)];
  return Scale(row.fHigh + (row.fLow + row.fHigh * expm1), n >> 6);
}

double QvElementary::Log(double x) {
  if (!(x > 0.0)) return x == 0.0 ? -kInfinity : kNaN;
  if (x == kInfinity) return x;
  int k = 0;
  if (x < std::numeric_limits<double>::min()) {
    x *= 0x1p+54;
    k = -54;
  }

  // x = 2^k m with m between the square roots of 1/2 and 2.
  constexpr std::uint64_t kMantissa = (std::uint64_t{1} << kMantissaBits) - 1;
  constexpr std::uint64_t kOne = static_cast<std::uint64_t>(kBias) << kMantissaBits;
  constexpr double kSqrt2 = 0x1.6a09e667f3bcdp+0;
  const auto bits = std::bit_cast<std::uint64_t>(x);
  k += static_cast<int>(bits >> kMantissaBits) - kBias;
  double m = std::bit_cast<double>((bits & kMantissa) | kOne);
  if (m > kSqrt2) {
    m *= 0.5;
    ++k;
  }

  // log(m) = 2 (s + s^3/3 + s^5/5 + ...) = f - s (f - series), with f = m - 1 = s (m + 1).
  const double f = m - 1.0;
  const double s = f / (2.0 + f);
  const double z = s * s;
  double series = 0.0;
  for (int i = 23; i >= 3; i -= 2) series = z * (2.0 / i + series);
  constexpr double kLog2High = 0x1.62e42fefa3800p-1;
  constexpr double kLog2Low = 0x1.ef35793c76730p-45;
  return k * kLog2High + (f - (s * (f - series) - k * kLog2Low));
}

}  // namespace QvCommon
