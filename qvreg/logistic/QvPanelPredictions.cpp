#include "qvreg/logistic/QvPanelPredictions.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "qvreg/logistic/QvLogModel.h"

void QvPanelPredictions::SetUp(const QvLogModel& model, std::size_t nValues) {
  fNValues = nValues;
  fNKept = static_cast<std::size_t>(model.GetNumBasicNonRedundant());
  fNOthers = static_cast<std::size_t>(model.GetNumDependCategories()) - 1;
  fEstimates.clear();
  for (int i = 0; i < model.GetNumAllParameters(); ++i) {
    if (!model.GetAllRedundancy().IsIn(i)) continue;
    fEstimates.push_back(model.GetScaledEstimates()[static_cast<std::size_t>(i)]);
  }
  fCoefficients.assign(fNOthers * nValues, 0.0);
  fPredictors.assign(fNOthers * kRows, 0.0);
}

void QvPanelPredictions::BeginPattern(const std::vector<int>& columns,
                                      const std::vector<int>& places) {
  std::fill(fCoefficients.begin(), fCoefficients.end(), 0.0);
  fSizeOfCoefficients = 0.0;
  for (std::size_t c = 0; c < fNOthers; ++c) {
    const double* estimates = fEstimates.data() + c * fNKept;
    double* sums = fCoefficients.data() + c * fNValues;
    for (std::size_t a = 0; a < columns.size(); ++a) {
      const double estimate = estimates[static_cast<std::size_t>(columns[a])];
      sums[static_cast<std::size_t>(places[a])] += estimate;
      fSizeOfCoefficients += std::fabs(estimate);
    }
  }
}

void QvPanelPredictions::Predict(const double* const* columns) {
  const QvCommon::QvColumnKernels& kernels = QvCommon::QvKernels::Get().fColumns;
  for (std::size_t c = 0; c < fNOthers; ++c) {
    kernels.fMultiply(kRows, fNValues, columns, &fCoefficients[c * fNValues],
                      &fPredictors[c * kRows]);
  }
  // The reference's predictor is 0.
  std::array<double, kRows> largest{};
  std::array<double, kRows> second{};
  second.fill(-std::numeric_limits<double>::infinity());
  fCategories.fill(static_cast<int>(fNOthers));
  for (std::size_t c = 0; c < fNOthers; ++c) {
    const double* predictors = &fPredictors[c * kRows];
    for (std::size_t r = 0; r < kRows; ++r) {
      const bool isLarger = predictors[r] > largest[r];
      second[r] = std::max(second[r], isLarger ? largest[r] : predictors[r]);
      largest[r] = isLarger ? predictors[r] : largest[r];
      fCategories[r] = isLarger ? static_cast<int>(c) : fCategories[r];
    }
  }
  // Above what the roundings of two sums of products and of the coefficients add to, however
  // formed, and above a tie's limit. Not finite where a predictor may not be.
  const double terms = static_cast<double>(fNKept + fNValues + 4);
  const double size = kernels.fSumMagnitudes(kRows, fNValues, columns) * fSizeOfCoefficients;
  const double margin = 0x1p-50 * (1.0 + terms * size);
  const bool isFinite = margin < std::numeric_limits<double>::max();
  for (std::size_t r = 0; r < kRows; ++r) {
    if (!isFinite || !(largest[r] - second[r] > margin)) fCategories[r] = -1;
  }
}
