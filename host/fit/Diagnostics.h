#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/fit/FitResult.h"
#include "host/fit/Predictions.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Writes a row for every record of a table as WritePredictions does. Of a linear model, in the
/// units of the dependent: `fitted`, `residual`, and `standardized`, `studentized`, `leverage` and
/// `cooks_distance`; of a logistic one `deviance_residual`, `pearson_residual` (of more than two
/// levels one for each, `pearson_residual_LEVEL`), `leverage` and `cooks_distance`; see RecordFit.
/// A record that the model was not fitted to has NULL in all of them, and so has what does not
/// exist.
///
/// `model` is for the records of the table. Returns and throws as WritePredictions.
std::string WriteDiagnostics(const WholeFile& file, const CodedTable& table,
                             const FittedModel& model, const PredictedCategories& categories,
                             const WalkOptions& options);

/// The records of the largest Cook's distances, the largest first, and of equal ones the first
/// row first; up to ten. One pass over the table, in so many parts.
[[nodiscard]] std::vector<InfluentialRecord> FindInfluential(const CodedTable& table,
                                                             const FittedModel& model, int parts,
                                                             const WalkOptions& options);

}  // namespace qvhost
