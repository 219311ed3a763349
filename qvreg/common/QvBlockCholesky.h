#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// The Cholesky factorisation and the inverse of QvSymMatrix, by products of blocks.
///
/// Each sum has the terms of the plain loops in their order, so that no bit differs from those.
/// Borrows everything it is given. Used from one thread at a time.
class QvBlockCholesky {
 public:
  /// A lower triangle of `order` rows, row by row, is at `elements`. `isStopped` is asked every few
  /// hundredths of a second.
  QvBlockCholesky(int order, double* elements, const QvStopQuery& isStopped)
      : fOrder(static_cast<std::size_t>(order)), fElements(elements), fIsStopped(isStopped) {}

  /// Makes room for blocks; false for a matrix that is too small for them, and without memory.
  /// REQUIRED before the operations.
  [[nodiscard]] bool Allocate();
  /// As QvSymMatrix::LTChol.
  int Factor(double tolerance, double& measure, bool stopAtSingular);
  /// As QvSymMatrix::LTInverse; false when stopped.
  bool Invert();

 private:
  struct Range {
    std::size_t fBegin = 0;
    std::size_t fEnd = 0;
  };

  [[nodiscard]] double* Row(std::size_t i) const { return fElements + i * (i + 1) / 2; }
  /// Where fPanel has the element in a row and column of the block; those of a row are a strip's
  /// rows apart.
  [[nodiscard]] double* PanelAt(std::size_t row, std::size_t column);
  /// The factor's rows and columns from `begin` on: fSums become the products with the columns
  /// before.
  [[nodiscard]] bool SumBefore(std::size_t begin, std::size_t end);
  /// Adds the terms from column `first` on to the sums of some of those rows.
  void SumRows(std::size_t begin, std::size_t end, std::size_t first, std::size_t depth,
               std::size_t firstRow, std::size_t lastRow);
  /// Adds those with the block's columns up to `column` to the sums of the columns that follow it.
  void SumWithin(std::size_t begin, std::size_t column);
  /// Finds a few columns; false after a singular pivot that ends the factorisation.
  [[nodiscard]] bool FactorColumns(std::size_t begin, std::size_t column, std::size_t end);
  void FactorRow(std::size_t begin, std::size_t column, std::size_t i, std::size_t count);
  /// The same for all rows below those of the columns, several together.
  void FactorRowsBelow(std::size_t begin, std::size_t column, std::size_t end);
  [[nodiscard]] bool FactorPivot(std::size_t begin, std::size_t column, std::size_t i);

  [[nodiscard]] bool InvertFactor();
  [[nodiscard]] bool InvertBefore(std::size_t begin, std::size_t end);
  void InvertWithin(std::size_t begin, std::size_t first, std::size_t end);
  void InvertRow(std::size_t begin, std::size_t first, std::size_t i);
  [[nodiscard]] bool MultiplyInverses();
  void MultiplyOwn(std::size_t begin, std::size_t end);
  [[nodiscard]] bool MultiplyBelow(std::size_t begin, std::size_t end);

  /// Packs `depth` elements from column `first` on of rows from `begin` on, `width` rows together,
  /// zeros behind row `end`.
  void PackRows(std::size_t begin, std::size_t end, std::size_t first, std::size_t depth,
                std::size_t width, double* packed) const;
  /// Packs the elements of `depth` rows from `first` on in columns from `begin` to `end`, kWidth
  /// columns together, zeros above the diagonal.
  template <std::size_t kWidth>
  void PackColumns(std::size_t first, std::size_t depth, std::size_t begin, std::size_t end,
                   double* packed) const;
  /// Adds products with the elements that rows `terms` have in `columns` to the elements of `rows`
  /// there. What those are multiplied with is the last of the `leftDepth` terms in fLeft.
  void AddTerms(Range rows, std::size_t leftDepth, Range terms, Range columns);
  /// Adds products of packed strips to the elements in rows from i on, below `end`, and in columns
  /// from j on.
  void AddTile(std::size_t depth, const double* left, const double* right, std::size_t i,
               std::size_t end, std::size_t j) const;

  std::size_t fOrder;
  double* fElements;
  const QvStopQuery& fIsStopped;
  std::size_t fBlock = 0;
  std::size_t fDepth = 0;
  double fTolerance = 0.0;
  int fResult = 0;
  double fSmallest = 1.0;
  std::vector<double> fSums;   ///< For the rows from a block's first on, those of its columns.
  std::vector<double> fPanel;  ///< The factor there by strips of rows; or rows of the inverse.
  std::vector<double> fLeft;
  std::vector<double> fRight;
};

}  // namespace QvCommon
