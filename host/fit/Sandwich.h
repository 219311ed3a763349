#pragma once

#include "host/fit/Interrupt.h"
#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// bread * filling * bread of symmetric matrices of one order, on up to `threads` threads; rows
/// and columns in which the bread is 0 cost nothing. The same bits for any number of threads.
/// Throws Cancelled when interrupted.
[[nodiscard]] QvCommon::QvSymMatrix Sandwich(const QvCommon::QvSymMatrixData& bread,
                                             const QvCommon::QvSymMatrixData& filling, int threads,
                                             const Interrupt& interrupt);

}  // namespace qvhost
