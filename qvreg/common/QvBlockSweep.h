#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

class QvBitSet;

/// Sweeps pivots of a matrix in increasing order, none of which was swept before: the numbers of
/// QvSymMatrix::Sweep, found a block of pivots at a time.
///
/// A pivot changes at once the rows and columns of the pivots that follow it closely, and the rest
/// of the matrix only with the last pivot of its block, as a product of matrices. Each element
/// receives the terms of all pivots in their order, so no bit differs from the sweep pivot by
/// pivot. Small matrices, and those without memory for blocks, are swept pivot by pivot.
///
/// Borrows everything it is given. Used from one thread at a time.
class QvBlockSweep {
 public:
  /// With `tolerance`, `diagonal` and `swept` as for QvSymMatrix::Sweep. `isStopped` is asked now
  /// and then while a block is finished.
  QvBlockSweep(QvSymMatrix& matrix, double tolerance, const std::vector<double>& diagonal,
               QvBitSet& swept, const QvStopQuery& isStopped);

  /// Brings pivot k up to date, whose diagonal the matrix then holds. REQUIRES: in increasing order
  /// of k. False when stopped: the matrix is then undefined.
  [[nodiscard]] bool Advance(int k);
  /// Sweeps the pivot, or skips it; false without memory. REQUIRES: after Advance of the same
  /// pivot; elements that were changed since are those of a matrix that is up to date.
  [[nodiscard]] bool Sweep(int k);
  /// Brings the whole matrix up to date; false when stopped: the matrix is then undefined.
  [[nodiscard]] bool Settle();

 private:
  struct Range {
    std::size_t fBegin = 0;
    std::size_t fEnd = 0;

    [[nodiscard]] bool Has(std::size_t i) const { return i >= fBegin && i < fEnd; }
  };
  /// The pivots that wait, whose terms are in steps `fFirstStep` and on.
  struct Block {
    Range fPivots;
    std::size_t fFirstStep = 0;
  };

  [[nodiscard]] bool IsBlocked() const { return !fColumns.empty(); }
  [[nodiscard]] double* Column(std::size_t step) { return &fColumns[step * fOrder]; }
  [[nodiscard]] double* Factor(std::size_t step) { return &fFactors[step * fOrder]; }
  void Open(std::size_t k);
  void LoadStep(std::size_t k, double pivot);
  void UpdateInner(std::size_t k);
  void StorePivot(std::size_t k, double pivot);
  [[nodiscard]] bool FinishInner();
  [[nodiscard]] bool FinishOuter();
  /// Adds the terms of the steps from `first` on to the rows of the list, in `columns` up to the
  /// diagonal; `areSwept`, whether the rows are.
  [[nodiscard]] bool Update(std::size_t first, Range columns, bool areSwept);
  void ListRows(Range rows, bool areSwept);
  void PackLeft(std::size_t first);
  void PackRight(std::size_t first, Range columns, bool areSwept);
  void UpdateStrip(std::size_t strip, std::size_t depth, Range columns);

  QvSymMatrix& fMatrix;
  double fTolerance;
  const std::vector<double>& fDiagonal;
  QvBitSet& fSwept;
  const QvStopQuery& fIsStopped;
  std::size_t fOrder;
  Block fOuter;
  Block fInner;  ///< The last pivots of the outer one, whose rows and columns are up to date.
  std::size_t fNSteps = 0;
  /// For each step, of a pivot that was swept: its column before, and minus that over the pivot.
  std::vector<double> fColumns;
  std::vector<double> fFactors;
  std::vector<double> fFlipped;  ///< The latest column, negative where rows are swept.
  std::vector<std::size_t> fRows;
  std::vector<double> fLeft;   ///< Factors by strips of four rows.
  std::vector<char> fIsZero;   ///< By strip.
  std::vector<double> fRight;  ///< Columns by strips of eight.
};

}  // namespace QvCommon
