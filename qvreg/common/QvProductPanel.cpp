#include "qvreg/common/QvProductPanel.h"

#include <algorithm>
#include <span>

namespace QvCommon {

namespace {

constexpr std::size_t kLanes = QvKernels::kLanes;
constexpr std::size_t kRows = QvKernels::kRows;
std::size_t StrideOf(std::size_t n) { return (n + kLanes - 1) / kLanes * kLanes; }

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

bool QvProductPanel::Add(const double* values, double weight) {
  if (!QvKernels::IsUsualWeight(weight) || !QvKernels::AreUsual(fWidth, values)) return false;
  std::copy_n(values, fWidth, &fRows[fCount * fStride]);
  fWeights[fCount] = weight;
  fbWeighted = fbWeighted || weight != 1.0;
  ++fCount;
  return true;
}

void QvProductPanel::FindExactColumns(Parts& parts) {
  fpKernels->fFindSizes(fCount, fStride, parts.fLow.data(), fSizes.data());
  const auto rest = std::find_if(fSizes.begin(), fSizes.end(), [](double s) { return s != 0.0; });
  parts.fExactColumns = static_cast<std::size_t>(rest - fSizes.begin());
}

void QvProductPanel::SplitRows() {
  fpKernels->fFindSizes(fCount, fStride, fRows.data(), fSizes.data());
  fpKernels->fSplit(fCount, fStride, fSizes.data(), fRows.data(), nullptr, fParts.fHigh.data(),
                    fParts.fLow.data());
  FindExactColumns(fParts);
}

void QvProductPanel::SplitWeightedRows() {
  double* high = fWeightedParts.fHigh.data();
  double* low = fWeightedParts.fLow.data();
  fpKernels->fWeighRows(fCount, fStride, fWeights.data(), fRows.data(), high, low);
  fpKernels->fFindSizes(fCount, fStride, high, fSizes.data());
  fpKernels->fSplit(fCount, fStride, fSizes.data(), high, low, high, low);
  FindExactColumns(fWeightedParts);
}

bool QvProductPanel::AddStrip(std::size_t first, const Parts& left, QvSymMatrix& sum) {
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
    multiply(left.fHigh, fParts.fLow, fRestStrip);
    multiply(left.fLow, fRows, fOtherStrip);
    for (std::size_t k = 0; k < nLeft * nColumns; ++k) fRestStrip[k] += fOtherStrip[k];
  }
  for (std::size_t a = 0; a < nLeft; ++a) {
    const auto row = [&](const Doubles& strip) {
      return std::span(strip).subspan(a * nColumns, first + a + 1);
    };
    sum.AddToCompensatedRow(first + a, row(fExactStrip), row(fRestStrip));
  }
  return isExact;
}

bool QvProductPanel::AddTo(QvSymMatrix& sum) {
  if (fCount == 0) return true;
  SplitRows();
  if (fbWeighted) SplitWeightedRows();
  const Parts& left = fbWeighted ? fWeightedParts : fParts;
  bool isExact = true;
  for (std::size_t first = 0; first < fWidth; first += kLanes) {
    isExact &= AddStrip(first, left, sum);
  }
  fCount = 0;
  fbWeighted = false;
  return isExact;
}

}  // namespace QvCommon
