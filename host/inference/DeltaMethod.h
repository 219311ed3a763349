#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "host/inference/CoefficientCovariance.h"

/// \file
/// Standard errors of functions of a model's estimates by the delta method: that of g(b) is the
/// root of G' V G with the covariance matrix V of b and the gradient G of g at b (Rao, Linear
/// Statistical Inference and Its Applications, 1973, section 6a). Of a linear function it is exact.

namespace qvhost {

/// A gradient: one number for each of some parameters, zero for all others. A plain value.
struct Gradient {
  std::vector<std::size_t> parameters;  ///< In ascending order, each once.
  std::vector<double> weights;          ///< As many.
};

/// `a` times one gradient plus `b` times another. What cancels exactly is left out.
[[nodiscard]] Gradient Combined(const Gradient& one, double a, const Gradient& other, double b);

/// The standard error of a function of this gradient, in the units of `covariance`: none where it
/// does not exist. Costs the square of the gradient's length.
[[nodiscard]] std::optional<double> StdErrorOf(const CoefficientCovariance& covariance,
                                               const Gradient& gradient);

/// Adds multiples of design rows up to a gradient. Reused for one gradient after the other, so that
/// it takes memory for all parameters once. One thread at a time.
class GradientSum {
 public:
  explicit GradientSum(std::size_t parameters) : sums_(parameters, 0.0), isSeen_(parameters) {}

  /// Adds `factor` times a row, of which the places count from parameter `first` on. REQUIRES: as
  /// many values as places, and parameters that exist.
  void Add(std::size_t first, std::span<const int> places, std::span<const double> values,
           double factor);

  /// The sum times `factor`, without zeros; empties it.
  [[nodiscard]] Gradient Take(double factor = 1.0);

 private:
  std::vector<double> sums_;
  std::vector<char> isSeen_;
  std::vector<std::size_t> seen_;
};

/// One less the probability of a category, without what a difference would lose of a small one:
/// that of all others together.
[[nodiscard]] double ProbabilityOfOthers(std::span<const double> probabilities,
                                         std::size_t category);

/// How the probability of a `category` changes with the linear predictor of each category but the
/// reference, which is the last: p_k (1 - p_k) for its own, -p_k p_m for another one's. REQUIRES:
/// one derivative less than probabilities.
void DeriveProbability(std::span<const double> probabilities, std::size_t category,
                       std::span<double> derivatives);

}  // namespace qvhost
