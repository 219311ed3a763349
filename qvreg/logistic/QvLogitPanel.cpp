#include "qvreg/logistic/QvLogitPanel.h"

#include <algorithm>
#include <cmath>

#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvPlatform.h"

using QvCommon::QvElementary;
using QvCommon::QvPanel;

namespace {

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

/// The exponentials of a panel's numbers, none above 0, in their place.
void ReplaceByExps(std::size_t n, double* numbers) {
  if (*std::min_element(numbers, numbers + n) >= kLeastExponent) {
    QvElementary::ExpMany(n, numbers, numbers);
    return;
  }
  for (std::size_t r = 0; r < n; ++r) numbers[r] = QvElementary::Exp(numbers[r]);
}

QVREG_FMA_CLONES
void DivideTwo(std::size_t n, const double* QVREG_RESTRICT predictors, const double* tails,
               double* QVREG_RESTRICT sums, double* QVREG_RESTRICT largest,
               double* QVREG_RESTRICT first, double* QVREG_RESTRICT second) {
  for (std::size_t r = 0; r < n; ++r) {
    const double sum = 1.0 + tails[r];
    const double larger = 1.0 / sum;
    const double smaller = tails[r] / sum;
    const bool isFirst = predictors[r] > 0.0;
    first[r] = isFirst ? larger : smaller;
    second[r] = isFirst ? smaller : larger;
    sums[r] = sum;
    largest[r] = isFirst ? predictors[r] : 0.0;
  }
}

/// What the probabilities but that of one of n categories add to.
template <typename Probability>
double Rest(std::size_t n, Probability&& probability, std::size_t category) {
  const double rest = 1.0 - probability(category);
  if (rest >= QvLogitPanel::kSmallRest) return rest;
  double sum = 0.0;
  for (std::size_t c = 0; c < n; ++c) {
    if (c != category) sum += probability(c);
  }
  return sum;
}

}  // namespace

void QvLogitPanel::SetUp(std::size_t p, std::size_t K) {
  fEstimates.assign((K - 1) * p, 0.0);
  fPredictors.assign(K, Numbers{});
  fProbabilities.assign(K, Numbers{});
  fPairs = {};
  if (QvPairSums::Suits(p, K)) fPairs.SetUp(p, K);
  fRows.SetWidth(p);
}

void QvLogitPanel::TakeEstimates(const std::vector<double>& estimates) {
  std::copy_n(estimates.begin(), fEstimates.size(), fEstimates.begin());
  fSizeOfEstimates = SumOfMagnitudes(fEstimates.size(), fEstimates.data());
}

bool QvLogitPanel::Add(const double* values, std::size_t category, double weight,
                       const std::vector<double>& estimates) {
  const std::size_t row = fRows.GetCount();
  if (row == 0) TakeEstimates(estimates);
  // False for what is not a number as well.
  if (!(SumOfMagnitudes(fRows.GetWidth(), values) * fSizeOfEstimates < kLargestPredictor)) {
    return false;
  }
  fRows.Append(values);
  fCategories[row] = category;
  fWeights[row] = weight;
  return true;
}

bool QvLogitPanel::AddRows(std::size_t n, const double* values, const int* categories,
                           const double* weights, const std::vector<double>& estimates) {
  Clear();
  TakeEstimates(estimates);
  const std::size_t width = fRows.GetWidth();
  if (!(SumOfMagnitudes(n * width, values) * fSizeOfEstimates < kLargestPredictor)) return false;
  for (std::size_t r = 0; r < n; ++r) {
    fRows.Append(values + r * width);
    fCategories[r] = static_cast<std::size_t>(categories[r]);
    fWeights[r] = weights[r];
  }
  return true;
}

void QvLogitPanel::Compute() {
  const std::size_t p = fRows.GetWidth();
  for (std::size_t c = 0; c + 1 < fPredictors.size(); ++c) {
    fRows.MultiplyBy(fEstimates.data() + c * p, fPredictors[c]);
  }
  if (fPredictors.size() == 2) {
    ComputeTwo();
  } else {
    ComputeMany();
  }
  ComputeRests();
}

void QvLogitPanel::ComputeRests() {
  for (std::size_t r = 0; r < GetCount(); ++r) {
    const auto probability = [this, r](std::size_t category) {
      return fProbabilities[category][r];
    };
    fRests[r] = Rest(fProbabilities.size(), probability, fCategories[r]);
  }
}

double QvLogitPanel::RestOf(const std::vector<double>& probabilities, std::size_t category) {
  return Rest(
      probabilities.size(), [&](std::size_t c) { return probabilities[c]; }, category);
}

std::array<bool, QvPanel::kRows> QvLogitPanel::FindBelow(const std::vector<double>& bounds) const {
  std::array<bool, QvPanel::kRows> isBelow{};
  for (std::size_t c = 0; c < bounds.size(); ++c) {
    for (std::size_t r = 0; r < GetCount(); ++r) {
      isBelow[r] = isBelow[r] || fProbabilities[c][r] < bounds[c];
    }
  }
  return isBelow;
}

void QvLogitPanel::Widen(double& minObserved, double& maxObserved, double& minComputed) const {
  const std::size_t n = GetCount();
  for (std::size_t r = 0; r < n; ++r) {
    const double observed = fProbabilities[fCategories[r]][r];
    minObserved = std::min(minObserved, observed);
    maxObserved = std::max(maxObserved, observed);
  }
  for (const Numbers& probabilities : fProbabilities) {
    for (std::size_t r = 0; r < n; ++r) minComputed = std::min(minComputed, probabilities[r]);
  }
}

void QvLogitPanel::AddScores(std::vector<double>& scores) {
  Numbers residuals{};
  for (std::size_t c = 0; c + 1 < fProbabilities.size(); ++c) {
    for (std::size_t r = 0; r < GetCount(); ++r) {
      residuals[r] = (fCategories[r] == c ? fRests[r] : -fProbabilities[c][r]) * fWeights[r];
    }
    fRows.AddWeightedRows(residuals, &scores[c * fRows.GetWidth()]);
  }
}

void QvLogitPanel::AddInformation(QvCommon::QvSymBlockMatrix& information) {
  const std::size_t n = GetCount();
  if (fPairs.IsSetUp()) {
    for (std::size_t r = 0; r < n; ++r) {
      if (fWeights[r] == 0.0) continue;
      fPairs.Add(GetRow(r), fWeights[r], &fProbabilities[0][r], QvPanel::kRows);
    }
    return;
  }
  Numbers weights{};
  std::size_t block = 0;
  for (std::size_t i = 0; i + 1 < fProbabilities.size(); ++i) {
    const Numbers& own = fProbabilities[i];
    for (std::size_t j = 0; j < i; ++j) {
      const Numbers& other = fProbabilities[j];
      for (std::size_t r = 0; r < n; ++r) weights[r] = -fWeights[r] * own[r] * other[r];
      fRows.AddWeightedProducts(weights, information.GetBlocks()[block++]);
    }
    for (std::size_t r = 0; r < n; ++r) weights[r] = -fWeights[r] * (own[r] - 1.0) * own[r];
    fRows.AddWeightedProducts(weights, information.GetBlocks()[block++]);
  }
}

void QvLogitPanel::ComputeTwo() {
  const std::size_t n = GetCount();
  Numbers tails{};
  for (std::size_t r = 0; r < n; ++r) tails[r] = -std::fabs(fPredictors[0][r]);
  ReplaceByExps(n, tails.data());
  DivideTwo(n, fPredictors[0].data(), tails.data(), fSums.data(), fLargest.data(),
            fProbabilities[0].data(), fProbabilities[1].data());
}

void QvLogitPanel::ComputeMany() {
  const std::size_t n = GetCount();
  fLargest.fill(0.0);
  for (const Numbers& predictors : fPredictors) {
    for (std::size_t r = 0; r < n; ++r) fLargest[r] = std::max(fLargest[r], predictors[r]);
  }
  fSums.fill(0.0);
  for (std::size_t c = 0; c < fPredictors.size(); ++c) {
    Numbers& exps = fProbabilities[c];
    for (std::size_t r = 0; r < n; ++r) exps[r] = fPredictors[c][r] - fLargest[r];
    ReplaceByExps(n, exps.data());
    for (std::size_t r = 0; r < n; ++r) fSums[r] += exps[r];
  }
  for (Numbers& probabilities : fProbabilities) {
    for (std::size_t r = 0; r < n; ++r) probabilities[r] /= fSums[r];
  }
}
