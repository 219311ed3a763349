#include "host/fit/IterationHistory.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qvhost {

namespace {

// Estimates that settle gain less and less: by the square near a maximum, and by a factor of e
// beside others that grow for ever.
constexpr double kSameGain = 0.7;
// A gain of a smaller share is one of rounding.
constexpr double kLeastShare = 1e-6;

bool AreAbout(double gain, double before) {
  if (gain * before <= 0.0) return false;
  const double ratio = gain / before;
  return ratio >= kSameGain && ratio <= 1.0 / kSameGain;
}

}  // namespace

void IterationHistory::Add(double logLikelihood, const std::vector<double>& estimates) {
  if (points_.empty()) {
    firstLogLikelihood_ = logLikelihood;
  } else if (points_.back().estimates == estimates) {
    return;
  }
  if (HasSteps()) points_.pop_front();
  points_.push_back({logLikelihood, estimates});
  if (!IsStill() || !IsGrowing()) return;
  if (sights_.size() > 1) sights_.pop_back();
  sights_.push_back({LastStep(), Growth()});
}

bool IterationHistory::IsNothing(double gain) const {
  return std::abs(gain) <= kStill * std::abs(firstLogLikelihood_);
}

bool IterationHistory::IsStill() const {
  if (!HasSteps()) return false;
  for (std::size_t i = 1; i < points_.size(); ++i) {
    if (!IsNothing(points_[i].logLikelihood - points_[i - 1].logLikelihood)) return false;
  }
  return true;
}

double IterationHistory::Gain(std::size_t parameter, int stepsBack) const {
  const std::size_t to = points_.size() - static_cast<std::size_t>(stepsBack);
  return points_[to].estimates.at(parameter) - points_[to - 1].estimates.at(parameter);
}

std::vector<double> IterationHistory::LastStep() const {
  std::vector<double> step;
  if (points_.size() < 2) return step;
  for (std::size_t i = 0; i < points_.back().estimates.size(); ++i) step.push_back(Gain(i, 1));
  return step;
}

std::vector<double> IterationHistory::Growth() const {
  std::vector<double> growth = LastStep();
  for (std::size_t i = 0; i < growth.size(); ++i) {
    bool isGrowing = HasSteps();
    for (int back = 1; isGrowing && back < kSteps; ++back) {
      isGrowing = AreAbout(Gain(i, back), Gain(i, back + 1));
    }
    const double size = std::abs(points_.back().estimates[i]);
    if (!isGrowing || std::abs(growth[i]) <= kLeastShare * size) growth[i] = 0.0;
  }
  return growth;
}

bool IterationHistory::IsGrowing() const {
  const std::vector<double> growth = Growth();
  return std::ranges::any_of(growth, [](double gain) { return gain != 0.0; });
}

}  // namespace qvhost
