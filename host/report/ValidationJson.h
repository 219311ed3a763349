#pragma once

#include <nlohmann/json.hpp>

#include "host/fit/FitResult.h"

namespace qvhost {

/// What records held out told, as the report has it. REQUIRES: `fit.validation` is there.
[[nodiscard]] nlohmann::ordered_json ValidationJson(const FitResult& fit);

}  // namespace qvhost
