#include "qvreg/common/QvElementary.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvKernels.h"

namespace QvCommon {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
/// Below this, e^x rounds to 0.
constexpr double kMinExp = -745.2;
constexpr int kMantissaBits = 52;
/// log(2); the first part has 42 bits, so that its products with exponents are exact.
constexpr double kLog2High = 0x1.62e42fefa3800p-1;
constexpr double kLog2Low = 0x1.ef35793c76730p-45;
constexpr int kBias = 1023;

/// 2^(j/64) for j = 0 .. 63: rounded, and what the rounding leaves. Written by
/// tests/reference/elementary/make.py.
struct ExpTableRow {
  double fHigh;
  double fLow;
};
constexpr std::array<ExpTableRow, 64> kExpTable = {{
    {0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.02c9a3e778061p+0, -0x1.19083535b085dp-56},
    {0x1.059b0d3158574p+0, 0x1.d73e2a475b465p-55},
    {0x1.0874518759bc8p+0, 0x1.186be4bb284ffp-57},
    {0x1.0b5586cf9890fp+0, 0x1.8a62e4adc610bp-54},
    {0x1.0e3ec32d3d1a2p+0, 0x1.03a1727c57b53p-59},
    {0x1.11301d0125b51p+0, -0x1.6c51039449b3ap-54},
    {0x1.1429aaea92de0p+0, -0x1.32fbf9af1369ep-54},
    {0x1.172b83c7d517bp+0, -0x1.19041b9d78a76p-55},
    {0x1.1a35beb6fcb75p+0, 0x1.e5b4c7b4968e4p-55},
    {0x1.1d4873168b9aap+0, 0x1.e016e00a2643cp-54},
    {0x1.2063b88628cd6p+0, 0x1.dc775814a8495p-55},
    {0x1.2387a6e756238p+0, 0x1.9b07eb6c70573p-54},
    {0x1.26b4565e27cddp+0, 0x1.2bd339940e9d9p-55},
    {0x1.29e9df51fdee1p+0, 0x1.612e8afad1255p-55},
    {0x1.2d285a6e4030bp+0, 0x1.0024754db41d5p-54},
    {0x1.306fe0a31b715p+0, 0x1.6f46ad23182e4p-55},
    {0x1.33c08b26416ffp+0, 0x1.32721843659a6p-54},
    {0x1.371a7373aa9cbp+0, -0x1.63aeabf42eae2p-54},
    {0x1.3a7db34e59ff7p+0, -0x1.5e436d661f5e3p-56},
    {0x1.3dea64c123422p+0, 0x1.ada0911f09ebcp-55},
    {0x1.4160a21f72e2ap+0, -0x1.ef3691c309278p-58},
    {0x1.44e086061892dp+0, 0x1.89b7a04ef80d0p-59},
    {0x1.486a2b5c13cd0p+0, 0x1.3c1a3b69062f0p-56},
    {0x1.4bfdad5362a27p+0, 0x1.d4397afec42e2p-56},
    {0x1.4f9b2769d2ca7p+0, -0x1.4b309d25957e3p-54},
    {0x1.5342b569d4f82p+0, -0x1.07abe1db13cadp-55},
    {0x1.56f4736b527dap+0, 0x1.9bb2c011d93adp-54},
    {0x1.5ab07dd485429p+0, 0x1.6324c054647adp-54},
    {0x1.5e76f15ad2148p+0, 0x1.ba6f93080e65ep-54},
    {0x1.6247eb03a5585p+0, -0x1.383c17e40b497p-54},
    {0x1.6623882552225p+0, -0x1.bb60987591c34p-54},
    {0x1.6a09e667f3bcdp+0, -0x1.bdd3413b26456p-54},
    {0x1.6dfb23c651a2fp+0, -0x1.bbe3a683c88abp-57},
    {0x1.71f75e8ec5f74p+0, -0x1.16e4786887a99p-55},
    {0x1.75feb564267c9p+0, -0x1.0245957316dd3p-54},
    {0x1.7a11473eb0187p+0, -0x1.41577ee04992fp-55},
    {0x1.7e2f336cf4e62p+0, 0x1.05d02ba15797ep-56},
    {0x1.82589994cce13p+0, -0x1.d4c1dd41532d8p-54},
    {0x1.868d99b4492edp+0, -0x1.fc6f89bd4f6bap-54},
    {0x1.8ace5422aa0dbp+0, 0x1.6e9f156864b27p-54},
    {0x1.8f1ae99157736p+0, 0x1.5cc13a2e3976cp-55},
    {0x1.93737b0cdc5e5p+0, -0x1.75fc781b57ebcp-57},
    {0x1.97d829fde4e50p+0, -0x1.d185b7c1b85d1p-54},
    {0x1.9c49182a3f090p+0, 0x1.c7c46b071f2bep-56},
    {0x1.a0c667b5de565p+0, -0x1.359495d1cd533p-54},
    {0x1.a5503b23e255dp+0, -0x1.d2f6edb8d41e1p-54},
    {0x1.a9e6b5579fdbfp+0, 0x1.0fac90ef7fd31p-54},
    {0x1.ae89f995ad3adp+0, 0x1.7a1cd345dcc81p-54},
    {0x1.b33a2b84f15fbp+0, -0x1.2805e3084d708p-57},
    {0x1.b7f76f2fb5e47p+0, -0x1.5584f7e54ac3bp-56},
    {0x1.bcc1e904bc1d2p+0, 0x1.23dd07a2d9e84p-55},
    {0x1.c199bdd85529cp+0, 0x1.11065895048ddp-55},
    {0x1.c67f12e57d14bp+0, 0x1.2884dff483cadp-54},
    {0x1.cb720dcef9069p+0, 0x1.503cbd1e949dbp-56},
    {0x1.d072d4a07897cp+0, -0x1.cbc3743797a9cp-54},
    {0x1.d5818dcfba487p+0, 0x1.2ed02d75b3707p-55},
    {0x1.da9e603db3285p+0, 0x1.c2300696db532p-54},
    {0x1.dfc97337b9b5fp+0, -0x1.1a5cd4f184b5cp-54},
    {0x1.e502ee78b3ff6p+0, 0x1.39e8980a9cc8fp-55},
    {0x1.ea4afa2a490dap+0, -0x1.e9c23179c2893p-54},
    {0x1.efa1bee615a27p+0, 0x1.dc7f486a4b6b0p-54},
    {0x1.f50765b6e4540p+0, 0x1.9d3e12dd8a18bp-54},
    {0x1.fa7c1819e90d8p+0, 0x1.74853f3a5931ep-55},
}};

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
  const ExpTableRow& row = kExpTable[static_cast<std::size_t>(n & 63)];
  return Scale(row.fHigh + (row.fLow + row.fHigh * expm1), n >> 6);
}

void QvElementary::ExpMany(std::size_t n, const double* x, double* results) {
  QvKernels::Get().fExps(n, x, results);
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
  return k * kLog2High + (f - (s * (f - series) - k * kLog2Low));
}

}  // namespace QvCommon
