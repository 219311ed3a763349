#include "qvreg/logistic/QvPatternBatches.h"

#include <algorithm>
#include <span>

#include "qvreg/design/QvFactorTables.h"
#include "qvreg/logistic/QvLogModel.h"

namespace {

constexpr std::size_t kMostRows = IQvPatternStats::kMostRows;
/// Rows of so few together are added one by one: their sums would be moved for too few.
constexpr std::size_t kFewRows = 4;
/// Of rows with more values most of them may be zeros, which rows that are added alone leave out.
constexpr std::size_t kFewValues = 8;
/// What waits at most, in bytes.
constexpr std::size_t kMemory = std::size_t{8} << 20;

}  // namespace

QvPatternBatches::QvPatternBatches(const QvLogModel& model, IQvAccumStats& stats,
                                   IQvPatternStats& patternStats)
    : fStats(stats),
      fPatternStats(patternStats),
      fNCategories(static_cast<std::size_t>(model.GetNumDependCategories())),
      fbOnePattern(model.GetRowDesign().HasAllColumns()) {
  const QvFactorTables& tables = *model.GetFactorTables();
  const QvPatternDesign design(model.GetRowDesign(), tables, model.GetKeptNumbers());
  fNValues = design.GetValueCount();
  fbConstant = design.IsConstant();
  const std::size_t rowSize = fNValues * sizeof(double) + sizeof(double) + sizeof(int);
  const std::size_t waiting = fbConstant ? fNCategories * sizeof(Alike) : kMostRows * rowSize;
  const std::size_t most = std::max<std::size_t>(kMemory / (sizeof(Batch) + waiting), 1);
  fPatterns.SetUp(model.GetRowDesign(), tables, model.GetKeptNumbers(), static_cast<int>(most));
}

void QvPatternBatches::Begin(bool llOnly) {
  fbLLOnly = llOnly;
  for (Batch& batch : fBatches) batch.fCount = 0;
  std::fill(fAlike.begin(), fAlike.end(), Alike{});
}

void QvPatternBatches::MakeBatch(int pattern) {
  const std::span<const int> columns = fPatterns.GetColumns(pattern);
  const std::span<const int> places = fPatterns.GetPlaces(pattern);
  Batch batch;
  batch.fColumns.assign(columns.begin(), columns.end());
  batch.fPlaces.assign(places.begin(), places.end());
  if (!fbConstant) {
    batch.fValues.resize(kMostRows * fNValues);
    batch.fCategories.resize(kMostRows);
    batch.fWeights.resize(kMostRows);
  } else {
    fAlike.resize(fAlike.size() + fNCategories);
  }
  fBatches.push_back(std::move(batch));
}

int QvPatternBatches::FindPattern(const double* record) {
  int pattern = 0;
  const bool isKnown = fbOnePattern && !fBatches.empty();
  if (!isKnown && fPatterns.Find({&record, 1}, &pattern) == 0) return QvRecordPatterns::kNone;
  if (pattern == static_cast<int>(fBatches.size())) MakeBatch(pattern);
  return pattern;
}

QvPatternBatches::Result QvPatternBatches::Add(const double* record, int category, double weight) {
  const int pattern = FindPattern(record);
  if (pattern < 0 || !fPatterns.IsComplete(pattern)) return Result::kLeft;
  // What is refused for sure ends the pass at once.
  if (category < 0 || 0.0 >= weight) return AddWaiting() ? Result::kLeft : Result::kRefused;
  const auto place = static_cast<std::size_t>(pattern);
  if (fbConstant) {
    Alike& alike = fAlike[place * fNCategories + static_cast<std::size_t>(category)];
    alike.fWeight += weight;
    ++alike.fCount;
    return Result::kTaken;
  }
  return AddToBatch(fBatches[place], record, category, weight) ? Result::kTaken : Result::kRefused;
}

bool QvPatternBatches::AddToBatch(Batch& batch, const double* record, int category, double weight) {
  const std::size_t row = batch.fCount++;
  fPatterns.GetDesign().FillValues(record, batch.fValues.data() + row * fNValues);
  batch.fCategories[row] = category;
  batch.fWeights[row] = weight;
  return batch.fCount < kMostRows || AddBatch(batch);
}

bool QvPatternBatches::AddWaiting() {
  for (std::size_t pattern = 0; pattern < fBatches.size(); ++pattern) {
    if (!(fbConstant ? AddAlike(pattern) : AddBatch(fBatches[pattern]))) return false;
  }
  return true;
}

bool QvPatternBatches::AddAlike(std::size_t pattern) {
  const std::vector<int>& columns = fBatches[pattern].fColumns;
  fValues.assign(columns.size(), 1.0);
  for (std::size_t c = 0; c < fNCategories; ++c) {
    const Alike alike = std::exchange(fAlike[pattern * fNCategories + c], Alike{});
    if (alike.fCount == 0) continue;
    if (fPatternStats.UpdateForAlikeRows(columns, fValues, static_cast<int>(c), alike.fWeight,
                                         alike.fCount, fbLLOnly) < 0) {
      return false;
    }
  }
  return true;
}

bool QvPatternBatches::IsSparse(const Batch& batch) const {
  if (fNValues <= kFewValues) return false;
  const auto end = batch.fValues.begin() + static_cast<std::ptrdiff_t>(batch.fCount * fNValues);
  return 2 * std::count(batch.fValues.begin(), end, 0.0) > end - batch.fValues.begin();
}

bool QvPatternBatches::AddBatch(Batch& batch) {
  const bool isTogether =
      batch.fCount >= kFewRows && !IsSparse(batch) &&
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
