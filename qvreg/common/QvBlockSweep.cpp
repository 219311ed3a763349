#include "qvreg/common/QvBlockSweep.h"

#include <algorithm>
#include <array>
#include <new>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvPlatform.h"
#include "qvreg/common/QvSoundPivot.h"
#include "qvreg/common/QvTiles.h"

namespace QvCommon {

namespace {

constexpr std::size_t kTileRows = QvTiles::kRows;
constexpr std::size_t kTileColumns = QvTiles::kColumns;
/// A smaller matrix is in the cache as a whole.
constexpr std::size_t kSmallestOrder = 64;
/// Most pivots of a block, whose terms are added to the rest of the matrix together, and of those
/// within it whose terms are added to the rest of the block.
constexpr std::size_t kOuter = 128;
constexpr std::size_t kInner = 16;
/// Columns whose factors for the kernel stay in the cache; between them the stop is asked for.
constexpr std::size_t kColumnsTogether = 512;

/// y += c x over n elements that do not overlap.
QVREG_FMA_CLONES
void AddScaled(std::size_t n, double c, const double* QVREG_RESTRICT x, double* QVREG_RESTRICT y) {
  for (std::size_t j = 0; j < n; ++j) y[j] += c * x[j];
}

/// Adds factors[i] times the column's elements at `columns` to those of each row i in turn, of
/// which `row` is the first; the next one's are i + 1 behind.
QVREG_FMA_CLONES
void AddToColumns(std::size_t begin, std::size_t end, const double* factors, std::size_t nColumns,
                  const double* QVREG_RESTRICT columns, double* QVREG_RESTRICT row) {
  for (std::size_t i = begin; i < end; ++i) {
    // Designs are often sparse.
    if (factors[i] != 0.0) {
      for (std::size_t j = 0; j < nColumns; ++j) row[j] += factors[i] * columns[j];
    }
    row += i + 1;
  }
}

std::size_t RoundUp(std::size_t n, std::size_t unit) { return (n + unit - 1) / unit * unit; }

}  // namespace

QvBlockSweep::QvBlockSweep(QvSymMatrix& matrix, double tolerance,
                           const std::vector<double>& diagonal, QvBitSet& swept,
                           const QvStopQuery& isStopped)
    : fMatrix(matrix),
      fTolerance(tolerance),
      fDiagonal(diagonal),
      fSwept(swept),
      fIsStopped(isStopped),
      fOrder(static_cast<std::size_t>(matrix.GetOrder())) {
  if (fOrder < kSmallestOrder) return;
  try {
    fRows.reserve(fOrder);
    fFlipped.resize(fOrder);
    fLeft.resize(kOuter * RoundUp(fOrder, kTileRows));
    fIsZero.resize(RoundUp(fOrder, kTileRows) / kTileRows);
    fRight.resize(kOuter * kColumnsTogether);
    fFactors.resize(kOuter * fOrder);
    fColumns.resize(kOuter * fOrder);
  } catch (const std::bad_alloc&) {
    fColumns = {};
  }
}

void QvBlockSweep::Open(std::size_t k) {
  fOuter = {{k, std::min(k + kOuter, fOrder)}, 0};
  fInner = {{k, std::min(k + kInner, fOuter.fPivots.fEnd)}, 0};
  fNSteps = 0;
}

bool QvBlockSweep::Advance(int k) {
  const auto pivot = static_cast<std::size_t>(k);
  if (!IsBlocked() || fInner.fPivots.Has(pivot)) return true;
  if (!fOuter.fPivots.Has(pivot)) return Settle();
  if (!FinishInner()) return false;
  fInner = {{pivot, std::min(pivot + kInner, fOuter.fPivots.fEnd)}, fNSteps};
  return true;
}

bool QvBlockSweep::Settle() {
  if (!IsBlocked()) return true;
  const bool isDone = FinishInner() && FinishOuter();
  fOuter = fInner = {};
  fNSteps = 0;
  return isDone;
}

bool QvBlockSweep::Sweep(int k) {
  if (!IsBlocked()) return fMatrix.Sweep(k, fTolerance, fDiagonal, fSwept, true);
  const auto place = static_cast<std::size_t>(k);
  const double pivot = fMatrix.Row(k)[place];
  if (!IsSoundPivot(pivot, fTolerance, fDiagonal[place])) return true;
  if (!fInner.fPivots.Has(place)) Open(place);
  LoadStep(place, pivot);
  UpdateInner(place);
  StorePivot(place, pivot);
  fSwept.Set(k, true);
  ++fNSteps;
  return true;
}

void QvBlockSweep::LoadStep(std::size_t k, double pivot) {
  double* column = Column(fNSteps);
  double* factor = Factor(fNSteps);
  const double* row = fMatrix.Row(static_cast<int>(k));
  std::copy_n(row, k + 1, column);
  const double* next = row + k + 1;
  for (std::size_t j = k + 1; j < fOrder; ++j) {
    column[j] = next[k];
    next += j + 1;
  }
  for (std::size_t j = 0; j < fOrder; ++j) {
    fFlipped[j] = fSwept.IsIn(static_cast<int>(j)) ? -column[j] : column[j];
    factor[j] = -(column[j] / pivot);
  }
}

void QvBlockSweep::UpdateInner(std::size_t k) {
  const Range inner = fInner.fPivots;
  const double* column = Column(fNSteps);
  const double* factor = Factor(fNSteps);
  for (std::size_t i = inner.fBegin; i < inner.fEnd; ++i) {
    if (i == k || factor[i] == 0.0) continue;
    const int row = static_cast<int>(i);
    AddScaled(i + 1, factor[i], fSwept.IsIn(row) ? fFlipped.data() : column, fMatrix.Row(row));
  }
  AddToColumns(inner.fEnd, fOrder, factor, inner.fEnd - inner.fBegin, column + inner.fBegin,
               fMatrix.Row(static_cast<int>(inner.fEnd)) + inner.fBegin);
}

void QvBlockSweep::StorePivot(std::size_t k, double pivot) {
  const double* column = Column(fNSteps);
  double* row = fMatrix.Row(static_cast<int>(k));
  for (std::size_t j = 0; j < k; ++j) row[j] = fFlipped[j] / pivot;
  row[k] = 1.0 / pivot;
  double* next = row + k + 1;
  for (std::size_t j = k + 1; j < fOrder; ++j) {
    next[k] = column[j] / pivot;
    next += j + 1;
  }
}

bool QvBlockSweep::FinishInner() {
  const Range outer = fOuter.fPivots;
  const Range inner = fInner.fPivots;
  const std::size_t first = fInner.fFirstStep;
  if (first == fNSteps) return true;
  for (const bool areSwept : {true, false}) {
    ListRows({outer.fBegin, inner.fBegin}, areSwept);
    if (!Update(first, {0, inner.fBegin}, areSwept)) return false;
  }
  ListRows({inner.fEnd, outer.fEnd}, false);
  if (!Update(first, {0, inner.fBegin}, false)) return false;
  if (!Update(first, {inner.fEnd, outer.fEnd}, false)) return false;
  ListRows({outer.fEnd, fOrder}, false);
  return Update(first, {outer.fBegin, inner.fBegin}, false) &&
         Update(first, {inner.fEnd, outer.fEnd}, false);
}

bool QvBlockSweep::FinishOuter() {
  if (fNSteps == 0) return true;
  const Range outer = fOuter.fPivots;
  for (const bool areSwept : {true, false}) {
    ListRows({0, outer.fBegin}, areSwept);
    if (!Update(0, {0, outer.fBegin}, areSwept)) return false;
  }
  ListRows({outer.fEnd, fOrder}, false);
  return Update(0, {0, outer.fBegin}, false) && Update(0, {outer.fEnd, fOrder}, false);
}

void QvBlockSweep::ListRows(Range rows, bool areSwept) {
  fRows.clear();
  for (std::size_t i = rows.fBegin; i < rows.fEnd; ++i) {
    if (fSwept.IsIn(static_cast<int>(i)) == areSwept) fRows.push_back(i);
  }
}

void QvBlockSweep::PackLeft(std::size_t first) {
  double* left = fLeft.data();
  for (std::size_t r = 0; r < fRows.size(); r += kTileRows) {
    bool isZero = true;
    for (std::size_t step = first; step < fNSteps; ++step) {
      const double* factor = Factor(step);
      for (std::size_t a = 0; a < kTileRows; ++a) {
        const double value = r + a < fRows.size() ? factor[fRows[r + a]] : 0.0;
        isZero = isZero && value == 0.0;
        *left++ = value;
      }
    }
    fIsZero[r / kTileRows] = isZero ? 1 : 0;
  }
}

void QvBlockSweep::PackRight(std::size_t first, Range columns, bool areSwept) {
  std::array<double, kTileColumns> signs{};
  double* right = fRight.data();
  for (std::size_t j = columns.fBegin; j < columns.fEnd; j += kTileColumns) {
    const std::size_t count = std::min(kTileColumns, columns.fEnd - j);
    // Where row and column are swept, the sweep keeps the inverse positive.
    for (std::size_t c = 0; c < count; ++c) {
      signs[c] = areSwept && fSwept.IsIn(static_cast<int>(j + c)) ? -1.0 : 1.0;
    }
    for (std::size_t step = first; step < fNSteps; ++step) {
      const double* column = Column(step) + j;
      for (std::size_t c = 0; c < count; ++c) right[c] = signs[c] * column[c];
      for (std::size_t c = count; c < kTileColumns; ++c) right[c] = 0.0;
      right += kTileColumns;
    }
  }
}

bool QvBlockSweep::Update(std::size_t first, Range columns, bool areSwept) {
  if (fRows.empty() || columns.fBegin >= columns.fEnd) return true;
  PackLeft(first);
  for (std::size_t j = columns.fBegin; j < columns.fEnd; j += kColumnsTogether) {
    // The few steps of an inner block take no time.
    if (fNSteps - first > kInner && fIsStopped()) return false;
    const Range part{j, std::min(j + kColumnsTogether, columns.fEnd)};
    PackRight(first, part, areSwept);
    for (std::size_t strip = 0; strip * kTileRows < fRows.size(); ++strip) {
      if (fIsZero[strip] == 0) UpdateStrip(strip, fNSteps - first, part);
    }
  }
  return true;
}

void QvBlockSweep::UpdateStrip(std::size_t strip, std::size_t depth, Range columns) {
  const double* left = &fLeft[strip * depth * kTileRows];
  const double* right = fRight.data();
  const std::size_t firstRow = strip * kTileRows;
  const std::size_t nRows = std::min(kTileRows, fRows.size() - firstRow);
  const std::size_t last = fRows[firstRow + nRows - 1];
  for (std::size_t j = columns.fBegin; j < columns.fEnd && j <= last; j += kTileColumns) {
    QvTiles::Rows rows{};
    QvTiles::Counts counts{};
    for (std::size_t a = 0; a < nRows; ++a) {
      const std::size_t i = fRows[firstRow + a];
      const std::size_t end = std::min(columns.fEnd, i + 1);
      if (end <= j) continue;
      rows[a] = fMatrix.Row(static_cast<int>(i)) + j;
      counts[a] = std::min(kTileColumns, end - j);
    }
    QvTiles::AddProducts(depth, left, right, rows, counts);
    right += kTileColumns * depth;
  }
}

}  // namespace QvCommon
