#include "qvreg/logistic/QvRecordIterHandler.h"

#include <cstddef>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/IQvRegModel.h"
#include "qvreg/logistic/QvLogModel.h"

using QvCommon::QvStatus;

namespace {

QvStatus RefusedRow() { return {QvStatusCode::kStageMissing, false}; }

}  // namespace

QvRecordIterHandler::QvRecordIterHandler(QvCommon::MultiPassRecordIter& iter, QvCancelInfo& cancel,
                                         const QvRegRecordValidator& validator, int dependentIndex,
                                         int frequencyWeightIndex, int regressionWeightIndex,
                                         QvRecordCounts* counts)
    : fpIter(&iter),
      fpCancel(&cancel),
      fDependentIndex(dependentIndex),
      fFrequencyWeightIndex(frequencyWeightIndex),
      fRegressionWeightIndex(regressionWeightIndex),
      fpValidator(&validator),
      fpCounts(counts) {}

void QvRecordIterHandler::SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) {
  fpStats = stats;
  fpAhead = dynamic_cast<IQvAheadStats*>(stats);
  fpModel = model;
  fBatches.reset();
  const auto* logistic = dynamic_cast<const QvLogModel*>(model);
  auto* patternStats = dynamic_cast<IQvPatternStats*>(stats);
  if (logistic == nullptr || patternStats == nullptr) return;
  fBatches.emplace(*logistic, *stats, *patternStats);
}

void QvRecordIterHandler::ResetAccumStats(QvConst::QvEstimationMethod method,
                                          bool separationCheck) {
  fpStats->Reset(method, separationCheck);
}

int QvRecordIterHandler::LocalCategory(const double* record) const {
  const double value = record[fDependentIndex];
  const std::vector<int>& localIndices = *fpLocalIndices;
  // Truncated toward zero; written so that a value that is not a number has no category.
  if (!(value > -1.0 && value < static_cast<double>(localIndices.size()))) return -1;
  return localIndices[static_cast<std::size_t>(static_cast<int>(value))];
}

bool QvRecordIterHandler::AddRecord(const double* record, bool llOnly) {
  double weight = 1.0;
  if (fFrequencyWeightIndex >= 0) weight = record[fFrequencyWeightIndex];
  if (fRegressionWeightIndex >= 0) weight *= record[fRegressionWeightIndex];
  const int category = LocalCategory(record);
  if (fBatches) {
    const QvPatternBatches::Result result = fBatches->Add(record, category, weight);
    if (result != QvPatternBatches::Result::kLeft) {
      return result == QvPatternBatches::Result::kTaken;
    }
  }
  int count = 0;
  fpModel->GetSparseRow(record, count, fIndices, fValues);
  return fpStats->UpdateForRow(fIndices, fValues, category, weight, llOnly) != -1;
}

QvStatus QvRecordIterHandler::ComputeStatsForOptimizer(bool llOnly) {
  // After a refusal a pass is asked for, whatever is known.
  IQvAheadStats* const ahead = fStatus.IsError() ? nullptr : fpAhead;
  return QvMakePassAhead(ahead, llOnly, *fpCancel, [&] { return MakePass(llOnly); });
}

QvStatus QvRecordIterHandler::MakePass(bool llOnly) {
  const QvStatus before = fStatus;
  const QvRecordPassEnds ends{{}, {}, {QvStatusCode::kNoFurtherPass, false}};
  QvRecordPass pass(*fpIter, *fpCancel, *fpValidator, ends);
  // A refusal is reported at the next request: this one reads what the iterator delivers.
  if (!pass.Start()) fStatus = QvStatus(QvStatusCode::kNoRecords, false);
  if (before.IsError()) return before;
  long long nUsed = 0;
  fpLocalIndices = &fpModel->GetDependCategoryLocalIndices();
  if (fBatches) fBatches->Begin(llOnly);
  QvStatus result = ReadRecords(pass, llOnly, nUsed);
  // What refuses a row that waited came before whatever ended the pass.
  if (fBatches && !fBatches->AddWaiting()) fStatus = result = RefusedRow();
  const bool isWhole = !result.IsError() && !fpCancel->IsFlagSet();
  if (isWhole && fpCounts != nullptr) fpCounts->NoteLaterPass(nUsed);
  return result;
}

QvStatus QvRecordIterHandler::ReadRecords(QvRecordPass& pass, bool llOnly, long long& nUsed) {
  const QvFactorTables* tables = fpModel->GetFactorTables();
  return pass.ReadOn([&](const double* record, QvRecordVerdict verdict, QvStatus& status) {
    if (verdict != QvRecordVerdict::kValid) return true;
    // A record that the first pass could not count takes no part.
    if (tables != nullptr && !tables->AreCodesInRange(record)) return true;
    nUsed += tables == nullptr ? 1 : tables->RecordCount(record);
    if (AddRecord(record, llOnly)) return true;
    fStatus = status = RefusedRow();
    return false;
  });
}
