#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// Up to 64 dense rows of n values each, which enter sums together: row by row for products of
/// columns, column by column for predictors.
///
/// Within a panel every sum runs over the rows in their order, or in eight lanes of them; what a
/// panel gives is added to the sum before it at once. Owns its rows. Used from one thread at a
/// time.
class QvPanel {
 public:
  static constexpr std::size_t kRows = QvKernels::kRows;
  /// A number for each row.
  using Numbers = std::array<double, kRows>;

  explicit QvPanel(const QvKernels& kernels = QvKernels::Get()) : fpKernels(&kernels) {}

  /// Makes room for rows of n values, and is empty. May throw std::bad_alloc.
  void SetWidth(std::size_t n);
  /// The number n of values in a row; 0 before SetWidth.
  [[nodiscard]] std::size_t GetWidth() const { return fWidth; }
  [[nodiscard]] std::size_t GetCount() const { return fCount; }
  void Clear() { fCount = 0; }
  /// Adds a row of n values. REQUIRES: fewer than 64.
  void Append(const double* values);
  /// The n values of a row.
  [[nodiscard]] const double* GetRow(std::size_t row) const { return &fRows[row * fStride]; }

  /// `products` receive each row's product with the n `coefficients`.
  void MultiplyBy(const double* coefficients, Numbers& products) const;
  /// Adds to the n `sums` those of the rows, each times its weight.
  void AddWeightedRows(const Numbers& weights, double* sums);
  /// Adds X' W X to `sum`, with the rows in X and their weights in W. REQUIRES: a matrix of order n
  /// without compensation.
  void AddWeightedProducts(const Numbers& weights, QvSymMatrix& sum);

 private:
  const QvKernels* fpKernels;
  std::size_t fWidth = 0;
  std::size_t fStride = 0;  ///< n, rounded up to whole lanes; the values behind n are zeros.
  std::size_t fCount = 0;
  std::vector<double> fRows;
  std::vector<double> fColumns;
  std::vector<double> fWeighted;  ///< Scratch: the rows, each times its weight.
  std::vector<double> fStrip;     ///< Scratch: 8 rows of X' W X.
};

}  // namespace QvCommon
