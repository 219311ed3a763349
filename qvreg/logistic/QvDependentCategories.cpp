#include "qvreg/logistic/QvDependentCategories.h"

#include <algorithm>
#include <cstddef>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/settings/QvLogRegSettings.h"

using QvCommon::QvStatus;

QvStatus QvDependentCategories::Choose(const QvFactorCounts::Counts* counts, int reference) {
  if (counts == nullptr) return {QvStatusCode::kOneCategory, false};
  std::vector<int> codes;
  for (std::size_t code = 0; code < counts->size(); ++code) {
    if ((*counts)[code].first > 0.0) codes.push_back(static_cast<int>(code));
  }
  if (codes.size() < 2) return {QvStatusCode::kOneCategory, false};

  auto place = std::find(codes.begin(), codes.end(), reference);
  const bool isObserved = place != codes.end();
  if (!isObserved) {
    place = reference == QvLogRegSettings::kFirstObserved ? codes.begin() : codes.end() - 1;
  }
  std::rotate(place, place + 1, codes.end());

  fCodes = codes;
  fLocalIndices.assign(counts->size(), -1);
  fWeightedCounts.clear();
  fUnweightedCounts.clear();
  for (std::size_t local = 0; local < codes.size(); ++local) {
    const auto code = static_cast<std::size_t>(codes[local]);
    fLocalIndices[code] = static_cast<int>(local);
    fWeightedCounts.push_back((*counts)[code].first);
    fUnweightedCounts.push_back((*counts)[code].second);
  }
  if (reference >= 0 && !isObserved) return {QvStatusCode::kReferenceNotObserved, true};
  return {};
}

int QvDependentCategories::LocalIndexOf(int code) const {
  if (code < 0 || static_cast<std::size_t>(code) >= fLocalIndices.size()) return -1;
  return fLocalIndices[static_cast<std::size_t>(code)];
}

bool QvDependentCategories::IsPreferred(int a, int b) const {
  const auto i = static_cast<std::size_t>(a);
  const auto j = static_cast<std::size_t>(b);
  if (fWeightedCounts[i] != fWeightedCounts[j]) return fWeightedCounts[i] > fWeightedCounts[j];
  if (fUnweightedCounts[i] != fUnweightedCounts[j]) {
    return fUnweightedCounts[i] > fUnweightedCounts[j];
  }
  return fCodes[i] < fCodes[j];
}
