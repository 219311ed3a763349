#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// Up to 64 dense rows of n values each, whose weighted products enter double-double sums together.
///
/// Each number is split into its first 23 bits, relative to the largest of its column in the panel,
/// and the rest. Products of first parts add without rounding; products with a rest are 2^-23 as
/// large, so that rounding them is an error of about 2^-76 of the largest products (the splitting
/// of Ozaki, Ogita, Oishi, Rump, Error-free transformations of matrix multiplication, Numer.
/// Algorithms 59, 2012, in two parts). Where every number of a column fits into 23 bits, as whole
/// numbers mostly do, nothing is rounded. Owns its rows. Used from one thread at a time.
class QvProductPanel {
 public:
  explicit QvProductPanel(const QvKernels& kernels = QvKernels::Get()) : fpKernels(&kernels) {}

  /// Makes room for rows of n values, and is empty. May throw std::bad_alloc.
  void SetWidth(std::size_t n);
  [[nodiscard]] std::size_t GetCount() const { return fCount; }
  [[nodiscard]] bool IsFull() const { return fCount == QvKernels::kRows; }
  /// The memory for rows of n values, in bytes.
  [[nodiscard]] static std::size_t GetSize(std::size_t n);
  /// Adds a row of n values with its weight. REQUIRES: not full.
  void Add(const double* values, double weight);
  /// Adds X' W X to `sum`, with the rows in X and their weights in W; the panel is then empty.
  /// REQUIRES: a matrix of order n, with compensation.
  void AddTo(QvSymMatrix& sum);

  /// Whether some product was rounded, by more than double-double numbers are.
  [[nodiscard]] bool HasRounded() const { return fbRounded; }
  /// Whether there was a number or weight so large or small that a product of three may leave the
  /// range of exact products. Its panel was added row by row.
  [[nodiscard]] bool HasUnusual() const { return fbUnusual; }
  /// What rounding changes in a sum, as a share of the root of the sums of its columns' squares.
  static constexpr double kRounding = 0x1p-74;

 private:
  using Doubles = std::vector<double>;
  /// Rows split in two, with the number of leading columns whose rests are zero.
  struct Parts {
    Doubles fHigh;
    Doubles fLow;
    std::size_t fExactColumns = 0;
  };

  /// False for what is unusual.
  bool SplitRows();
  bool SplitWeightedRows();
  bool SplitAll();
  void AddOneByOne(QvSymMatrix& sum);
  void AddStrip(std::size_t first, const Parts& left, QvSymMatrix& sum);

  const QvKernels* fpKernels;
  std::size_t fWidth = 0;
  std::size_t fStride = 0;  ///< n, rounded up to whole lanes; the values behind n are zeros.
  std::size_t fCount = 0;
  bool fbWeighted = false;  ///< Whether weights differ, or are no power of two.
  bool fbRounded = false;
  bool fbUnusual = false;
  std::array<double, QvKernels::kRows> fWeights{};
  Doubles fRows;
  Parts fParts;
  Parts fWeightedParts;
  Doubles fSizes;       ///< Scratch: of each column.
  Doubles fExactStrip;  ///< Scratch: 8 rows of products of first parts, then of the others.
  Doubles fRestStrip;
  Doubles fOtherStrip;
};

}  // namespace QvCommon
