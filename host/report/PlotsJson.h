#pragma once

#include <nlohmann/json.hpp>

#include "host/fit/FitPlots.h"

namespace qvhost {

/// What a report draws, as the JSON of a fit has it: points as lists of their numbers, which take
/// less room than objects. REQUIRES: the plots of a model of one kind are there.
[[nodiscard]] nlohmann::ordered_json PlotsJson(const FitPlots& plots);

}  // namespace qvhost
