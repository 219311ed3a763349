#pragma once

#include <string>
#include <vector>

#include "host/fit/SavedModel.h"
#include "host/score/RowScoring.h"
#include "host/table/ColumnInfo.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// The columns of a table, as it spells them, that a model reads to score; `file` is what errors
/// call the model. Throws Error (kBadInput) for one that the table does not have.
[[nodiscard]] std::vector<std::string> ColumnsToScore(const SavedModel& saved,
                                                      const std::string& file,
                                                      const TableSource& source);

/// Reads columns of `source` as the model had them where their values leave it open: a column of
/// numbers in a delimited file is text where it was that in the data that the model was fitted to.
void TakeTypesOf(const SavedModel& saved, TableSource& source);

/// What of a table the records to be scored are made of. A plain value.
struct ScoreBinding {
  std::vector<ColumnRequest> requests;
  std::vector<ScoredValue> values;  ///< For each request but those without a role.
};

/// Binds a model's variables to a table, after ColumnsToScore: each is computed as in the fit, of
/// columns of the same names, and factors keep their levels. Throws Error (kBadInput) for a value
/// of another kind than the model had: text for a number, numbers for levels that are none.
[[nodiscard]] ScoreBinding BindScoring(const SavedModel& saved, const std::string& file,
                                       const TableSource& source);

}  // namespace qvhost
