#include "qvreg/common/QvProductPanel.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace QvCommon {

namespace {

constexpr std::size_t kLanes = QvKernels::kLanes;
constexpr std::size_t kRows = QvKernels::kRows;
std::size_t StrideOf(std::size_t n) { return (n + kLanes - 1) / kLanes * kLanes; }

bool IsPowerOf2(double weight) {
  int exponent = 0;
  return std::frexp(weight, &exponent) == 0.5;
}

/// Arrays as large as the rows, and as a strip.
constexpr std::size_t kRowArrays = 5;
constexpr std::size_t kStrips = 3;

}  // namespace

std::size_t QvProductPanel::GetSize(std::size_t n) {
  return (kRowArrays * kRows + kStrips * kLanes) * StrideOf(n) * sizeof(double);
}

void QvProductPanel::SetWidth(std::size_t n) {
  fWidth = n;
  fStride = StrideOf(n);
  fCount = 0;
  fbWeighted = false;
  for (Doubles* rows :
       {&fRows, &fParts.fHigh, &fParts.fLow, &fWeightedParts.fHigh, &fWeightedParts.fLow}) {
    rows->assign(kRows * fStride, 0.0);
  }
  for (Doubles* strip : {&fExactStrip, &fRestStrip, &fOtherStrip}) {
    strip->assign(kLanes * fStride, 0.0);
  }
  fSizes.assign(fStride, 0.0);
}

void QvProductPanel::Add(const double* values, double weight) {
  std::copy_n(values, fWidth, &fRows[fCount * fStride]);
  fWeights[fCount] = weight;
  fbWeighted = fbWeighted || weight != fWeights[0] || (fCount == 0 && !IsPowerOf2(weight));
  ++fCount;
}

bool QvProductPanel::SplitRows() {
  if (!fpKernels->fFindSizes(fCount, fStride, fRows.data(), fSizes.data())) return false;
  fParts.fExactColumns = fpKernels->fSplit(fCount, fStride, fSizes.data(), fRows.data(), nullptr,
                                           fParts.fHigh.data(), fParts.fLow.data());
  return true;
}

bool QvProductPanel::SplitWeightedRows() {
  double* high = fWeightedParts.fHigh.data();
  double* low = fWeightedParts.fLow.data();
  fpKernels->fWeighRows(fCount, fStride, fWeights.data(), fRows.data(), high, low);
  if (!fpKernels->fFindSizes(fCount, fStride, high, fSizes.data())) return false;
  fWeightedParts.fExactColumns =
      fpKernels->fSplit(fCount, fStride, fSizes.data(), high, low, high, low);
  return true;
}

void QvProductPanel::AddOneByOne(QvSymMatrix& sum) {
  Doubles row(fWidth);
  for (std::size_t r = 0; r < fCount; ++r) {
    std::copy_n(&fRows[r * fStride], fWidth, row.begin());
    sum.UpdateXX(row, fWeights[r]);
  }
}

void QvProductPanel::AddStrip(std::size_t first, const Parts& left, QvSymMatrix& sum) {
  const std::size_t nLeft = std::min(kLanes, fWidth - first);
  const std::size_t nColumns = first + kLanes;
  const auto multiply = [&](const Doubles& leftRows, const Doubles& rightRows, Doubles& strip) {
    fpKernels->fMultiplyStrip(fCount, fStride, nLeft, nColumns, &leftRows[first], rightRows.data(),
                              strip.data());
  };
  multiply(left.fHigh, fParts.fHigh, fExactStrip);
  const bool isExact = std::min(left.fExactColumns, fParts.fExactColumns) >= nColumns;
  if (isExact) {
    std::fill_n(fRestStrip.begin(), kLanes * nColumns, 0.0);
  } else {
    fbRounded = true;
    multiply(left.fHigh, fParts.fLow, fRestStrip);
    multiply(left.fLow, fRows, fOtherStrip);
    for (std::size_t k = 0; k < nLeft * nColumns; ++k) fRestStrip[k] += fOtherStrip[k];
  }
  if (!fbWeighted && fWeights[0] != 1.0) {
    for (Doubles* strip : {&fExactStrip, &fRestStrip}) {
      for (std::size_t k = 0; k < nLeft * nColumns; ++k) (*strip)[k] *= fWeights[0];
    }
  }
  for (std::size_t a = 0; a < nLeft; ++a) {
    sum.AddToCompensatedRow(static_cast<int>(first + a), &fExactStrip[a * nColumns],
                            &fRestStrip[a * nColumns]);
  }
}

bool QvProductPanel::SplitAll() {
  const auto weights = std::span(fWeights).first(fCount);
  return std::all_of(weights.begin(), weights.end(), QvKernels::IsUsualWeight) && SplitRows() &&
         (!fbWeighted || SplitWeightedRows());
}

void QvProductPanel::AddTo(QvSymMatrix& sum) {
  if (fCount == 0) return;
  if (SplitAll()) {
    const Parts& left = fbWeighted ? fWeightedParts : fParts;
    for (std::size_t first = 0; first < fWidth; first += kLanes) AddStrip(first, left, sum);
  } else {
    fbUnusual = true;
    AddOneByOne(sum);
  }
  fCount = 0;
  fbWeighted = false;
}

}  // namespace QvCommon
