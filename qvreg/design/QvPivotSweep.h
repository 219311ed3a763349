#pragma once

#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"

/// Sweeps a matrix of cross-products pivot by pivot and finds which columns depend on those before
/// them.
///
/// What the sweep leaves of such a column's diagonal is rounding error, and where a factor's last
/// level is rare that is large: it grows with the share of the other levels. So a diagonal of which
/// little is left is computed again, from the sums before their rounding: as c' A c with the
/// coefficients c of the column on those before it, which the sweep has in its row. Being the
/// smallest value of that form, it does not feel small errors of c.
///
/// Borrows the matrix, which it changes. One thread at a time.
class QvPivotSweep {
 public:
  /// `scale`: what the cross-products, once rounded, are multiplied by before the first pivot.
  QvPivotSweep(QvCommon::QvSymMatrix& matrix, double scale) : fMatrix(matrix), fScale(scale) {}

  /// Ends the matrix's compensation, scales it and sweeps its first `nPivots` pivots; bit k of
  /// `kept`, which is made of `size` bits, tells whether pivot k was swept. 1 when cancelled, 305
  /// without memory. May throw std::bad_alloc.
  QvCommon::QvStatus Run(int nPivots, int size, double tolerance, QvCommon::QvBitSet& kept,
                         QvCancelInfo& cancel);

 private:
  void LookAgain(int k, double tolerance, const QvCommon::QvBitSet& kept);

  QvCommon::QvSymMatrix& fMatrix;
  double fScale;
  QvCommon::QvExactProducts fProducts;
  std::vector<double> fDiagonal;  ///< Before the first pivot.
  std::vector<int> fRows;         ///< Scratch space.
  std::vector<double> fCoefficients;
};
