#pragma once

#include <array>
#include <cstddef>

namespace QvCommon {

/// The inner kernel of matrix products: a tile of sums that stay in registers.
class QvTiles {
 public:
  static constexpr std::size_t kRows = 4;
  static constexpr std::size_t kColumns = 8;
  /// Where each row of a tile has its sums, which lie side by side.
  using Rows = std::array<double*, kRows>;
  /// How many sums each row has, the others being no part of it.
  using Counts = std::array<std::size_t, kRows>;

  /// Adds left(k, i) right(k, j) to rows[i][j], for all k below n in increasing order: the same
  /// numbers on every machine, and those of a plain loop over k. `left` has kRows numbers for each
  /// k and `right` kColumns, those of one k a stride behind those before.
  static void AddProducts(std::size_t n, std::size_t leftStride, const double* left,
                          std::size_t rightStride, const double* right, const Rows& rows);
  /// The same of rows the first `counts` of whose sums exist: a tile at an edge. `left` and `right`
  /// have no gaps.
  static void AddProducts(std::size_t n, const double* left, const double* right, const Rows& rows,
                          const Counts& counts);
};

}  // namespace QvCommon
