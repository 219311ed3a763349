#pragma once

// The loops of QvKernels, written once. A source that includes this header is compiled for one kind
// of machine, and defines one set. Nothing here but these loops, not even std::array: an inline
// function of another header, compiled for that machine, might be the copy that the linker keeps
// for all.

#include <cstddef>

#include "qvreg/common/QvExactLoops.h"
#include "qvreg/common/QvKernelVectors.h"
#include "qvreg/common/QvKernels.h"

// NOLINTBEGIN(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
namespace {

/// A tile of sums over n rows of numbers on the left times vectors of numbers on the right.
template <std::size_t kLeft, std::size_t kVectors>
inline void MultiplyTile(std::size_t n, std::size_t leftStride, std::size_t rightStride,
                         const double* left, const double* right, std::size_t tileStride,
                         double* tile) {
  Vector sums[kLeft][kVectors] = {};
  for (std::size_t r = 0; r < n; ++r) {
    Vector row[kVectors];
    for (std::size_t k = 0; k < kVectors; ++k) row[k] = Load(right + k * kWidth);
    for (std::size_t i = 0; i < kLeft; ++i) {
      const Vector own = Broadcast(left[i]);
      for (std::size_t k = 0; k < kVectors; ++k) sums[i][k] = MultiplyAdd(own, row[k], sums[i][k]);
    }
    left += leftStride;
    right += rightStride;
  }
  for (std::size_t i = 0; i < kLeft; ++i) {
    for (std::size_t k = 0; k < kVectors; ++k) {
      Store(sums[i][k], tile + i * tileStride + k * kWidth);
    }
  }
}

void MultiplyStrip(std::size_t n, std::size_t stride, std::size_t nLeft, std::size_t nColumns,
                   const double* left, const double* right, double* strip) {
  constexpr std::size_t kTileColumns = kTileVectors * kWidth;
  for (std::size_t i = 0; i < nLeft; i += kTileRows) {
    double* row = strip + i * nColumns;
    std::size_t j = 0;
    for (; j + kTileColumns <= nColumns; j += kTileColumns) {
      MultiplyTile<kTileRows, kTileVectors>(n, stride, stride, left + i, right + j, nColumns,
                                            row + j);
    }
    for (; j < nColumns; j += kLanes) {
      MultiplyTile<kTileRows, kParts>(n, stride, stride, left + i, right + j, nColumns, row + j);
    }
  }
}

void AddTile(std::size_t n, std::size_t leftStride, const double* left, std::size_t rightStride,
             const double* right, double* const* rows) {
  constexpr std::size_t kSumRows = 4;
  Vector sums[kSumRows][kParts];
  for (std::size_t i = 0; i < kSumRows; ++i) {
    for (std::size_t k = 0; k < kParts; ++k) sums[i][k] = Load(rows[i] + k * kWidth);
  }
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t i = 0; i < kSumRows; ++i) {
      const Vector own = Broadcast(left[i]);
      for (std::size_t k = 0; k < kParts; ++k) sums[i][k] += own * Load(right + k * kWidth);
    }
    left += leftStride;
    right += rightStride;
  }
  for (std::size_t i = 0; i < kSumRows; ++i) {
    for (std::size_t k = 0; k < kParts; ++k) Store(sums[i][k], rows[i] + k * kWidth);
  }
}

void SolveColumns(std::size_t n, const double* triangle, const double* sums, double* columns) {
  for (std::size_t j = 0; j < n; ++j) {
    const double* row = triangle + j * kLanes;
    double* own = columns + j * kLanes;
    const bool isPositive = row[j] > 0.0;
    for (std::size_t part = 0; part < kLanes; part += kWidth) {
      Vector sum = Load(sums + j * kLanes + part);
      for (std::size_t k = 0; k < j; ++k) {
        sum += Broadcast(row[k]) * Load(columns + k * kLanes + part);
      }
      const Vector rest = Load(own + part) - sum;
      Store(isPositive ? rest / Broadcast(row[j]) : Broadcast(0.0), own + part);
    }
  }
}

void WeighRows(std::size_t n, std::size_t stride, const double* weights, const double* rows,
               double* high, double* low) {
  for (std::size_t r = 0; r < n; ++r) {
    const Vector weight = Broadcast(weights[r]);
    for (std::size_t j = 0; j < stride; j += kWidth) {
      const Vector number = Load(rows + j);
      const Vector product = weight * number;
      Store(product, high + j);
      Store(ProductError(weight, number, product), low + j);
    }
    rows += stride;
    high += stride;
    low += stride;
  }
}

void FillColumns(std::size_t n, std::size_t stride, const double* rows, double* columns) {
  const std::size_t nWhole = (n + kLanes - 1) / kLanes * kLanes;
  for (std::size_t j = 0; j < stride; j += kWidth) {
    for (std::size_t r = 0; r < nWhole; r += kWidth) {
      Vector square[kWidth];
      for (std::size_t k = 0; k < kWidth; ++k) square[k] = Load(rows + (r + k) * stride + j);
      Transpose(square);
      for (std::size_t k = 0; k < kWidth; ++k) Store(square[k], columns + (j + k) * kRows + r);
    }
  }
}

void SubtractProducts(std::size_t n, const double* columns, const double* coefficients,
                      double* high, double* low) {
  constexpr std::size_t kTogether = 4;
  for (std::size_t r = 0; r < kRows; r += kTogether * kWidth) {
    Vector highs[kTogether];
    Vector lows[kTogether];
    for (std::size_t k = 0; k < kTogether; ++k) {
      highs[k] = Load(high + r + k * kWidth);
      lows[k] = Load(low + r + k * kWidth);
    }
    const double* column = columns + r;
    for (std::size_t j = 0; j < n; ++j) {
      const Vector coefficient = Broadcast(-coefficients[j]);
      for (std::size_t k = 0; k < kTogether; ++k) {
        const Vector number = Load(column + k * kWidth);
        const Vector product = coefficient * number;
        AddTerm(product, ProductError(coefficient, number, product), highs[k], lows[k]);
      }
      column += kRows;
    }
    for (std::size_t k = 0; k < kTogether; ++k) {
      Store(highs[k], high + r + k * kWidth);
      Store(lows[k], low + r + k * kWidth);
    }
  }
}

void SubtractRowProducts(std::size_t n, const double* columns, const double* coefficients,
                         const double* coefficientLows, double* high, double* low) {
  for (std::size_t r = 0; r < kRows; r += kWidth) {
    Vector sum = Load(high + r);
    Vector sumLow = Load(low + r);
    for (std::size_t place = r; place < n * kRows; place += kRows) {
      const Vector coefficient = -Load(coefficients + place);
      const Vector number = Load(columns + place);
      const Vector product = coefficient * number;
      const Vector productLow =
          ProductError(coefficient, number, product) - Load(coefficientLows + place) * number;
      AddTerm(product, productLow, sum, sumLow);
    }
    Store(sum, high + r);
    Store(sumLow, low + r);
  }
}

void AddWeightedColumns(std::size_t n, const double* columns, const double* weightHigh,
                        const double* weightLow, double* sumHigh, double* sumLow) {
  for (std::size_t j = 0; j < n; ++j) {
    LaneSums sums;
    for (std::size_t r = 0; r < kRows; r += kLanes) {
      for (std::size_t part = 0; part < kParts; ++part) {
        const std::size_t place = r + part * kWidth;
        const Vector number = Load(columns + place);
        const Vector weight = Load(weightHigh + place);
        const Vector product = weight * number;
        const Vector low = ProductError(weight, number, product) + Load(weightLow + place) * number;
        sums.Add(part, product, low);
      }
    }
    sums.AddTo(sumHigh[j], sumLow[j]);
    columns += kRows;
  }
}

void AddMoments(const double* weights, const double* numbers, double* first, double* second) {
  LaneSums firsts;
  LaneSums seconds;
  for (std::size_t r = 0; r < kRows; r += kLanes) {
    for (std::size_t part = 0; part < kParts; ++part) {
      const std::size_t place = r + part * kWidth;
      const Vector weight = Load(weights + place);
      const Vector number = Load(numbers + place);
      // Weighted before squared: the square alone may leave the range of a double.
      const Vector weighted = weight * number;
      const Vector weightedLow = ProductError(weight, number, weighted);
      firsts.Add(part, weighted, weightedLow);
      const Vector square = weighted * number;
      const Vector low = ProductError(weighted, number, square) + weightedLow * number;
      seconds.Add(part, square, low);
    }
  }
  firsts.AddTo(first[0], first[1]);
  seconds.AddTo(second[0], second[1]);
}

void AddRowProducts(std::size_t n, std::size_t stride, std::size_t width, const double* weights,
                    const double* rows, double* const* sums) {
  const std::size_t nBehind = width / 2 + 1;
  const std::size_t sumStride = (width + kLanes - 1) / kLanes * kLanes;
  for (std::size_t r = 0; r < n; ++r) {
    const Vector weight = Broadcast(weights[r]);
    for (std::size_t k = 0; k < width; k += kWidth) {
      const Vector left = Load(rows + k);
      const Vector weighted = weight * left;
      const Vector weightedLow = ProductError(weight, left, weighted);
      double* high = sums[r] + k;
      double* low = high + nBehind * sumStride;
      for (std::size_t d = 0; d < nBehind; ++d) {
        const Vector right = Load(rows + k + d);
        const Vector product = weighted * right;
        const Vector productLow = ProductError(weighted, right, product) + weightedLow * right;
        Vector sum = Load(high);
        Vector sumLow = Load(low);
        AddTerm(product, productLow, sum, sumLow);
        Store(sum, high);
        Store(sumLow, low);
        high += sumStride;
        low += sumStride;
      }
    }
    rows += stride;
  }
}

void AddWeightedRows(std::size_t n, std::size_t stride, const double* weightHigh,
                     const double* weightLow, const double* rows, double* const* sums) {
  for (std::size_t r = 0; r < n; ++r) {
    const Vector weight = Broadcast(weightHigh[r]);
    const Vector low = Broadcast(weightLow[r]);
    for (std::size_t k = 0; k < stride; k += kWidth) {
      const Vector number = Load(rows + k);
      const Vector product = weight * number;
      const Vector productLow = ProductError(weight, number, product) + low * number;
      Vector sum = Load(sums[r] + k);
      Vector sumLow = Load(sums[r] + stride + k);
      AddTerm(product, productLow, sum, sumLow);
      Store(sum, sums[r] + k);
      Store(sumLow, sums[r] + stride + k);
    }
    rows += stride;
  }
}

double FindLeast(std::size_t n, const double* numbers) {
  constexpr std::size_t kTogether = 4 * kLanes;
  double least[kTogether] = {};
  const double* next = numbers;
  const double* const end = numbers + n;
  for (; end - next >= static_cast<std::ptrdiff_t>(kTogether); next += kTogether) {
    for (std::size_t k = 0; k < kTogether; ++k) least[k] = next[k] < least[k] ? next[k] : least[k];
  }
  for (; next != end; ++next) least[0] = *next < least[0] ? *next : least[0];
  for (const double each : least) least[0] = each < least[0] ? each : least[0];
  return least[0];
}

/// e^r for |r| at most log(2)/2: the Taylor polynomial, whose remainder is below 2^-57.
inline double ExpPolynomial(double r) {
  constexpr double kInverseFactorials[14] = {1.0,
                                             1.0,
                                             1.0 / 2,
                                             1.0 / 6,
                                             1.0 / 24,
                                             1.0 / 120,
                                             1.0 / 720,
                                             1.0 / 5040,
                                             1.0 / 40320,
                                             1.0 / 362880,
                                             1.0 / 3628800,
                                             1.0 / 39916800,
                                             1.0 / 479001600,
                                             1.0 / 6227020800};
  double sum = kInverseFactorials[13];
  for (std::size_t k = 13; k-- > 0;) sum = kInverseFactorials[k] + r * sum;
  return sum;
}

void Exps(std::size_t n, const double* x, double* results) {
  constexpr int kMantissaBits = 52;
  constexpr double kOverLog2 = 0x1.71547652b82fep+0;
  // log(2); the first part has 42 bits, so that its products with exponents are exact.
  constexpr double kLog2High = 0x1.62e42fefa3800p-1;
  constexpr double kLog2Low = 0x1.ef35793c76730p-45;
  constexpr double kToWhole = 0x1.8p+52;  // adding it rounds to a whole number
  for (std::size_t i = 0; i < n; ++i) {
    const double shifted = x[i] * kOverLog2 + kToWhole;
    const double whole = shifted - kToWhole;
    const double r = (x[i] - whole * kLog2High) - whole * kLog2Low;
    // The whole number stands in the last bits of `shifted`: 2 to its power is multiplied in.
    const double base = ExpPolynomial(r);
    unsigned long long power = 0;
    unsigned long long bits = 0;
    __builtin_memcpy(&power, &shifted, sizeof power);
    __builtin_memcpy(&bits, &base, sizeof bits);
    bits += power << kMantissaBits;
    __builtin_memcpy(results + i, &bits, sizeof bits);
  }
}

constexpr QvKernels MakeKernels(const char* name, const QvCommon::QvColumnKernels& columns) {
  return {name,
          kIsFused,
          MultiplyStrip,
          MultiplyStripExactly,
          AddTile,
          SolveColumns,
          FindSizes,
          CountShort,
          WeighRows,
          FillColumns,
          SubtractProducts,
          SubtractRowProducts,
          AddWeightedColumns,
          AddMoments,
          AddRowProducts,
          AddWeightedRows,
          MoveMeans,
          FindLeast,
          Exps,
          columns};
}

}  // namespace
// NOLINTEND(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
