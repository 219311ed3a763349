#pragma once

#include <string>

#include "host/report/TextStyle.h"
#include "host/score/ScoreTable.h"

namespace qvhost {

/// What was scored as a summary for people: the model, the data, the rows, why rows were not
/// scored, by column, and notes about anything suspicious. As TextReport of a fit.
[[nodiscard]] std::string TextReport(const ScoreResult& result, const TextStyle& style = {});

/// The same as one JSON object, see docs/score.schema.json. As JsonReport of a fit.
[[nodiscard]] std::string JsonReport(const ScoreResult& result);

}  // namespace qvhost
