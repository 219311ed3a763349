#include "qvreg/common/QvPanel.h"

#include <algorithm>
#include <span>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

namespace {

constexpr std::size_t kLanes = QvKernels::kLanes;

QVREG_FMA_CLONES
void WeightRows(std::size_t nRows, std::size_t stride, const double* QVREG_RESTRICT weights,
                const double* QVREG_RESTRICT rows, double* QVREG_RESTRICT weighted) {
  for (std::size_t r = 0; r < nRows; ++r) {
    for (std::size_t j = 0; j < stride; ++j) weighted[j] = weights[r] * rows[j];
    rows += stride;
    weighted += stride;
  }
}

}  // namespace

void QvPanel::SetWidth(std::size_t n) {
  const std::size_t stride = (n + kLanes - 1) / kLanes * kLanes;
  fRows.assign(kRows * stride, 0.0);
  fWeighted = fRows;
  fColumns.assign(kRows * n, 0.0);
  fStrip.assign(kLanes * stride, 0.0);
  fWidth = n;
  fStride = stride;
  fCount = 0;
}

void QvPanel::Append(const double* values) {
  double* row = &fRows[fCount * fStride];
  double* column = &fColumns[fCount];
  for (std::size_t j = 0; j < fWidth; ++j) {
    row[j] = values[j];
    column[j * kRows] = values[j];
  }
  ++fCount;
}

void QvPanel::MultiplyBy(const double* coefficients, Numbers& products) const {
  fpKernels->fMultiplyColumns(fWidth, fColumns.data(), coefficients, products.data());
}

void QvPanel::AddWeightedRows(const Numbers& weights, double* sums) {
  fpKernels->fSumWeightedRows(fCount, fStride, fStride, weights.data(), fRows.data(),
                              fStrip.data());
  for (std::size_t j = 0; j < fWidth; ++j) sums[j] += fStrip[j];
}

void QvPanel::AddWeightedProducts(const Numbers& weights, QvSymMatrix& sum) {
  WeightRows(fCount, fStride, weights.data(), fRows.data(), fWeighted.data());
  for (std::size_t i = 0; i < fWidth; i += kLanes) {
    const std::size_t nLeft = std::min(kLanes, fWidth - i);
    const std::size_t nColumns = i + kLanes;
    fpKernels->fMultiplyStrip(fCount, fStride, nLeft, nColumns, &fWeighted[i], fRows.data(),
                              fStrip.data());
    for (std::size_t a = 0; a < nLeft; ++a) {
      sum.AddToRow(i + a, 0, std::span(fStrip).subspan(a * nColumns, nColumns));
    }
  }
}

}  // namespace QvCommon
