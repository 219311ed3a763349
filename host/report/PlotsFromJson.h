#pragma once

#include "host/fit/FitResult.h"
#include "host/report/JsonReader.h"

namespace qvhost {

/// The member `plots` of the JSON of a fit of this kind. Throws as the reader does.
[[nodiscard]] FitPlots ReadPlots(const JsonReader& json, ModelKind kind);

}  // namespace qvhost
