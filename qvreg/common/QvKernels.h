#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "qvreg/common/QvColumnKernels.h"

namespace QvCommon {

/// A strip of exact products: 8 rows of fColumns sums, a multiple of 8, over fRows <= 128 rows of
/// each of 8 numbers on the left, fpLeftRest added to them unless it is null, times each on the
/// right.
///
/// Each sum starts from a number so large that it is rounded to one grid all the time: what it
/// gains by a product is exact, and what it does not is summed in fpLow. The start is the product
/// of two bounds: a right one is a power of two above every magnitude in its column, a left one the
/// same of the left, without its rest, times kStart. What is rounded is less than 2^-82 of the
/// product of the largest magnitudes.
struct QvExactStrip {
  /// 1.5 times twice the number of rows.
  static constexpr double kStart = 1.5 * 256;

  std::size_t fRows = 0;
  std::size_t fStride = 0;  ///< From a row to the next, on either side.
  std::size_t fColumns = 0;
  const double* fpLeft = nullptr;
  const double* fpLeftRest = nullptr;
  const double* fpLeftBounds = nullptr;
  const double* fpRight = nullptr;
  const double* fpRightBounds = nullptr;
  double* fpHigh = nullptr;
  double* fpLow = nullptr;
  double fUnit = 1.0;  ///< A power of two that the sums are multiplied by at their end.
};

/// The inner loops of sums over many rows, of which there is a set for each kind of machine.
///
/// Rows are kept in two ways: row by row, each row a stride apart, a multiple of 8, with zeros
/// behind its values; or in columns of 64 rows each. All sets run over rows and columns in the same
/// order; where rows are summed in lanes there are 8 of them. Sets with fused products differ from
/// the one without in last digits, and from each other in none; what is exact, or said to be
/// double-double, is the same in all.
///
/// Stateless: any thread may call any of them.
struct QvKernels {
  static constexpr std::size_t kRows = 64;
  static constexpr std::size_t kLanes = 8;

  /// As the environment variable QVREG_ARITHMETIC names it.
  const char* fName;
  /// Whether a product and its sum are rounded once.
  bool fbFused;

  /// `strip`, 8 rows of nColumns, a multiple of 8, becomes the sums over n rows of each of the
  /// first nLeft <= 8 numbers on the left times each of nColumns on the right.
  void (*fMultiplyStrip)(std::size_t n, std::size_t stride, std::size_t nLeft, std::size_t nColumns,
                         const double* left, const double* right, double* strip);
  /// See QvExactStrip.
  void (*fMultiplyStripExactly)(const QvExactStrip& strip);
  /// Adds to 4 rows of 8 sums those over n numbers on the left times rows on the right; see
  /// QvTiles. Nothing is fused in any set.
  void (*fAddTile)(std::size_t n, std::size_t leftStride, const double* left,
                   std::size_t rightStride, const double* right, double* const* rows);
  /// Solves 8 triangular systems of n <= 8 equations: column j of `columns`, 8 numbers, becomes it
  /// minus `sums`, laid out alike, minus the sum over k < j of column k times triangle[8 j + k],
  /// all over triangle[9 j], or 0 where that is not positive. Nothing is fused in any set.
  void (*fSolveColumns)(std::size_t n, const double* triangle, const double* sums, double* columns);
  /// `sizes`, one for each column of the stride, become the largest magnitudes over n rows; false
  /// when some number is not usual, see below.
  bool (*fFindSizes)(std::size_t n, std::size_t stride, const double* rows, double* sizes);
  /// The number of leading columns, in eights, whose numbers fit into 23 bits of their column's
  /// `sizes`: products of such numbers add without rounding over 128 rows. REQUIRES: usual sizes.
  std::size_t (*fCountShort)(std::size_t n, std::size_t stride, const double* sizes,
                             const double* rows);
  /// Each row times its weight, in double-double. REQUIRES: usual numbers and weights, as below.
  void (*fWeighRows)(std::size_t n, std::size_t stride, const double* weights, const double* rows,
                     double* high, double* low);
  /// Writes n <= 64 rows as columns, one for each number of the stride. Rows up to the next
  /// multiple of 8 are read and written, too.
  void (*fFillColumns)(std::size_t n, std::size_t stride, const double* rows, double* columns);
  /// Takes the sums over n columns of column times coefficient off 64 double-double numbers.
  void (*fSubtractProducts)(std::size_t n, const double* columns, const double* coefficients,
                            double* high, double* low);
  /// The same with double-double coefficients of each row's own, in n columns of them.
  void (*fSubtractRowProducts)(std::size_t n, const double* columns, const double* coefficients,
                               const double* coefficientLows, double* high, double* low);
  /// Adds to n double-double sums the sums of column times 64 double-double weights.
  void (*fAddWeightedColumns)(std::size_t n, const double* columns, const double* weightHigh,
                              const double* weightLow, double* sumHigh, double* sumLow);
  /// Adds the sums over 64 of weight times number, and of weight times its square, to two
  /// double-double sums, of which the high parts come first.
  void (*fAddMoments)(const double* weights, const double* numbers, double* first, double* second);
  /// Each of n rows, a stride apart, of `width` values, followed by the first half of them again
  /// and by numbers up to the stride, adds to double-double sums of its own: times its weight, the
  /// products of each value with the one d behind it, for d from 0 to width / 2. In `sums` of a row
  /// each d has the width, rounded up to a multiple of 8, of sums, with undefined ones at its end;
  /// behind all of them are their low parts. REQUIRES: usual numbers and weights, as below; a
  /// stride of at least width / 2 and that multiple of 8.
  void (*fAddRowProducts)(std::size_t n, std::size_t stride, std::size_t width,
                          const double* weights, const double* rows, double* const* sums);
  /// Each of n rows adds to as many double-double sums of its own as it has numbers: those, times
  /// its double-double weight. In `sums` of a row the low parts are behind the others.
  void (*fAddWeightedRows)(std::size_t n, std::size_t stride, const double* weightHigh,
                           const double* weightLow, const double* rows, double* const* sums);
  /// Moves the running means of `width` >= 8 columns by n rows: each mean by the row's weight times
  /// the number's difference from it over the row's total weight; and widens their sizes to the
  /// numbers' magnitudes. Means and sizes are read from `before` and written to `after`. False when
  /// some mean is not finite, or less than two roundings of one were left, but not 0, at some row.
  bool (*fMoveMeans)(std::size_t n, const double* const* rows, std::size_t width,
                     const double* weights, const double* totals, const double* const* before,
                     double* const* after);
  /// The least of n numbers and 0; what is not a number is passed over.
  double (*fFindLeast)(std::size_t n, const double* numbers);
  /// The exponentials of n numbers between -708 and 0; see QvElementary::ExpMany.
  void (*fExps)(std::size_t n, const double* x, double* results);
  /// The loops over columns.
  QvColumnKernels fColumns;

  /// n numbers, in whole lanes.
  static constexpr std::size_t WholeLanes(std::size_t n) {
    return (n + kLanes - 1) / kLanes * kLanes;
  }
  /// Whether each of n numbers is below 2^300 in magnitude: products of three such numbers are
  /// finite.
  static bool AreUsual(std::size_t n, const double* numbers);
  /// The same of a weight that is not below 2^-300 either, unless it is 0: what its products lose
  /// to rounding is a normal double.
  static bool IsUsualWeight(double weight) {
    const double size = std::fabs(weight);
    return (size < 0x1p+300 && size > 0x1p-300) || weight == 0.0;
  }

  /// The set that this process computes with: the fastest for its machine, or the one that the
  /// environment variable QVREG_ARITHMETIC names ("baseline", "v3", "v4") when the library is first
  /// used, if the machine has its instructions.
  static const QvKernels& Get();
  /// Every set for which this machine has the instructions, the fastest last.
  static std::vector<const QvKernels*> GetAll();
};

}  // namespace QvCommon
