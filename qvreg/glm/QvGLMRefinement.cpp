#include "qvreg/glm/QvGLMRefinement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "qvreg/common/QvPlatform.h"

using QvCommon::QvDoubleDouble;

namespace {

/// A step that changes no estimate by a larger share of it has settled.
constexpr double kSettledChange = 1e-11;
/// A step that leaves no residual lowers the residual sum by all of it, up to rounding.
constexpr double kMostDecrease = 1.25;
/// The share of an estimate that rounding it to a double may change, twice over.
constexpr double kRounding = std::numeric_limits<double>::epsilon();

/// The residual y - sum of coefficients[indices[a]] values[a] over n non-zeros.
QVREG_FMA_CLONES
QvDoubleDouble FindResidual(int n, const int* indices, const double* values, double y,
                            const double* coefficients) {
  QvDoubleDouble residual{y, 0.0};
  for (int a = 0; a < n; ++a) {
    residual.Add(QvDoubleDouble::Product(-coefficients[indices[a]], values[a]));
  }
  return residual;
}

/// Adds w times the residual times each value to the gradient.
QVREG_FMA_CLONES
void AccumulateGradient(int n, const int* indices, const double* values, QvDoubleDouble residual,
                        double w, QvDoubleDouble* gradient) {
  const QvDoubleDouble weighted = QvDoubleDouble::Sum(residual.fHigh, residual.fLow).Times(w);
  for (int a = 0; a < n; ++a) gradient[indices[a]].Add(weighted.Times(values[a]));
}

}  // namespace

QvDoubleDouble QvGLMRefinement::ResidualOf(const QvDesignRow& row, double y,
                                           const std::vector<double>& estimates) {
  return FindResidual(row.GetCount(), row.GetIndices().data(), row.GetValues().data(), y,
                      estimates.data());
}

void QvGLMRefinement::AddRecord(const QvDesignRow& row, QvDoubleDouble residual, double w) {
  AccumulateGradient(row.GetCount(), row.GetIndices().data(), row.GetValues().data(), residual, w,
                     fGradient.data());
}

double QvGLMRefinement::FindChanges(const QvCommon::QvSymMatrix& inverse, double factor,
                                    const std::vector<double>& estimates) {
  double decrease = 0.0;
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    QvDoubleDouble correction;
    for (std::size_t j = 0; j < estimates.size(); ++j) {
      const double element = inverse.GetElem(static_cast<int>(i), static_cast<int>(j));
      // A gradient that is not finite changes only the corrections that it is part of.
      if (element != 0.0) correction.Add(QvDoubleDouble::Product(element, fGradient[j].Value()));
    }
    const double change = factor * correction.Value();
    fChanges[i] = std::isfinite(estimates[i] + change) ? change : 0.0;
    if (fChanges[i] != 0.0) decrease += fChanges[i] * fGradient[i].Value();
  }
  return decrease;
}

double QvGLMRefinement::LargestChange(const QvCommon::QvSymMatrix& inverse,
                                      const std::vector<double>& estimates) const {
  // Moving estimate i by d moves the best value of estimate j, with v the elements of the inverse,
  // by v(i,j) / v(i,i) d, at most sqrt(v(j,j) / v(i,i)) d.
  const auto deviation = [&](std::size_t i) {
    const auto place = static_cast<int>(i);
    return std::sqrt(inverse.GetElem(place, place));
  };
  double largestRatio = 0.0;
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    if (estimates[i] == 0.0) continue;
    largestRatio = std::max(largestRatio, std::abs(estimates[i]) / deviation(i));
  }
  double largest = 0.0;
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    const double change = std::abs(fChanges[i]);
    if (change <= kRounding * largestRatio * deviation(i)) continue;
    largest = std::max(largest, change / std::abs(estimates[i] + fChanges[i]));
  }
  return largest;
}

void QvGLMRefinement::Correct(double residualSum, std::vector<double>& estimates) {
  fBefore = estimates;
  fSumBefore = residualSum;
  for (std::size_t i = 0; i < estimates.size(); ++i) estimates[i] += fChanges[i];
}

bool QvGLMRefinement::Step(const QvCommon::QvSymMatrix& inverse, double factor, double residualSum,
                           std::vector<double>& estimates) {
  const double decrease = FindChanges(inverse, factor, estimates);
  std::fill(fGradient.begin(), fGradient.end(), QvDoubleDouble());
  // A correction that would raise the sum, or lower it by more than there is, comes from an inverse
  // too inaccurate for it.
  const bool isSound = decrease >= 0.0 && decrease <= kMostDecrease * residualSum;
  const bool isFirst = fSteps++ == 0;
  // What a correction takes off the sum measures its distance from its minimum.
  if (isSound && (isFirst || decrease < fDecrease)) {
    const double change = LargestChange(inverse, estimates);
    Correct(residualSum, estimates);
    fResidualSum = residualSum - decrease;
    fDecrease = decrease;
    return change > kSettledChange && fSteps < fMostSteps;
  }
  const bool isWorse = !isFirst && !(std::abs(decrease) <= fDecrease);
  if (isWorse) estimates = fBefore;
  fResidualSum = isWorse ? fSumBefore : residualSum;
  return false;
}
