#include "qvreg/common/QvPanel.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

namespace {

constexpr std::size_t kLanes = 8;
/// Rows of a tile of X' W X, which is as wide as the lanes: its sums stay in registers.
constexpr std::size_t kTileRows = 4;

QVREG_FMA_CLONES
void WeightRows(std::size_t nRows, std::size_t stride, const double* QVREG_RESTRICT weights,
                const double* QVREG_RESTRICT rows, double* QVREG_RESTRICT weighted) {
  for (std::size_t r = 0; r < nRows; ++r) {
    for (std::size_t j = 0; j < stride; ++j) weighted[j] = weights[r] * rows[j];
    rows += stride;
    weighted += stride;
  }
}

/// The sums over a panel, of which there is a set for each width of a machine's vectors. All sets
/// give the same numbers: the order of each sum is the same.
struct Kernels {
  /// The products of each row with its `n` values and the coefficients; a column is 64 long.
  void (*multiplyColumns)(std::size_t n, const double* columns, const double* coefficients,
                          double* products);
  /// The sums over the rows of one number on the left times eight on the right, rows being a stride
  /// apart on either side.
  void (*sumWeighted)(std::size_t nRows, std::size_t leftStride, std::size_t rightStride,
                      const double* left, const double* right, double* sums);
  /// The same of four numbers on the left: a tile of X' W X.
  void (*sumTile)(std::size_t nRows, std::size_t leftStride, std::size_t rightStride,
                  const double* left, const double* right, double* sums);
};

/// How many numbers a vector of the machine holds.
template <typename Vector>
constexpr std::size_t kWidth = sizeof(Vector) / sizeof(double);

template <typename Vector>
[[gnu::always_inline]] inline void MultiplyColumns(std::size_t n, const double* columns,
                                                   const double* coefficients, double* products) {
  constexpr std::size_t kTogether = 4;
  for (std::size_t r = 0; r < QvPanel::kRows; r += kTogether * kWidth<Vector>) {
    std::array<Vector, kTogether> sums{};
    const double* column = columns + r;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = 0; k < kTogether; ++k) {
        Vector values;
        std::memcpy(&values, column + k * kWidth<Vector>, sizeof values);
        sums[k] += coefficients[j] * values;
      }
      column += QvPanel::kRows;
    }
    std::memcpy(products + r, &sums, sizeof sums);
  }
}

template <typename Vector, std::size_t kRows>
[[gnu::always_inline]] inline void SumProducts(std::size_t nRows, std::size_t leftStride,
                                               std::size_t rightStride, const double* left,
                                               const double* right, double* sums) {
  constexpr std::size_t kParts = kLanes / kWidth<Vector>;
  std::array<std::array<Vector, kParts>, kRows> tile{};
  for (std::size_t r = 0; r < nRows; ++r) {
    for (std::size_t k = 0; k < kParts; ++k) {
      Vector row;
      std::memcpy(&row, right + k * kWidth<Vector>, sizeof row);
      for (std::size_t i = 0; i < kRows; ++i) tile[i][k] += left[i] * row;
    }
    left += leftStride;
    right += rightStride;
  }
  std::memcpy(sums, &tile, sizeof tile);
}

using Two [[gnu::vector_size(16)]] = double;
constexpr Kernels kNarrow{MultiplyColumns<Two>, SumProducts<Two, 1>, SumProducts<Two, kTileRows>};

#if defined(QVREG_WIDE_VECTORS)
using Four [[gnu::vector_size(32)]] = double;

QVREG_WIDE_VECTORS void MultiplyColumnsWide(std::size_t n, const double* columns,
                                            const double* coefficients, double* products) {
  MultiplyColumns<Four>(n, columns, coefficients, products);
}

QVREG_WIDE_VECTORS void SumWeightedWide(std::size_t nRows, std::size_t leftStride,
                                        std::size_t rightStride, const double* left,
                                        const double* right, double* sums) {
  SumProducts<Four, 1>(nRows, leftStride, rightStride, left, right, sums);
}

QVREG_WIDE_VECTORS void SumTileWide(std::size_t nRows, std::size_t leftStride,
                                    std::size_t rightStride, const double* left,
                                    const double* right, double* sums) {
  SumProducts<Four, kTileRows>(nRows, leftStride, rightStride, left, right, sums);
}

constexpr Kernels kWide{MultiplyColumnsWide, SumWeightedWide, SumTileWide};

const Kernels& TheKernels() {
  static const Kernels& kernels = __builtin_cpu_supports("x86-64-v3") != 0 ? kWide : kNarrow;
  return kernels;
}
#else
const Kernels& TheKernels() { return kNarrow; }
#endif

}  // namespace

void QvPanel::SetWidth(std::size_t n) {
  const std::size_t stride = (n + kLanes - 1) / kLanes * kLanes;
  fRows.assign(kRows * stride, 0.0);
  fWeighted = fRows;
  fColumns.assign(kRows * n, 0.0);
  fWidth = n;
  fStride = stride;
  fCount = 0;
}

void QvPanel::Append(const double* values) {
  double* row = &fRows[fCount * fStride];
  double* column = &fColumns[fCount];
  for (std::size_t j = 0; j < fWidth; ++j) {
    row[j] = values[j];
    column[j * kRows] = values[j];
  }
  ++fCount;
}

void QvPanel::MultiplyBy(const double* coefficients, Numbers& products) const {
  TheKernels().multiplyColumns(fWidth, fColumns.data(), coefficients, products.data());
}

void QvPanel::AddWeightedRows(const Numbers& weights, double* sums) const {
  std::array<double, kLanes> part{};
  const auto sumWeighted = TheKernels().sumWeighted;
  for (std::size_t j = 0; j < fWidth; j += kLanes) {
    sumWeighted(fCount, 1, fStride, weights.data(), &fRows[j], part.data());
    const std::size_t count = std::min(kLanes, fWidth - j);
    for (std::size_t lane = 0; lane < count; ++lane) sums[j + lane] += part[lane];
  }
}

void QvPanel::AddWeightedProducts(const Numbers& weights, QvSymMatrix& sum) {
  WeightRows(fCount, fStride, weights.data(), fRows.data(), fWeighted.data());
  std::array<double, kLanes * kTileRows> tile{};
  const auto sumTile = TheKernels().sumTile;
  for (std::size_t i = 0; i < fWidth; i += kTileRows) {
    const std::size_t nRows = std::min(kTileRows, fWidth - i);
    for (std::size_t j = 0; j < i + nRows; j += kLanes) {
      sumTile(fCount, fStride, fStride, &fWeighted[i], &fRows[j], tile.data());
      for (std::size_t a = 0; a < nRows; ++a) {
        sum.AddToRow(i + a, j, std::span(tile).subspan(a * kLanes, kLanes));
      }
    }
  }
}

}  // namespace QvCommon
