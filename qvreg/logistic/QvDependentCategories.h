#pragma once

#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/design/QvFactorCounts.h"

/// The categories of a logistic model's dependent that were observed, the reference last. A value;
/// const operations may run on several threads at once.
class QvDependentCategories {
 public:
  /// Keeps the categories with a positive weighted count, in order, and moves the reference to the
  /// end: `reference` when it was observed, the first one for QvLogRegSettings::kFirstObserved, the
  /// last one otherwise. kOneCategory, and nothing changed, for fewer than two; the warning
  /// kReferenceNotObserved when a category was asked for that was not observed.
  QvCommon::QvStatus Choose(const QvFactorCounts::Counts* counts, int reference);

  /// How many: K.
  [[nodiscard]] int GetCount() const { return static_cast<int>(fCodes.size()); }
  /// Their codes by local index.
  [[nodiscard]] const std::vector<int>& GetCodes() const { return fCodes; }
  /// Their local index by code, -1 for a code that was not observed.
  [[nodiscard]] const std::vector<int>& GetLocalIndices() const { return fLocalIndices; }
  [[nodiscard]] const std::vector<double>& GetWeightedCounts() const { return fWeightedCounts; }
  [[nodiscard]] const std::vector<double>& GetUnweightedCounts() const { return fUnweightedCounts; }
  /// The code of a local index.
  [[nodiscard]] int CodeOf(int local) const { return fCodes[static_cast<std::size_t>(local)]; }
  /// The local index of a code, -1 for a code that was not observed.
  [[nodiscard]] int LocalIndexOf(int code) const;
  /// True when local category a is predicted before b on equal probabilities: the larger weighted
  /// count, then the larger unweighted count, then the smaller code.
  [[nodiscard]] bool IsPreferred(int a, int b) const;

 private:
  std::vector<int> fCodes;
  std::vector<int> fLocalIndices;
  std::vector<double> fWeightedCounts;
  std::vector<double> fUnweightedCounts;
};
