#pragma once

#include <string>

#include "host/fit/FitPlots.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// What a report draws of a linear model, over the records of a table that it was fitted to; a
/// number that a record does not have, as the standardized residual of one with a leverage of 1,
/// keeps it out of the plots that need it.
///
/// One pass over the records writes their numbers (see LinearRecordFit) to a temporary file in the
/// folder `spoolDir` (see FolderForSpool), which DuckDB counts and sorts. What comes out does not
/// depend on the number of threads. Throws as ScoreRows and RecordNumbers do.
[[nodiscard]] LinearPlots DrawLinear(const CodedTable& table, const FittedModel& model,
                                     const std::string& spoolDir, const WalkOptions& options);

}  // namespace qvhost
