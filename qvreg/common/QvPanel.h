#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvAlignedDoubles.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// Up to 256 dense rows of n values each, column by column, which enter sums together: its own, or
/// borrowed columns.
///
/// Within a panel every sum runs over the rows in eight lanes; what a panel gives is added to the
/// sum before it at once. Rows that it lacks are zeros, and their weights must be. Used from one
/// thread at a time.
class QvPanel {
 public:
  static constexpr std::size_t kRows = QvColumnKernels::kRows;
  /// A number for each row.
  using Numbers = std::array<double, kRows>;

  explicit QvPanel(const QvKernels& kernels = QvKernels::Get()) : fpKernels(&kernels.fColumns) {}
  QvPanel(const QvPanel&) = delete;
  QvPanel& operator=(const QvPanel&) = delete;
  ~QvPanel() = default;

  /// Makes room for rows of n values, and is empty. May throw std::bad_alloc.
  void SetWidth(std::size_t n);
  /// The number n of values in a row; 0 before SetWidth.
  [[nodiscard]] std::size_t GetWidth() const { return fWidth; }
  [[nodiscard]] std::size_t GetCount() const { return fCount; }
  /// Forgets its rows, and columns that it borrowed.
  void Clear();
  /// Adds a row of n values. REQUIRES: fewer than 256, none borrowed.
  void Append(const double* values);
  /// Adds `count` rows that lie one behind the other. REQUIRES: room for them, none borrowed.
  void Append(std::size_t count, const double* rows);
  /// Takes n columns of 256 numbers, finite ones from the row `count` on, until Clear. REQUIRES:
  /// count of at most 256.
  void Borrow(std::size_t count, const double* const* columns);
  /// Writes the n values of a row.
  void CopyRow(std::size_t row, double* values) const {
    for (std::size_t j = 0; j < fWidth; ++j) values[j] = fColumns[j][row];
  }

  /// The sum of the magnitudes of all values.
  [[nodiscard]] double SumMagnitudes() const {
    return fpKernels->fSumMagnitudes(CountInLanes(), fWidth, fColumns.data());
  }
  /// How many rows the kernels take: a multiple of the lanes.
  [[nodiscard]] std::size_t CountInLanes() const { return QvKernels::WholeLanes(fCount); }
  /// `products`, a number for each row, receive their products with the n `coefficients`.
  void MultiplyBy(const double* coefficients, double* products) const {
    fpKernels->fMultiply(CountInLanes(), fWidth, fColumns.data(), coefficients, products);
  }
  /// Adds to the nSums times n `sums` those of the rows, each times its weight; `weights` has
  /// 256 numbers for each of nSums.
  void AddWeightedRows(std::size_t nSums, const double* weights, double* sums);
  /// Adds X' W X to `sum`, with the rows in X and their weights in W. REQUIRES: a matrix of order n
  /// without compensation.
  void AddWeightedProducts(const Numbers& weights, QvSymMatrix& sum);

 private:
  static constexpr std::size_t kMostLeft = QvColumnKernels::kMostLeft;
  using Rows = std::array<double*, kMostLeft>;

  /// Adds the products of nLeft columns with its own to that many `rows`, of which the first has
  /// `nFirst` sums and each other `nMore` more than the one before.
  void AddProducts(std::size_t nLeft, const double* left, const Rows& rows, std::size_t nFirst,
                   std::size_t nMore);

  const QvColumnKernels* fpKernels;
  std::size_t fWidth = 0;
  std::size_t fCount = 0;
  std::size_t fNWritten = 0;  ///< Rows of its own columns that may not be zeros.
  QvAlignedDoubles fOwn;
  /// As many as the kernels take together, zeros behind n.
  std::vector<const double*> fColumns;
  /// Scratch: some columns, times weights.
  QvAlignedDoubles fWeighted;
};

}  // namespace QvCommon
