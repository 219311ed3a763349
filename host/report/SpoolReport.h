#pragma once

#include <string>
#include <vector>

#include "host/fit/SpoolTable.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// What was spooled as a summary for people: the model, the data, the records, their columns with
/// role, levels and missing values, and notes about anything suspicious. As TextReport of a fit.
[[nodiscard]] std::string TextReport(const SpoolResult& result, const TextStyle& style = {});

/// The same as one JSON object, see docs/spool.schema.json. As JsonReport of a fit.
[[nodiscard]] std::string JsonReport(const SpoolResult& result);

/// The levels of the columns of such a JSON, of which name and levels are needed alone. `file` is
/// for messages. Throws Error (kBadInput) for a text that is cut off, no JSON or none of columns,
/// and for a column or a level that stands there twice.
[[nodiscard]] std::vector<GivenLevels> ReadLevels(const std::string& text, const std::string& file);

}  // namespace qvhost
