#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "host/fit/FitResult.h"

namespace qvhost {

/// Calibration groups, as a list.
[[nodiscard]] nlohmann::ordered_json CalibrationJson(const std::vector<CalibrationGroup>& groups);

/// What records held out told, as the report has it. REQUIRES: `fit.validation` is there.
[[nodiscard]] nlohmann::ordered_json ValidationJson(const FitResult& fit);

}  // namespace qvhost
