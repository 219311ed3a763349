#include "qvreg/design/QvRedundantColumns.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double kNegligibleShare = 1e-10;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

}  // namespace

void QvRedundantColumns::Add(int column, const std::vector<int>& kept,
                             const std::vector<double>& coefficients,
                             const std::vector<double>& diagonal) {
  const auto sizeOf = [&](std::size_t i) {
    return std::abs(coefficients[i]) * std::sqrt(diagonal[Index(kept[i])]);
  };
  double largest = 0.0;
  for (std::size_t i = 0; i < kept.size(); ++i) largest = std::max(largest, sizeOf(i));
  Column added;
  added.fIndex = column;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (sizeOf(i) > kNegligibleShare * largest) {
      added.fCoefficients.emplace_back(kept[i], coefficients[i]);
    }
  }
  fColumns.push_back(std::move(added));
}

bool QvRedundantColumns::Get(int column, int size, std::vector<double>& combination) const {
  combination.assign(Index(size), 0.0);
  const auto found =
      std::lower_bound(fColumns.begin(), fColumns.end(), column,
                       [](const Column& entry, int index) { return entry.fIndex < index; });
  if (found == fColumns.end() || found->fIndex != column) return false;
  for (const auto& [place, coefficient] : found->fCoefficients) {
    combination[Index(place)] = coefficient;
  }
  return true;
}
