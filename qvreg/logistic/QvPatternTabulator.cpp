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

using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

/// Patterns of fewer rows are added row by row: their sums would be moved for too few.
constexpr std::size_t kFewRows = 4;

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
  const auto* logistic = dynamic_cast<const QvLogModel*>(model);
  fpPatternStats = logistic == nullptr ? nullptr : dynamic_cast<IQvPatternStats*>(stats);
  if (fpPatternStats == nullptr) return;
  fDesign = QvPatternDesign(logistic->GetRowDesign(), fFactorTables, logistic->GetKeptNumbers());
  const auto nCategories = static_cast<std::size_t>(logistic->GetNumDependCategories());
  fBatch.fValues.resize(IQvPatternStats::kMostRows * fDesign.GetValueCount());
  fAlikeWeights.resize(nCategories);
  fAlikeRows.resize(nCategories);
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

QvStatus QvPatternTabulator::CreateRowPatterns(QvCommon::MultiPassRecordIter& iter,
                                               const IQvRegModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (fbRowPatternsCreated) return Keep({QvStatusCode::kDataNotProcessed, false});
  fCategories = model.GetDependCategories();
  fLocalCategories = model.GetDependCategoryLocalIndices();
  std::vector<int> bounds;
  for (const int effect : fFactorTables.GetModelEffectIndices()) {
    bounds.push_back(std::max(fFactorTables.GetNEffectParameters(effect), 1));
  }
  if (!fpRows->SetUp(fExtractor.GetExtractSize(), bounds)) {
    return Keep({QvStatusCode::kTooManyParameters, false});
  }
  fCodes.assign(bounds.size(), 0);
  QvRecordPass pass(iter, fCancel, fValidator);
  const QvStatus status =
      ForEachCountedRecord(pass, fFactorTables, fRecordCounts,
                           [this](const double* record) { return AddValues(record); });
  if (status.IsError()) return Keep(status);
  fpRows->Arrange(fFactorTables);
  fbRowPatternsCreated = true;
  return fStatus;
}

void QvPatternTabulator::SetRows(std::unique_ptr<QvPatternTable> rows) {
  fpRows = std::move(rows);
  fCodes.assign(fpRows->GetBounds().size(), 0);
  fbRowPatternsCreated = true;
}

std::unique_ptr<QvPatternTable> QvPatternTabulator::TakeRows() {
  if (!fbRowPatternsCreated) return nullptr;
  fbRowPatternsCreated = false;
  return std::exchange(fpRows, std::make_unique<QvPatternTable>());
}

bool QvPatternTabulator::AddRecord(const Record& record) { return AddValues(record.GetAll()); }

bool QvPatternTabulator::FindCodes(const double* record) {
  const std::vector<int>& effects = fFactorTables.GetModelEffectIndices();
  if (effects.empty()) return true;
  bool ok = true;
  const std::vector<int>& indices = fFactorTables.GetRowParameterIndices(record, ok);
  for (std::size_t e = 0; ok && e < effects.size(); ++e) {
    const auto effect = static_cast<std::size_t>(effects[e]);
    fCodes[e] = indices[effect] - fFactorTables.GetParameterOffsets()[effect];
  }
  return ok;
}

bool QvPatternTabulator::AddValues(const double* record) {
  if (!FindCodes(record)) return false;
  const int code = QvFactorCounts::CategoryIndex(record[fSettings.GetDependent()], 0);
  const int local = fLocalCategories[static_cast<std::size_t>(code)];
  if (local < 0) return false;
  const QvRowPlace row = fpRows->AppendRow(fCodes);
  if (row.fpFirst == nullptr) return false;
  fpRows->CountRecords(fFactorTables.RecordCount(record));
  double* value = row.fpFirst;
  for (const int var : fExtractor.GetAllRecordIndices()) {
    *value = record[var];
    value += row.fStep;
  }
  row[static_cast<std::size_t>(fRowLayout.fDependent)] = local;
  return true;
}

template <typename VisitPanel, typename VisitRow>
QvStatus QvPatternTabulator::WalkAt(std::size_t place, VisitPanel&& visitPanel,
                                    VisitRow&& visitRow) {
  QvStatus status;
  const auto visit = [&](auto&& add) {
    if (fCancel.StopRequested()) {
      status = QvStatus(QvStatusCode::kCancelled, false);
    } else if (!add()) {
      status = QvRecordPass::RefusedRecord(fCancel);
    }
    return !status.IsError();
  };
  fpRows->ForEachRun(place, [&](const QvStoredRows& rows) {
    if (rows.fbPanel) return visit([&] { return visitPanel(rows); });
    for (std::size_t r = 0; r < rows.fCount; ++r) {
      if (!visit([&] { return visitRow(rows.Row(r, nullptr)); })) return false;
    }
    return true;
  });
  return status;
}

template <typename VisitRow>
bool QvPatternTabulator::VisitRows(const QvStoredRows& rows, VisitRow&& visitRow) {
  fRow.resize(rows.fRowSize);
  for (std::size_t r = 0; r < rows.fCount; ++r) {
    if (!visitRow(rows.Row(r, fRow.data()))) return false;
  }
  return true;
}

template <typename VisitRow>
QvStatus QvPatternTabulator::WalkAt(std::size_t place, VisitRow&& visitRow) {
  return WalkAt(
      place, [&](const QvStoredRows& rows) { return VisitRows(rows, visitRow); }, visitRow);
}

template <typename VisitPlace>
QvStatus QvPatternTabulator::WalkPlaces(VisitPlace&& visitPlace) {
  fpRows->Arrange(fFactorTables);
  const auto nPatterns = static_cast<std::size_t>(fpRows->GetPatternCount());
  QvStatus status;
  for (std::size_t place = 0; place < nPatterns && !status.IsError(); ++place) {
    fpRows->CopyIndices(place, fIndices);
    status = visitPlace(place);
  }
  return Keep(status);
}

template <typename VisitRow>
QvStatus QvPatternTabulator::Walk(VisitRow&& visitRow) {
  return WalkPlaces([&](std::size_t place) { return WalkAt(place, visitRow); });
}

QvStatus QvPatternTabulator::AddRowsToXPrimeX(IQvRegModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kStageMissing, false});
  const auto addRow = [&](const double* row) { return model.AddRowToXPrimeX(row, fIndices); };
  auto* logistic = dynamic_cast<QvLogModel*>(&model);
  if (logistic == nullptr || !logistic->GetRowDesign().HasAllColumns()) return Walk(addRow);
  return WalkPlaces([&](std::size_t place) {
    const auto addPanel = [&](const QvStoredRows& rows) {
      FindWeights(rows);
      return logistic->AddPanelToXPrimeX(rows.fpValues, rows.fCount, fPanelWeights.data());
    };
    return WalkAt(place, addPanel, addRow);
  });
}

void QvPatternTabulator::ClassifyPanel(QvLogModel& model, const QvStoredRows& rows) {
  fPredictions.Predict(fDesign.FindPanelColumns(rows.fpValues).data());
  std::vector<double> noResiduals;
  const double* categories = rows.Column(static_cast<std::size_t>(fRowLayout.fDependent));
  const double* weights = nullptr;
  if (fRowLayout.fFrequencyWeight >= 0) {
    weights = rows.Column(static_cast<std::size_t>(fRowLayout.fFrequencyWeight));
  }
  fRow.resize(rows.fRowSize);
  for (std::size_t r = 0; r < rows.fCount; ++r) {
    const int predicted = fPredictions.GetCategory(r);
    if (predicted < 0) {
      model.UpdateClassificationFromIndices(noResiduals, rows.Row(r, fRow.data()), fIndices);
    } else {
      model.AddClassified(static_cast<int>(categories[r]), predicted,
                          weights == nullptr ? 1.0 : weights[r]);
    }
  }
}

QvStatus QvPatternTabulator::ClassifyRows(QvLogModel& model) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kStageMissing, false});
  fDesign = QvPatternDesign(model.GetRowDesign(), fFactorTables, model.GetKeptNumbers());
  fPredictions.SetUp(model, fDesign.GetValueCount());
  std::vector<double> noResiduals;
  return WalkPlaces([&](std::size_t place) {
    fDesign.FindColumns(fIndices);
    fPredictions.BeginPattern(fDesign.GetColumns(), fDesign.GetPlaces());
    const auto classifyPanel = [&](const QvStoredRows& rows) {
      ClassifyPanel(model, rows);
      return true;
    };
    return WalkAt(place, classifyPanel, [&](const double* row) {
      model.UpdateClassificationFromIndices(noResiduals, row, fIndices);
      return true;
    });
  });
}

double QvPatternTabulator::RowWeight(const double* row) const {
  double weight = 1.0;
  if (fRowLayout.fFrequencyWeight >= 0) weight *= row[fRowLayout.fFrequencyWeight];
  if (fRowLayout.fRegressionWeight >= 0) weight *= row[fRowLayout.fRegressionWeight];
  return weight;
}

bool QvPatternTabulator::AddRow(const double* row, bool llOnly) {
  int count = 0;
  fpModel->GetSparseRowFromIndices(row, fIndices, count, fSparseIndices, fSparseValues);
  return fpStats->UpdateForRow(fSparseIndices, fSparseValues, CategoryOf(row), RowWeight(row),
                               llOnly) >= 0;
}

bool QvPatternTabulator::AddBatch(bool llOnly) {
  const std::size_t count = std::exchange(fBatch.fCount, 0);
  const IQvPatternStats::Rows rows{count, fBatch.fValues.data(), fBatch.fCategories.data(),
                                   fBatch.fWeights.data()};
  if (count == 0 || fpPatternStats->AddRows(rows)) return true;
  return std::all_of(fBatch.fRows.begin(), fBatch.fRows.begin() + count,
                     [&](const double* row) { return AddRow(row, llOnly); });
}

bool QvPatternTabulator::AddPanel(const QvStoredRows& rows, bool llOnly) {
  const std::vector<const double*>& columns = fDesign.FindPanelColumns(rows.fpValues);
  FindWeights(rows);
  const double* categories = rows.Column(static_cast<std::size_t>(fRowLayout.fDependent));
  const IQvPatternStats::Columns panel{rows.fCount, columns.data(), categories,
                                       fPanelWeights.data()};
  if (fpPatternStats->AddColumns(panel)) return true;
  return VisitRows(rows, [&](const double* row) { return AddRow(row, llOnly); });
}

void QvPatternTabulator::FindWeights(const QvStoredRows& rows) {
  std::fill_n(fPanelWeights.begin(), rows.fCount, 1.0);
  for (const int offset : {fRowLayout.fFrequencyWeight, fRowLayout.fRegressionWeight}) {
    if (offset < 0) continue;
    const double* column = rows.Column(static_cast<std::size_t>(offset));
    for (std::size_t r = 0; r < rows.fCount; ++r) fPanelWeights[r] *= column[r];
  }
}

QvStatus QvPatternTabulator::AddBatches(std::size_t place, bool llOnly) {
  const std::size_t nValues = fDesign.GetValueCount();
  fBatch.fCount = 0;
  const auto addPanel = [&](const QvStoredRows& rows) {
    return AddBatch(llOnly) && AddPanel(rows, llOnly);
  };
  const QvStatus status = WalkAt(place, addPanel, [&](const double* row) {
    const std::size_t r = fBatch.fCount++;
    fDesign.FillValues(row, &fBatch.fValues[r * nValues]);
    fBatch.fCategories[r] = CategoryOf(row);
    fBatch.fWeights[r] = RowWeight(row);
    fBatch.fRows[r] = row;
    return fBatch.fCount < fBatch.fRows.size() || AddBatch(llOnly);
  });
  if (status.IsError() || AddBatch(llOnly)) return status;
  return QvRecordPass::RefusedRecord(fCancel);
}

QvStatus QvPatternTabulator::AddAlikeRows(std::size_t place, bool llOnly) {
  std::fill(fAlikeWeights.begin(), fAlikeWeights.end(), 0.0);
  std::fill(fAlikeRows.begin(), fAlikeRows.end(), 0);
  const QvStatus status = WalkAt(place, [&](const double* row) {
    const auto category = static_cast<std::size_t>(CategoryOf(row));
    const double weight = RowWeight(row);
    fAlikeWeights[category] += weight;
    ++fAlikeRows[category];
    return !(0.0 >= weight);
  });
  if (status.IsError()) return status;
  fSparseValues.assign(fDesign.GetColumns().size(), 1.0);
  for (std::size_t c = 0; c < fAlikeRows.size(); ++c) {
    if (fAlikeRows[c] == 0) continue;
    const int result =
        fpPatternStats->UpdateForAlikeRows(fDesign.GetColumns(), fSparseValues, static_cast<int>(c),
                                           fAlikeWeights[c], fAlikeRows[c], llOnly);
    if (result < 0) return QvRecordPass::RefusedRecord(fCancel);
  }
  return {};
}

QvStatus QvPatternTabulator::AddPattern(std::size_t place, bool llOnly) {
  const std::size_t nRows = fpRows->GetRowCountAt(place);
  if (nRows >= kFewRows) {
    fDesign.FindColumns(fIndices);
    if (fDesign.IsConstant() && nRows >= fAlikeRows.size()) return AddAlikeRows(place, llOnly);
    if (fpPatternStats->BeginPattern(fDesign.GetColumns(), fDesign.GetPlaces(),
                                     fDesign.GetValueCount(), llOnly)) {
      const QvStatus status = AddBatches(place, llOnly);
      fpPatternStats->EndPattern();
      return status;
    }
  }
  return WalkAt(place, [&](const double* row) { return AddRow(row, llOnly); });
}

QvStatus QvPatternTabulator::ComputeStatsForOptimizer(bool llOnly) {
  if (fStatus.IsError()) return fStatus;
  if (!fbRowPatternsCreated) return Keep({QvStatusCode::kDataNotProcessed, false});
  return QvMakePassAhead(fpAhead, llOnly, fCancel, [&] {
    if (fpPatternStats != nullptr) {
      return WalkPlaces([&](std::size_t place) { return AddPattern(place, llOnly); });
    }
    return Walk([&](const double* row) { return AddRow(row, llOnly); });
  });
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
  if (fpRows->GetRowCount() > 0) {
    fpRows->Arrange(fFactorTables);
    fpRows->Display();
    return;
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "fpRowPatternTable is undefined");
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpKey is undefined");
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
                                fpRows->GetBounds());
  QvComponentDisplay::DisplayIV("Vector of packed bounds", fpRows->GetPackedBounds());
  QvComponentDisplay::DisplayI("fNPackedKey", static_cast<int>(fpRows->GetPackedBounds().size()));
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
  QvComponentDisplay::DisplayCount("fRecordCount", fRecordCounts.fRead + fpRows->GetRecordCount());
  QvComponentDisplay::DisplayCount("fValidCount", fRecordCounts.fUsed);
  QvComponentDisplay::DisplayB("fbFactorTableFilled", fbFactorTableFilled);
  QvComponentDisplay::DisplayB("fbRowPatternsCreated", fbRowPatternsCreated);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvPatternTabulator display end");
}
