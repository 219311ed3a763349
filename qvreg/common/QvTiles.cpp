#include "qvreg/common/QvTiles.h"

#include <algorithm>

#include "qvreg/common/QvKernels.h"

namespace QvCommon {

void QvTiles::AddProducts(std::size_t n, std::size_t leftStride, const double* left,
                          std::size_t rightStride, const double* right, const Rows& rows) {
  QvKernels::Get().fAddTile(n, leftStride, left, rightStride, right, rows.data());
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
  QvKernels::Get().fAddTile(n, kRows, left, kColumns, right, whole.data());
  for (std::size_t i = 0; i < kRows; ++i) {
    if (counts[i] != kColumns) std::copy_n(whole[i], counts[i], rows[i]);
  }
}

}  // namespace QvCommon
