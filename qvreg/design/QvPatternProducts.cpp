#include "qvreg/design/QvPatternProducts.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "qvreg/design/QvFactorTables.h"

using QvCommon::QvKernels;

namespace {

/// Rows of up to so many values are always added with their zeros.
constexpr std::size_t kNarrow = 16;
/// An update of one element by itself costs as much as so many among others.
constexpr std::size_t kCostOfElement = 8;

}  // namespace

void QvPatternProducts::SetUp(const QvDesignRow& row, const QvFactorTables& tables,
                              std::size_t nParameters, bool hasDependent) {
  fNumbers.resize(nParameters);
  std::iota(fNumbers.begin(), fNumbers.end(), 0);
  fbDependent = hasDependent;
  const auto nMore = static_cast<std::size_t>(hasDependent);
  fWidth = CountValues(row, tables, fNumbers) + nMore;
  const auto nColumns = static_cast<std::size_t>(tables.GetNModelEffects()) + nMore;
  // Wide rows that fill half of the columns are added sooner by QvProductPanel.
  if (fWidth > kNarrow && 2 * nColumns > nParameters + nMore) return;
  fNProducts = (fWidth / 2 + 1) * QvKernels::WholeLanes(fWidth);
  // A row is followed by its first half, and whole lanes are read from there on.
  const std::size_t stride = QvKernels::WholeLanes(fWidth / 2 + QvKernels::WholeLanes(fWidth));
  SetUpRows(row, tables, fNumbers, stride, 2 * fNProducts);
  fSizes.resize(stride);
  fColumns.reserve(nColumns);
  fPlaces.reserve(nColumns);
  fHighs.reserve(nColumns);
  fLows.reserve(nColumns);
}

std::size_t QvPatternProducts::PlaceOf(std::size_t a, std::size_t b) const {
  const std::size_t behind = b >= a ? b - a : b + fWidth - a;
  const std::size_t lanes = QvKernels::WholeLanes(fWidth);
  return behind <= fWidth / 2 ? behind * lanes + a : (fWidth - behind) * lanes + b;
}

std::size_t QvPatternProducts::Add(std::span<const double* const> records, const double* weights,
                                   const double* dependents, QvCrossProducts& sum) {
  fpSum = &sum;
  const std::size_t n = Take(records, weights, dependents);
  for (std::size_t r = 0; r < n; ++r) sum.NoteRecord(weights[r], dependents[r]);
  return n;
}

void QvPatternProducts::MoveTo(QvCrossProducts& sum) {
  fpSum = &sum;
  SettleAll();
}

bool QvPatternProducts::IsPanelUsual() {
  const auto weights = std::span(GetWeights()).first(GetRowCount());
  return std::all_of(weights.begin(), weights.end(), QvKernels::IsUsualWeight) &&
         fpKernels->fFindSizes(GetRowCount(), GetStride(), GetRow(0), fSizes.data());
}

bool QvPatternProducts::IsPanelSparse() {
  if (fWidth <= kNarrow) return false;
  std::size_t nElements = 0;
  for (std::size_t r = 0; r < GetRowCount(); ++r) {
    const double* row = GetRow(r);
    const auto n = static_cast<std::size_t>(
        std::count_if(row, row + fWidth, [](double value) { return value != 0.0; }));
    nElements += n * (n + 1) / 2;
  }
  return kCostOfElement * nElements < GetRowCount() * fNProducts;
}

void QvPatternProducts::FindColumns(int pattern) {
  const std::span<const int> columns = GetPatterns().GetColumns(pattern);
  const std::span<const int> places = GetPatterns().GetPlaces(pattern);
  fColumns.assign(columns.begin(), columns.end());
  fPlaces.assign(places.begin(), places.end());
  if (fbDependent) {
    fColumns.push_back(static_cast<int>(fNumbers.size()));
    fPlaces.push_back(fWidth - 1);
  }
  fHighs.resize(fColumns.size());
  fLows.resize(fColumns.size());
}

void QvPatternProducts::AddRowByItself(std::size_t r) {
  FindColumns(GetRowPatterns()[r]);
  const double* row = GetRow(r);
  std::size_t n = 0;
  for (std::size_t k = 0; k < fColumns.size(); ++k) {
    const double value = row[fPlaces[k]];
    if (value == 0.0) continue;
    fColumns[n] = fColumns[k];
    fHighs[n] = value;
    ++n;
  }
  fpSum->AddSparse(static_cast<int>(n), fColumns, fHighs, GetWeights()[r]);
}

void QvPatternProducts::AddPanel() {
  std::array<double*, kRows> entries{};
  for (std::size_t r = 0; r < GetRowCount(); ++r) {
    double* row = GetRow(r);
    if (fbDependent) row[fWidth - 1] = GetDependents()[r];
    for (std::size_t k = 0; k < fWidth / 2; ++k) row[fWidth + k] = row[k];
    entries[r] = GetEntry(GetRowPatterns()[r]);
  }
  if (IsPanelUsual() && !IsPanelSparse()) {
    fpKernels->fAddRowProducts(GetRowCount(), GetStride(), fWidth, GetWeights().data(), GetRow(0),
                               entries.data());
    return;
  }
  for (std::size_t r = 0; r < GetRowCount(); ++r) AddRowByItself(r);
}

void QvPatternProducts::Move(int pattern, const double* entry) {
  FindColumns(pattern);
  for (std::size_t a = 0; a < fColumns.size(); ++a) {
    for (std::size_t b = 0; b <= a; ++b) {
      const double* element = entry + PlaceOf(fPlaces[a], fPlaces[b]);
      fHighs[b] = element[0];
      fLows[b] = element[fNProducts];
    }
    fpSum->AddElements(fColumns[a], static_cast<int>(a) + 1, fColumns.data(), fHighs.data(),
                       fLows.data());
  }
}
