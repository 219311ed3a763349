#include "qvreg/common/QvProductPanel.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <span>

namespace QvCommon {

namespace {

constexpr std::size_t kLanes = QvKernels::kLanes;

bool IsPowerOf2(double weight) {
  int exponent = 0;
  return std::frexp(weight, &exponent) == 0.5;
}

/// Arrays as large as the rows, as a strip, and as a row.
constexpr std::size_t kRowArrays = 3;
constexpr std::size_t kStrips = 2;
constexpr std::size_t kNumbers = 3;

/// Products of smaller bounds would leave the range of a double.
constexpr double kLeastBound = 0x1p-300;

/// A power of two above a usual size.
double BoundOf(double size) {
  constexpr int kMantissaBits = 52;
  constexpr std::uint64_t kOne = std::uint64_t{1} << kMantissaBits;
  const std::uint64_t exponent = std::bit_cast<std::uint64_t>(size) & ~(kOne - 1);
  return std::max(kLeastBound, std::bit_cast<double>(exponent + kOne));
}

}  // namespace

std::size_t QvProductPanel::GetSize(std::size_t n) {
  return (kRowArrays * kRows + kStrips * kLanes + kNumbers) * QvKernels::WholeLanes(n) *
         sizeof(double);
}

void QvProductPanel::SetWidth(std::size_t n) {
  fWidth = n;
  fStride = QvKernels::WholeLanes(n);
  fCount = 0;
  fbWeighted = false;
  for (Doubles* rows : {&fRows, &fWeighted, &fWeightedRest}) rows->assign(kRows * fStride, 0.0);
  for (Doubles* strip : {&fHigh, &fLow}) strip->assign(kLanes * fStride, 0.0);
  for (Doubles* numbers : {&fSizes, &fBounds, &fLeftBounds}) numbers->assign(fStride, 0.0);
}

bool QvProductPanel::AreWeightsUsual() {
  const auto weights = std::span(fWeights).first(fbWeighted ? fCount : 1);
  fbWeighted = fbWeighted || !IsPowerOf2(fWeights[0]);
  return std::all_of(weights.begin(), weights.end(), QvKernels::IsUsualWeight);
}

bool QvProductPanel::FindBounds() {
  if (!fpKernels->fFindSizes(fCount, fStride, fRows.data(), fSizes.data())) return false;
  std::transform(fSizes.begin(), fSizes.end(), fBounds.begin(), BoundOf);
  if (fbWeighted) return WeighRows();
  std::transform(fBounds.begin(), fBounds.end(), fLeftBounds.begin(),
                 [](double bound) { return QvExactStrip::kStart * bound; });
  return true;
}

bool QvProductPanel::WeighRows() {
  fpKernels->fWeighRows(fCount, fStride, fWeights.data(), fRows.data(), fWeighted.data(),
                        fWeightedRest.data());
  if (!fpKernels->fFindSizes(fCount, fStride, fWeighted.data(), fSizes.data())) return false;
  std::transform(fSizes.begin(), fSizes.end(), fLeftBounds.begin(),
                 [](double size) { return QvExactStrip::kStart * BoundOf(size); });
  return true;
}

void QvProductPanel::AddOneByOne(QvSymMatrix& sum) {
  Doubles row(fWidth);
  for (std::size_t r = 0; r < fCount; ++r) {
    std::copy_n(&fRows[r * fStride], fWidth, row.begin());
    sum.UpdateXX(row, fWeights[r]);
  }
}

bool QvProductPanel::HasRests(std::size_t n) const {
  return std::any_of(fLow.begin(), fLow.begin() + static_cast<std::ptrdiff_t>(n),
                     [](double rest) { return rest != 0.0; });
}

void QvProductPanel::AddStrip(std::size_t first, std::size_t nShort, QvSymMatrix& sum) {
  const std::size_t nLeft = std::min(kLanes, fWidth - first);
  const std::size_t nColumns = first + kLanes;
  const double unit = fbWeighted ? 1.0 : fWeights[0];
  if (nShort >= nColumns) {
    fpKernels->fMultiplyStrip(fCount, fStride, nLeft, nColumns, &fRows[first], fRows.data(),
                              fHigh.data());
    std::fill_n(fLow.begin(), nLeft * nColumns, 0.0);
    if (unit != 1.0) {
      std::for_each_n(fHigh.begin(), nLeft * nColumns,
                      [unit](double& element) { element *= unit; });
    }
  } else {
    QvExactStrip strip{fCount,
                       fStride,
                       nColumns,
                       fbWeighted ? &fWeighted[first] : &fRows[first],
                       fbWeighted ? &fWeightedRest[first] : nullptr,
                       &fLeftBounds[first],
                       fRows.data(),
                       fBounds.data(),
                       fHigh.data(),
                       fLow.data(),
                       unit};
    fpKernels->fMultiplyStripExactly(strip);
    fbRounded = fbRounded || HasRests(nLeft * nColumns);
  }
  for (std::size_t a = 0; a < nLeft; ++a) {
    sum.AddToCompensatedRow(static_cast<int>(first + a), &fHigh[a * nColumns], &fLow[a * nColumns]);
  }
}

void QvProductPanel::AddTo(QvSymMatrix& sum) {
  if (fCount == 0) return;
  if (AreWeightsUsual() && FindBounds()) {
    const std::size_t nShort =
        fbWeighted ? 0 : fpKernels->fCountShort(fCount, fStride, fSizes.data(), fRows.data());
    for (std::size_t first = 0; first < fWidth; first += kLanes) AddStrip(first, nShort, sum);
  } else {
    fbUnusual = true;
    AddOneByOne(sum);
  }
  fCount = 0;
  fbWeighted = false;
}

}  // namespace QvCommon
