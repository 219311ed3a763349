#include "host/fit/Estimability.h"

#include <algorithm>
#include <cmath>

#include "host/fit/EffectTesting.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

/// Columns of one category.
std::size_t ColumnsOf(const IQvRegOutputStats& output) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&output);
  const std::size_t blocks = logistic == nullptr ? 1 : logistic->GetDependCategories().size() - 1;
  return output.GetParameters().size() / blocks;
}

constexpr int kRedundant = -1;  // No effect has this number.

}  // namespace

void OpenParts::Add(const Key& key, double part, double size) {
  Part& known = parts_[key];
  known.sum += part;
  known.size += size;
}

void OpenParts::Add(const OpenParts& other, double factor) {
  for (const auto& [key, part] : other.parts_) {
    Add(key, factor * part.sum, std::abs(factor) * part.size);
  }
}

void OpenParts::Multiply(double factor) {
  for (auto& [key, part] : parts_) {
    part.sum *= factor;
    part.size *= std::abs(factor);
  }
}

bool OpenParts::IsEmpty() const {
  return std::ranges::all_of(parts_, [](const auto& entry) {
    return std::abs(entry.second.sum) <= kTolerance * entry.second.size;
  });
}

Estimability::Estimability(const IQvRegOutputStats& output) : uses_(ColumnsOf(output)) {
  std::vector<bool> kept = KeptParameters(output);
  const std::vector<RedundantColumn> columns = RedundantColumnsOf(output, kept);
  auto column = columns.begin();
  for (std::size_t i = 0; i < uses_.size(); ++i) {
    if (kept[i]) continue;
    uses_[i].push_back({redundant_, 1.0});
    // One of which nothing is known depends on nothing: no function with it can be estimated.
    while (column != columns.end() && column->parameter < i) ++column;
    if (column != columns.end() && column->parameter == i) {
      for (std::size_t k = 0; k < column->places.size(); ++k) {
        uses_[column->places[k]].push_back({redundant_, -column->coefficients[k]});
      }
    }
    ++redundant_;
  }
  for (std::size_t i = 0; i < uses_.size(); ++i) {
    const QvRegrParameter& parameter = output.GetParameters()[i];
    if (parameter.GetNFactors() == 0) continue;
    if (effects_.empty() || effects_.back().number != parameter.GetEffectIndex()) {
      effects_.push_back({parameter.GetEffectIndex(),
                          parameter.GetFactors(),
                          parameter.GetCovariates(),
                          parameter.GetCovariateMultiplicities(),
                          {}});
    }
    effects_.back().combinations.insert(parameter.GetCategories());
  }
}

OpenParts Estimability::PartsOf(std::span<const std::size_t> columns,
                                std::span<const double> values, Scratch& scratch) const {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    for (const Use& use : uses_[columns[i]]) {
      const double part = use.coefficient * values[i];
      if (part == 0.0) continue;
      if (scratch.sizes_[use.redundant] == 0.0) scratch.touched_.push_back(use.redundant);
      scratch.sums_[use.redundant] += part;
      scratch.sizes_[use.redundant] += std::abs(part);
    }
  }
  OpenParts parts;
  for (const std::size_t redundant : scratch.touched_) {
    OpenParts own;
    const OpenParts::Key key = {kRedundant, static_cast<int>(redundant)};
    own.Add(key, scratch.sums_[redundant], scratch.sizes_[redundant]);
    // What is 0 but for rounding shall not be a part of sums.
    if (!own.IsEmpty()) {
      parts.Add(key, scratch.sums_[redundant], std::abs(scratch.sums_[redundant]));
    }
    scratch.sums_[redundant] = 0.0;
    scratch.sizes_[redundant] = 0.0;
  }
  scratch.touched_.clear();
  return parts;
}

bool Estimability::AddMissing(const QvCommon::Record& record, double factor,
                              OpenParts& parts) const {
  bool isAny = false;
  std::vector<int> combination;
  for (const Effect& effect : effects_) {
    combination.clear();
    for (const int position : effect.factors) {
      combination.push_back(static_cast<int>(record[position]));
    }
    if (effect.combinations.contains(combination)) continue;
    isAny = true;
    double value = factor;
    for (std::size_t i = 0; i < effect.covariates.size(); ++i) {
      value *= std::pow(record[effect.covariates[i]], effect.powers[i]);
    }
    combination.insert(combination.begin(), effect.number);
    parts.Add(combination, value, std::abs(value));
  }
  return isAny;
}

}  // namespace qvhost
