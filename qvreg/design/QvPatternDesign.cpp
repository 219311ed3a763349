#include "qvreg/design/QvPatternDesign.h"

#include <algorithm>

#include "qvreg/design/QvFactorTables.h"

QvPatternDesign::QvPatternDesign(const QvDesignRow& row, const QvFactorTables& tables,
                                 const std::vector<int>& numbers)
    : fpRow(&row), fpNumbers(&numbers) {
  const auto nEffects = static_cast<std::size_t>(tables.GetNModelEffects());
  fPlaceOf.assign(nEffects, -1);
  std::vector<int> placeOfAlike = fPlaceOf;
  for (std::size_t effect = 0; effect < nEffects; ++effect) {
    const auto first = numbers.begin() + tables.GetParameterOffsets()[effect];
    const int count = tables.GetNEffectParameters(static_cast<int>(effect));
    if (std::none_of(first, first + count, [](int number) { return number >= 0; })) continue;
    int& place = placeOfAlike[row.GetFirstAlike(effect)];
    if (place < 0) {
      place = static_cast<int>(fEffects.size());
      fEffects.push_back(effect);
      AddToRuns(effect);
    }
    fPlaceOf[effect] = place;
  }
  fColumns.reserve(nEffects);
  fPlaces.reserve(nEffects);
}

void QvPatternDesign::AddToRuns(std::size_t effect) {
  const int position = fpRow->GetCopiedPosition(effect);
  if (position >= 0 && !fRuns.empty() && fRuns.back().fPosition >= 0 &&
      fRuns.back().fPosition + fRuns.back().fCount == position) {
    ++fRuns.back().fCount;
    return;
  }
  fRuns.push_back({effect, position, 1, fpRow->IsConstant(effect)});
}

void QvPatternDesign::FindColumns(const std::vector<int>& parameterIndices) {
  fColumns.clear();
  fPlaces.clear();
  for (std::size_t effect = 0; effect < parameterIndices.size(); ++effect) {
    const int parameter = parameterIndices[effect];
    const int number =
        parameter < 0 ? parameter : (*fpNumbers)[static_cast<std::size_t>(parameter)];
    if (number < 0) continue;
    fColumns.push_back(number);
    fPlaces.push_back(fPlaceOf[effect]);
  }
}

const std::vector<const double*>& QvPatternDesign::FindPanelColumns(const double* panel) {
  constexpr std::size_t kRows = QvDesignRow::kPanelRows;
  fPanelColumns.resize(fEffects.size());
  fComputedColumns.resize(fEffects.size() * kRows);
  for (std::size_t value = 0; value < fEffects.size(); ++value) {
    const int position = fpRow->GetCopiedPosition(fEffects[value]);
    if (position >= 0) {
      fPanelColumns[value] = panel + static_cast<std::size_t>(position) * kRows;
      continue;
    }
    double* column = &fComputedColumns[value * kRows];
    fpRow->FillColumn(fEffects[value], panel, column);
    fPanelColumns[value] = column;
  }
  return fPanelColumns;
}
