#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// What the library found in the units that its estimation worked with, in which everything is in
/// the range of a double: numbers of extreme size are divided there by powers of two, of which
/// these are the exponents. Inference starts from them, and goes over to the data's units at the
/// end. Borrows from the statistics.
struct ScaledEstimates {
  const std::vector<double>& estimates;
  const std::vector<int>& exponents;  ///< Per parameter, of its column.
  int dependentExponent = 0;          ///< 0 for a logistic model.
  const QvCommon::QvSymMatrixData& covariance;
  std::optional<double> rmse;  ///< Of a linear model.

  /// An estimate, or its standard error, is to be multiplied by 2 to this power.
  [[nodiscard]] int PowerOf(std::size_t parameter) const {
    return dependentExponent - exponents[parameter];
  }
};

/// Those of a model of either kind that has a covariance matrix.
[[nodiscard]] ScaledEstimates ScaledEstimatesOf(const IQvRegOutputStats& output);

}  // namespace qvhost
