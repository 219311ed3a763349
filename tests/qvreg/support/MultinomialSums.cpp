#include "tests/qvreg/support/MultinomialSums.h"

#include <cmath>
#include <cstddef>

namespace qvtest {

MultinomialSums::MultinomialSums(int p, int K, const std::vector<double>& estimates)
    : p_(p),
      categories_(K),
      estimates_(estimates),
      scores_((K - 1) * p, 1),
      information_((K - 1) * p, (K - 1) * p) {}

std::vector<long double> MultinomialSums::Probabilities(const std::vector<double>& row) const {
  std::vector<long double> probabilities(static_cast<std::size_t>(categories_), 1.0L);
  long double sum = 1.0L;
  for (int c = 0; c + 1 < categories_; ++c) {
    long double predictor = 0.0L;
    for (int k = 0; k < p_; ++k) {
      predictor += static_cast<long double>(estimates_[static_cast<std::size_t>(c * p_ + k)]) *
                   static_cast<long double>(row[static_cast<std::size_t>(k)]);
    }
    probabilities[static_cast<std::size_t>(c)] = std::exp(predictor);
    sum += std::exp(predictor);
  }
  for (long double& probability : probabilities) probability /= sum;
  return probabilities;
}

void MultinomialSums::Add(const std::vector<double>& row, int category, double weight) {
  const std::vector<long double> pi = Probabilities(row);
  const auto w = static_cast<long double>(weight);
  logLikelihood_ += w * std::log(pi[static_cast<std::size_t>(category)]);
  for (int a = 0; a < (categories_ - 1) * p_; ++a) {
    const int r = a / p_;
    const long double piR = pi[static_cast<std::size_t>(r)];
    const auto xa = static_cast<long double>(row[static_cast<std::size_t>(a % p_)]);
    scores_(a, 0) += w * ((r == category ? 1.0L : 0.0L) - piR) * xa;
    for (int b = 0; b < (categories_ - 1) * p_; ++b) {
      const int s = b / p_;
      const auto xb = static_cast<long double>(row[static_cast<std::size_t>(b % p_)]);
      const long double h = (r == s ? piR : 0.0L) - piR * pi[static_cast<std::size_t>(s)];
      information_(a, b) += w * h * xa * xb;
    }
  }
}

}  // namespace qvtest
