#include "qvreg/logistic/QvAccumStatsLogistic.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvSparseVector.h"

using QvCommon::QvSparseVector;
using QvCommon::QvSymMatrix;

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
    fDenseRow.assign(p, 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  fOuterProduct = QvSymMatrix(fNParameters);
  return fOuterProduct.IsValidMatrix() && fHessian.SetNRows(fNCategories - 1, fNParameters);
}

void QvAccumStatsLogistic::Reset(QvConst::QvEstimationMethod method, bool separationCheck) {
  fLogLikelihood = {};
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

bool QvAccumStatsLogistic::IsUsableRow(const std::vector<int>& indices,
                                       const std::vector<double>& values) const {
  return QvSparseVector(indices, values).IsValid() &&
         std::all_of(indices.begin(), indices.end(),
                     [this](int index) { return index < fNParameters; });
}

bool QvAccumStatsLogistic::ComputeProbabilities(const std::vector<int>& indices,
                                                const std::vector<double>& values,
                                                double& logReference) {
  if (fNParameters > 0) {
    return QvSparseVector(indices, values)
        .ComputeProbabilities(*fpEstimates, fNCategories, fNParameters, fProbabilities,
                              logReference);
  }
  const double equal = 1.0 / fNCategories;
  std::fill(fProbabilities.begin(), fProbabilities.end(), equal);
  logReference = std::log(equal);
  return true;
}

int QvAccumStatsLogistic::UpdateForRow(const std::vector<int>& indices,
                                       const std::vector<double>& values, int category,
                                       double weight, bool llOnly) {
  if (fNParameters > 0 && !IsUsableRow(indices, values)) return -1;
  if (category < 0 || category >= fNCategories || 0.0 >= weight) return -1;
  double logReference = 0.0;
  if (!ComputeProbabilities(indices, values, logReference)) {
    ++fInvalidCalls;
    return -1;
  }
  ++fValidRows;
  fWeight += weight;
  if (fbSeparationCheck) TrackExtremes(category);

  double logProbability = logReference;
  if (fNParameters > 0 && category != fNCategories - 1) {
    logProbability +=
        QvSparseVector(indices, values).InnerProductWithPart(*fpEstimates, category * fNParameters);
  }
  fLogLikelihood.Add({weight * logProbability, 0.0});
  if (llOnly || fNParameters < 1) return 0;
  AddScores(indices, values, category, weight);
  AddInformation(indices, values, weight);
  return 0;
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
  const QvSparseVector row(indices, values);
  for (int c = 0; c + 1 < fNCategories; ++c) {
    const double observed = c == category ? 1.0 : 0.0;
    const double residual = observed - fProbabilities[static_cast<std::size_t>(c)];
    row.IncrementPart(fScores, c * fNParameters, residual * weight);
  }
}

template <typename Add>
void QvAccumStatsLogistic::ForEachBlock(double weight, Add&& add) {
  for (int r = 0; r + 1 < fNCategories; ++r) {
    const double pr = fProbabilities[static_cast<std::size_t>(r)];
    for (int s = 0; s < r; ++s) {
      const double ps = fProbabilities[static_cast<std::size_t>(s)];
      add(fHessian.GetElemSSRef(r, s), -weight * pr * ps);
    }
    add(fHessian.GetElemSSRef(r, r), -weight * (pr - 1.0) * pr);
  }
}

void QvAccumStatsLogistic::AddInformation(const std::vector<int>& indices,
                                          const std::vector<double>& values, double weight) {
  // As in the linear model: a row that fills half of its columns is added densely.
  if (2 * indices.size() <= fDenseRow.size()) {
    const QvSparseVector row(indices, values);
    ForEachBlock(weight,
                 [&row](QvSymMatrix& block, double c) { row.QuadraticOuterProductIncr(block, c); });
    return;
  }
  for (std::size_t a = 0; a < indices.size(); ++a) {
    fDenseRow[static_cast<std::size_t>(indices[a])] = values[a];
  }
  if (fNCategories == 2) {
    ForEachBlock(weight, [this](QvSymMatrix& block, double c) { block.UpdateXX(fDenseRow, c); });
  } else {
    fOuterProduct.SetOuterProduct(fDenseRow);
    ForEachBlock(weight,
                 [this](QvSymMatrix& block, double c) { block.AddMatrix(fOuterProduct, c); });
  }
  for (const int index : indices) fDenseRow[static_cast<std::size_t>(index)] = 0.0;
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
