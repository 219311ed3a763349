#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvConst.h"

struct QvTableContents;

/// Counts how many records fall in each category of every factor, and of a categorical dependent:
/// weighted by the frequency weight and unweighted.
///
/// A value that owns its counts; a copy is deep. Const operations may run on several threads.
class QVREG_EXPORT QvFactorCounts {
 public:
  /// First the weighted count, second the number of records.
  using CountPair = std::pair<double, double>;
  /// One pair per category, from 0 on.
  using Counts = std::vector<CountPair>;

  /// `factorVars` and `nCategories` are parallel; `firstCode` is what codes category 0.
  /// `weightVar`, `dependentVar` and `offsetVar` are record indices, -1 for none. The dependent is
  /// counted when `nDependentCategories` is at least 1. `offsetType` says where a record's offset
  /// comes from: nowhere, `offsetVar`, or `offsetValue` for all.
  QvFactorCounts(const std::vector<int>& factorVars, const std::vector<int>& nCategories,
                 int weightVar, int dependentVar, int nDependentCategories, int firstCode,
                 int offsetVar, double offsetValue, QvConst::QvOffsetType offsetType);
  /// A deep copy of `other`. May throw std::bad_alloc, as assignment may, which then changes
  /// nothing.
  QvFactorCounts(const QvFactorCounts& other);
  QvFactorCounts(QvFactorCounts&&) = default;
  /// Becomes a deep copy of `other`.
  QvFactorCounts& operator=(const QvFactorCounts& other);
  QvFactorCounts& operator=(QvFactorCounts&&) = default;
  ~QvFactorCounts() = default;

  /// The category index of a coded `value`: (value + 0.5) truncated toward zero, less `firstCode`,
  /// the code of category 0. A value that is not a number, or a code or an index that no int can
  /// hold, gives -1.
  [[nodiscard]] static int CategoryIndex(double value, int firstCode) {
    constexpr double kBehindLargest = 2147483648.0;
    const double rounded = value + 0.5;
    if (!(rounded > -kBehindLargest - 1.0 && rounded < kBehindLargest)) return -1;
    const long long index = static_cast<long long>(rounded) - firstCode;
    const bool fits =
        index >= std::numeric_limits<int>::min() && index <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(index) : -1;
  }

  /// Makes `var` the record count; -1, the default, for none.
  void SetRecordCountVar(int var) { fRecordCountVar = var; }
  /// How many records one of these `values` counts as; 1 where its record count is none. REQUIRES:
  /// values that hold it.
  [[nodiscard]] long long RecordCount(const double* values) const {
    if (fRecordCountVar < 0) return 1;
    const double count = values[fRecordCountVar];
    return QvRegRecordValidator::IsRecordCount(count) ? static_cast<long long>(count) : 1;
  }

  /// Adds a record. False when some category is out of range; the record's other factors are
  /// counted all the same. REQUIRES: the record holds every variable named above.
  bool Update(const QvCommon::Record& record);

  /// The number of factors.
  [[nodiscard]] int GetNFactors() const { return static_cast<int>(fFactorVars.size()); }
  /// The factor's number of categories; -1 for no such factor.
  [[nodiscard]] int GetNCategories(int factor) const;
  /// The factor's counts, one pair per category; null for no such factor. Owned by this object.
  [[nodiscard]] const Counts* GetCountsPtr(int factor) const;
  /// The dependent's counts; null when it is not counted. Owned by this object.
  [[nodiscard]] const Counts* GetDependCountsPtr() const { return fpDependCounts.get(); }
  /// Per dependent category the sum of offset x weight and of the weights, all 0, since no model
  /// has an offset; null when not counted.
  [[nodiscard]] const Counts* GetDepCountsWithOffsetPtr() const {
    return fpDepCountsWithOffset.get();
  }
  /// The number of categories with a weighted count above 0; -1 for no such factor.
  [[nodiscard]] int GetNActiveCategories(int factor) const;
  /// True when every code in the record, that of a counted dependent included, is one that Update
  /// counts and does not stand for a missing category. REQUIRES: as Update.
  [[nodiscard]] bool IsInRange(const QvCommon::Record& record) const;
  /// The same for a record's `values`.
  [[nodiscard]] bool IsInRange(const double* values) const;
  /// The same for a record's `values`, without a call, for loops over records.
  [[nodiscard]] bool AreCodesInRange(const double* values) const {
    for (std::size_t f = 0; f < fFactorVars.size(); ++f) {
      if (!IsCounted(values[fFactorVars[f]], fNCategories[f])) return false;
    }
    return !HasDependentCounts() || IsCounted(values[fDependentVar], fNDependentCategories);
  }

  /// Prints every count to standard output.
  void Display() const;

 protected:
  /// Adds the counts of further records by the same factors and dependent; false, and nothing
  /// changed, for any other.
  bool MergeCounts(const QvFactorCounts& other);
  /// Adds the counts to `contents` that hold none.
  void FillCounts(QvTableContents& contents) const;
  /// Replaces them by those of `contents`; false, and nothing changed, for counts of other factors
  /// or another dependent.
  bool TakeCounts(const QvTableContents& contents);
  /// Counts the factors of a record of `values` with weight w; calls `onCategory(factor, category)`
  /// for each category in range. False when one is out of range.
  template <typename OnCategory>
  bool CountFactors(const double* values, double w, OnCategory&& onCategory) {
    bool isInRange = true;
    for (std::size_t f = 0; f < fFactorVars.size(); ++f) {
      const int category = CategoryOf(values, fFactorVars[f]);
      if (!AddRecord(*fFactorCounts[f], category, w, values)) {
        isInRange = false;
        continue;
      }
      onCategory(static_cast<int>(f), category);
    }
    return isInRange;
  }
  /// Counts the dependent of a record of `values` with weight w; -1 when it is out of range, else
  /// its category.
  int CountDependent(const double* values, double w);
  /// True when the dependent is counted.
  [[nodiscard]] bool HasDependentCounts() const { return fpDependCounts != nullptr; }
  /// The frequency weight of a record of `values`, 1 when there is none.
  [[nodiscard]] double FrequencyWeight(const double* values) const {
    return fWeightVar >= 0 ? values[fWeightVar] : 1.0;
  }
  /// Record indices of the factors.
  [[nodiscard]] const std::vector<int>& FactorVars() const { return fFactorVars; }
  /// The code of category 0.
  [[nodiscard]] int FirstCode() const { return fFirstCode; }
  /// Record index of the frequency weight, -1 for none.
  [[nodiscard]] int WeightVar() const { return fWeightVar; }
  /// Prints the fields without the opening and closing lines.
  void DisplayFields() const;

 private:
  /// Whether a value codes one of so many categories.
  [[nodiscard]] bool IsCounted(double value, int nCategories) const {
    // Most codes: the categories themselves.
    const double first = fFirstCode;
    if (first >= QvMV::gLeastCode && value >= first && value <= nCategories + first - 1.0)
      return true;
    // Rounding would make 0 of the code -1 of a missing category.
    if (value < QvMV::gLeastCode) return false;
    const int category = CategoryIndex(value, fFirstCode);
    return category >= 0 && category < nCategories;
  }
  /// Calls visit(counts) for every list of counts of `self`, in one order.
  template <typename Self, typename Visit>
  static void ForEachList(Self& self, Visit&& visit);
  /// Whether such lists have the number and sizes of this object's.
  [[nodiscard]] bool AreLikeLists(const std::vector<const Counts*>& lists) const;
  static bool AddCount(Counts& counts, int category, double w);
  /// As AddCount, for as many records as the record counts as.
  bool AddRecord(Counts& counts, int category, double w, const double* values) const {
    if (!AddCount(counts, category, w)) return false;
    const long long further = RecordCount(values) - 1;
    counts[static_cast<std::size_t>(category)].second += static_cast<double>(further);
    return true;
  }
  [[nodiscard]] int CategoryOf(const double* values, int var) const;
  [[nodiscard]] double OffsetOf(const double* values) const;
  [[nodiscard]] bool IsFactor(int factor) const { return factor >= 0 && factor < GetNFactors(); }

  std::vector<int> fFactorVars;
  std::vector<int> fNCategories;
  int fWeightVar;
  int fDependentVar;
  int fNDependentCategories;
  int fFirstCode;
  std::vector<std::unique_ptr<Counts>> fFactorCounts;
  std::unique_ptr<Counts> fpDependCounts;
  std::unique_ptr<Counts> fpDepCountsWithOffset;
  int fOffsetVar;
  double fOffsetValue;
  QvConst::QvOffsetType fOffsetType;
  int fRecordCountVar = -1;
};
