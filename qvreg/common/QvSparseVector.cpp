#include "qvreg/common/QvSparseVector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <new>

#include "qvreg/common/QvElementary.h"

namespace QvCommon {

namespace {

/// Where index stands behind the offset.
std::size_t Place(int offset, int index) {
  return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(offset) + index);
}

/// The sum of values[a] other(a) over n places: four sums side by side, since each addition waits
/// for the one before it.
template <typename Other>
double SumOfProducts(std::size_t n, const double* values, Other&& other) {
  std::array<double, 4> sums{};
  std::size_t a = 0;
  for (; a + 3 < n; a += 4) {
    for (std::size_t lane = 0; lane < 4; ++lane) sums[lane] += values[a + lane] * other(a + lane);
  }
  double rest = 0.0;
  for (; a < n; ++a) rest += values[a] * other(a);
  return (sums[0] + sums[1]) + (sums[2] + sums[3]) + rest;
}

}  // namespace

bool QvSparseVector::IsValid() const {
  return fIndices.size() == fValues.size() &&
         std::all_of(fIndices.begin(), fIndices.end(), [](int index) { return index >= 0; });
}

bool QvSparseVector::IsValidBelow(int bound) const {
  // Without a branch per index, since nearly all of them are in range.
  bool isOutside = fIndices.size() != fValues.size();
  for (const int index : fIndices) isOutside |= (index < 0) | (index >= bound);
  return !isOutside;
}

bool QvSparseVector::IsDense(int n) const {
  if (n < 0 || fIndices.size() != static_cast<std::size_t>(n) ||
      fValues.size() != fIndices.size()) {
    return false;
  }
  int differences = 0;
  for (int k = 0; k < n; ++k) differences |= fIndices[static_cast<std::size_t>(k)] ^ k;
  return differences == 0;
}

double QvSparseVector::InnerProductWithPart(const std::vector<double>& v, int offset) const {
  return SumOfProducts(fIndices.size(), fValues.data(),
                       [&](std::size_t a) { return v[Place(offset, fIndices[a])]; });
}

bool QvSparseVector::IncrementPart(std::vector<double>& v, int offset, double c) const {
  const auto isMissing = [&](int index) {
    return Place(offset, index) >= v.size();  // A negative place counts as a huge one.
  };
  if (std::any_of(fIndices.begin(), fIndices.end(), isMissing)) return false;
  for (std::size_t a = 0; a < fIndices.size(); ++a) {
    v[Place(offset, fIndices[a])] += c * fValues[a];
  }
  return true;
}

void QvSparseVector::QuadraticOuterProductIncr(QvSymMatrix& m, double c) const {
  m.UpdateXXSparse(static_cast<int>(fIndices.size()), fIndices, fValues, c);
}

bool QvSparseVector::ComputeProbabilities(const std::vector<double>& beta, int K, int p,
                                          std::vector<double>& probabilities,
                                          double& logReference) const {
  if (K < 1) return false;
  try {
    probabilities.resize(static_cast<std::size_t>(K));
  } catch (const std::bad_alloc&) {
    return false;
  }
  if (!ComputePredictors(beta, p, false, probabilities)) return false;
  double largest = 0.0;
  double sum = 1.0;
  PredictorsToProbabilities(probabilities, probabilities, largest, sum);
  logReference = -largest - QvElementary::Log(sum);
  return true;
}

bool QvSparseVector::ComputePredictors(const std::vector<double>& beta, int p, bool isDense,
                                       std::vector<double>& predictors) const {
  const int reference = static_cast<int>(predictors.size()) - 1;
  double smallest = 0.0;
  double largest = 0.0;
  for (int c = 0; c < reference; ++c) {
    const double* part = beta.data() + Place(c * p, 0);
    const double predictor = isDense ? SumOfProducts(fValues.size(), fValues.data(),
                                                     [part](std::size_t a) { return part[a]; })
                                     : InnerProductWithPart(beta, c * p);
    if (!std::isfinite(predictor)) return false;
    predictors[static_cast<std::size_t>(c)] = predictor;
    smallest = std::min(smallest, predictor);
    largest = std::max(largest, predictor);
  }
  predictors.back() = 0.0;
  // Two predictors of opposite signs may be farther apart than a double reaches.
  return std::isfinite(smallest - largest);
}

void QvSparseVector::PredictorsToProbabilities(const std::vector<double>& predictors,
                                               std::vector<double>& probabilities, double& largest,
                                               double& sum) {
  if (predictors.size() == 2) {
    // One exponential, and no branch on which of the two is the larger, which cannot be predicted.
    const double predictor = predictors[0];
    const std::size_t larger = predictor > 0.0 ? 0 : 1;
    const double tail = QvElementary::Exp(-std::fabs(predictor));
    sum = 1.0 + tail;
    largest = std::max(predictor, 0.0);
    probabilities[larger] = 1.0 / sum;
    probabilities[1 - larger] = tail / sum;
    return;
  }
  largest = *std::max_element(predictors.begin(), predictors.end());
  sum = 0.0;
  for (std::size_t c = 0; c < predictors.size(); ++c) {
    probabilities[c] = QvElementary::Exp(predictors[c] - largest);
    sum += probabilities[c];
  }
  for (double& probability : probabilities) probability /= sum;
}

}  // namespace QvCommon
