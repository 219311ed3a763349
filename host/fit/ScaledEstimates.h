#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/inference/CoefficientCovariance.h"
#include "host/inference/Inference.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// A number of the library: none when it is the missing value, infinite or not a number.
[[nodiscard]] inline std::optional<double> LibraryNumber(double value) {
  return value == QvMV::gMissingValue ? std::nullopt : Finite(value);
}

/// What the library found in the units that its estimation worked with, in which everything is in
/// the range of a double: numbers of extreme size are divided there by powers of two, of which
/// these are the exponents. Inference computes with them and converts to the data's units at the
/// end. Borrows from the statistics.
struct ScaledEstimates {
  const std::vector<double>& estimates;
  const std::vector<int>& exponents;  ///< Per parameter, of its column.
  int dependentExponent = 0;          ///< 0 for a logistic model.
  const QvCommon::QvSymMatrixData& covariance;
  std::optional<double> rmse;  ///< Of a linear model.

  /// An estimate or its standard error times 2 to this power is in the data's units.
  [[nodiscard]] int PowerOf(std::size_t parameter) const {
    return dependentExponent - exponents[parameter];
  }
};

/// Those of a model of either kind; REQUIRES: it has a covariance matrix.
[[nodiscard]] ScaledEstimates ScaledEstimatesOf(const IQvRegOutputStats& output);

/// Per parameter whether it is not redundant.
[[nodiscard]] std::vector<bool> KeptParameters(const IQvRegOutputStats& output);

/// Estimates and covariance matrix of a model of either kind. `imposedDf`: the degrees of freedom
/// of --df, if given. `robust`, null for none, is a matrix in the place of the model's own, in the
/// units of the estimation and with the residuals in it. Borrows the matrix. REQUIRES: the model
/// has a covariance matrix.
[[nodiscard]] CoefficientCovariance CoefficientCovarianceOf(
    const IQvRegOutputStats& output, std::optional<double> imposedDf,
    const QvCommon::QvSymMatrixData* robust = nullptr);

/// The same in the units of the estimation, in which everything is in range.
[[nodiscard]] CoefficientCovariance ScaledCovarianceOf(
    const IQvRegOutputStats& output, std::optional<double> imposedDf,
    const QvCommon::QvSymMatrixData* robust = nullptr);

/// How close the kept columns of a design are to linear dependence: the smallest over the
/// largest pivot of the Cholesky factorisation of the correlation matrix of their estimates. 1 for
/// orthogonal columns, towards 0 for dependent ones, whatever the columns' units.
///
/// `covariance` is that of all parameters, `kept` tells which of them are not redundant. None when
/// fewer than two are kept, or more than 1000, for which the factorisation would take too long.
[[nodiscard]] std::optional<double> SmallestPivotShare(const QvCommon::QvSymMatrixData& covariance,
                                                       const QvCommon::QvBitSet& kept);

}  // namespace qvhost
