#include "qvreg/common/QvSparseVector.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>

namespace QvCommon {

namespace {

/// Where index stands behind the offset.
std::size_t Place(int offset, int index) {
  return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(offset) + index);
}

}  // namespace

bool QvSparseVector::IsValid() const {
  return fIndices.size() == fValues.size() &&
         std::all_of(fIndices.begin(), fIndices.end(), [](int index) { return index >= 0; });
}

double QvSparseVector::InnerProductWithPart(const std::vector<double>& v, int offset) const {
  double sum = 0.0;
  for (std::size_t a = 0; a < fIndices.size(); ++a) {
    sum += fValues[a] * v[Place(offset, fIndices[a])];
  }
  return sum;
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
  double largest = 0.0;
  for (int c = 0; c + 1 < K; ++c) {
    const double predictor = InnerProductWithPart(beta, c * p);
    if (!std::isfinite(predictor)) return false;
    probabilities[static_cast<std::size_t>(c)] = predictor;
    largest = std::max(largest, predictor);
  }
  probabilities.back() = 0.0;

  double sum = 0.0;
  for (double& probability : probabilities) {
    probability = std::exp(probability - largest);
    sum += probability;
  }
  for (double& probability : probabilities) probability /= sum;
  logReference = -largest - std::log(sum);
  return true;
}

}  // namespace QvCommon
