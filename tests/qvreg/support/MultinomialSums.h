#pragma once

#include <vector>

#include "tests/qvreg/support/DenseMatrix.h"

namespace qvtest {

/// Log-likelihood, scores and information of a multinomial logit, each straight from its definition
/// in long double over dense rows: what the library's sums are checked against. K categories, the
/// last one the reference; p coefficients per other category.
class MultinomialSums {
 public:
  MultinomialSums(int p, int K, const std::vector<double>& estimates);

  /// Adds a dense row with its category and weight.
  void Add(const std::vector<double>& row, int category, double weight);
  /// The K probabilities of a row.
  [[nodiscard]] std::vector<long double> Probabilities(const std::vector<double>& row) const;

  [[nodiscard]] long double LogLikelihood() const { return logLikelihood_; }
  /// (K - 1) p scores, as a matrix of one column.
  [[nodiscard]] const DenseMatrix& Scores() const { return scores_; }
  [[nodiscard]] const DenseMatrix& Information() const { return information_; }

 private:
  int p_;
  int categories_;
  std::vector<double> estimates_;
  long double logLikelihood_ = 0.0L;
  DenseMatrix scores_;
  DenseMatrix information_;
};

}  // namespace qvtest
