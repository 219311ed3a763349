#pragma once

#include <cstddef>
#include <vector>

namespace QvCommon {

/// A symmetric matrix A of cross-products in double-double, kept while its rounded sum is swept, so
/// that what the sweep leaves of a row can be computed without the rounding of the sums and of the
/// steps before.
///
/// Rows are selected in increasing order, and each is kept or not. A vector c of coefficients on
/// the kept rows, with 1 in the place of the selected row k, stands for the column k less its
/// regression on the kept ones: c' A c is what is left of its diagonal.
///
/// Owns its elements; a value. Const operations may run together.
class QvExactProducts {
 public:
  /// Holds nothing.
  QvExactProducts() = default;
  /// The elements are sums of a `high` and a `low` part, both lower triangles row by row and of the
  /// same size. May throw std::bad_alloc.
  QvExactProducts(std::vector<double> high, std::vector<double> low);

  /// True when it holds no matrix.
  [[nodiscard]] bool IsEmpty() const { return fHigh.empty(); }
  /// How many rows were kept so far.
  [[nodiscard]] int GetKeptCount() const { return static_cast<int>(fKept.size()); }

  /// Selects row k. REQUIRES: a row of the matrix, larger than the one selected before.
  void SelectRow(int k);
  /// Keeps the selected row. REQUIRES: once for a selected row.
  void KeepRow();
  /// Selects, in place of a row, one that holds `value` in the column of the kept row number `i`
  /// and zeros elsewhere. REQUIRES: no row is selected, kept or multiplied with afterwards.
  void SelectUnit(int i, double value);

  /// c' A c rounded once, with `coefficients` of the kept rows; `gradient` receives the elements of
  /// A c in the kept rows, rounded once each. May throw std::bad_alloc unless the gradient's
  /// capacity suffices.
  double QuadraticForm(const std::vector<double>& coefficients, std::vector<double>& gradient);
  /// The element of A c, with `coefficients` of the kept rows, in a row `l` that was not selected
  /// yet, rounded once.
  [[nodiscard]] double Product(int l, const std::vector<double>& coefficients) const;

 private:
  [[nodiscard]] std::size_t Place(int row, int column) const;

  /// The triangle of the kept rows and columns, packed at the front, and behind the selected row
  /// the rows to come as they were.
  std::vector<double> fHigh;
  std::vector<double> fLow;
  std::vector<int> fKept;
  int fSelected = -1;
  /// Of the selected row: its elements in the kept columns, then its diagonal.
  std::vector<double> fRowHigh;
  std::vector<double> fRowLow;
  std::vector<double> fSumHigh;  ///< Scratch space for A c.
  std::vector<double> fSumLow;
};

}  // namespace QvCommon
