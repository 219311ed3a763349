#include "host/fit/MarginSums.h"

#include <algorithm>
#include <cmath>

#include "host/inference/DeltaMethod.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"

namespace qvhost {

namespace {

void AddTo(std::vector<double>& sums, const std::vector<double>& next) {
  for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += next[i];
}

/// The derivative of a term's value by a variable; missing where one of a covariate is.
double SlopeOf(const DesignTerms& terms, const MarginTarget::TermSlopes& term,
               const QvCommon::Record& record) {
  double sum = 0.0;
  for (const MarginTarget::Slope& slope : term.slopes) {
    const double inner = slope.position < 0 ? 1.0 : record[slope.position];
    if (inner == QvMV::gMissingValue) return QvMV::gMissingValue;
    sum += slope.factor * inner * terms.SlopeOf(term.term, slope.covariate, record);
  }
  return sum;
}

/// Makes averages of sums.
void Finish(double weight, AverageEffect& effect) {
  effect.value /= weight;
  for (double& element : effect.gradient) element /= weight;
  for (double& element : effect.sizes) element /= weight;
}

/// Adds to an element of a gradient.
void AddTo(AverageEffect& effect, std::size_t parameter, double value) {
  effect.gradient[parameter] += value;
  effect.sizes[parameter] = std::max(effect.sizes[parameter], std::abs(value));
}

}  // namespace

MarginRow::MarginRow(const MarginTask& task)
    : keys(task.terms.Size()), places(task.terms.Size()), values(task.terms.Size()), task_(task) {}

bool MarginRow::Read(const QvCommon::Record& record) {
  QvCommon::QvStatus status;
  if (!task_.validator.IsValidRecord(record, status)) return false;
  weight = task_.freqWeight < 0 ? 1.0 : record[task_.freqWeight];
  for (std::size_t term = 0; term < values.size(); ++term) {
    keys[term] = task_.terms.KeyOf(term, record);
    const int place = task_.terms.ParameterAt(term, keys[term]);
    if (place < 0) return false;
    places[term] = static_cast<std::size_t>(place);
    values[term] = task_.terms.ValueOf(term, record);
  }
  return true;
}

LinearMarginSums::LinearMarginSums(const MarginTask& task) : task_(task), row_(task) {
  for (const MarginTarget& target : task.targets) {
    TargetSums& sums = sums_.emplace_back();
    if (target.factor < 0) sums.row.resize(task.terms.BlockSize());
    sums.values.resize(target.terms.size());
  }
}

bool LinearMarginSums::Add(const QvCommon::Record& record, std::int64_t /*number*/) {
  if (!row_.Read(record)) return true;
  weight_ += row_.weight;
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    const MarginTarget& target = task_.targets[i];
    for (const MarginTarget::TermSlopes& term : target.slopes) {
      const double slope = SlopeOf(task_.terms, term, record);
      if (slope == QvMV::gMissingValue) {
        sums_[i].exists = false;
        continue;
      }
      sums_[i].row[row_.places[term.term]] += row_.weight * slope;
    }
    for (std::size_t k = 0; k < target.terms.size(); ++k) {
      const auto& [term, stride] = target.terms[k];
      const auto code = static_cast<std::int64_t>(record[target.factor]);
      sums_[i].values[k][row_.keys[term] - stride * code] += row_.weight * row_.values[term];
    }
  }
  return true;
}

void LinearMarginSums::Merge(const LinearMarginSums& next) {
  weight_ += next.weight_;
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    sums_[i].exists = sums_[i].exists && next.sums_[i].exists;
    AddTo(sums_[i].row, next.sums_[i].row);
    for (std::size_t k = 0; k < sums_[i].values.size(); ++k) {
      for (const auto& [key, value] : next.sums_[i].values[k]) sums_[i].values[k][key] += value;
    }
  }
}

void LinearMarginSums::AddLevel(const MarginTarget& target, const TargetSums& sums,
                                std::size_t cell, double sign, AverageEffect& effect) const {
  for (std::size_t k = 0; k < target.terms.size(); ++k) {
    const auto& [term, stride] = target.terms[k];
    for (const auto& [key, value] : sums.values[k]) {
      const int parameter = task_.terms.ParameterAt(term, key + stride * target.levels[cell]);
      if (parameter < 0) {
        effect.exists = false;
        return;
      }
      AddTo(effect, static_cast<std::size_t>(parameter), sign * value);
    }
  }
}

AverageEffect LinearMarginSums::Of(std::size_t target, std::size_t cell, std::size_t base,
                                   std::size_t /*category*/) const {
  const TargetSums& sums = sums_[target];
  AverageEffect effect;
  effect.exists = sums.exists;
  effect.gradient.resize(task_.terms.BlockSize());
  effect.sizes = effect.gradient;
  if (task_.targets[target].factor < 0) {
    for (std::size_t i = 0; i < sums.row.size(); ++i) AddTo(effect, i, sums.row[i]);
  } else {
    AddLevel(task_.targets[target], sums, cell, 1.0, effect);
    AddLevel(task_.targets[target], sums, base, -1.0, effect);
  }
  Finish(weight_, effect);
  for (std::size_t i = 0; i < effect.gradient.size(); ++i) {
    if (effect.gradient[i] != 0.0) effect.value += effect.gradient[i] * task_.estimates[i];
  }
  return effect;
}

LogisticMarginSums::LogisticMarginSums(const MarginTask& task)
    : task_(task),
      row_(task),
      predictors_(task.order),
      termSlopes_(task.terms.Size()),
      slopes_(task.order + 1),
      relative_(task.order + 1) {
  const std::size_t pairs = task.order * (task.order + 1) / 2;
  for (const MarginTarget& target : task.targets) {
    TargetSums& sums = sums_.emplace_back();
    sums.exists.assign(target.Cells(), 1);
    sums.values.resize(task.order * target.Cells());
    sums.gradients.resize(pairs * task.terms.BlockSize() * target.Cells());
  }
}

std::size_t LogisticMarginSums::BytesOfCell(const MarginTask& task) {
  const std::size_t pairs = task.order * (task.order + 1) / 2;
  return sizeof(double) * (task.order + pairs * task.terms.BlockSize());
}

std::size_t LogisticMarginSums::PairOf(std::size_t k, std::size_t m) const {
  const auto [low, high] = std::minmax(k, m);
  return low * task_.order - low * (low + 1) / 2 + high;
}

bool LogisticMarginSums::Add(const QvCommon::Record& record, std::int64_t /*number*/) {
  if (!row_.Read(record)) return true;
  weight_ += row_.weight;
  Predict();
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    const MarginTarget& target = task_.targets[i];
    if (target.factor < 0) {
      AddSlope(record, target, sums_[i]);
    } else {
      AddLevels(record, target, sums_[i]);
    }
  }
  return true;
}

void LogisticMarginSums::Predict() {
  const std::size_t size = task_.terms.BlockSize();
  for (std::size_t k = 0; k < task_.order; ++k) {
    const double* estimates = task_.estimates.data() + k * size;
    double sum = 0.0;
    for (std::size_t term = 0; term < row_.values.size(); ++term) {
      sum += row_.values[term] * estimates[row_.places[term]];
    }
    predictors_[k] = sum;
  }
}

void LogisticMarginSums::MakeProbabilities(std::size_t cells) {
  const std::size_t order = task_.order;
  if (order == 1) {
    for (std::size_t cell = 0; cell < cells; ++cell) {
      const double predictor = probabilities_[cell];
      const double odds = std::exp(-std::abs(predictor));
      const double larger = 1.0 / (1.0 + odds);
      probabilities_[cell] = predictor >= 0.0 ? larger : odds * larger;
      probabilities_[cells + cell] = predictor >= 0.0 ? odds * larger : larger;
    }
    return;
  }
  for (std::size_t cell = 0; cell < cells; ++cell) {
    double most = 0.0;
    for (std::size_t k = 0; k < order; ++k) most = std::max(most, probabilities_[k * cells + cell]);
    double total = std::exp(-most);
    probabilities_[order * cells + cell] = total;
    for (std::size_t k = 0; k < order; ++k) {
      double& odds = probabilities_[k * cells + cell];
      odds = std::exp(odds - most);
      total += odds;
    }
    for (std::size_t k = 0; k <= order; ++k) probabilities_[k * cells + cell] /= total;
  }
}

void LogisticMarginSums::AddSlope(const QvCommon::Record& record, const MarginTarget& target,
                                  TargetSums& sums) {
  const std::size_t order = task_.order;
  const std::size_t size = task_.terms.BlockSize();
  std::ranges::fill(slopes_, 0.0);
  for (std::size_t i = 0; i < target.slopes.size(); ++i) {
    const std::size_t term = target.slopes[i].term;
    const double slope = SlopeOf(task_.terms, target.slopes[i], record);
    if (slope == QvMV::gMissingValue) {
      sums.exists[0] = 0;
      return;
    }
    termSlopes_[i] = slope;
    for (std::size_t k = 0; k < order; ++k) {
      slopes_[k] += slope * task_.estimates[k * size + row_.places[term]];
    }
  }
  probabilities_.resize(order + 1);
  std::ranges::copy(predictors_, probabilities_.begin());
  MakeProbabilities(1);
  for (std::size_t k = 0; k <= order; ++k) {
    // A sum of differences loses nothing where one probability is nearly 1.
    relative_[k] = 0.0;
    for (std::size_t m = 0; m <= order; ++m) {
      relative_[k] += probabilities_[m] * (slopes_[k] - slopes_[m]);
    }
  }
  shares_.resize(order);
  for (std::size_t k = 0; k < order; ++k) {
    sums.values[k] += row_.weight * probabilities_[k] * relative_[k];
    DeriveProbability(probabilities_, k, shares_);
    for (std::size_t m = k; m < order; ++m) {
      const double ofRow =
          shares_[m] * relative_[k] - probabilities_[k] * probabilities_[m] * relative_[m];
      double* gradient = sums.gradients.data() + PairOf(k, m) * size;
      for (std::size_t term = 0; term < row_.values.size(); ++term) {
        gradient[row_.places[term]] += row_.weight * ofRow * row_.values[term];
      }
      for (std::size_t i = 0; i < target.slopes.size(); ++i) {
        gradient[row_.places[target.slopes[i].term]] += row_.weight * shares_[m] * termSlopes_[i];
      }
    }
  }
}

void LogisticMarginSums::FindLevels(const QvCommon::Record& record, const MarginTarget& target,
                                    TargetSums& sums) {
  const std::size_t cells = target.levels.size();
  const std::size_t size = task_.terms.BlockSize();
  const auto code = static_cast<std::int64_t>(record[target.factor]);
  probabilities_.resize((task_.order + 1) * cells);
  parameters_.resize(target.terms.size() * cells);
  for (std::size_t k = 0; k < task_.order; ++k) {
    const double* estimates = task_.estimates.data() + k * size;
    double sum = 0.0;
    for (const std::size_t term : target.others) {
      sum += row_.values[term] * estimates[row_.places[term]];
    }
    std::fill_n(probabilities_.begin() + static_cast<std::ptrdiff_t>(k * cells), cells, sum);
  }
  for (std::size_t i = 0; i < target.terms.size(); ++i) {
    const auto& [term, stride] = target.terms[i];
    const std::int64_t rest = row_.keys[term] - stride * code;
    for (std::size_t cell = 0; cell < cells; ++cell) {
      const int parameter = task_.terms.ParameterAt(term, rest + stride * target.levels[cell]);
      parameters_[i * cells + cell] = std::max(parameter, 0);
      if (parameter < 0) sums.exists[cell] = 0;
    }
    for (std::size_t k = 0; k < task_.order; ++k) {
      const double* estimates = task_.estimates.data() + k * size;
      double* predictors = probabilities_.data() + k * cells;
      for (std::size_t cell = 0; cell < cells; ++cell) {
        predictors[cell] += row_.values[term] * estimates[parameters_[i * cells + cell]];
      }
    }
  }
}

void LogisticMarginSums::AddLevels(const QvCommon::Record& record, const MarginTarget& target,
                                   TargetSums& sums) {
  const std::size_t cells = target.levels.size();
  const std::size_t size = task_.terms.BlockSize();
  FindLevels(record, target, sums);
  MakeProbabilities(cells);
  weights_.resize(cells);
  for (std::size_t k = 0; k < task_.order; ++k) {
    const double* own = probabilities_.data() + k * cells;
    for (std::size_t cell = 0; cell < cells; ++cell) {
      sums.values[k * cells + cell] += row_.weight * own[cell];
    }
    for (std::size_t m = k; m < task_.order; ++m) {
      std::ranges::fill(weights_, 0.0);
      for (std::size_t l = 0; l <= task_.order; ++l) {
        if (m == k ? l == k : l != m) continue;
        const double* other = probabilities_.data() + l * cells;
        for (std::size_t cell = 0; cell < cells; ++cell) weights_[cell] += other[cell];
      }
      const double sign = m == k ? row_.weight : -row_.weight;
      for (std::size_t cell = 0; cell < cells; ++cell) weights_[cell] *= sign * own[cell];
      double* gradient = sums.gradients.data() + PairOf(k, m) * size * cells;
      for (const std::size_t term : target.others) {
        double* column = gradient + row_.places[term] * cells;
        const double value = row_.values[term];
        for (std::size_t cell = 0; cell < cells; ++cell) column[cell] += weights_[cell] * value;
      }
      for (std::size_t i = 0; i < target.terms.size(); ++i) {
        const double value = row_.values[target.terms[i].term];
        for (std::size_t cell = 0; cell < cells; ++cell) {
          const auto parameter = static_cast<std::size_t>(parameters_[i * cells + cell]);
          gradient[parameter * cells + cell] += weights_[cell] * value;
        }
      }
    }
  }
}

void LogisticMarginSums::Merge(const LogisticMarginSums& next) {
  weight_ += next.weight_;
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    for (std::size_t cell = 0; cell < sums_[i].exists.size(); ++cell) {
      sums_[i].exists[cell] &= next.sums_[i].exists[cell];
    }
    AddTo(sums_[i].values, next.sums_[i].values);
    AddTo(sums_[i].gradients, next.sums_[i].gradients);
  }
}

void LogisticMarginSums::AddCell(std::size_t target, std::size_t cell, std::size_t category,
                                 double sign, AverageEffect& effect) const {
  const TargetSums& sums = sums_[target];
  const std::size_t cells = sums.exists.size();
  const std::size_t size = task_.terms.BlockSize();
  effect.exists = effect.exists && sums.exists[cell] != 0;
  effect.value += sign * sums.values[category * cells + cell];
  for (std::size_t m = 0; m < task_.order; ++m) {
    const double* gradient = sums.gradients.data() + PairOf(category, m) * size * cells + cell;
    for (std::size_t i = 0; i < size; ++i) {
      AddTo(effect, m * size + i, sign * gradient[i * cells]);
    }
  }
}

AverageEffect LogisticMarginSums::Of(std::size_t target, std::size_t cell, std::size_t base,
                                     std::size_t category) const {
  AverageEffect effect;
  effect.gradient.resize(task_.order * task_.terms.BlockSize());
  effect.sizes = effect.gradient;
  const auto add = [&](std::size_t k, double sign) {
    AddCell(target, cell, k, sign, effect);
    if (task_.targets[target].factor >= 0) AddCell(target, base, k, -sign, effect);
  };
  if (category < task_.order) {
    add(category, 1.0);
  } else {
    for (std::size_t k = 0; k < task_.order; ++k) add(k, -1.0);
  }
  Finish(weight_, effect);
  return effect;
}

}  // namespace qvhost
