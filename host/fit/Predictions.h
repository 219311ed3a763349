#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/fit/Interrupt.h"
#include "host/fit/RecordPredictor.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// A model that was built, and what its predictions need of the fit. Borrows component and output.
struct BuiltPredictor {
  IQvRegComponent& component;
  const IQvRegOutputStats& output;
  PredictedCategories categories;
  std::optional<double> residualStdError;  ///< Of a linear model.
  int part = -1;  ///< Position of what keeps records from being fitted, but not from being scored.
};

/// Scores every record of a table and writes a row for each, in their order, to a .csv, .tsv or
/// .parquet file (see WriteTable), which the caller commits. The columns that the table kept stand
/// first, see NamesBeside. A linear model then gives numbers: `observed`, the dependent (of a
/// standardized one, as scale(y), the standardized value); `predicted`; `residual`, their
/// difference; `std_error`, see MeanError. A logistic one gives texts `observed` and `predicted`,
/// the most probable level, and for each level that was observed `p_LEVEL`, its probability, in the
/// order of the codes.
///
/// What is predicted is NULL for a record that cannot be scored: a factor or a covariate is
/// missing, a combination of levels never occurred in the records used, or the prediction is no
/// finite number. A record that lacks only its dependent or a weight is scored.
///
/// Records are scored on up to `threads` threads, of which the calling one writes.
/// `progress(records)` is called on it every few thousand records with those done so far; may be
/// empty. Returns a sentence about kept columns that were renamed, empty for none. Throws Error as
/// WriteTable does, and kRunFailed when the table cannot be read back; Cancelled when interrupted.
std::string WritePredictions(const WholeFile& file, const CodedTable& table,
                             const BuiltPredictor& model, int threads,
                             const std::function<void(long long records)>& progress,
                             const Interrupt& interrupt);

}  // namespace qvhost
