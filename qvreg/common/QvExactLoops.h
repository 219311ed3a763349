#pragma once

// The loops of QvKernels over numbers of many sizes: exact products, sizes and means. Compiled for
// one kind of machine, as QvKernelLoops.h says.

#include <cstddef>

#include "qvreg/common/QvKernelVectors.h"
#include "qvreg/common/QvKernels.h"

// NOLINTBEGIN(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
namespace {

/// Adds the product of a and b to the sum of `high` and `low`. REQUIRES: a sum so much larger that
/// all it ever becomes has one exponent: what `high` gains is then exact, and so, but for its own
/// rounding, is what it does not.
inline void AddProduct(Vector a, Vector b, Vector& high, Vector& low) {
  if constexpr (kIsFused) {
    const Vector sum = MultiplyAdd(a, b, high);
    low += ProductError(a, b, sum - high);
    high = sum;
  } else {
    const Vector product = a * b;
    const Vector sum = high + product;
    low += (product - (sum - high)) + ProductError(a, b, product);
    high = sum;
  }
}

/// A tile of the sums of QvExactStrip, from row i and column j on. What it reads of the strip is
/// named first: nothing that it stores can then be taken for a part of it.
template <bool kHasRest>
inline void MultiplyTileExactly(const QvExactStrip& strip, std::size_t i, std::size_t j) {
  const std::size_t n = strip.fRows;
  const std::size_t stride = strip.fStride;
  const double* left = strip.fpLeft + i;
  const double* rest = kHasRest ? strip.fpLeftRest + i : nullptr;
  const double* right = strip.fpRight + j;
  Vector starts[kExactRows][kExactVectors];
  Vector highs[kExactRows][kExactVectors];
  Vector lows[kExactRows][kExactVectors];
  const auto setStarts = [&] {
    for (std::size_t k = 0; k < kExactVectors; ++k) {
      const Vector bounds = Load(strip.fpRightBounds + j + k * kWidth);
      for (std::size_t a = 0; a < kExactRows; ++a) {
        starts[a][k] = Broadcast(strip.fpLeftBounds[i + a]) * bounds;
      }
    }
  };
  setStarts();
  for (std::size_t a = 0; a < kExactRows; ++a) {
    for (std::size_t k = 0; k < kExactVectors; ++k) {
      highs[a][k] = starts[a][k];
      lows[a][k] = Vector{};
    }
  }
  std::size_t r = 0;
  do {
    Vector row[kExactVectors];
    for (std::size_t k = 0; k < kExactVectors; ++k) row[k] = Load(right + k * kWidth);
    for (std::size_t a = 0; a < kExactRows; ++a) {
      const Vector own = Broadcast(left[a]);
      for (std::size_t k = 0; k < kExactVectors; ++k) {
        AddProduct(own, row[k], highs[a][k], lows[a][k]);
        if constexpr (kHasRest) {
          lows[a][k] = MultiplyAdd(Broadcast(rest[a]), row[k], lows[a][k]);
        }
      }
    }
    left += stride;
    right += stride;
    if constexpr (kHasRest) rest += stride;
  } while (++r < n);
  setStarts();
  const Vector unit = Broadcast(strip.fUnit);
  const std::size_t columns = strip.fColumns;
  double* high = strip.fpHigh + i * columns + j;
  double* low = strip.fpLow + i * columns + j;
  for (std::size_t a = 0; a < kExactRows; ++a) {
    for (std::size_t k = 0; k < kExactVectors; ++k) {
      Store((highs[a][k] - starts[a][k]) * unit, high + k * kWidth);
      Store(lows[a][k] * unit, low + k * kWidth);
    }
    high += columns;
    low += columns;
  }
}

template <bool kHasRest>
inline void MultiplyTilesExactly(const QvExactStrip& strip) {
  for (std::size_t j = 0; j < strip.fColumns; j += kExactVectors * kWidth) {
    for (std::size_t i = 0; i < kLanes; i += kExactRows) {
      MultiplyTileExactly<kHasRest>(strip, i, j);
    }
  }
}

void MultiplyStripExactly(const QvExactStrip& strip) {
  if (strip.fpLeftRest == nullptr) {
    MultiplyTilesExactly<false>(strip);
  } else {
    MultiplyTilesExactly<true>(strip);
  }
}

/// Below it, and only there, a sum of magnitudes is a number and its terms are usual; a sum may be
/// refused whose terms are just usual.
constexpr double kLargestSum = 0x1p+300;

/// FindSizes for so many vectors of columns.
template <std::size_t kVectors>
inline bool FindSizesTogether(std::size_t n, std::size_t stride, const double* rows,
                              double* sizes) {
  Vector largest[kVectors] = {};
  Vector sums[kVectors] = {};
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t k = 0; k < kVectors; ++k) {
      const Vector size = Magnitude(Load(rows + k * kWidth));
      largest[k] = size > largest[k] ? size : largest[k];
      sums[k] += size;
    }
    rows += stride;
  }
  double all[kVectors * kWidth];
  __builtin_memcpy(all, sums, sizeof all);
  __builtin_memcpy(sizes, largest, sizeof all);
  bool areUsual = true;
  for (const double sum : all) areUsual &= sum < kLargestSum;
  return areUsual;
}

bool FindSizes(std::size_t n, std::size_t stride, const double* rows, double* sizes) {
  bool areUsual = true;
  constexpr std::size_t kTogether = 4;
  std::size_t j = 0;
  for (; j + kTogether * kLanes <= stride; j += kTogether * kLanes) {
    areUsual &= FindSizesTogether<kTogether * kParts>(n, stride, rows + j, sizes + j);
  }
  for (; j < stride; j += kLanes) {
    areUsual &= FindSizesTogether<kParts>(n, stride, rows + j, sizes + j);
  }
  return areUsual;
}

/// Adding and subtracting it rounds a number not above `size` to 23 bits of that.
inline double RoundingTerm(double size) {
  constexpr int kMantissaBits = 52;
  constexpr unsigned long long kExponentMask = 0x7ffULL << kMantissaBits;
  constexpr unsigned long long kHalf = 1ULL << (kMantissaBits - 1);
  constexpr unsigned long long kUp = 30ULL << kMantissaBits;
  unsigned long long bits = 0;
  __builtin_memcpy(&bits, &size, sizeof bits);
  bits = ((bits & kExponentMask) + kUp) | kHalf;
  double term = 0.0;
  __builtin_memcpy(&term, &bits, sizeof term);
  return term;
}

/// Whether 8 neighbouring columns are short; most that are not show it in the first rows.
inline bool AreShort(std::size_t n, std::size_t stride, const double* sizes, const double* rows) {
  constexpr std::size_t kTogether = 8;
  double terms[kLanes];
  for (std::size_t k = 0; k < kLanes; ++k) terms[k] = RoundingTerm(sizes[k]);
  for (std::size_t r = 0; r < n; r += kTogether) {
    const std::size_t end = r + kTogether < n ? r + kTogether : n;
    double rests = 0.0;
    for (std::size_t row = r; row < end; ++row) {
      for (std::size_t k = 0; k < kLanes; ++k) {
        const double number = rows[row * stride + k];
        rests += __builtin_fabs(number - ((number + terms[k]) - terms[k]));
      }
    }
    if (rests != 0.0) return false;
  }
  return true;
}

std::size_t CountShort(std::size_t n, std::size_t stride, const double* sizes, const double* rows) {
  std::size_t count = 0;
  while (count < stride && AreShort(n, stride, sizes + count, rows + count)) count += kLanes;
  return count;
}

/// So many vectors of columns of MoveMeans from `place` on. Those that would reach beyond the last
/// column are moved back: what they share with the ones before becomes the same.
template <std::size_t kVectors>
inline bool MoveMeansTogether(std::size_t n, const double* const* rows, std::size_t place,
                              std::size_t width, const double* weights, const double* totals,
                              const double* const* before, double* const* after) {
  constexpr double kTwoRoundings = 0x1p-51;
  std::size_t places[kVectors];
  Vector means[kVectors];
  Vector sizes[kVectors];
  Vector residues[kVectors] = {};
  for (std::size_t k = 0; k < kVectors; ++k) {
    const std::size_t next = place + k * kWidth;
    places[k] = next + kWidth <= width ? next : width - kWidth;
    means[k] = Load(before[0] + places[k]);
    sizes[k] = Load(before[1] + places[k]);
  }
  for (std::size_t r = 0; r < n; ++r) {
    const Vector weight = Broadcast(weights[r]);
    const Vector total = Broadcast(totals[r]);
    for (std::size_t k = 0; k < kVectors; ++k) {
      const Vector number = Load(rows[r] + places[k]);
      const Vector moved = means[k] + (number - means[k]) / total * weight;
      const Vector size = Magnitude(number);
      sizes[k] = size > sizes[k] ? size : sizes[k];
      const Vector left = Magnitude(moved);
      const Vector residue = Magnitude(means[k]) * Broadcast(kTwoRoundings);
      // Added up, since deciding here would keep the next row waiting.
      residues[k] += left < residue ? left : Vector{};
      means[k] = moved;
    }
  }
  Vector zeros = {};
  for (std::size_t k = 0; k < kVectors; ++k) {
    Store(means[k], after[0] + places[k]);
    Store(sizes[k], after[1] + places[k]);
    zeros += means[k] * Broadcast(0.0) + residues[k];
  }
  double sum = 0.0;
  for (std::size_t k = 0; k < kWidth; ++k) sum += zeros[k];
  return sum == 0.0;
}

bool MoveMeans(std::size_t n, const double* const* rows, std::size_t width, const double* weights,
               const double* totals, const double* const* before, double* const* after) {
  constexpr std::size_t kTogether = 4;
  bool areFinite = true;
  std::size_t place = 0;
  for (; place + 2 * kWidth < width; place += kTogether * kWidth) {
    areFinite &=
        MoveMeansTogether<kTogether>(n, rows, place, width, weights, totals, before, after);
  }
  if (place >= width) return areFinite;
  return MoveMeansTogether<2>(n, rows, place, width, weights, totals, before, after) && areFinite;
}

}  // namespace
// NOLINTEND(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
