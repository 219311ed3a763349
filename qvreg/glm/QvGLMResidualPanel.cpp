#include "qvreg/glm/QvGLMResidualPanel.h"

#include <algorithm>

using QvCommon::QvDoubleDouble;
using QvCommon::QvKernels;

void QvGLMResidualPanel::SetUp(std::size_t p) {
  // Of rows without values, too, Append has a place to answer.
  fStride = QvKernels::WholeLanes(std::max(p, std::size_t{1}));
  fRows.assign(QvKernels::kRows * fStride, 0.0);
  fColumns.assign(QvKernels::kRows * fStride, 0.0);
  fSumHigh.assign(p, 0.0);
  fSumLow.assign(p, 0.0);
  fCount = 0;
}

double* QvGLMResidualPanel::Append(double y, double weight, const std::vector<double>& estimates) {
  if (fCount == 0) fbUsualEstimates = QvKernels::AreUsual(fSumHigh.size(), estimates.data());
  if (!fbUsualEstimates || !QvKernels::IsUsualWeight(weight)) return nullptr;
  fDependents[fCount] = y;
  fWeights[fCount] = weight;
  return fRows.data() + fCount++ * fStride;
}

void QvGLMResidualPanel::AddToGradient(std::vector<QvDoubleDouble>& gradient) {
  for (std::size_t r = 0; r < fCount; ++r) {
    const QvDoubleDouble weighted = QvDoubleDouble::Sum(fHigh[r], fLow[r]).Times(fWeights[r]);
    fHigh[r] = weighted.fHigh;
    fLow[r] = weighted.fLow;
  }
  // Rows of an earlier panel may stand behind the last one.
  std::fill(fHigh.begin() + static_cast<std::ptrdiff_t>(fCount), fHigh.end(), 0.0);
  std::fill(fLow.begin() + static_cast<std::ptrdiff_t>(fCount), fLow.end(), 0.0);
  std::fill(fSumHigh.begin(), fSumHigh.end(), 0.0);
  std::fill(fSumLow.begin(), fSumLow.end(), 0.0);
  fpKernels->fAddWeightedColumns(gradient.size(), fColumns.data(), fHigh.data(), fLow.data(),
                                 fSumHigh.data(), fSumLow.data());
  for (std::size_t j = 0; j < gradient.size(); ++j) gradient[j].Add({fSumHigh[j], fSumLow[j]});
}

void QvGLMResidualPanel::AddTo(const std::vector<double>& estimates, QvGLMFitSums& sums,
                               std::vector<QvDoubleDouble>& gradient) {
  if (fCount == 0) return;
  const bool isRefined = !gradient.empty();
  fHigh = isRefined ? fDependents : Numbers{};
  fLow.fill(0.0);
  fpKernels->fFillColumns(fCount, fStride, fRows.data(), fColumns.data());
  fpKernels->fSubtractProducts(fSumHigh.size(), fColumns.data(), estimates.data(), fHigh.data(),
                               fLow.data());
  Numbers residuals{};
  for (std::size_t r = 0; r < fCount; ++r) {
    residuals[r] = (isRefined ? 0.0 : fDependents[r]) + (fHigh[r] + fLow[r]);
  }
  sums.AddMany(fCount, fWeights.data(), fDependents.data(), residuals.data(), *fpKernels);
  if (isRefined) AddToGradient(gradient);
  fCount = 0;
}
