#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// By how much the other terms of a model inflate the (generalized) variance of a term's estimates.
/// A plain value.
struct VarianceInflation {
  int degrees = 0;                          ///< Parameters of the term that are not redundant.
  std::optional<double> factor;             ///< None without such a parameter.
  std::optional<double> errorPerParameter;  ///< The factor to the power of 1 / (2 degrees).
};

/// How close the columns of a design are to dependence on each other. A plain value.
struct Collinearity {
  std::vector<VarianceInflation> terms;
  /// The largest over the smallest singular value of the weighted design with columns of length 1,
  /// the intercept among them. None for more than `kMostColumns` columns.
  std::optional<double> conditionNumber;

  static constexpr int kMostColumns = 1000;
};

/// What those numbers are computed from. Borrows the matrix.
struct CollinearityInput {
  const QvCommon::QvSymMatrixData& covariance;  ///< But for a factor and the units of columns.
  std::vector<bool> kept;                       ///< Per parameter, whether it is not redundant.
  std::vector<int> terms;                       ///< Per parameter its term; -1 for an intercept.
  int termCount = 0;
  std::function<bool()> isStopped = {};  ///< Asked now and then: true to stop; may be empty.
};

/// The generalized factors of Fox and Monette (Generalized collinearity diagnostics, Journal of the
/// American Statistical Association 87, 1992) and the condition number of Belsley, Kuh and Welsch
/// (Regression Diagnostics, 1980). Numbers are none where the matrix is singular.
[[nodiscard]] Collinearity FindCollinearity(const CollinearityInput& input);

/// The largest eigenvalue of a symmetric matrix of at least one row.
[[nodiscard]] double LargestEigenvalue(const QvCommon::QvSymMatrixData& matrix);

}  // namespace qvhost
