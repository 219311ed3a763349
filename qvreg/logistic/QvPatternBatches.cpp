#include "qvreg/logistic/QvPatternBatches.h"

#include <algorithm>
#include <span>
#include <utility>

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

/// Where so many patterns had fewer rows than these, nearly every row has its own.
constexpr int kTrialPatterns = 1024;
constexpr long long kTrialRows = kTrialPatterns + kTrialPatterns / 16;
/// What is kept of a row beside its values.
constexpr std::size_t kFurther = 2;
/// For a record for whose pattern there is no room.
constexpr int kFull = QvRecordPatterns::kNone - 1;

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
  const std::size_t rowSize = (fNValues + kFurther) * sizeof(double);
  const std::size_t waiting = fbConstant ? fNCategories * sizeof(Alike) : kMostRows * rowSize;
  const std::size_t most = std::max<std::size_t>(kMemory / (sizeof(Batch) + waiting), 1);
  fRowValues.resize(kMostRows * fNValues);
  fPatterns.SetUp(model.GetRowDesign(), tables, model.GetKeptNumbers(), static_cast<int>(most));
}

void QvPatternBatches::Begin(bool llOnly) {
  fbLLOnly = llOnly;
  fbGaveUp = false;
  fCount = 0;
  for (Batch& batch : fBatches) batch.fCount = 0;
  std::fill(fAlike.begin(), fAlike.end(), Alike{});
  ForgetPatterns();
}

void QvPatternBatches::ForgetPatterns() {
  fPatterns.Clear();
  fbTakesRows = false;
  fNRows = 0;
}

void QvPatternBatches::SetUpBatch(int pattern) {
  const auto place = static_cast<std::size_t>(pattern);
  if (place == fBatches.size()) {
    fBatches.emplace_back();
    if (fbConstant) {
      fAlike.resize(fAlike.size() + fNCategories);
    } else {
      fBatches[place].fRows.reserve(kMostRows * (fNValues + kFurther));
    }
  }
  const std::span<const int> columns = fPatterns.GetColumns(pattern);
  const std::span<const int> places = fPatterns.GetPlaces(pattern);
  fBatches[place].fColumns.assign(columns.begin(), columns.end());
  fBatches[place].fPlaces.assign(places.begin(), places.end());
}

int QvPatternBatches::FindPattern(const double* record) {
  const int nKnown = fPatterns.GetCount();
  if (fbOnePattern && nKnown > 0) return 0;
  if (nKnown == kTrialPatterns && fNRows < kTrialRows) return kFull;
  int pattern = QvRecordPatterns::kNone;
  if (fPatterns.Find({&record, 1}, &pattern) == 0) return kFull;
  if (fPatterns.GetCount() > nKnown) SetUpBatch(pattern);
  ++fNRows;
  return pattern >= 0 && fPatterns.IsComplete(pattern) ? pattern : QvRecordPatterns::kNone;
}

bool QvPatternBatches::MakeRoom() {
  fbGaveUp = fNRows < static_cast<long long>(kFewRows) * fPatterns.GetCount();
  ForgetPatterns();
  return AddWaiting();
}

QvPatternBatches::Result QvPatternBatches::AddByPattern(const double* record, int category,
                                                        double weight) {
  int pattern = fbGaveUp ? QvRecordPatterns::kNone : FindPattern(record);
  if (pattern == kFull) {
    if (!MakeRoom()) return Result::kRefused;
    pattern = fbGaveUp ? QvRecordPatterns::kNone : FindPattern(record);
  }
  if (pattern < 0) return Result::kLeft;
  // What is refused for sure ends the pass at once.
  if (category < 0 || 0.0 >= weight) return AddWaiting() ? Result::kLeft : Result::kRefused;
  const auto place = static_cast<std::size_t>(pattern);
  if (!fbConstant) {
    fbTakesRows = fbOnePattern;
    const bool isAdded = fbOnePattern ? AddToRows(record, category, weight)
                                      : AddToBatch(fBatches[place], record, category, weight);
    return isAdded ? Result::kTaken : Result::kRefused;
  }
  Alike& alike = fAlike[place * fNCategories + static_cast<std::size_t>(category)];
  alike.fWeight += weight;
  ++alike.fCount;
  return Result::kTaken;
}

bool QvPatternBatches::AddToBatch(Batch& batch, const double* record, int category, double weight) {
  const std::size_t size = fNValues + kFurther;
  const std::size_t first = batch.fCount++ * size;
  if (batch.fRows.size() == first) batch.fRows.resize(first + size);
  // Together, since patterns may come in any order, and from one to the next memory is far.
  double* row = batch.fRows.data() + first;
  fPatterns.GetDesign().FillValues(record, row);
  row[fNValues] = weight;
  row[fNValues + 1] = category;
  if (batch.fCount < kMostRows) return true;
  Unpack(batch);
  return AddRows(batch);
}

bool QvPatternBatches::AddWaiting() {
  for (std::size_t pattern = 0; pattern < fBatches.size(); ++pattern) {
    Batch& batch = fBatches[pattern];
    if (batch.fCount > 0) Unpack(batch);
    if (!(fbConstant ? AddAlike(pattern) : AddRows(batch))) return false;
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

void QvPatternBatches::Unpack(Batch& batch) {
  fCount = std::exchange(batch.fCount, 0);
  const double* from = batch.fRows.data();
  double* values = fRowValues.data();
  for (std::size_t r = 0; r < fCount; ++r) {
    for (const double* const end = from + fNValues; from != end;) *values++ = *from++;
    fWeights[r] = *from++;
    fCategories[r] = static_cast<int>(*from++);
  }
}

bool QvPatternBatches::AreSparse() const {
  if (fNValues <= kFewValues) return false;
  const auto end = fRowValues.begin() + static_cast<std::ptrdiff_t>(fCount * fNValues);
  return 2 * std::count(fRowValues.begin(), end, 0.0) > end - fRowValues.begin();
}

bool QvPatternBatches::AddRows(const Batch& batch) {
  const bool isTogether =
      fCount >= kFewRows && !AreSparse() &&
      fPatternStats.BeginPattern(batch.fColumns, batch.fPlaces, fNValues, fbLLOnly);
  const bool isAdded = (isTogether && AddTogether()) || AddOneByOne(batch);
  if (isTogether) fPatternStats.EndPattern();
  fCount = 0;
  return isAdded;
}

bool QvPatternBatches::AddTogether() {
  return fPatternStats.AddRows({fCount, fRowValues.data(), fCategories.data(), fWeights.data()});
}

bool QvPatternBatches::AddOneByOne(const Batch& batch) {
  for (std::size_t row = 0; row < fCount; ++row) {
    const double* values = fRowValues.data() + row * fNValues;
    fIndices.clear();
    fValues.clear();
    for (std::size_t a = 0; a < batch.fColumns.size(); ++a) {
      const double value = values[batch.fPlaces[a]];
      if (value == 0.0) continue;
      fIndices.push_back(batch.fColumns[a]);
      fValues.push_back(value);
    }
    if (fStats.UpdateForRow(fIndices, fValues, fCategories[row], fWeights[row], fbLLOnly) < 0) {
      return false;
    }
  }
  return true;
}
