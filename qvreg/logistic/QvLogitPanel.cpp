#include "qvreg/logistic/QvLogitPanel.h"

#include <algorithm>
#include <cmath>

#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvPlatform.h"

using QvCommon::QvElementary;
using QvCommon::QvPanel;

namespace {

constexpr std::size_t kRows = QvPanel::kRows;

/// No sum of predictors that are bounded by it overflows, nor the difference of two.
constexpr double kLargestPredictor = 1e300;
/// ExpMany's least argument.
constexpr double kLeastExponent = -708.0;

QVREG_FMA_CLONES
double SumOfMagnitudes(std::size_t n, const double* values) {
  constexpr std::size_t kLanes = 8;
  std::array<double, kLanes> sums{};
  std::size_t j = 0;
  for (; j + kLanes <= n; j += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) sums[lane] += std::fabs(values[j + lane]);
  }
  double sum = 0.0;
  for (; j < n; ++j) sum += std::fabs(values[j]);
  for (const double lane : sums) sum += lane;
  return sum;
}

/// The exponentials of numbers the least of which is known, in their place.
void ReplaceByExps(std::size_t n, double* numbers, double least) {
  if (least >= kLeastExponent) {
    QvElementary::ExpMany(n, numbers, numbers);
    return;
  }
  for (std::size_t k = 0; k < n; ++k) numbers[k] = QvElementary::Exp(numbers[k]);
}

}  // namespace

void QvLogitPanel::SetUp(std::size_t p, std::size_t K) {
  fNCategories = K;
  fEstimates.assign((K - 1) * p, 0.0);
  fPredictors.assign((K - 1) * kRows, 0.0);
  fResiduals = fPredictors;
  fProbabilities.assign(K * kRows, 0.0);
  fLeast.assign(K, 0.0);
  fCategorySums = fLeast;
  fRow.assign(p, 0.0);
  fPairs = {};
  if (QvPairSums::Suits(p, K)) fPairs.SetUp(p, K);
  fRows.SetWidth(p);
  Clear();
}

void QvLogitPanel::Clear() {
  fRows.Clear();
  fWeights.fill(0.0);
  fCategories.fill(0.0);
  fpCategories = nullptr;
}

void QvLogitPanel::TakeEstimates(const std::vector<double>& estimates) {
  std::copy_n(estimates.begin(), fEstimates.size(), fEstimates.begin());
  fSizeOfEstimates = SumOfMagnitudes(fEstimates.size(), fEstimates.data());
}

bool QvLogitPanel::ArePredictorsFinite(double magnitudes) const {
  return magnitudes * fSizeOfEstimates < kLargestPredictor;
}

bool QvLogitPanel::Add(const double* values, std::size_t category, double weight,
                       const std::vector<double>& estimates) {
  const std::size_t row = fRows.GetCount();
  if (row == 0) TakeEstimates(estimates);
  if (!ArePredictorsFinite(SumOfMagnitudes(fRows.GetWidth(), values))) return false;
  fRows.Append(values);
  fCategories[row] = static_cast<double>(category);
  fWeights[row] = weight;
  return true;
}

bool QvLogitPanel::AddRows(std::size_t n, const double* values, const int* categories,
                           const double* weights, const std::vector<double>& estimates) {
  const std::size_t before = fRows.GetCount();
  if (before == 0) TakeEstimates(estimates);
  const std::size_t width = fRows.GetWidth();
  if (!ArePredictorsFinite(SumOfMagnitudes(n * width, values))) return false;
  fRows.Append(n, values);
  for (std::size_t r = 0; r < n; ++r) {
    fCategories[before + r] = static_cast<double>(categories[r]);
    fWeights[before + r] = weights[r];
  }
  return true;
}

bool QvLogitPanel::AddColumns(std::size_t n, const double* const* columns, const double* categories,
                              const double* weights, const std::vector<double>& estimates) {
  Clear();
  TakeEstimates(estimates);
  fRows.Borrow(n, columns);
  if (!ArePredictorsFinite(fRows.SumMagnitudes())) {
    Clear();
    return false;
  }
  fpCategories = categories;
  std::copy_n(weights, n, fWeights.begin());
  return true;
}

void QvLogitPanel::Compute() {
  const std::size_t K = fNCategories;
  const std::size_t p = fRows.GetWidth();
  const std::size_t nRows = fRows.CountInLanes();
  if (fpCategories == nullptr) fpCategories = fCategories.data();
  for (std::size_t c = 0; c + 1 < K; ++c) {
    fRows.MultiplyBy(fEstimates.data() + c * p, &fPredictors[c * kRows]);
  }
  double* probabilities = fProbabilities.data();
  const double least =
      fpKernels->fShift(nRows, K, fPredictors.data(), probabilities, fLargest.data());
  // Of two categories there is one exponential.
  for (std::size_t c = 0; c < (K == 2 ? 1 : K); ++c) {
    ReplaceByExps(nRows, probabilities + c * kRows, least);
  }
  fpKernels->fDivide(nRows, K, fPredictors.data(), probabilities, fSums.data());
  fpKernels->fObserve(nRows, K, fpCategories, fPredictors.data(), fLargest.data(), probabilities,
                      fObserved.data(), fRests.data(), fShifted.data());
  double largest = 0.0;
  for (std::size_t c = 0; c < K; ++c) {
    fpKernels->fFindRange(GetCount(), ProbabilitiesOf(c), &fLeast[c], &largest);
  }
}

double QvLogitPanel::RestOf(const std::vector<double>& probabilities, std::size_t category) {
  const double rest = 1.0 - probabilities[category];
  if (rest >= kSmallRest) return rest;
  double sum = 0.0;
  for (std::size_t c = 0; c < probabilities.size(); ++c) {
    if (c != category) sum += probabilities[c];
  }
  return sum;
}

std::array<bool, QvPanel::kRows> QvLogitPanel::FindBelow(const std::vector<double>& bounds) const {
  std::array<bool, kRows> isBelow{};
  for (std::size_t c = 0; c < fNCategories; ++c) {
    if (!(fLeast[c] < bounds[c])) continue;
    for (std::size_t r = 0; r < GetCount(); ++r) {
      isBelow[r] = isBelow[r] || GetProbability(c, r) < bounds[c];
    }
  }
  return isBelow;
}

bool QvLogitPanel::IsAnyBelow(const std::vector<double>& bounds) const {
  for (std::size_t c = 0; c < fNCategories; ++c) {
    if (fLeast[c] < bounds[c]) return true;
  }
  return false;
}

void QvLogitPanel::AddWeights(std::size_t first, std::vector<double>& sums, double& total) const {
  const double* categories = fpCategories == nullptr ? fCategories.data() : fpCategories;
  // Up to where lanes begin.
  for (; first % QvCommon::QvKernels::kLanes != 0 && first < GetCount(); ++first) {
    sums[static_cast<std::size_t>(categories[first])] += fWeights[first];
    total += fWeights[first];
  }
  if (first >= GetCount()) return;
  fpKernels->fSumByCategory(fRows.CountInLanes() - first, fNCategories, categories + first,
                            &fWeights[first], fCategorySums.data());
  for (std::size_t c = 0; c < fNCategories; ++c) {
    sums[c] += fCategorySums[c];
    total += fCategorySums[c];
  }
}

void QvLogitPanel::AddTo(QvLogLikelihoodSum& sum) const {
  constexpr std::size_t kMost = QvCommon::QvColumnKernels::kMostLogs;
  for (std::size_t first = 0; first < GetCount(); first += kMost) {
    AddLogs(first, std::min(fRows.CountInLanes() - first, kMost), sum);
  }
}

void QvLogitPanel::AddLogs(std::size_t first, std::size_t n, QvLogLikelihoodSum& sum) const {
  const QvCommon::QvColumnKernels::Logs logs =
      fpKernels->fSumLogs(n, &fWeights[first], &fShifted[first], &fRests[first], &fSums[first]);
  sum.Add(logs.fShifted);
  if (logs.fbAlikeWeights) {
    sum.SubtractLog(fWeights[first], logs.fProduct);
    if (!logs.fbAnySmallRest) return;
  }
  for (std::size_t r = first; r < std::min(first + n, GetCount()); ++r) {
    if (fRests[r] < kSmallRest) {
      sum.AddLogOfRest(fWeights[r], fRests[r]);
    } else if (!logs.fbAlikeWeights) {
      sum.SubtractLog(fWeights[r], fSums[r]);
    }
  }
}

void QvLogitPanel::Widen(double& minObserved, double& maxObserved, double& minComputed) const {
  double least = 0.0;
  double largest = 0.0;
  fpKernels->fFindRange(GetCount(), fObserved.data(), &least, &largest);
  minObserved = std::min(minObserved, least);
  maxObserved = std::max(maxObserved, largest);
  for (const double probability : fLeast) minComputed = std::min(minComputed, probability);
}

void QvLogitPanel::AddScores(std::vector<double>& scores) {
  fpKernels->fFindResiduals(fRows.CountInLanes(), fNCategories, fpCategories, fWeights.data(),
                            fRests.data(), fProbabilities.data(), fResiduals.data());
  fRows.AddWeightedRows(fNCategories - 1, fResiduals.data(), scores.data());
}

void QvLogitPanel::AddInformation(QvCommon::QvSymBlockMatrix& information) {
  if (fPairs.IsSetUp()) {
    for (std::size_t r = 0; r < GetCount(); ++r) {
      if (fWeights[r] == 0.0) continue;
      CopyRow(r, fRow.data());
      fPairs.Add(fRow.data(), fWeights[r], &fProbabilities[r], kRows);
    }
    return;
  }
  Numbers weights{};
  std::size_t block = 0;
  for (std::size_t i = 0; i + 1 < fNCategories; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      fpKernels->fWeighPair(fRows.CountInLanes(), fWeights.data(), ProbabilitiesOf(i),
                            j < i ? ProbabilitiesOf(j) : nullptr, weights.data());
      fRows.AddWeightedProducts(weights, information.GetBlocks()[block++]);
    }
  }
}
