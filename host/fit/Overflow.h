#pragma once

#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ScaledEstimates.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// The size of a column's numbers: the largest absolute value; 0 for a factor, and for a column
/// that is always missing.
[[nodiscard]] double LargestSize(const CodedColumn& column);

/// The error message that sums of weights exceed the largest double because of these columns, and
/// that they are to be rescaled. REQUIRES: at least one.
[[nodiscard]] std::string WeightOverflowText(const std::vector<CodedColumn>& columns);

/// Throws Error (kRunFailed) when a result cannot be represented: sums of weights overflowed and
/// cost the estimates, or an estimate or a standard error, which `scaled` has, is too large or too
/// small for any double. Names the columns of the table that are to be rescaled. `totalWeight` is
/// the sum of the frequency weights.
void RefuseOverflow(const FitResult& fit, const ScaledEstimates& scaled,
                    const ModelBinding& binding, const CodedTable& table, double totalWeight);

}  // namespace qvhost
