#include "host/inference/DeltaMethod.h"

#include <algorithm>

namespace qvhost {

Gradient Combined(const Gradient& one, double a, const Gradient& other, double b) {
  Gradient sum;
  const auto add = [&sum](std::size_t parameter, double weight) {
    if (weight == 0.0) return;
    sum.parameters.push_back(parameter);
    sum.weights.push_back(weight);
  };
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < one.parameters.size() || j < other.parameters.size()) {
    const bool isOne = j == other.parameters.size() ||
                       (i < one.parameters.size() && one.parameters[i] <= other.parameters[j]);
    const bool isOther = i == one.parameters.size() ||
                         (j < other.parameters.size() && other.parameters[j] <= one.parameters[i]);
    const std::size_t parameter = isOne ? one.parameters[i] : other.parameters[j];
    double weight = 0.0;
    if (isOne) weight += a * one.weights[i++];
    if (isOther) weight += b * other.weights[j++];
    add(parameter, weight);
  }
  return sum;
}

std::optional<double> StdErrorOf(const CoefficientCovariance& covariance,
                                 const Gradient& gradient) {
  return covariance.Combine(gradient.parameters, gradient.weights).stdError;
}

void GradientSum::Add(std::size_t first, std::span<const int> places,
                      std::span<const double> values, double factor) {
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::size_t parameter = first + static_cast<std::size_t>(places[i]);
    if (isSeen_[parameter] == 0) {
      isSeen_[parameter] = 1;
      seen_.push_back(parameter);
    }
    sums_[parameter] += factor * values[i];
  }
}

Gradient GradientSum::Take(double factor) {
  std::ranges::sort(seen_);
  Gradient gradient;
  for (const std::size_t parameter : seen_) {
    if (const double weight = factor * sums_[parameter]; weight != 0.0) {
      gradient.parameters.push_back(parameter);
      gradient.weights.push_back(weight);
    }
    sums_[parameter] = 0.0;
    isSeen_[parameter] = 0;
  }
  seen_.clear();
  return gradient;
}

double ProbabilityOfOthers(std::span<const double> probabilities, std::size_t category) {
  double sum = 0.0;
  for (std::size_t k = 0; k < probabilities.size(); ++k) {
    if (k != category) sum += probabilities[k];
  }
  return sum;
}

void DeriveProbability(std::span<const double> probabilities, std::size_t category,
                       std::span<double> derivatives) {
  const double own = probabilities[category];
  for (std::size_t m = 0; m < derivatives.size(); ++m) {
    derivatives[m] =
        m == category ? own * ProbabilityOfOthers(probabilities, m) : -own * probabilities[m];
  }
}

}  // namespace qvhost
