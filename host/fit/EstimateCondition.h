#pragma once

#include <optional>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// How near the kept columns of a design are to depending on each other: the smallest over the
/// largest pivot of the Cholesky factorisation of the correlation matrix of their estimates. 1 for
/// orthogonal columns, towards 0 for dependent ones, whatever the columns' units.
///
/// `covariance` is that of all parameters, `kept` tells which of them are not redundant. None when
/// fewer than two are kept, or so many (above 1000) that the factorisation would take longer than
/// its answer is worth.
[[nodiscard]] std::optional<double> SmallestPivotShare(const QvCommon::QvSymMatrixData& covariance,
                                                       const QvCommon::QvBitSet& kept);

}  // namespace qvhost
