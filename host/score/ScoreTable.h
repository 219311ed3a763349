#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/SavedModel.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// What to score, and how. Empty texts and options are "not given".
struct ScoreOptions {
  std::string model;  ///< The file of the saved model.
  DataSource source;
  std::string where;              ///< A condition on the rows that are scored; empty for all.
  std::string out;                ///< The file for the scores.
  std::vector<std::string> keep;  ///< As FitOptions has them.
  bool keepAll = false;
  bool interval = false;             ///< Errors and limits, too; see MakeRowScorer.
  std::optional<double> confidence;  ///< Of these, in [0, 1); none: that of the fit.
  std::string spoolDir;              ///< Folder of the temporary file; empty: the system's.
  int threads = 0;                   ///< 0: as many as the machine has cores.
};

/// A variable of the model without which rows could not be scored. A plain value.
struct UnscoredColumn {
  std::string name;
  long long missing = 0;  ///< Rows without a value,
  long long unknown = 0;  ///< and with one that is none of the model's levels,
  std::string example;    ///< of which this is the first.
};

/// What was scored. A plain value.
struct ScoreResult {
  std::string model;
  ModelKind kind = ModelKind::kLinear;
  std::string formula;
  std::string data;
  std::string where;
  long long rows = 0;     ///< Read, and written.
  long long leftOut = 0;  ///< Rows for which the condition is not true; none of those read.
  long long scored = 0;
  long long incomplete = 0;  ///< Not scored for a missing value or an unknown level.
  long long unseen = 0;      ///< Nor for a combination of levels that the fit did not have,
  long long notFinite = 0;   ///< nor for a prediction that is no finite number.
  std::vector<UnscoredColumn> columns;  ///< Those with missing or unknown values.
  std::optional<double> confidence;     ///< Of the limits of a linear model, if there are any.
  bool hasInterval = false;
  std::string out;
  std::vector<std::string> warnings;  ///< Sentences about anything suspicious.
};

/// Scores the rows of a table with a saved model: reads the table as the model's own data were
/// read, where the options say nothing else, codes it into a temporary file (gone when this
/// returns), scores its records through the library on threads and writes a row for each, in their
/// order, to the file of `outputs` that the options name; the caller commits it. Memory does not
/// grow with the number of rows.
///
/// `outputs`, `progress` and `interrupt` as of RunFit. Throws Error: kBadInput for a model, columns
/// or data that cannot be used, kRunFailed when a file cannot be written; Cancelled.
[[nodiscard]] ScoreResult ScoreTable(const SavedModel& saved, const ScoreOptions& options,
                                     ProgressBar& progress, Interrupt& interrupt,
                                     OutputFiles& outputs);

}  // namespace qvhost
