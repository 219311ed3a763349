#pragma once

#include <nlohmann/json.hpp>

#include "host/fit/FitResult.h"
#include "host/report/JsonReader.h"

namespace qvhost {

/// What a report draws, as the JSON of a fit has it: points as lists of their numbers, which take
/// less room than objects. REQUIRES: the plots of a model of one kind are there.
[[nodiscard]] nlohmann::ordered_json PlotsJson(const FitPlots& plots);

/// The same back, of a fit of this kind. Throws as the reader does.
[[nodiscard]] FitPlots ReadPlots(const JsonReader& json, ModelKind kind);

}  // namespace qvhost
