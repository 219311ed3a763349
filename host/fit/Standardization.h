#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/SavedModel.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// Told every few thousand records how many a pass has read; may be empty.
using StandardizingProgress = std::function<void(long long records)>;

/// What was done to the values of a variable. A plain value.
struct Standardization {
  StandardizedVariable variable;  ///< As reports have it.
  int position = 0;               ///< In the records.
  SavedScale scale;               ///< The same exactly.
};

/// A value as a scale has it.
[[nodiscard]] double ScaledValue(const SavedScale& scale, double value);

/// Standardizes the values of scale(x) and center(x) in the coded records, so that whatever reads
/// them later, estimation and predictions alike, has the same numbers: subtracts the mean of the
/// records used, which the `validator` tells, and for scale(x) divides by their standard deviation,
/// with n - 1 and without weights, as R does. Values that are missing stay so; records that are not
/// used are standardized, too.
///
/// Makes three passes over the table where there is such a variable, none otherwise. Returns what
/// it did, in the order of the record's positions: each value has become its ScaledValue. Throws
/// FormulaError for a deviation that is 0 or that one record leaves open, and for a dependent that
/// is a category; Cancelled; Error (kRunFailed) when the temporary file fails.
[[nodiscard]] std::vector<Standardization> Standardize(const Formula& formula,
                                                       const ModelBinding& binding,
                                                       CodedTable& table,
                                                       const QvRegRecordValidator& validator,
                                                       const Interrupt& interrupt,
                                                       const StandardizingProgress& progress);

/// The variables alone.
[[nodiscard]] std::vector<StandardizedVariable> VariablesOf(
    const std::vector<Standardization>& standardized);

/// A sentence for the notes: `scale(mass): mean 4201.75, standard deviation 801.955, of the records
/// used.`
[[nodiscard]] std::string StandardizedText(const StandardizedVariable& variable);

}  // namespace qvhost
