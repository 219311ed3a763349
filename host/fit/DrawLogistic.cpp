#include "host/fit/DrawLogistic.h"

#include <algorithm>
#include <numeric>

namespace qvhost {

std::vector<std::size_t> DrawnLevels(const std::vector<DependentLevel>& levels) {
  if (levels.size() == 2) return {0};
  std::vector<std::size_t> places(levels.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::ranges::stable_sort(places, std::ranges::greater(),
                           [&](std::size_t place) { return levels[place].weight; });
  places.resize(std::min(places.size(), LogisticPlots::kMostLevels));
  std::ranges::sort(places);
  return places;
}

void AddCalibration(const ScoreRanking& ranking, std::size_t place, const std::string& level,
                    std::vector<CalibrationGroup>& groups) {
  int number = 0;
  for (const ScoreRanking::Group& group : ranking.GroupsOf(place)) {
    ++number;
    const double weight = group.weight.Value();
    if (!(weight > 0.0)) continue;
    groups.push_back({.level = level,
                      .group = number,
                      .weight = weight,
                      .meanPredicted = group.predicted.Value() / weight,
                      .observed = group.observed.Value() / weight});
  }
}

void DrawLevels(const ScoreRanking& ranking, const std::vector<std::size_t>& places,
                const std::vector<DependentLevel>& levels, LogisticPlots& plots) {
  for (const std::size_t place : places) {
    const std::string& level = levels[place].level;
    plots.curves.push_back({level, ranking.Auc(place), ranking.CurveOf(place)});
    AddCalibration(ranking, place, level, plots.calibration);
  }
}

}  // namespace qvhost
