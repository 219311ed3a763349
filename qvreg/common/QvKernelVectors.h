#pragma once

// The vectors that the loops of QvKernelLoops.h are written in, for one kind of machine.

#include <cstddef>

#include "qvreg/common/QvKernels.h"

#if defined(__FMA__)
#include <immintrin.h>
#endif

// NOLINTBEGIN(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
namespace {

#if defined(__AVX512F__)

using Vector = __m512d;
constexpr bool kIsFused = true;
/// Of a tile of products, whose sums stay in registers.
constexpr std::size_t kTileRows = 8;
constexpr std::size_t kTileVectors = 2;
/// The same of exact products, which keep two sums each.
constexpr std::size_t kExactRows = 8;
constexpr std::size_t kExactVectors = 1;

inline Vector Broadcast(double value) { return _mm512_set1_pd(value); }
/// a b + c, rounded once.
inline Vector MultiplyAdd(Vector a, Vector b, Vector c) { return _mm512_fmadd_pd(a, b, c); }
/// What `high`, the rounded product of a and b, lacks of the exact one.
inline Vector ProductError(Vector a, Vector b, Vector high) { return _mm512_fmsub_pd(a, b, high); }

#elif defined(__FMA__)

using Vector = __m256d;
constexpr bool kIsFused = true;
constexpr std::size_t kTileRows = 4;
constexpr std::size_t kTileVectors = 2;
constexpr std::size_t kExactRows = 2;
constexpr std::size_t kExactVectors = 2;

inline Vector Broadcast(double value) { return _mm256_set1_pd(value); }
inline Vector MultiplyAdd(Vector a, Vector b, Vector c) { return _mm256_fmadd_pd(a, b, c); }
inline Vector ProductError(Vector a, Vector b, Vector high) { return _mm256_fmsub_pd(a, b, high); }

#else

using Vector [[gnu::vector_size(16)]] = double;
constexpr bool kIsFused = false;
constexpr std::size_t kTileRows = 4;
constexpr std::size_t kTileVectors = 2;
constexpr std::size_t kExactRows = 2;
constexpr std::size_t kExactVectors = 2;

inline Vector Broadcast(double value) { return Vector{value, value}; }
inline Vector MultiplyAdd(Vector a, Vector b, Vector c) { return a * b + c; }

/// The upper 26 bits of each number, rounded.
inline Vector LeadingHalf(Vector a) {
  const Vector shifted = 134217729.0 * a;  // 2^27 + 1
  return shifted - (shifted - a);
}

/// Without fused products: Dekker, A floating-point technique for extending the available
/// precision, Numer. Math. 18, 1971.
inline Vector ProductError(Vector a, Vector b, Vector high) {
  const Vector a1 = LeadingHalf(a);
  const Vector a2 = a - a1;
  const Vector b1 = LeadingHalf(b);
  const Vector b2 = b - b1;
  return a2 * b2 - (((high - a1 * b1) - a2 * b1) - a1 * b2);
}

#endif

using QvCommon::QvExactStrip;
using QvCommon::QvKernels;

constexpr std::size_t kRows = QvKernels::kRows;
constexpr std::size_t kLanes = QvKernels::kLanes;
constexpr std::size_t kWidth = sizeof(Vector) / sizeof(double);
/// Vectors that make up the lanes.
constexpr std::size_t kParts = kLanes / kWidth;

inline Vector Load(const double* numbers) {
  Vector vector;
  __builtin_memcpy(&vector, numbers, sizeof vector);
  return vector;
}

inline void Store(Vector vector, double* numbers) {
  __builtin_memcpy(numbers, &vector, sizeof vector);
}

/// The lanes of a vector, as a pack.
template <std::size_t... kLane>
struct LaneList {};
template <std::size_t kCount, std::size_t... kLane>
struct LanesUpTo : LanesUpTo<kCount - 1, kCount - 1, kLane...> {};
template <std::size_t... kLane>
struct LanesUpTo<0, kLane...> {
  using List = LaneList<kLane...>;
};

/// Exchanges the lanes of `a` that have the bit kStep in their number with those of `b` that lack
/// it.
template <std::size_t kStep, std::size_t... kLane>
inline void ExchangeLanes(Vector& a, Vector& b, LaneList<kLane...> /*lanes*/) {
  const Vector first =
      __builtin_shufflevector(a, b, ((kLane & kStep) != 0 ? kWidth + kLane - kStep : kLane)...);
  b = __builtin_shufflevector(a, b, ((kLane & kStep) != 0 ? kWidth + kLane : kLane + kStep)...);
  a = first;
}

/// Transposes a square of as many vectors as they have lanes.
template <std::size_t kStep = 1>
inline void Transpose(Vector* square) {
  if constexpr (kStep < kWidth) {
    for (std::size_t i = 0; i < kWidth; ++i) {
      if ((i & kStep) != 0) continue;
      ExchangeLanes<kStep>(square[i], square[i + kStep], typename LanesUpTo<kWidth>::List{});
    }
    Transpose<2 * kStep>(square);
  }
}

inline Vector Magnitude(Vector a) {
  using Bits [[gnu::vector_size(sizeof(Vector))]] = long long;
  return __builtin_bit_cast(Vector, __builtin_bit_cast(Bits, a) & 0x7fffffffffffffffLL);
}

/// Adds a double-double term to a double-double sum; corrections are summed apart, as in
/// QvDoubleDouble.
template <typename Number>
inline void AddTerm(Number term, Number termLow, Number& high, Number& low) {
  const Number sum = high + term;
  const Number part = sum - high;
  low += ((high - (sum - part)) + (term - part)) + termLow;
  high = sum;
}

/// A double-double sum in each lane.
struct LaneSums {
  Vector fHigh[kParts] = {};
  Vector fLow[kParts] = {};

  void Add(std::size_t part, Vector term, Vector termLow) {
    AddTerm(term, termLow, fHigh[part], fLow[part]);
  }
  /// Adds the lanes, one after the other.
  void AddTo(double& high, double& low) const {
    double highs[kLanes];
    double lows[kLanes];
    __builtin_memcpy(highs, fHigh, sizeof highs);
    __builtin_memcpy(lows, fLow, sizeof lows);
    for (std::size_t lane = 0; lane < kLanes; ++lane) AddTerm(highs[lane], lows[lane], high, low);
  }
};

}  // namespace
// NOLINTEND(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
