#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

/// Up to 128 dense rows of n values each, whose weighted products enter double-double sums
/// together.
///
/// Each sum over the panel is one of exact products, rounded to a grid of which the sum itself is a
/// multiple, and of what that leaves, about 2^-46 as large and rounded to doubles: see
/// QvExactStrip. (Accumulation against a constant much larger than the terms: Demmel, Nguyen, Fast
/// reproducible floating-point summation, ARITH 21, 2013.) Where every number of a column fits into
/// 23 bits, as whole numbers mostly do, plain sums of products are exact. Owns its rows. Used from
/// one thread at a time.
class QvProductPanel {
 public:
  static constexpr std::size_t kRows = 128;

  explicit QvProductPanel(const QvKernels& kernels = QvKernels::Get()) : fpKernels(&kernels) {}

  /// Makes room for rows of n values, and is empty. May throw std::bad_alloc.
  void SetWidth(std::size_t n);
  /// The n of SetWidth; 0 before.
  [[nodiscard]] std::size_t GetWidth() const { return fWidth; }
  [[nodiscard]] std::size_t GetCount() const { return fCount; }
  [[nodiscard]] bool IsFull() const { return fCount == kRows; }
  /// The memory for rows of n values, in bytes.
  [[nodiscard]] static std::size_t GetSize(std::size_t n);
  /// Adds a row with its weight, and returns where its n values are to be written. REQUIRES: room,
  /// not full.
  double* Append(double weight) {
    if (fCount > 0) fbWeighted = fbWeighted || weight != fWeights[0];
    fWeights[fCount] = weight;
    return &fRows[fCount++ * fStride];
  }
  /// Adds X' W X to `sum`, with the rows in X and their weights in W; the panel is then empty.
  /// REQUIRES: a matrix of order n, with compensation.
  void AddTo(QvSymMatrix& sum);

  /// Whether some product was rounded, by more than double-double numbers are.
  [[nodiscard]] bool HasRounded() const { return fbRounded; }
  /// Whether there was a number or weight so large or small that a product of three may leave the
  /// range of exact products. Its panel was added row by row.
  [[nodiscard]] bool HasUnusual() const { return fbUnusual; }
  /// What rounding changes in a sum, as a share of the root of the sums of its columns' squares.
  static constexpr double kRounding = 0x1p-82;

 private:
  using Doubles = std::vector<double>;

  /// False for what is unusual.
  bool AreWeightsUsual();
  bool FindBounds();
  bool WeighRows();
  void AddOneByOne(QvSymMatrix& sum);
  void AddStrip(std::size_t first, std::size_t nShort, QvSymMatrix& sum);
  /// Whether some product of these rows of a strip was rounded.
  [[nodiscard]] bool HasRests(std::size_t n) const;

  const QvKernels* fpKernels;
  std::size_t fWidth = 0;
  std::size_t fStride = 0;  ///< n, rounded up to whole lanes; the values behind n are zeros.
  std::size_t fCount = 0;
  bool fbWeighted = false;  ///< Whether weights differ, or are no power of two.
  bool fbRounded = false;
  bool fbUnusual = false;
  std::array<double, kRows> fWeights{};
  Doubles fRows;
  Doubles fWeighted;  ///< The rows times their weights, and what that lost to rounding.
  Doubles fWeightedRest;
  Doubles fSizes;   ///< Scratch: of each column.
  Doubles fBounds;  ///< Of the columns on the right, then on the left, as QvExactStrip says.
  Doubles fLeftBounds;
  Doubles fHigh;  ///< Scratch: 8 rows of products, and what they lack.
  Doubles fLow;
};

}  // namespace QvCommon
