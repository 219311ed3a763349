#pragma once

#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/ModelBinding.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// The size of a column's numbers: the largest absolute value; 0 for a factor, and for a column
/// that is always missing.
[[nodiscard]] double LargestSize(const CodedColumn& column);

/// Says that sums over the records exceed the largest number there is, because of these columns,
/// and to rescale them. REQUIRES: at least one.
[[nodiscard]] std::string OverflowText(const std::vector<CodedColumn>& columns);

/// Throws Error (kRunFailed) when an overflow cost the fit an estimate: it is no finite number, or
/// its column was taken for a redundant one as the sum of its squares, or of its products with the
/// dependent, cannot be told. Names the columns
/// of the table that can cause it. `totalWeight` is the sum of the frequency weights.
void RefuseOverflow(const FitResult& fit, const ModelBinding& binding, const CodedTable& table,
                    double totalWeight);

}  // namespace qvhost
