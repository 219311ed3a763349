#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvExactProducts.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/design/QvRedundantColumns.h"

/// Sweeps a matrix of cross-products pivot by pivot and finds which columns depend on those before
/// them.
///
/// What the sweep leaves of a column's diagonal carries the rounding errors of the sums and of all
/// pivots before, which may be larger than what is really left, on either side of the tolerance.
/// So where little is left, the row of the pivot is computed from the sums before their rounding:
/// with the coefficients c of the column on the kept ones, the diagonal is c' A c and the other
/// elements are those of A c. The sweep has c in its row, and c is corrected by iterative
/// refinement (Higham, Accuracy and Stability of Numerical Algorithms, 2002, chapter 12), with the
/// inverse that the sweep holds, until the form settles. The form is at its minimum there, so that
/// an error d of c enters as d' A d only.
///
/// At the end the coefficients of the rows that are no pivots are refined likewise, where that
/// changes them by more than 1e-12 of themselves, and then the inverse as well, of up to 1000
/// columns.
///
/// Borrows the matrix, which it changes; at its largest holds two more of its size. One thread at a
/// time.
class QvPivotSweep {
 public:
  /// `scale`: what the cross-products, once rounded, are multiplied by before the first pivot.
  /// `rounding`: see QvCrossProducts::GetRounding.
  QvPivotSweep(QvCommon::QvSymMatrix& matrix, double scale, double rounding)
      : fMatrix(matrix), fScale(scale), fRounding(rounding) {}

  /// Ends the matrix's compensation, scales it and sweeps its first `nPivots` pivots; bit k of
  /// `kept`, which is made of `size` bits, tells whether pivot k was swept. Codes kCancelled, and
  /// kTooManyParameters without memory. May throw std::bad_alloc.
  QvCommon::QvStatus Run(int nPivots, int size, double tolerance, QvCommon::QvBitSet& kept,
                         QvCancelInfo& cancel);

  /// After Run: how the columns that are no pivots depend on those before them. One whose products
  /// are not finite is not among them.
  [[nodiscard]] QvRedundantColumns TakeRedundant() { return std::move(fRedundant); }

 private:
  QvCommon::QvStatus SweepPivots(int nPivots, double tolerance, QvCommon::QvBitSet& kept,
                                 QvCancelInfo& cancel);
  [[nodiscard]] bool IsDoubtful(int k) const;
  void LoadCoefficients(int row);
  void StoreCoefficients(int row);
  void RecomputePivot(int k, double tolerance);
  [[nodiscard]] double RefineForm(double enough);
  double FindRelativeChange();
  bool RefineCoefficients(double negligible);
  bool RefineRows(int first);
  bool RefineInverse(QvCancelInfo& cancel);
  double FindCorrection();
  /// The elements of the kept pivot number i in the columns of those up to it, as the sweep left
  /// them. Valid until the next call.
  const double* InverseRow(std::size_t i);
  /// Puts all of these rows side by side, so that finding them again and again costs nothing.
  void PackInverse();
  [[nodiscard]] double RoundingOfForm(int k) const;
  void StoreRow(int k, double pivot);
  void NoteRedundant(int k);

  QvCommon::QvSymMatrix& fMatrix;
  double fScale;
  double fRounding;
  QvCommon::QvExactProducts fProducts;
  std::vector<double> fDiagonal;  ///< Before the first pivot.
  std::vector<int> fKept;         ///< The pivots swept so far.
  QvRedundantColumns fRedundant;
  /// One for each kept pivot: of the column at hand on it, of A c, and what refinement adds.
  std::vector<double> fCoefficients;
  std::vector<double> fGradient;
  std::vector<double> fCorrection;
  std::vector<double> fScaled;   ///< Scratch: the gradient, scaled as the matrix is.
  std::vector<double> fRow;      ///< Scratch: a row's elements in the kept columns.
  std::vector<double> fInverse;  ///< Packed; empty before PackInverse.
};
