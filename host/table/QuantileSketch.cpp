#include "host/table/QuantileSketch.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qvhost {

namespace {

/// The value at a rank, from 0, of sorted values; `at` and `before` stand where the last one was
/// found, as ranks ascend.
double ValueAt(const std::vector<WeightedValue>& values, std::int64_t rank, std::size_t& at,
               std::int64_t& before) {
  while (at + 1 < values.size() && before + values[at].weight <= rank) {
    before += values[at].weight;
    ++at;
  }
  return values[at].value;
}

double QuantileOf(const std::vector<WeightedValue>& values, std::int64_t count, double share) {
  const double place = share * static_cast<double>(count - 1);
  const double rank = std::floor(place);
  std::size_t at = 0;
  std::int64_t before = 0;
  const double low = ValueAt(values, static_cast<std::int64_t>(rank), at, before);
  if (place == rank) return low;
  const double high = ValueAt(values, static_cast<std::int64_t>(rank) + 1, at, before);
  return std::lerp(low, high, place - rank);
}

}  // namespace

std::vector<double> QuantilesOf(std::vector<WeightedValue> values, std::span<const double> shares) {
  std::ranges::sort(values, {}, &WeightedValue::value);
  std::int64_t count = 0;
  for (const WeightedValue& value : values) count += value.weight;
  std::vector<double> quantiles;
  quantiles.reserve(shares.size());
  for (const double share : shares) quantiles.push_back(QuantileOf(values, count, share));
  return quantiles;
}

void QuantileSketch::Add(double value) {
  if (levels_.empty()) levels_.emplace_back();
  levels_.front().values.push_back(value);
  for (std::size_t i = 0; levels_[i].values.size() > kBuffer; ++i) {
    if (i + 1 == levels_.size()) levels_.emplace_back();
    Level& level = levels_[i];
    Level& next = levels_[i + 1];
    // Of an odd number the last one stays, so that nothing has half a weight.
    std::vector<double> rest;
    if (level.values.size() % 2 == 1) {
      rest.push_back(level.values.back());
      level.values.pop_back();
    }
    std::ranges::sort(level.values);
    for (std::size_t k = level.takesSecond ? 1 : 0; k < level.values.size(); k += 2) {
      next.values.push_back(level.values[k]);
    }
    level.takesSecond = !level.takesSecond;
    level.values = std::move(rest);
  }
}

std::vector<WeightedValue> QuantileSketch::Values() const {
  std::vector<WeightedValue> values;
  std::int64_t weight = 1;
  for (const Level& level : levels_) {
    for (const double value : level.values) values.push_back({value, weight});
    weight *= 2;
  }
  return values;
}

}  // namespace qvhost
