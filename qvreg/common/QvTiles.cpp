#include "qvreg/common/QvTiles.h"

#include <algorithm>
#include <cstring>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

namespace {

constexpr std::size_t kRows = QvTiles::kRows;
constexpr std::size_t kColumns = QvTiles::kColumns;

using Kernel = void (*)(std::size_t n, std::size_t leftStride, const double* left,
                        std::size_t rightStride, const double* right, const QvTiles::Rows& rows);

/// Vectors in a row of the tile.
template <typename Vector>
constexpr std::size_t kParts = kColumns * sizeof(double) / sizeof(Vector);

/// Every sum has one order whatever the vectors' width: all widths give the same numbers.
template <typename Vector>
[[gnu::always_inline]] inline void AddTile(std::size_t n, std::size_t leftStride,
                                           const double* left, std::size_t rightStride,
                                           const double* right, const QvTiles::Rows& rows) {
  using Row = std::array<Vector, kParts<Vector>>;
  const auto load = [](const double* numbers) {
    Row row;
    for (std::size_t part = 0; part < kParts<Vector>; ++part) {
      std::memcpy(&row[part], numbers + part * (kColumns / kParts<Vector>), sizeof(Vector));
    }
    return row;
  };
  std::array<Row, kRows> tile{load(rows[0]), load(rows[1]), load(rows[2]), load(rows[3])};
  for (std::size_t k = 0; k < n; ++k) {
    const Row row = load(right);
    for (std::size_t i = 0; i < kRows; ++i) {
      for (std::size_t part = 0; part < kParts<Vector>; ++part) {
        tile[i][part] += left[i] * row[part];
      }
    }
    left += leftStride;
    right += rightStride;
  }
  for (std::size_t i = 0; i < kRows; ++i) {
    for (std::size_t part = 0; part < kParts<Vector>; ++part) {
      const Vector sums = tile[i][part];
      std::memcpy(rows[i] + part * (kColumns / kParts<Vector>), &sums, sizeof sums);
    }
  }
}

using Two [[gnu::vector_size(16)]] = double;

#if defined(QVREG_WIDE_VECTORS)
using Four [[gnu::vector_size(32)]] = double;

QVREG_WIDE_VECTORS void AddTileWide(std::size_t n, std::size_t leftStride, const double* left,
                                    std::size_t rightStride, const double* right,
                                    const QvTiles::Rows& rows) {
  AddTile<Four>(n, leftStride, left, rightStride, right, rows);
}

Kernel TheKernel() {
  static const Kernel kernel =
      __builtin_cpu_supports("x86-64-v3") != 0 ? AddTileWide : AddTile<Two>;
  return kernel;
}
#else
Kernel TheKernel() { return AddTile<Two>; }
#endif

}  // namespace

void QvTiles::AddProducts(std::size_t n, std::size_t leftStride, const double* left,
                          std::size_t rightStride, const double* right, const Rows& rows) {
  TheKernel()(n, leftStride, left, rightStride, right, rows);
}

void QvTiles::AddProducts(std::size_t n, const double* left, const double* right, const Rows& rows,
                          const Counts& counts) {
  std::array<double, kRows * kColumns> edge{};
  Rows whole = rows;
  for (std::size_t i = 0; i < kRows; ++i) {
    if (counts[i] == kColumns) continue;
    whole[i] = &edge[i * kColumns];
    std::copy_n(rows[i], counts[i], whole[i]);
  }
  TheKernel()(n, kRows, left, kColumns, right, whole);
  for (std::size_t i = 0; i < kRows; ++i) {
    if (counts[i] != kColumns) std::copy_n(whole[i], counts[i], rows[i]);
  }
}

}  // namespace QvCommon
