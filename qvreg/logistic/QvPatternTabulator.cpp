#include "qvreg/logistic/QvPatternTabulator.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/QvLogModel.h"

using QvCommon::QvHashKey;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

/// Rows of the first block, and of the largest.
constexpr std::size_t kFirstRows = 2;
constexpr std::size_t kMostRows = 4096;

const char* RoleName(QvConst::QvVariableType type) {
  switch (type) {
    case QvConst::QvVarCovariate:
      return "Covariate";
    case QvConst::QvVarDependent:
      return "Dependent";
    case QvConst::QvVarFactor:
      return "Factor";
    case QvConst::QvVarFreqWeight:
      return "Frequency Weight";
    case QvConst::QvVarRegrWeight:
      return "Regression Weight";
    case QvConst::QvVarRecordCount:
      return "Record Count";
    case QvConst::QvVarNone:
      break;
  }
  return "Unspecified";
}

}  // namespace

double* QvRowPatterns::AppendRow() {
  if (fBlocks.empty() || fBlocks.back().fUsed == fBlocks.back().fCapacity) {
    const std::size_t capacity = std::clamp(fRowCount, kFirstRows, kMostRows);
    fBlocks.push_back({std::vector<double>(capacity * fRowSize), capacity, 0});
  }
  Block& block = fBlocks.back();
  ++fRowCount;
  return block.fValues.data() + block.fUsed++ * fRowSize;
}

void QvRowPatterns::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display start");
  ForEachRow([this](const double* row) {
    QvComponentDisplay::DisplayDV("fRecordData", std::vector<double>(row, row + fRowSize), true);
    return true;
  });
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display end");
}

QvPatternTabulator::QvPatternTabulator(const QvLogRegSettings& settings, QvFactorTables& tables,
                                       const QvRegRecordValidator& validator, QvCancelInfo& cancel)
    : fSettings(settings),
      fFactorTables(tables),
      fValidator(validator),
      fCancel(cancel),
      // The pattern's key holds the factors' levels, so a row need not.
      fExtractor(settings.GetDependent(), {}, settings.GetCovariates(),
                 settings.GetFrequencyWeightVar(), settings.GetRegrWeightVar()) {
  fRowLayout.fDependent = fExtractor.GetDependentOffset();
  fRowLayout.fCovariates = fExtractor.GetCovariateOffsets();
  fRowLayout.fFrequencyWeight = fExtractor.GetFreqWeightOffset();
  fRowLayout.fRegressionWeight = fExtractor.GetRegrWeightOffset();
}

QvStatus QvPatternTabulator::Keep(const QvStatus& status) {
  if (!fStatus.IsError()) fStatus = status;
  return fStatus;
}

void QvPatternTabulator::SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) {
  fpStats = stats;
  fpAhead = dynamic_cast<IQvAheadStats*>(stats);
  fpModel = model;
}

void QvPatternTabulator::ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) {
  fpStats->Reset(method, separationCheck);
}

QvStatus QvPatternTabulator::FillFactorTables(QvCommon::MultiPassRecordIter& iter) {
  if (fStatus.IsError()) return fStatus;
  if (fbFactorTableFilled) return Keep({QvStatusCode::kStageMissing, false});
  QvRecordPass pass(iter, fCancel, fValidator);
  const QvStatus status = ::FillFactorTables(pass, fFactorTables, fRecordCounts);
  if (status.IsError()) return Keep(status);
  if (!(fFactorTables.GetTotalWeight() > 0.0)) return Keep({QvStatusCode::kNothingToFit, false});
  fbFactorTableFilled = true;
  return fStatus;
}

bool QvPatternTabulator::SetUpKeys() {
  fpRows->fBounds.clear();
  for (const int effect : fFactorTables.GetModelEffectIndices()) {
    fpRows->fBounds.push_back(std::max(fFactorTables.GetNEffectParameters(effect), 1));
  }
  if (!fpRows->fPacker.SetForSequence(static_cast<int>(fpRows->fBounds.size()), 0, fpRows->fBounds))
    return false;
  fpRows->fPackedBounds = fpRows->fPacker.PackRanges();
  fpKey = std::make_unique<QvHashKey>(static_cast<int>(fpRows->fPackedBounds.size()));
  fCodes.assign(fpRows->fBounds.size(), 0);
  fPacked.assign(fpRows->fPackedBounds.size(), 0);
  return true;
}

QvStatus QvPatternTabulator::CreateRowPatterns(QvCommon::MultiPassRecordIter& iter,
                                               const IQvRegModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (fbRowPatternsCreated) return Keep({QvStatusCode::kDataNotProcessed, false});
  fCategories = model.GetDependCategories();
  fLocalCategories = model.GetDependCategoryLocalIndices();
  if (!SetUpKeys()) return Keep({QvStatusCode::kTooManyParameters, false});
  QvRecordPass pass(iter, fCancel, fValidator);
  const QvStatus status =
      ForEachCountedRecord(pass, fFactorTables, fRecordCounts,
                           [this](const Record& record) { return AddRecord(record); });
  if (status.IsError()) return Keep(status);
  fbRowPatternsCreated = true;
  return fStatus;
}

void QvPatternTabulator::SetRows(std::unique_ptr<QvPatternTable> rows) {
  fpRows = std::move(rows);
  fCodes.assign(fpRows->fBounds.size(), 0);
  fPacked.assign(fpRows->fPackedBounds.size(), 0);
  fbRowPatternsCreated = true;
}

std::unique_ptr<QvPatternTable> QvPatternTabulator::TakeRows() {
  if (!fbRowPatternsCreated) return nullptr;
  fbRowPatternsCreated = false;
  return std::exchange(fpRows, std::make_unique<QvPatternTable>());
}

QvRowPatterns& QvPatternTabulator::FindOrInsertPattern() {
  fpKey->SetHashCode(fpKey->ComputeHashCode());
  if (auto* pair = fpRows->fPatterns.Find(*fpKey); pair != nullptr) return pair->GetValue();
  auto key = std::make_unique<QvHashKey>(*fpKey);
  auto patterns = std::make_unique<QvRowPatterns>(fExtractor.GetExtractSize());
  fpRows->fPatterns.Insert(key, patterns);
  return fpRows->fPatterns.Find(*fpKey)->GetValue();
}

bool QvPatternTabulator::AddRecord(const Record& record) {
  bool ok = true;
  const std::vector<int>& indices = fFactorTables.GetRowParameterIndices(record.GetAll(), ok);
  const std::vector<int>& effects = fFactorTables.GetModelEffectIndices();
  for (std::size_t e = 0; e < effects.size(); ++e) {
    const auto effect = static_cast<std::size_t>(effects[e]);
    fCodes[e] = indices[effect] - fFactorTables.GetParameterOffsets()[effect];
  }
  if (!ok || !fpRows->fPacker.Pack(fCodes, fPacked, false)) return false;
  const int code = QvFactorCounts::CategoryIndex(record[fSettings.GetDependent()], 0);
  const int local = fLocalCategories[static_cast<std::size_t>(code)];
  if (local < 0) return false;
  for (std::size_t i = 0; i < fPacked.size(); ++i) (*fpKey)[static_cast<int>(i)] = fPacked[i];

  double* row = FindOrInsertPattern().AppendRow();
  fpRows->fRecordCount += fFactorTables.RecordCount(record);
  fExtractor.ExtractRecord(row, record.GetAll());
  row[fRowLayout.fDependent] = local;
  return true;
}

void QvPatternTabulator::RebuildIndices(const QvHashKey& key) {
  for (int i = 0; i < key.GetLength(); ++i) fPacked[static_cast<std::size_t>(i)] = key[i];
  fpRows->fPacker.Unpack(fCodes, fPacked);
  fIndices = fFactorTables.GetParameterOffsets();
  const std::vector<int>& effects = fFactorTables.GetModelEffectIndices();
  for (std::size_t e = 0; e < effects.size(); ++e) {
    fIndices[static_cast<std::size_t>(effects[e])] += fCodes[e];
  }
}

template <typename Visit>
QvStatus QvPatternTabulator::Walk(Visit&& visit) {
  QvStatus status;
  fpRows->fPatterns.ForEach([&](const QvCommon::QvHashPair<QvRowPatterns>& pair) {
    RebuildIndices(pair.GetKey());
    return pair.GetValue().ForEachRow([&](const double* row) {
      if (fCancel.StopRequested()) {
        status = QvStatus(QvStatusCode::kCancelled, false);
      } else if (!visit(row)) {
        status = QvRecordPass::RefusedRecord(fCancel);
      }
      return !status.IsError();
    });
  });
  return Keep(status);
}

QvStatus QvPatternTabulator::AddRowsToXPrimeX(IQvRegModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kStageMissing, false});
  return Walk([&](const double* row) { return model.AddRowToXPrimeX(row, fIndices); });
}

QvStatus QvPatternTabulator::ClassifyRows(QvLogModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kStageMissing, false});
  std::vector<double> noResiduals;
  return Walk([&](const double* row) {
    model.UpdateClassificationFromIndices(noResiduals, row, fIndices);
    return true;
  });
}

double QvPatternTabulator::RowWeight(const double* row) const {
  double weight = 1.0;
  if (fRowLayout.fFrequencyWeight >= 0) weight *= row[fRowLayout.fFrequencyWeight];
  if (fRowLayout.fRegressionWeight >= 0) weight *= row[fRowLayout.fRegressionWeight];
  return weight;
}

QvStatus QvPatternTabulator::ComputeStatsForOptimizer(bool llOnly) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kDataNotProcessed, false});
  const auto add = [&](const double* row) {
    int count = 0;
    fpModel->GetSparseRowFromIndices(row, fIndices, count, fSparseIndices, fSparseValues);
    const int category = QvFactorCounts::CategoryIndex(row[fRowLayout.fDependent], 0);
    return fpStats->UpdateForRow(fSparseIndices, fSparseValues, category, RowWeight(row), llOnly) >=
           0;
  };
  return QvMakePassAhead(fpAhead, llOnly, fCancel, [&] { return Walk(add); });
}

void QvPatternTabulator::DisplayVariables() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "fVariableType in QvPatternTabulator");
  const auto& types = fSettings.GetVariableTypes();
  for (std::size_t var = 0; var < types.size(); ++var) {
    QvComponentDisplay::DisplayI("Variable index", static_cast<int>(var));
    QvComponentDisplay::DisplayS("Type =", RoleName(types[var]));
  }
}

void QvPatternTabulator::DisplayPatterns() const {
  if (fpKey == nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "fpRowPatternTable is undefined");
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpKey is undefined");
    return;
  }
  fpRows->fPatterns.ForEach([](const QvCommon::QvHashPair<QvRowPatterns>& pair) {
    pair.GetKey().Display();
    pair.GetValue().Display();
    return true;
  });
  fpKey->Display();
}

void QvPatternTabulator::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvPatternTabulator display start");
  QvComponentDisplay::DisplayI("fNFactorEffects",
                               static_cast<int>(fFactorTables.GetModelEffectIndices().size()));
  QvComponentDisplay::DisplayI("fNAllEffects", fFactorTables.GetNModelEffects());
  QvComponentDisplay::DisplayIV("List of original indices for model effects with factors",
                                fFactorTables.GetModelEffectIndices());
  QvComponentDisplay::DisplayIV("Vector of indices for local effects",
                                fFactorTables.GetLocalEffectIndices());
  QvComponentDisplay::DisplayIV("Vector of parameter offsets for model effects",
                                fFactorTables.GetParameterOffsets());
  QvComponentDisplay::DisplayIV("Vector of bounds for regression parameter indices",
                                fpRows->fBounds);
  QvComponentDisplay::DisplayIV("Vector of packed bounds", fpRows->fPackedBounds);
  QvComponentDisplay::DisplayI("fNPackedKey", static_cast<int>(fpRows->fPackedBounds.size()));
  QvComponentDisplay::DisplayI("fDependVar", fSettings.GetDependent());
  QvComponentDisplay::DisplayIV("Dependent categories in data, reference last", fCategories);
  QvComponentDisplay::DisplayIV(
      "Local indices of the dependent categories in consecutive numeration", fLocalCategories);
  DisplayVariables();
  QvComponentDisplay::DisplayI("fFreqWeightVar", fSettings.GetFrequencyWeightVar());
  QvComponentDisplay::DisplayI("fRegrWeightVar", fSettings.GetRegrWeightVar());
  QvComponentDisplay::DisplayI("fFreqWeightOffset", fRowLayout.fFrequencyWeight);
  QvComponentDisplay::DisplayI("fRegrWeightOffset", fRowLayout.fRegressionWeight);
  QvComponentDisplay::DisplayI("fNAnalysVars", fExtractor.GetExtractSize());
  DisplayPatterns();
  // Records count when they are read for the factor tables, and once more when they are stored.
  QvComponentDisplay::DisplayCount("fRecordCount", fRecordCounts.fRead + fpRows->fRecordCount);
  QvComponentDisplay::DisplayCount("fValidCount", fRecordCounts.fUsed);
  QvComponentDisplay::DisplayB("fbFactorTableFilled", fbFactorTableFilled);
  QvComponentDisplay::DisplayB("fbRowPatternsCreated", fbRowPatternsCreated);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvPatternTabulator display end");
}
