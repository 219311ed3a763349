#include "qvreg/common/QvPanel.h"

#include <algorithm>

namespace QvCommon {

namespace {

constexpr std::size_t kTogether = QvColumnKernels::kTogether;

}  // namespace

void QvPanel::SetWidth(std::size_t n) {
  fOwn.assign(kRows * (n + 1), 0.0);
  fColumns.assign((n + kTogether - 1) / kTogether * kTogether, fOwn.data() + n * kRows);
  fWeighted.assign(kRows * kMostLeft, 0.0);
  fWidth = n;
  fNWritten = 0;
  Clear();
}

void QvPanel::Clear() {
  for (std::size_t j = 0; j < fWidth; ++j) {
    fColumns[j] = &fOwn[j * kRows];
    std::fill_n(&fOwn[j * kRows], fNWritten, 0.0);
  }
  fNWritten = fCount = 0;
}

void QvPanel::Append(const double* values) {
  double* column = &fOwn[fCount];
  for (std::size_t j = 0; j < fWidth; ++j) column[j * kRows] = values[j];
  fNWritten = ++fCount;
}

void QvPanel::Append(std::size_t count, const double* rows) {
  // Column by column: what a row alone writes lies so far apart that caches keep little of it.
  for (std::size_t j = 0; j < fWidth; ++j) {
    double* column = &fOwn[j * kRows + fCount];
    for (std::size_t r = 0; r < count; ++r) column[r] = rows[r * fWidth + j];
  }
  fNWritten = fCount += count;
}

void QvPanel::Borrow(std::size_t count, const double* const* columns) {
  std::copy_n(columns, fWidth, fColumns.begin());
  fCount = count;
}

void QvPanel::AddProducts(std::size_t nLeft, const double* left, const Rows& rows,
                          std::size_t nFirst, std::size_t nMore) {
  // What lies behind a row's last sum is another's: the kernel has room of its own for the rest.
  const std::size_t nDirect = nFirst / kTogether * kTogether;
  fpKernels->fAddPairs(CountInLanes(), nLeft, left, nDirect, fColumns.data(), rows.data());
  const std::size_t nLast = nFirst + (nLeft - 1) * nMore;
  if (nLast == nDirect) return;
  std::array<double, kMostLeft * 2 * kTogether> edge{};
  Rows edgeRows{};
  for (std::size_t i = 0; i < nLeft; ++i) edgeRows[i] = &edge[i * 2 * kTogether];
  fpKernels->fAddPairs(CountInLanes(), nLeft, left, nLast - nDirect, &fColumns[nDirect],
                       edgeRows.data());
  for (std::size_t i = 0; i < nLeft; ++i) {
    for (std::size_t j = nDirect; j < nFirst + i * nMore; ++j)
      rows[i][j] += edgeRows[i][j - nDirect];
  }
}

void QvPanel::AddWeightedRows(std::size_t nSums, const double* weights, double* sums) {
  for (std::size_t first = 0; first < nSums; first += kMostLeft) {
    const std::size_t nLeft = std::min(kMostLeft, nSums - first);
    Rows rows{};
    for (std::size_t i = 0; i < nLeft; ++i) rows[i] = sums + (first + i) * fWidth;
    AddProducts(nLeft, weights + first * kRows, rows, fWidth, 0);
  }
}

void QvPanel::AddWeightedProducts(const Numbers& weights, QvSymMatrix& sum) {
  for (std::size_t first = 0; first < fWidth; first += kMostLeft) {
    const std::size_t nLeft = std::min(kMostLeft, fWidth - first);
    Rows rows{};
    for (std::size_t i = 0; i < nLeft; ++i) {
      fpKernels->fWeigh(CountInLanes(), weights.data(), fColumns[first + i], &fWeighted[i * kRows]);
      rows[i] = sum.GetRow(first + i);
    }
    // Up to the diagonal.
    AddProducts(nLeft, fWeighted.data(), rows, first + 1, 1);
  }
}

}  // namespace QvCommon
