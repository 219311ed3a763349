#pragma once

#include "host/WholeFile.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/inference/CoefficientCovariance.h"

namespace qvhost {

/// Writes the covariance matrix of the estimates to a .csv, .tsv or .parquet file (see WriteTable),
/// which the caller commits: a row for each of the `fit`'s parameters, in their order, and beside
/// its `term` (of a logistic model `category` and `term`) a column for each, called as the
/// parameter (of a logistic model CATEGORY:TERM). Redundant parameters have zeros. NULL is what no
/// double holds, and everything where there is no residual variance.
///
/// Throws as WriteTable does; Cancelled when interrupted.
void WriteCovariance(const WholeFile& file, const FitResult& fit,
                     const CoefficientCovariance& covariance, const Interrupt& interrupt);

}  // namespace qvhost
