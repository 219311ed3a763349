#include "qvreg/logistic/QvAccumStatsLogistic.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvSparseVector.h"

using QvCommon::QvElementary;
using QvCommon::QvSparseVector;
using QvCommon::QvSymMatrix;

namespace {

/// The product may grow to this: another sum, of at most 46341 terms up to 1, keeps it finite.
constexpr double kEnoughPending = 1e100;

}  // namespace

QvAccumStatsLogistic::QvAccumStatsLogistic(const QvRegSettings& settings, int p, int K,
                                           const std::vector<double>& estimates)
    : fpSettings(&settings), fNParameters(p), fNCategories(K), fpEstimates(&estimates) {
  if (p < 0 || K < 2) return;
  const std::size_t needed = static_cast<std::size_t>(K - 1) * static_cast<std::size_t>(p);
  fbValid = estimates.size() >= needed && Allocate();
}

bool QvAccumStatsLogistic::Allocate() {
  const auto p = static_cast<std::size_t>(fNParameters);
  try {
    fScores.assign(static_cast<std::size_t>(fNCategories - 1) * p, 0.0);
    fProbabilities.assign(static_cast<std::size_t>(fNCategories), 0.0);
    fPredictors = fProbabilities;
    fBlockWeights.assign(
        static_cast<std::size_t>(fNCategories) * static_cast<std::size_t>(fNCategories - 1) / 2,
        0.0);
    fDenseRow.assign(p, 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  fOuterProduct = QvSymMatrix(fNParameters);
  return fOuterProduct.IsValidMatrix() && fHessian.SetNRows(fNCategories - 1, fNParameters);
}

void QvAccumStatsLogistic::Reset(QvConst::QvEstimationMethod method, bool separationCheck) {
  fLogLikelihood = {};
  fPendingWeight = 0.0;
  fPendingProduct = 1.0;
  std::fill(fScores.begin(), fScores.end(), 0.0);
  fHessian.Clear();
  fValidRows = 0;
  fInvalidCalls = 0;
  fWeight = 0.0;
  fMethod = method;
  fbSeparationCheck = separationCheck;
  fMinObserved = kLargest;
  fMaxObserved = -kLargest;
  fMinComputed = kLargest;
}

bool QvAccumStatsLogistic::ComputeProbabilities(const std::vector<int>& indices,
                                                const std::vector<double>& values, double& largest,
                                                double& sum) {
  if (fNParameters > 0) {
    const QvSparseVector row(indices, values);
    if (!row.ComputePredictors(*fpEstimates, fNParameters, fbDense, fPredictors)) return false;
    QvSparseVector::PredictorsToProbabilities(fPredictors, fProbabilities, largest, sum);
    return true;
  }
  std::fill(fProbabilities.begin(), fProbabilities.end(), 1.0 / fNCategories);
  largest = 0.0;
  sum = fNCategories;
  return true;
}

int QvAccumStatsLogistic::UpdateForRow(const std::vector<int>& indices,
                                       const std::vector<double>& values, int category,
                                       double weight, bool llOnly) {
  const QvSparseVector row(indices, values);
  fbDense = fNParameters > 0 && row.IsDense(fNParameters);
  if (fNParameters > 0 && !fbDense && !row.IsValidBelow(fNParameters)) return -1;
  if (category < 0 || category >= fNCategories || 0.0 >= weight) return -1;
  double largest = 0.0;
  double sum = 1.0;
  if (!ComputeProbabilities(indices, values, largest, sum)) {
    ++fInvalidCalls;
    return -1;
  }
  ++fValidRows;
  fWeight += weight;
  if (fbSeparationCheck) TrackExtremes(category);

  AddToLL(weight, fPredictors[static_cast<std::size_t>(category)] - largest, sum);
  if (llOnly || fNParameters < 1) return 0;
  AddScores(indices, values, category, weight);
  AddInformation(indices, values, weight);
  return 0;
}

void QvAccumStatsLogistic::AddToLL(double weight, double shifted, double sum) {
  if (weight != fPendingWeight || fPendingProduct > kEnoughPending) {
    fLogLikelihood.Add({-fPendingWeight * QvElementary::Log(fPendingProduct), 0.0});
    fPendingWeight = weight;
    fPendingProduct = 1.0;
  }
  fPendingProduct *= sum;
  fLogLikelihood.Add({weight * shifted, 0.0});
}

double QvAccumStatsLogistic::GetLL() const {
  QvCommon::QvTwofold sum = fLogLikelihood;
  sum.Add({-fPendingWeight * QvElementary::Log(fPendingProduct), 0.0});
  return sum.Value();
}

void QvAccumStatsLogistic::TrackExtremes(int category) {
  const double observed = fProbabilities[static_cast<std::size_t>(category)];
  fMinObserved = std::min(fMinObserved, observed);
  fMaxObserved = std::max(fMaxObserved, observed);
  for (const double probability : fProbabilities) {
    fMinComputed = std::min(fMinComputed, probability);
  }
}

void QvAccumStatsLogistic::AddScores(const std::vector<int>& indices,
                                     const std::vector<double>& values, int category,
                                     double weight) {
  const auto p = static_cast<std::size_t>(fNParameters);
  double* scores = fScores.data();
  for (int c = 0; c + 1 < fNCategories; ++c) {
    const double observed = c == category ? 1.0 : 0.0;
    const double factor = (observed - fProbabilities[static_cast<std::size_t>(c)]) * weight;
    if (fbDense) {
      for (std::size_t a = 0; a < p; ++a) scores[a] += factor * values[a];
    } else {
      for (std::size_t a = 0; a < indices.size(); ++a) {
        scores[static_cast<std::size_t>(indices[a])] += factor * values[a];
      }
    }
    scores += p;
  }
}

void QvAccumStatsLogistic::ComputeBlockWeights(double weight) {
  std::size_t block = 0;
  for (std::size_t r = 0; r + 1 < fProbabilities.size(); ++r) {
    const double pr = fProbabilities[r];
    for (std::size_t s = 0; s < r; ++s) fBlockWeights[block++] = -weight * pr * fProbabilities[s];
    fBlockWeights[block++] = -weight * (pr - 1.0) * pr;
  }
}

void QvAccumStatsLogistic::AddInformation(const std::vector<int>& indices,
                                          const std::vector<double>& values, double weight) {
  ComputeBlockWeights(weight);
  if (fbDense) {
    AddDenseInformation(values);
    return;
  }
  // As in the linear model: a row that fills half of its columns is added densely.
  if (2 * indices.size() <= fDenseRow.size()) {
    QvSymMatrix::UpdateEachXXSparse(fHessian.GetBlocks(), fBlockWeights, indices, values);
    return;
  }
  for (std::size_t a = 0; a < indices.size(); ++a) {
    fDenseRow[static_cast<std::size_t>(indices[a])] = values[a];
  }
  AddDenseInformation(fDenseRow);
  for (const int index : indices) fDenseRow[static_cast<std::size_t>(index)] = 0.0;
}

void QvAccumStatsLogistic::AddDenseInformation(const std::vector<double>& row) {
  std::vector<QvSymMatrix>& blocks = fHessian.GetBlocks();
  if (blocks.size() == 1) {
    blocks[0].UpdateXX(row, fBlockWeights[0]);
    return;
  }
  fOuterProduct.SetOuterProduct(row);
  for (std::size_t block = 0; block < blocks.size(); ++block) {
    blocks[block].AddMatrix(fOuterProduct, fBlockWeights[block]);
  }
}

void QvAccumStatsLogistic::GetHessian(QvSymMatrix& out) const { fHessian.CopyToSymMatrix(out); }

void QvAccumStatsLogistic::GetCounts(int& validRows, int& invalidCalls, double& weight) const {
  constexpr long long kLargestInt = std::numeric_limits<int>::max();
  validRows = static_cast<int>(std::min(fValidRows, kLargestInt));
  invalidCalls = static_cast<int>(std::min(fInvalidCalls, kLargestInt));
  weight = fWeight;
}

void QvAccumStatsLogistic::GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                                                  double& minComputed) const {
  minObserved = fMinObserved;
  maxObserved = fMaxObserved;
  minComputed = fMinComputed;
}

void QvAccumStatsLogistic::Display(bool llOnly) const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvAccumStatsLogistic display start");
  if (llOnly) {
    QvComponentDisplay::DisplayD("Accumulated log-likelihood", GetLL());
  } else {
    QvComponentDisplay::DisplayI("Number of estimated parameters in the model", fNParameters);
    QvComponentDisplay::DisplayI("Number of response categories of the dependent variable",
                                 fNCategories);
    QvComponentDisplay::DisplayD("Accumulated log-likelihood", GetLL());
    QvComponentDisplay::DisplayDV("Accumulated vector of scores", fScores, true);
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Accumulated Hessian:");
    fHessian.Display();
    QvComponentDisplay::DisplayCount("Number of valid rows processed", fValidRows);
    QvComponentDisplay::DisplayCount("Number of invalid calls to UpdateForRow()", fInvalidCalls);
    QvComponentDisplay::DisplayD("Accumulated weight", fWeight);
    QvComponentDisplay::DisplayB("Separation check", fbSeparationCheck);
    QvComponentDisplay::DisplayD("Minimum probability of the observed response", fMinObserved);
    QvComponentDisplay::DisplayD("Maximum probability of the observed response", fMaxObserved);
    QvComponentDisplay::DisplayD("Minimum computed probability", fMinComputed);
    QvComponentDisplay::DisplayB("Validity indicator", fbValid);
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvAccumStatsLogistic display end");
}
