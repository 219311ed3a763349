#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/fit/Interrupt.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// The categories that a logistic model gives probabilities of; empty for a linear model.
struct PredictedCategories {
  std::vector<int> codes;           ///< In the order in which Score gives their probabilities.
  std::vector<std::string> levels;  ///< The text of every code of the dependent, observed or not.
};

/// Scores every record of a table and writes a row for each, in their order, to a .csv, .tsv or
/// .parquet file (see WriteTable), which the caller commits. A linear model gives one column,
/// `predicted`, of numbers. A logistic one gives `predicted`, the text of the most probable level,
/// and for each level that was observed `p_LEVEL`, its probability, in the order of the codes.
///
/// All columns of a record that cannot be scored are NULL: a factor or a covariate is missing, a
/// combination of levels never occurred in the records used, or the prediction is no finite number.
/// A record that lacks only its dependent or a weight is scored.
///
/// `component` has built its model, `output` is its statistics. `progress(records)` is called every
/// few thousand records with those done so far; may be empty. Reads the table from its start and
/// leaves it at its end. Throws Error as WriteTable does, and kRunFailed when the table cannot
/// be read back; Cancelled when interrupted.
void WritePredictions(const WholeFile& file, const CodedTable& table, IQvRegComponent& component,
                      const IQvRegOutputStats& output, const PredictedCategories& categories,
                      const std::function<void(long long records)>& progress,
                      const Interrupt& interrupt);

}  // namespace qvhost
