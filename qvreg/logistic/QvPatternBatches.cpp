#include "qvreg/logistic/QvPatternBatches.h"

#include <algorithm>
#include <utility>

#include "qvreg/design/QvFactorTables.h"
#include "qvreg/logistic/QvLogModel.h"

namespace {

constexpr std::size_t kMostRows = IQvPatternStats::kMostRows;
/// Of rows with more values most of them may be zeros, which rows that are added alone leave out.
constexpr std::size_t kFewValues = 8;

}  // namespace

QvPatternBatches::QvPatternBatches(const QvLogModel& model, IQvAccumStats& stats,
                                   IQvPatternStats& patternStats)
    : fStats(stats),
      fPatternStats(patternStats),
      fDesign(model.GetRowDesign(), *model.GetFactorTables(), model.GetKeptNumbers()),
      fNValues(fDesign.GetValueCount()) {
  fDesign.FindColumns(model.GetFactorTables()->GetParameterOffsets());
  fBatch.fColumns = fDesign.GetColumns();
  fBatch.fPlaces = fDesign.GetPlaces();
  fBatch.fValues.resize(kMostRows * fNValues);
  fBatch.fCategories.resize(kMostRows);
  fBatch.fWeights.resize(kMostRows);
}

bool QvPatternBatches::Suits(const QvLogModel& model) {
  return model.GetRowDesign().HasAllColumns();
}

void QvPatternBatches::Begin(bool llOnly) {
  fbLLOnly = llOnly;
  fBatch.fCount = 0;
}

bool QvPatternBatches::Add(const double* record, int category, double weight) {
  const std::size_t row = fBatch.fCount++;
  fDesign.FillValues(record, fBatch.fValues.data() + row * fNValues);
  fBatch.fCategories[row] = category;
  fBatch.fWeights[row] = weight;
  // What is refused for sure ends the pass at once.
  const bool isRefused = category < 0 || 0.0 >= weight;
  return fBatch.fCount == kMostRows || isRefused ? AddBatch(fBatch) : true;
}

bool QvPatternBatches::AddWaiting() { return AddBatch(fBatch); }

bool QvPatternBatches::IsSparse(const Batch& batch) const {
  if (fNValues <= kFewValues) return false;
  const auto end = batch.fValues.begin() + static_cast<std::ptrdiff_t>(batch.fCount * fNValues);
  return 2 * std::count(batch.fValues.begin(), end, 0.0) > end - batch.fValues.begin();
}

bool QvPatternBatches::AddBatch(Batch& batch) {
  const bool isTogether =
      batch.fCount > 0 && !IsSparse(batch) &&
      fPatternStats.BeginPattern(batch.fColumns, batch.fPlaces, fNValues, fbLLOnly);
  const bool isAdded = (isTogether && AddTogether(batch)) || AddOneByOne(batch);
  if (isTogether) fPatternStats.EndPattern();
  batch.fCount = 0;
  return isAdded;
}

bool QvPatternBatches::AddTogether(const Batch& batch) {
  return fPatternStats.AddRows(
      {batch.fCount, batch.fValues.data(), batch.fCategories.data(), batch.fWeights.data()});
}

bool QvPatternBatches::AddOneByOne(const Batch& batch) {
  for (std::size_t row = 0; row < batch.fCount; ++row) {
    const double* values = batch.fValues.data() + row * fNValues;
    fIndices.clear();
    fValues.clear();
    for (std::size_t a = 0; a < batch.fColumns.size(); ++a) {
      const double value = values[batch.fPlaces[a]];
      if (value == 0.0) continue;
      fIndices.push_back(batch.fColumns[a]);
      fValues.push_back(value);
    }
    if (fStats.UpdateForRow(fIndices, fValues, batch.fCategories[row], batch.fWeights[row],
                            fbLLOnly) < 0) {
      return false;
    }
  }
  return true;
}
