#pragma once

// The loops of QvColumnKernels, compiled as those of QvKernelLoops.h.

#include <cstddef>

#include "qvreg/common/QvColumnKernels.h"
#include "qvreg/common/QvKernelLoops.h"

// NOLINTBEGIN(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
namespace {

using QvCommon::QvColumnKernels;

/// From a column to the next.
constexpr std::size_t kColumn = QvColumnKernels::kRows;

/// Sums in lanes, each of kParts vectors, of which there is a multiple of kTogether, become
/// numbers.
#if defined(__AVX512F__)

template <std::size_t kSums>
inline void AddLanes(const Vector (&sums)[kSums][kParts], double* numbers) {
  const auto halves = [&sums](std::size_t first, std::size_t second) {
    const Vector a = sums[first][0];
    const Vector b = sums[second][0];
    return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11) +
           __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
  };
  const auto quarters = [](Vector a, Vector b) {
    return __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13) +
           __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
  };
  for (std::size_t k = 0; k < kSums; k += kLanes) {
    const Vector a = quarters(halves(k, k + 4), halves(k + 2, k + 6));
    const Vector b = quarters(halves(k + 1, k + 5), halves(k + 3, k + 7));
    Store(__builtin_shufflevector(a, b, 0, 8, 2, 10, 4, 12, 6, 14) +
              __builtin_shufflevector(a, b, 1, 9, 3, 11, 5, 13, 7, 15),
          numbers + k);
  }
}

#elif defined(__FMA__)

template <std::size_t kSums>
inline void AddLanes(const Vector (&sums)[kSums][kParts], double* numbers) {
  const auto quarters = [&sums](std::size_t first, std::size_t second) {
    const Vector a = sums[first][0] + sums[first][1];
    const Vector b = sums[second][0] + sums[second][1];
    return __builtin_shufflevector(a, b, 0, 1, 4, 5) + __builtin_shufflevector(a, b, 2, 3, 6, 7);
  };
  for (std::size_t k = 0; k < kSums; k += kWidth) {
    const Vector a = quarters(k, k + 2);
    const Vector b = quarters(k + 1, k + 3);
    Store(__builtin_shufflevector(a, b, 0, 4, 2, 6) + __builtin_shufflevector(a, b, 1, 5, 3, 7),
          numbers + k);
  }
}

#else

template <std::size_t kSums>
inline void AddLanes(const Vector (&sums)[kSums][kParts], double* numbers) {
  for (std::size_t k = 0; k < kSums; ++k) {
    const Vector two = (sums[k][0] + sums[k][2]) + (sums[k][1] + sums[k][3]);
    numbers[k] = two[0] + two[1];
  }
}

#endif

/// The lanes of one sum.
inline double AddLanes(const Vector (&sum)[kParts]) {
  double lanes[kLanes];
  __builtin_memcpy(lanes, sum, sizeof lanes);
  return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) +
         ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
}

/// The sums of column times coefficient for kVectors vectors of rows.
template <std::size_t kVectors>
inline void MultiplyRowsByCoefficients(std::size_t n, std::size_t first,
                                       const double* const* columns, const double* coefficients,
                                       double* products) {
  Vector sums[kVectors] = {};
  for (std::size_t j = 0; j < n; ++j) {
    const Vector coefficient = Broadcast(coefficients[j]);
    const double* column = columns[j] + first;
    for (std::size_t k = 0; k < kVectors; ++k) {
      sums[k] = MultiplyAdd(coefficient, Load(column + k * kWidth), sums[k]);
    }
  }
  for (std::size_t k = 0; k < kVectors; ++k) Store(sums[k], products + first + k * kWidth);
}

void MultiplyByCoefficients(std::size_t nRows, std::size_t n, const double* const* columns,
                            const double* coefficients, double* products) {
  constexpr std::size_t kVectors = 8;
  std::size_t r = 0;
  for (; r + kVectors * kWidth <= nRows; r += kVectors * kWidth) {
    MultiplyRowsByCoefficients<kVectors>(n, r, columns, coefficients, products);
  }
  for (; r < nRows; r += kLanes) {
    MultiplyRowsByCoefficients<kParts>(n, r, columns, coefficients, products);
  }
}

/// The sums over rows of columns on the left times kRight columns on the right.
template <std::size_t kLeft, std::size_t kRight>
inline void MultiplyPairTile(std::size_t nRows, const double* left, const double* const* right,
                             double* tile) {
  // Sums that have a register.
  constexpr std::size_t kTileRight = kWidth == kLanes ? kRight : 2;
  Vector sums[kLeft * kRight][kParts];
  for (std::size_t part = 0; part < kParts; ++part) {
    for (std::size_t first = 0; first < kRight; first += kTileRight) {
      Vector own[kLeft][kTileRight] = {};
      for (std::size_t r = part * kWidth; r < nRows; r += kLanes) {
        Vector leftNumbers[kLeft];
        for (std::size_t i = 0; i < kLeft; ++i) leftNumbers[i] = Load(left + i * kColumn + r);
        for (std::size_t j = 0; j < kTileRight; ++j) {
          const Vector number = Load(right[first + j] + r);
          for (std::size_t i = 0; i < kLeft; ++i) {
            own[i][j] = MultiplyAdd(leftNumbers[i], number, own[i][j]);
          }
        }
      }
      for (std::size_t i = 0; i < kLeft; ++i) {
        for (std::size_t j = 0; j < kTileRight; ++j) {
          sums[i * kRight + first + j][part] = own[i][j];
        }
      }
    }
  }
  AddLanes(sums, tile);
}

template <std::size_t kLeft, std::size_t kRight>
inline void AddPairStrip(std::size_t nRows, const double* left, std::size_t nRight,
                         const double* const* right, double* const* rows) {
  double tile[kLeft * kRight];
  for (std::size_t j = 0; j < nRight; j += kRight) {
    MultiplyPairTile<kLeft, kRight>(nRows, left, right + j, tile);
    for (std::size_t i = 0; i < kLeft; ++i) {
      double* row = rows[i] + j;
      for (std::size_t k = 0; k < kRight; ++k) row[k] += tile[i * kRight + k];
    }
  }
}

void AddPairs(std::size_t nRows, std::size_t nLeft, const double* left, std::size_t nRight,
              const double* const* right, double* const* rows) {
  constexpr std::size_t kFew = 4;
  constexpr std::size_t kMany = QvColumnKernels::kTogether;
  switch (nLeft) {
    case 1:
      return AddPairStrip<1, kMany>(nRows, left, nRight, right, rows);
    case 2:
      return AddPairStrip<2, kMany>(nRows, left, nRight, right, rows);
    case 3:
      return AddPairStrip<3, kMany>(nRows, left, nRight, right, rows);
    default:
      return AddPairStrip<4, kFew>(nRows, left, nRight, right, rows);
  }
}

double SumMagnitudes(std::size_t nRows, std::size_t n, const double* const* columns) {
  double sums[kColumn] = {};
  for (std::size_t j = 0; j < n; ++j) {
    const double* column = columns[j];
    for (std::size_t r = 0; r < nRows; ++r) sums[r] += __builtin_fabs(column[r]);
  }
  double sum = 0.0;
  for (std::size_t r = 0; r < nRows; ++r) sum += sums[r];
  return sum;
}

void Weigh(std::size_t nRows, const double* first, const double* second, double* products) {
  for (std::size_t r = 0; r < nRows; r += kWidth) {
    Store(Load(first + r) * Load(second + r), products + r);
  }
}

void WeighPair(std::size_t nRows, const double* weights, const double* first, const double* second,
               double* products) {
  const Vector one = Broadcast(1.0);
  for (std::size_t r = 0; r < nRows; r += kWidth) {
    const Vector own = Load(first + r);
    const Vector weight = -Load(weights + r);
    const Vector product =
        second == nullptr ? weight * (own - one) * own : weight * own * Load(second + r);
    Store(product, products + r);
  }
}

inline double Smaller(double a, double b) { return b < a ? b : a; }
inline double Larger(double a, double b) { return b > a ? b : a; }

double Shift(std::size_t nRows, std::size_t K, const double* predictors, double* shifted,
             double* largest) {
  double least[kLanes] = {};
  const std::size_t nOthers = K - 1;
  for (std::size_t r = 0; r < nRows; r += kLanes) {
    double most[kLanes] = {};
    for (std::size_t c = 0; c < nOthers; ++c) {
      const double* column = predictors + c * kColumn + r;
      for (std::size_t k = 0; k < kLanes; ++k) most[k] = Larger(most[k], column[k]);
    }
    for (std::size_t k = 0; k < kLanes; ++k) largest[r + k] = most[k];
    if (K == 2) {
      for (std::size_t k = 0; k < kLanes; ++k) {
        const double shift = -__builtin_fabs(predictors[r + k]);
        shifted[r + k] = shift;
        least[k] = Smaller(least[k], shift);
      }
      continue;
    }
    for (std::size_t c = 0; c < K; ++c) {
      for (std::size_t k = 0; k < kLanes; ++k) {
        const double predictor = c < nOthers ? predictors[c * kColumn + r + k] : 0.0;
        const double shift = predictor - most[k];
        shifted[c * kColumn + r + k] = shift;
        least[k] = Smaller(least[k], shift);
      }
    }
  }
  double all = 0.0;
  for (const double lane : least) all = Smaller(all, lane);
  return all;
}

void DivideTwo(std::size_t nRows, const double* predictors, double* probabilities, double* sums) {
  double* first = probabilities;
  double* second = probabilities + kColumn;
  for (std::size_t r = 0; r < nRows; ++r) {
    const double tail = first[r];
    const double sum = 1.0 + tail;
    const double larger = 1.0 / sum;
    const double smaller = tail / sum;
    const bool isFirst = predictors[r] > 0.0;
    first[r] = isFirst ? larger : smaller;
    second[r] = isFirst ? smaller : larger;
    sums[r] = sum;
  }
}

void Divide(std::size_t nRows, std::size_t K, const double* predictors, double* probabilities,
            double* sums) {
  if (K == 2) return DivideTwo(nRows, predictors, probabilities, sums);
  for (std::size_t r = 0; r < nRows; r += kWidth) {
    Vector sum = {};
    for (std::size_t c = 0; c < K; ++c) sum += Load(probabilities + c * kColumn + r);
    Store(sum, sums + r);
    for (std::size_t c = 0; c < K; ++c) {
      double* place = probabilities + c * kColumn + r;
      Store(Load(place) / sum, place);
    }
  }
}

void Observe(std::size_t nRows, std::size_t K, const double* categories, const double* predictors,
             const double* largest, const double* probabilities, double* observed, double* rests,
             double* shifted) {
  const Vector zero = {};
  const Vector one = Broadcast(1.0);
  const Vector small = Broadcast(QvColumnKernels::kSmallRest);
  for (std::size_t r = 0; r < nRows; r += kWidth) {
    const Vector category = Load(categories + r);
    Vector own = zero;
    Vector others = zero;
    Vector predictor = zero;
    for (std::size_t c = 0; c < K; ++c) {
      const auto isOwn = category == Broadcast(static_cast<double>(c));
      const Vector probability = Load(probabilities + c * kColumn + r);
      own = isOwn ? probability : own;
      others += isOwn ? zero : probability;
      if (c + 1 < K) predictor = isOwn ? Load(predictors + c * kColumn + r) : predictor;
    }
    const Vector rest = one - own;
    Store(own, observed + r);
    Store(rest >= small ? rest : others, rests + r);
    Store(predictor - Load(largest + r), shifted + r);
  }
}

void FindRange(std::size_t n, const double* numbers, double* least, double* largest) {
  double low[kLanes];
  double high[kLanes];
  for (std::size_t k = 0; k < kLanes; ++k) low[k] = high[k] = numbers[0];
  std::size_t r = 0;
  for (; r + kLanes <= n; r += kLanes) {
    for (std::size_t k = 0; k < kLanes; ++k) {
      low[k] = Smaller(low[k], numbers[r + k]);
      high[k] = Larger(high[k], numbers[r + k]);
    }
  }
  for (; r < n; ++r) {
    low[0] = Smaller(low[0], numbers[r]);
    high[0] = Larger(high[0], numbers[r]);
  }
  *least = low[0];
  *largest = high[0];
  for (std::size_t k = 1; k < kLanes; ++k) {
    *least = Smaller(*least, low[k]);
    *largest = Larger(*largest, high[k]);
  }
}

QvColumnKernels::Logs SumLogs(std::size_t nRows, const double* weights, const double* shifted,
                              const double* rests, const double* sums) {
  const Vector zero = {};
  const Vector one = Broadcast(1.0);
  const Vector small = Broadcast(QvColumnKernels::kSmallRest);
  const Vector firstWeight = Broadcast(weights[0]);
  Vector shiftedSums[kParts] = {};
  Vector products[kParts];
  Vector nOthers = {};
  Vector nSmall = {};
  for (Vector& product : products) product = one;
  for (std::size_t r = 0; r < nRows; r += kLanes) {
    for (std::size_t part = 0; part < kParts; ++part) {
      const std::size_t place = r + part * kWidth;
      const Vector weight = Load(weights + place);
      const Vector rest = Load(rests + place);
      // Of rows that are there.
      const Vector there = weight != zero ? one : zero;
      const Vector isSmall = rest < small ? there : zero;
      const Vector counts = there - isSmall;
      nSmall += isSmall;
      nOthers += weight != firstWeight ? there : zero;
      shiftedSums[part] += counts != zero ? weight * Load(shifted + place) : zero;
      products[part] *= counts != zero ? Load(sums + place) : one;
    }
  }
  double lanes[kLanes];
  __builtin_memcpy(lanes, products, sizeof lanes);
  double product = 1.0;
  for (const double lane : lanes) product *= lane;
  double others = 0.0;
  double smalls = 0.0;
  for (std::size_t k = 0; k < kWidth; ++k) {
    others += nOthers[k];
    smalls += nSmall[k];
  }
  return {AddLanes(shiftedSums), product, others == 0.0, smalls != 0.0};
}

void FindResiduals(std::size_t nRows, std::size_t K, const double* categories,
                   const double* weights, const double* rests, const double* probabilities,
                   double* residuals) {
  for (std::size_t c = 0; c + 1 < K; ++c) {
    const auto category = static_cast<double>(c);
    for (std::size_t r = 0; r < nRows; ++r) {
      const double residual = categories[r] == category ? rests[r] : -probabilities[r];
      residuals[r] = residual * weights[r];
    }
    probabilities += kColumn;
    residuals += kColumn;
  }
}

void SumByCategory(std::size_t nRows, std::size_t K, const double* categories,
                   const double* weights, double* sums) {
  const Vector zero = {};
  for (std::size_t c = 0; c < K; ++c) {
    const Vector category = Broadcast(static_cast<double>(c));
    Vector sum[kParts] = {};
    for (std::size_t r = 0; r < nRows; r += kLanes) {
      for (std::size_t part = 0; part < kParts; ++part) {
        const std::size_t place = r + part * kWidth;
        sum[part] += Load(categories + place) == category ? Load(weights + place) : zero;
      }
    }
    sums[c] = AddLanes(sum);
  }
}

constexpr QvColumnKernels MakeColumnKernels() {
  return {MultiplyByCoefficients,
          AddPairs,
          SumMagnitudes,
          Weigh,
          WeighPair,
          Shift,
          Divide,
          Observe,
          FindRange,
          SumLogs,
          FindResiduals,
          SumByCategory};
}

}  // namespace
// NOLINTEND(modernize-avoid-c-arrays, misc-definitions-in-headers, google-build-namespaces)
