#pragma once

#include <string>
#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Says which factors, the dependent included, are probably none: nearly every record has a level
/// of its own, or the levels are numbers but for a string that stands for a missing value. One or
/// two sentences for each.
[[nodiscard]] std::vector<std::string> LevelWarnings(const Formula& formula,
                                                     const ModelBinding& binding,
                                                     const CodedTable& table);

}  // namespace qvhost
