#pragma once

#include <string>
#include <vector>

#include "host/fit/SavedModel.h"

namespace qvhost {

/// What ScoringSql may choose. A plain value.
struct SqlOptions {
  /// Of the table that is scored; dots part the name of a schema from that of the table. One in
  /// double quotes is taken as it stands.
  std::string table = "data";
  /// Whether all columns of the table stand before the scores, as `*`; the next counts otherwise.
  bool keepAll = true;
  std::vector<std::string> keep;  ///< Those that do, renamed where a score has their name.
};

/// One SELECT that scores a table in an SQL database, with CASE, arithmetic, `exp` and what the
/// formula calls: a linear model's `predicted`; of a logistic one `predicted`, the most probable
/// level, and `p_LEVEL` for each, as WritePredictions names and orders them. NULL where that is,
/// and where a value is no level of its factor.
///
/// With all columns each combination of the values that the model reads is scored once, and joined
/// to the rows that have it; otherwise every row is. Throws Error (kBadInput) for a model of which
/// a part has no form that databases share, and names it.
[[nodiscard]] std::string ScoringSql(const SavedModel& model, const SqlOptions& options);

}  // namespace qvhost
