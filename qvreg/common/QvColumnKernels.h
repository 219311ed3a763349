#pragma once

#include <cstddef>

namespace QvCommon {

/// The inner loops over panels of up to 256 rows that are kept column by column. Part of QvKernels,
/// and of its rules: where rows are summed there are 8 lanes, of which lane k and lane k + 4 are
/// added first, then those two apart, then the last two.
///
/// Each takes the number of rows, a multiple of 8; a row that a panel lacks has the weight 0 and
/// finite numbers. Columns that lie one behind the other are kRows numbers apart. K is a number of
/// categories, of which the last is the reference; a row's category is a whole number below K. What
/// is said to be by category is a column for each, one behind the other.
struct QvColumnKernels {
  static constexpr std::size_t kRows = 256;
  /// fSumLogs takes no more rows, so that the product of their sums is finite.
  static constexpr std::size_t kMostLogs = 64;
  /// Below it the rest of a probability is summed, without the rounding of 1 minus almost 1.
  static constexpr double kSmallRest = 1e-5;
  /// Columns on the right of fAddPairs are taken so many at a time.
  static constexpr std::size_t kTogether = 8;
  static constexpr std::size_t kMostLeft = 4;

  /// What a panel adds to a log-likelihood, rows with a small rest left out.
  struct Logs {
    double fShifted = 0.0;        ///< The sum of the weights times `shifted`.
    double fProduct = 1.0;        ///< The product of the rows' sums.
    bool fbAlikeWeights = true;   ///< Whether all weights are that of the first row.
    bool fbAnySmallRest = false;  ///< Whether rows were left out.
  };

  /// `products` become the sums over n columns of column times coefficient.
  void (*fMultiply)(std::size_t nRows, std::size_t n, const double* const* columns,
                    const double* coefficients, double* products);
  /// Adds to `rows`, one of nRight sums for each of at most kMostLeft columns on the left, which
  /// lie one behind the other, the panel's sums of left times right. REQUIRES: columns on the
  /// right, and sums, up to the next multiple of kTogether; what the further ones are is of no
  /// meaning.
  void (*fAddPairs)(std::size_t nRows, std::size_t nLeft, const double* left, std::size_t nRight,
                    const double* const* right, double* const* rows);
  /// The sum of the magnitudes of n columns' numbers.
  double (*fSumMagnitudes)(std::size_t nRows, std::size_t n, const double* const* columns);
  /// `products` become first times second.
  void (*fWeigh)(std::size_t nRows, const double* first, const double* second, double* products);
  /// `products` become minus weight times first times second, and with a null second minus weight
  /// times (first - 1) times first.
  void (*fWeighPair)(std::size_t nRows, const double* weights, const double* first,
                     const double* second, double* products);

  /// From the predictors by category, without the reference's 0: `largest` become the rows' largest
  /// and `shifted`, by category, the predictors less that; of two categories there is one column,
  /// the lesser one less the other. Returns the least of them.
  double (*fShift)(std::size_t nRows, std::size_t K, const double* predictors, double* shifted,
                   double* largest);
  /// From exponentials in the place of `shifted`: their sums by row, and probabilities by category.
  void (*fDivide)(std::size_t nRows, std::size_t K, const double* predictors, double* probabilities,
                  double* sums);
  /// By row the probability observed, what the others add to, and by how much the observed
  /// category's predictor is below the largest.
  void (*fObserve)(std::size_t nRows, std::size_t K, const double* categories,
                   const double* predictors, const double* largest, const double* probabilities,
                   double* observed, double* rests, double* shifted);
  /// The range of the first n numbers, n above 0.
  void (*fFindRange)(std::size_t n, const double* numbers, double* least, double* largest);
  Logs (*fSumLogs)(std::size_t nRows, const double* weights, const double* shifted,
                   const double* rests, const double* sums);
  /// By category but the last: weight times (1 if observed, less the probability).
  void (*fFindResiduals)(std::size_t nRows, std::size_t K, const double* categories,
                         const double* weights, const double* rests, const double* probabilities,
                         double* residuals);
  /// The sums of the weights by category, one number each.
  void (*fSumByCategory)(std::size_t nRows, std::size_t K, const double* categories,
                         const double* weights, double* sums);
};

}  // namespace QvCommon
