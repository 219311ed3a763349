#pragma once

#include <optional>

#include "host/fit/FitResult.h"
#include "host/report/JsonReader.h"

namespace qvhost {

/// What the JSON of a fit of this kind has of means and contrasts. Throws as the reader does.
[[nodiscard]] std::optional<MeansResult> ReadMeans(const JsonReader& fit, ModelKind kind);

}  // namespace qvhost
