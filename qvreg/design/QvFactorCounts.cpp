#include "qvreg/design/QvFactorCounts.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/component/QvModelContents.h"

using QvCommon::Record;

namespace {

std::unique_ptr<QvFactorCounts::Counts> ZeroCounts(int nCategories) {
  return std::make_unique<QvFactorCounts::Counts>(
      static_cast<std::size_t>(std::max(nCategories, 0)));
}

std::unique_ptr<QvFactorCounts::Counts> CopyOf(
    const std::unique_ptr<QvFactorCounts::Counts>& counts) {
  return counts == nullptr ? nullptr : std::make_unique<QvFactorCounts::Counts>(*counts);
}

void DisplayCounts(const QvFactorCounts::Counts& counts) {
  std::vector<double> weighted;
  std::vector<double> unweighted;
  for (const auto& [weight, count] : counts) {
    weighted.push_back(weight);
    unweighted.push_back(count);
  }
  QvComponentDisplay::DisplayDV("Weighted counts", weighted, true);
  QvComponentDisplay::DisplayDV("Unweighted counts", unweighted, true);
}

}  // namespace

QvFactorCounts::QvFactorCounts(const std::vector<int>& factorVars,
                               const std::vector<int>& nCategories, int weightVar, int dependentVar,
                               int nDependentCategories, int firstCode, int offsetVar,
                               double offsetValue, QvConst::QvOffsetType offsetType)
    : fFactorVars(factorVars),
      fNCategories(nCategories),
      fWeightVar(weightVar),
      fDependentVar(dependentVar),
      fNDependentCategories(nDependentCategories),
      fFirstCode(firstCode),
      fOffsetVar(offsetVar),
      fOffsetValue(offsetValue),
      fOffsetType(offsetType) {
  fNCategories.resize(fFactorVars.size(), 0);
  fFactorCounts.reserve(fFactorVars.size());
  for (const int n : fNCategories) fFactorCounts.push_back(ZeroCounts(n));
  if (dependentVar < 0 || nDependentCategories < 1) return;
  fpDependCounts = ZeroCounts(nDependentCategories);
  fpDepCountsWithOffset = ZeroCounts(nDependentCategories);
}

QvFactorCounts::QvFactorCounts(const QvFactorCounts& other)
    : fFactorVars(other.fFactorVars),
      fNCategories(other.fNCategories),
      fWeightVar(other.fWeightVar),
      fDependentVar(other.fDependentVar),
      fNDependentCategories(other.fNDependentCategories),
      fFirstCode(other.fFirstCode),
      fpDependCounts(CopyOf(other.fpDependCounts)),
      fpDepCountsWithOffset(CopyOf(other.fpDepCountsWithOffset)),
      fOffsetVar(other.fOffsetVar),
      fOffsetValue(other.fOffsetValue),
      fOffsetType(other.fOffsetType),
      fRecordCountVar(other.fRecordCountVar) {
  fFactorCounts.reserve(other.fFactorCounts.size());
  for (const auto& counts : other.fFactorCounts) fFactorCounts.push_back(CopyOf(counts));
}

QvFactorCounts& QvFactorCounts::operator=(const QvFactorCounts& other) {
  if (this != &other) *this = QvFactorCounts(other);
  return *this;
}

int QvFactorCounts::CategoryOf(const double* values, int var) const {
  return CategoryIndex(values[var], fFirstCode);
}

double QvFactorCounts::OffsetOf(const double* values) const {
  switch (fOffsetType) {
    case QvConst::QvOffsetVariable:
      return values[fOffsetVar];
    case QvConst::QvOffsetFixed:
      return fOffsetValue;
    case QvConst::QvOffsetNone:
      break;
  }
  return 0.0;
}

bool QvFactorCounts::AddCount(Counts& counts, int category, double w) {
  if (category < 0 || static_cast<std::size_t>(category) >= counts.size()) return false;
  CountPair& pair = counts[static_cast<std::size_t>(category)];
  pair.first += w;
  pair.second += 1.0;
  return true;
}

int QvFactorCounts::CountDependent(const double* values, double w) {
  const int category = CategoryOf(values, fDependentVar);
  return AddRecord(*fpDependCounts, category, w, values) ? category : -1;
}

bool QvFactorCounts::Update(const Record& record) {
  const double* values = record.GetAll();
  const double w = FrequencyWeight(values);
  if (!CountFactors(values, w, [](int, int) {})) return false;
  if (!HasDependentCounts()) return true;
  const int category = CountDependent(values, w);
  if (category < 0) return false;
  CountPair& withOffset = (*fpDepCountsWithOffset)[static_cast<std::size_t>(category)];
  withOffset.first += OffsetOf(values) * w;
  withOffset.second += w;
  return true;
}

template <typename Self, typename Visit>
void QvFactorCounts::ForEachList(Self& self, Visit&& visit) {
  for (const auto& counts : self.fFactorCounts) visit(*counts);
  if (!self.HasDependentCounts()) return;
  visit(*self.fpDependCounts);
  visit(*self.fpDepCountsWithOffset);
}

bool QvFactorCounts::AreLikeLists(const std::vector<const Counts*>& lists) const {
  std::vector<const Counts*> own;
  ForEachList(*this, [&](const Counts& counts) { own.push_back(&counts); });
  return std::equal(own.begin(), own.end(), lists.begin(), lists.end(),
                    [](const Counts* a, const Counts* b) { return a->size() == b->size(); });
}

bool QvFactorCounts::MergeCounts(const QvFactorCounts& other) {
  std::vector<const Counts*> added;
  ForEachList(other, [&](const Counts& counts) { added.push_back(&counts); });
  if (!AreLikeLists(added)) return false;
  std::size_t list = 0;
  ForEachList(*this, [&](Counts& counts) {
    for (std::size_t c = 0; c < counts.size(); ++c) {
      counts[c].first += (*added[list])[c].first;
      counts[c].second += (*added[list])[c].second;
    }
    ++list;
  });
  return true;
}

void QvFactorCounts::FillCounts(QvTableContents& contents) const {
  for (const auto& counts : fFactorCounts) contents.fFactorCounts.push_back(*counts);
  if (!HasDependentCounts()) return;
  contents.fDependentCounts = *fpDependCounts;
  contents.fOffsetCounts = *fpDepCountsWithOffset;
}

bool QvFactorCounts::TakeCounts(const QvTableContents& contents) {
  std::vector<const Counts*> taken;
  for (const Counts& counts : contents.fFactorCounts) taken.push_back(&counts);
  const bool isLogistic = !contents.fDependentCounts.empty() || !contents.fOffsetCounts.empty();
  if (isLogistic) taken.insert(taken.end(), {&contents.fDependentCounts, &contents.fOffsetCounts});
  if (!AreLikeLists(taken)) return false;
  std::size_t list = 0;
  ForEachList(*this, [&](Counts& counts) { counts = *taken[list++]; });
  return true;
}

bool QvFactorCounts::IsInRange(const Record& record) const { return IsInRange(record.GetAll()); }

bool QvFactorCounts::IsInRange(const double* values) const { return AreCodesInRange(values); }

int QvFactorCounts::GetNCategories(int factor) const {
  return IsFactor(factor) ? fNCategories[static_cast<std::size_t>(factor)] : -1;
}

const QvFactorCounts::Counts* QvFactorCounts::GetCountsPtr(int factor) const {
  return IsFactor(factor) ? fFactorCounts[static_cast<std::size_t>(factor)].get() : nullptr;
}

int QvFactorCounts::GetNActiveCategories(int factor) const {
  const Counts* counts = GetCountsPtr(factor);
  if (counts == nullptr) return -1;
  return static_cast<int>(std::count_if(counts->begin(), counts->end(),
                                        [](const CountPair& pair) { return pair.first > 0.0; }));
}

void QvFactorCounts::DisplayFields() const {
  QvComponentDisplay::DisplayI("The number of factors", GetNFactors());
  QvComponentDisplay::DisplayI("Index of the weight variable", fWeightVar);
  QvComponentDisplay::DisplayIV("Vector of factor indices", fFactorVars);
  QvComponentDisplay::DisplayIV("Vector of factor numbers of categories", fNCategories);
  for (int f = 0; f < GetNFactors(); ++f) {
    QvComponentDisplay::DisplayI("Factor number (starting from 0)", f);
    DisplayCounts(*GetCountsPtr(f));
  }
  QvComponentDisplay::DisplayI("Index of the dependent categorical variable", fDependentVar);
  QvComponentDisplay::DisplayI("Number of categories for dependent variable",
                               fNDependentCategories);
  if (HasDependentCounts()) {
    DisplayCounts(*fpDependCounts);
  } else {
    QvComponentDisplay::DisplayText(
        QvComponentDisplay::kHeadingLevel,
        "Vector of case counts for categories of the dependent variable undefined");
  }
}

void QvFactorCounts::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvFactorCounts display start");
  try {
    DisplayFields();
  } catch (const std::bad_alloc&) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "(memory ran out)");
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvFactorCounts display end");
}
