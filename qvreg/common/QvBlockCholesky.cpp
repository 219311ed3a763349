#include "qvreg/common/QvBlockCholesky.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>

#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvPlatform.h"
#include "qvreg/common/QvSoundPivot.h"
#include "qvreg/common/QvTiles.h"

namespace QvCommon {

namespace {

constexpr std::size_t kTileRows = QvTiles::kRows;
constexpr std::size_t kTileColumns = QvTiles::kColumns;
constexpr std::size_t kLanes = QvKernels::kLanes;
/// Of smaller matrices the plain loops are as fast.
constexpr std::size_t kSmallestOrder = 48;
/// Rows and columns of a block, and terms of its sums that are packed together: the packed terms
/// take 64 KB on each side.
constexpr std::size_t kBlock = 64;
constexpr std::size_t kDepth = 128;
/// Rows of the inverse that are found together.
constexpr std::size_t kRowsTogether = 4 * kTileRows;

/// Columns that are packed together, since what is next to each other in memory is read faster.
constexpr std::size_t kColumnsTogether = 4 * kTileColumns;

/// y += c x over n elements that do not overlap.
QVREG_FMA_CLONES
void AddScaled(std::size_t n, double c, const double* QVREG_RESTRICT x, double* QVREG_RESTRICT y) {
  for (std::size_t j = 0; j < n; ++j) y[j] += c * x[j];
}

std::size_t RoundUp(std::size_t n, std::size_t unit) { return (n + unit - 1) / unit * unit; }

}  // namespace

bool QvBlockCholesky::Allocate() {
  if (fOrder < kSmallestOrder) return false;
  const std::size_t order = RoundUp(fOrder, kTileColumns);
  fBlock = std::min(kBlock, order);
  fDepth = std::min(kDepth, order);
  try {
    fSums.resize(order * fBlock);
    fPanel.resize(order * fBlock);
    fLeft.resize(fBlock * fDepth);
    fRight.resize(fBlock * fDepth);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void QvBlockCholesky::PackRows(std::size_t begin, std::size_t end, std::size_t first,
                               std::size_t depth, std::size_t width, double* packed) const {
  for (std::size_t c = 0; c < width; ++c) {
    if (begin + c >= end) {
      for (std::size_t k = 0; k < depth; ++k) packed[k * width + c] = 0.0;
      continue;
    }
    const double* row = Row(begin + c) + first;
    for (std::size_t k = 0; k < depth; ++k) packed[k * width + c] = row[k];
  }
}

template <std::size_t kWidth>
void QvBlockCholesky::PackColumns(std::size_t first, std::size_t depth, std::size_t begin,
                                  std::size_t end, double* packed) const {
  const double* row = Row(first);
  for (std::size_t k = first; k < first + depth; ++k) {
    double* strip = packed;
    for (std::size_t j = begin; j < end; j += kWidth) {
      if (k + 1 >= j + kWidth) {
        std::memcpy(strip, row + j, kWidth * sizeof(double));
      } else {
        for (std::size_t c = 0; c < kWidth; ++c) strip[c] = j + c <= k ? row[j + c] : 0.0;
      }
      strip += kWidth * depth;
    }
    row += k + 1;
    packed += kWidth;
  }
}

void QvBlockCholesky::AddTerms(Range rows, std::size_t leftDepth, Range terms, Range columns) {
  const std::size_t depth = terms.fEnd - terms.fBegin;
  const double* left = &fLeft[(leftDepth - depth) * kTileRows];
  PackColumns<kTileColumns>(terms.fBegin, depth, columns.fBegin, columns.fEnd, fRight.data());
  for (std::size_t j = columns.fBegin; j < columns.fEnd; j += kTileColumns) {
    const std::size_t above = j > rows.fBegin ? (j - rows.fBegin) / kTileRows * kTileRows : 0;
    for (std::size_t i = rows.fBegin + above; i < rows.fEnd; i += kTileRows) {
      AddTile(depth, &left[(i - rows.fBegin) * leftDepth], &fRight[(j - columns.fBegin) * depth], i,
              rows.fEnd, j);
    }
  }
}

void QvBlockCholesky::AddTile(std::size_t depth, const double* left, const double* right,
                              std::size_t i, std::size_t end, std::size_t j) const {
  QvTiles::Rows rows{};
  QvTiles::Counts counts{};
  for (std::size_t a = 0; a < kTileRows && i + a < end; ++a) {
    if (i + a < j) continue;
    rows[a] = Row(i + a) + j;
    counts[a] = std::min(kTileColumns, i + a + 1 - j);
    // Those of the tile that follows.
    if (i + a + kTileRows < end) __builtin_prefetch(Row(i + a + kTileRows) + j + kTileColumns - 1);
  }
  QvTiles::AddProducts(depth, left, right, rows, counts);
}

int QvBlockCholesky::Factor(double tolerance, double& measure, bool stopAtSingular) {
  fTolerance = tolerance;
  fResult = 0;
  fSmallest = 1.0;
  for (std::size_t begin = 0; begin < fOrder; begin += fBlock) {
    const std::size_t end = std::min(begin + fBlock, fOrder);
    if (!SumBefore(begin, end)) return QvSymMatrix::kStopped;
    for (std::size_t column = begin; column < end; column += kTileColumns) {
      SumWithin(begin, column);
      const bool isSound = FactorColumns(begin, column, std::min(column + kTileColumns, end));
      if (isSound || !stopAtSingular) continue;
      measure = 0.0;
      return fResult;
    }
  }
  measure = fResult == 0 && fOrder > 0 ? fSmallest : 0.0;
  return fResult;
}

bool QvBlockCholesky::SumBefore(std::size_t begin, std::size_t end) {
  std::fill_n(fSums.begin(), (fOrder - begin) * fBlock, 0.0);
  for (std::size_t first = 0; first < begin; first += fDepth) {
    if (fIsStopped()) return false;
    const std::size_t depth = std::min(fDepth, begin - first);
    for (std::size_t j = begin; j < end; j += kTileColumns) {
      PackRows(j, end, first, depth, kTileColumns, &fRight[(j - begin) * depth]);
    }
    for (std::size_t i = begin; i < fOrder; i += fBlock / 2) {
      SumRows(begin, end, first, depth, i, std::min(i + fBlock / 2, fOrder));
    }
  }
  return true;
}

void QvBlockCholesky::SumRows(std::size_t begin, std::size_t end, std::size_t first,
                              std::size_t depth, std::size_t firstRow, std::size_t lastRow) {
  for (std::size_t i = firstRow; i < lastRow; i += kTileRows) {
    PackRows(i, fOrder, first, depth, kTileRows, &fLeft[(i - firstRow) * depth]);
  }
  for (std::size_t j = begin; j < std::min(end, lastRow); j += kTileColumns) {
    const std::size_t start = std::max(firstRow, j / kTileRows * kTileRows);
    for (std::size_t i = start; i < lastRow; i += kTileRows) {
      QvTiles::Rows rows{};
      for (std::size_t a = 0; a < kTileRows; ++a) {
        rows[a] = &fSums[(i + a - begin) * fBlock + (j - begin)];
      }
      QvTiles::AddProducts(depth, kTileRows, &fLeft[(i - firstRow) * depth], kTileColumns,
                           &fRight[(j - begin) * depth], rows);
    }
  }
}

void QvBlockCholesky::SumWithin(std::size_t begin, std::size_t column) {
  const std::size_t depth = column - begin;
  if (depth == 0) return;
  for (std::size_t c = 0; c < kTileColumns; ++c) {
    const std::size_t row = depth + c;
    const double* strip = PanelAt(row, 0);
    for (std::size_t k = 0; k < depth; ++k) fRight[k * kTileColumns + c] = strip[k * kTileRows];
  }
  for (std::size_t r = depth; r < fOrder - begin; r += kTileRows) {
    QvTiles::Rows rows{};
    for (std::size_t a = 0; a < kTileRows; ++a) rows[a] = &fSums[(r + a) * fBlock + depth];
    QvTiles::AddProducts(depth, kTileRows, &fPanel[r * fBlock], kTileColumns, fRight.data(), rows);
  }
}

bool QvBlockCholesky::FactorColumns(std::size_t begin, std::size_t column, std::size_t end) {
  bool isSound = true;
  for (std::size_t i = column; i < end; ++i) {
    FactorRow(begin, column, i, i - column);
    if (FactorPivot(begin, column, i)) continue;
    std::fill_n(Row(i), i + 1, 0.0);
    if (fResult == 0) fResult = static_cast<int>(i) + 1;
    isSound = false;
  }
  FactorRowsBelow(begin, column, end);
  return isSound;
}

void QvBlockCholesky::FactorRowsBelow(std::size_t begin, std::size_t column, std::size_t end) {
  const std::size_t count = end - column;
  std::array<double, kLanes * kTileColumns> triangle{};
  std::array<double, kLanes * kTileColumns> sums{};
  std::array<double, kLanes * kTileColumns> columns{};
  for (std::size_t j = 0; j < count; ++j) {
    std::copy_n(Row(column + j) + column, j + 1, &triangle[j * kTileColumns]);
  }
  for (std::size_t first = end; first < fOrder; first += kLanes) {
    const std::size_t nRows = std::min(kLanes, fOrder - first);
    for (std::size_t r = 0; r < nRows; ++r) {
      const double* own = Row(first + r) + column;
      const double* sum = &fSums[(first + r - begin) * fBlock + (column - begin)];
      for (std::size_t j = 0; j < count; ++j) {
        columns[j * kLanes + r] = own[j];
        sums[j * kLanes + r] = sum[j];
      }
    }
    QvKernels::Get().fSolveColumns(count, triangle.data(), sums.data(), columns.data());
    for (std::size_t r = 0; r < nRows; ++r) {
      double* own = Row(first + r) + column;
      double* panel = PanelAt(first + r - begin, column - begin);
      for (std::size_t j = 0; j < count; ++j) {
        own[j] = panel[j * kTileRows] = columns[j * kLanes + r];
      }
    }
  }
}

double* QvBlockCholesky::PanelAt(std::size_t row, std::size_t column) {
  return &fPanel[row / kTileRows * kTileRows * fBlock + column * kTileRows + row % kTileRows];
}

void QvBlockCholesky::FactorRow(std::size_t begin, std::size_t column, std::size_t i,
                                std::size_t count) {
  double* row = Row(i) + column;
  const std::size_t r = i - begin;
  const double* sums = &fSums[r * fBlock + (column - begin)];
  double* panel = PanelAt(r, column - begin);
  for (std::size_t j = 0; j < count; ++j) {
    const double* other = Row(column + j) + column;
    double sum = sums[j];
    for (std::size_t k = 0; k < j; ++k) sum += row[k] * other[k];
    row[j] = other[j] > 0.0 ? (row[j] - sum) / other[j] : 0.0;
    panel[j * kTileRows] = row[j];
  }
}

bool QvBlockCholesky::FactorPivot(std::size_t begin, std::size_t column, std::size_t i) {
  double* row = Row(i) + column;
  const std::size_t own = i - column;
  double sum = fSums[(i - begin) * fBlock + (i - begin)];
  for (std::size_t k = 0; k < own; ++k) sum += row[k] * row[k];
  const double original = row[own];
  const double pivot = original - sum;
  if (!IsSoundPivot(pivot, fTolerance, original)) return false;
  row[own] = std::sqrt(pivot);
  fSmallest = std::min(fSmallest, row[own] / std::sqrt(original));
  return true;
}

bool QvBlockCholesky::Invert() { return InvertFactor() && MultiplyInverses(); }

bool QvBlockCholesky::InvertFactor() {
  for (std::size_t begin = 0; begin < fOrder; begin += fBlock) {
    const std::size_t end = std::min(begin + fBlock, fOrder);
    // The rows become those of the inverse; what is left of the factor is its diagonal block.
    for (std::size_t i = begin; i < end; ++i) {
      double* row = Row(i);
      std::copy(row + begin, row + i + 1, &fSums[(i - begin) * fBlock]);
      std::fill(row + begin, row + i + 1, 0.0);
    }
    if (!InvertBefore(begin, end)) return false;
    for (std::size_t first = begin; first < end; first += kRowsTogether) {
      InvertWithin(begin, first, std::min(first + kRowsTogether, end));
    }
  }
  return true;
}

bool QvBlockCholesky::InvertBefore(std::size_t begin, std::size_t end) {
  for (std::size_t first = 0; first < begin; first += fDepth) {
    if (fIsStopped()) return false;
    const std::size_t depth = std::min(fDepth, begin - first);
    for (std::size_t i = begin; i < end; i += kTileRows) {
      PackRows(i, end, first, depth, kTileRows, &fLeft[(i - begin) * depth]);
    }
    for (std::size_t i = begin; i < end; ++i) std::fill_n(Row(i) + first, depth, 0.0);
    const std::size_t last = first + depth;
    for (std::size_t j = 0; j < last; j += kColumnsTogether) {
      AddTerms({begin, end}, depth, {std::max(first, j), last},
               {j, std::min(j + kColumnsTogether, last)});
    }
  }
  return true;
}

void QvBlockCholesky::InvertWithin(std::size_t begin, std::size_t first, std::size_t end) {
  const std::size_t depth = first - begin;
  for (std::size_t i = first; i < end; ++i) {
    const std::size_t r = i - first;
    double* left = &fLeft[r / kTileRows * kTileRows * depth + r % kTileRows];
    for (std::size_t k = 0; k < depth; ++k) {
      left[k * kTileRows] = fSums[(i - begin) * fBlock + k];
    }
  }
  for (std::size_t j = 0; j < first; j += kColumnsTogether) {
    AddTerms({first, end}, depth, {std::max(begin, j), first},
             {j, std::min(j + kColumnsTogether, first)});
  }
  for (std::size_t i = first; i < end; ++i) InvertRow(begin, first, i);
}

void QvBlockCholesky::InvertRow(std::size_t begin, std::size_t first, std::size_t i) {
  double* row = Row(i);
  const double* factor = &fSums[(i - begin) * fBlock];
  for (std::size_t k = first; k < i; ++k) AddScaled(k + 1, factor[k - begin], Row(k), row);
  const double diagonal = factor[i - begin];
  if (!(diagonal > 0.0)) {
    std::fill_n(row, i + 1, 0.0);
    return;
  }
  const double inverse = 1.0 / diagonal;
  for (std::size_t j = 0; j < i; ++j) row[j] *= -inverse;
  row[i] = inverse;
}

bool QvBlockCholesky::MultiplyInverses() {
  for (std::size_t begin = 0; begin < fOrder; begin += fBlock) {
    const std::size_t end = std::min(begin + fBlock, fOrder);
    MultiplyOwn(begin, end);
    if (!MultiplyBelow(begin, end)) return false;
  }
  return true;
}

void QvBlockCholesky::MultiplyOwn(std::size_t begin, std::size_t end) {
  const std::size_t depth = end - begin;
  PackColumns<kTileRows>(begin, depth, begin, end, fLeft.data());
  PackColumns<kTileColumns>(begin, depth, 0, end, fPanel.data());
  for (std::size_t i = begin; i < end; ++i) std::fill_n(Row(i), i + 1, 0.0);
  for (std::size_t i = begin; i < end; i += kTileRows) {
    // The rows before the strip's have zeros in its columns.
    const std::size_t above = i - begin;
    const double* left = &fLeft[above * depth + above * kTileRows];
    for (std::size_t j = 0; j < std::min(end, i + kTileRows); j += kTileColumns) {
      AddTile(depth - above, left, &fPanel[j * depth + above * kTileColumns], i, end, j);
    }
  }
}

bool QvBlockCholesky::MultiplyBelow(std::size_t begin, std::size_t end) {
  for (std::size_t first = end; first < fOrder; first += fDepth) {
    if (fIsStopped()) return false;
    const std::size_t depth = std::min(fDepth, fOrder - first);
    PackColumns<kTileRows>(first, depth, begin, end, fLeft.data());
    for (std::size_t j = 0; j < end; j += kColumnsTogether) {
      AddTerms({begin, end}, depth, {first, first + depth},
               {j, std::min(j + kColumnsTogether, end)});
    }
  }
  return true;
}

}  // namespace QvCommon
