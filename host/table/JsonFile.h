#pragma once

#include <string>

#include "host/table/Connection.h"
#include "host/table/MissingFunction.h"
#include "host/table/ReadingOptions.h"
#include "host/table/TextFile.h"

namespace qvhost {

/// Learns the columns of JSON files for the view `view`, which is not made yet. For ShowTextFile.
[[nodiscard]] TextView ShowJson(Connection& connection, MissingFunction& missing,
                                const std::string& view, const TextFiles& files,
                                const ReadingOptions& given);

}  // namespace qvhost
