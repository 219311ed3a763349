#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/fit/FitPlots.h"
#include "host/fit/FitResult.h"
#include "host/fit/ScoreRanking.h"
#include "host/fit/ValidationResult.h"

namespace qvhost {

/// Which levels of the dependent are drawn, see LogisticPlots and RocCurve: their places, in order.
[[nodiscard]] std::vector<std::size_t> DrawnLevels(const std::vector<DependentLevel>& levels);

/// Adds the tenths of the level of this place, but those that are empty. After End of the ranking.
void AddCalibration(const ScoreRanking& ranking, std::size_t place, const std::string& level,
                    std::vector<CalibrationGroup>& groups);

/// Adds curves and calibration of these levels, whose curves the ranking has kept.
void DrawLevels(const ScoreRanking& ranking, const std::vector<std::size_t>& places,
                const std::vector<DependentLevel>& levels, LogisticPlots& plots);

}  // namespace qvhost
