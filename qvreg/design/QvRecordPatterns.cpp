#include "qvreg/design/QvRecordPatterns.h"

#include <algorithm>

#include "qvreg/design/QvFactorTables.h"

namespace {

/// Combinations of levels that have a place each in an array, which is to stay in a fast cache.
constexpr std::size_t kMostCombinations = std::size_t{1} << 18;

}  // namespace

void QvRecordPatterns::SetUp(const QvDesignRow& row, const QvFactorTables& tables,
                             const std::vector<int>& numbers, int most) {
  fpTables = &tables;
  fDesign = QvPatternDesign(row, tables, numbers);
  fMost = most;
  fbAllComplete = true;
  fFirstCode = tables.GetFirstCode();
  fFactors.clear();
  std::vector<int> nLevels;
  for (const int factor : tables.GetUsedFactors()) {
    const int count = tables.GetNCategories(factor);
    fFactors.push_back({static_cast<std::size_t>(tables.GetFactorOffset(factor)),
                        static_cast<double>(count) + fFirstCode, count});
    nLevels.push_back(count);
  }
  fLevels.resize(fFactors.size());
  fUsedIndices.clear();
  // Combinations are looked up by their index, not by places.
  if (fNumbers.SetUp({}, nLevels, kMostCombinations)) {
    fMost = std::min(fMost, static_cast<int>(fNumbers.GetSize()));
  }
  Clear();
  Reserve(static_cast<std::size_t>(tables.GetNModelEffects()));
}

void QvRecordPatterns::Reserve(std::size_t nEffects) {
  const auto most = static_cast<std::size_t>(fMost);
  if (fNumbers.IsSetUp()) fUsedIndices.reserve(most);
  fBegins.reserve(most + 1);
  fColumns.reserve(most * nEffects);
  fPlaces.reserve(most * nEffects);
  fComplete.reserve(most);
}

void QvRecordPatterns::Clear() {
  for (const std::size_t index : fUsedIndices) fNumbers.At(index) = QvLevelNumbers::kNone;
  fUsedIndices.clear();
  if (!fNumbers.IsSetUp()) fKeys = QvCommon::QvKeyNumbers(static_cast<int>(fLevels.size()));
  // What the first pattern will overwrite may stay.
  fBegins.assign(1, 0);
}

inline bool QvRecordPatterns::FindLevels(const double* record) {
  std::size_t index = 0;
  for (std::size_t f = 0; f < fFactors.size(); ++f) {
    const Factor& factor = fFactors[f];
    // As QvFactorCounts::CategoryIndex, but for the code -1 of a missing category. The bounds come
    // first, since an int may not hold it.
    const double rounded = record[factor.fOffset] + 0.5;
    if (!(rounded >= 0.0 && rounded < factor.fEnd)) return false;
    const int level = static_cast<int>(rounded) - fFirstCode;
    if (static_cast<unsigned>(level) >= static_cast<unsigned>(factor.fNCategories)) return false;
    fLevels[f] = level;
    index = index * static_cast<std::size_t>(factor.fNCategories) + static_cast<std::size_t>(level);
  }
  fIndex = index;
  return true;
}

inline int QvRecordPatterns::FindKnown() const {
  return fNumbers.IsSetUp() ? fNumbers.At(fIndex) : fKeys.Find(fLevels);
}

int QvRecordPatterns::Insert(const double* record) {
  const int pattern = GetCount();
  bool isComplete = true;
  fDesign.FindColumns(fpTables->GetRowParameterIndices(record, isComplete));
  fColumns.resize(fBegins.back());
  fPlaces.resize(fBegins.back());
  fComplete.resize(static_cast<std::size_t>(pattern));
  fColumns.insert(fColumns.end(), fDesign.GetColumns().begin(), fDesign.GetColumns().end());
  fPlaces.insert(fPlaces.end(), fDesign.GetPlaces().begin(), fDesign.GetPlaces().end());
  fComplete.push_back(static_cast<char>(isComplete));
  fbAllComplete = fbAllComplete && isComplete;
  if (fNumbers.IsSetUp()) {
    fUsedIndices.push_back(fIndex);
    fNumbers.At(fIndex) = pattern;
  } else {
    fKeys.FindOrInsert(fLevels);
  }
  fBegins.push_back(fColumns.size());
  return pattern;
}

std::size_t QvRecordPatterns::Find(std::span<const double* const> records, int* patterns) {
  for (std::size_t r = 0; r < records.size(); ++r) {
    int pattern = kNone;
    if (FindLevels(records[r])) {
      pattern = FindKnown();
      if (pattern == kNone) {
        if (GetCount() == fMost) return r;
        pattern = Insert(records[r]);
      }
    }
    patterns[r] = pattern;
  }
  return records.size();
}
