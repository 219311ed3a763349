#include "host/compare/SavedFit.h"

#include <algorithm>

namespace qvhost {

int SavedFit::Kept() const {
  return static_cast<int>(
      std::ranges::count_if(parameters, [](const SavedParameter& p) { return !p.redundant; }));
}

std::optional<double> SavedFit::Statistic(const std::string& key) const {
  const auto found = std::ranges::find(statistics, key, &SavedStatistic::key);
  return found == statistics.end() ? std::nullopt : found->value;
}

}  // namespace qvhost
