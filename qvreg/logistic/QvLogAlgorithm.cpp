#include "qvreg/logistic/QvLogAlgorithm.h"

#include <algorithm>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/logistic/QvRecordIterHandler.h"

using QvCommon::MultiPassRecordIter;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

constexpr int kNone = -1;
constexpr int kFirstCode = 0;

}  // namespace

QvLogAlgorithm::QvLogAlgorithm(const QvLogRegSettings& settings)
    : QvRegAlgorithm(settings.GetCancelPointer()),
      fSettings(settings),
      fFactorTables(settings.GetFactors(), settings.GetFactorSizes(),
                    settings.GetFrequencyWeightVar(), settings.GetDependent(),
                    settings.GetDependentNCategs(), kFirstCode, kNone, 0.0, QvConst::QvOffsetNone),
      fModel(settings, fCancelInfo),
      fDesign(settings) {
  fValidator.SetRecordInfo(settings.GetVariableTypes(), settings.GetFactors(),
                           settings.GetFactorSizes(), settings.GetDependentNCategs());
}

void QvLogAlgorithm::Note(const QvStatus& status) {
  if (status.IsError()) {
    if (!fStatus.IsError()) fStatus = status;
    return;
  }
  if (!status.IsWarning()) return;
  const bool isListed =
      std::any_of(fWarnings.begin(), fWarnings.end(),
                  [&status](const QvStatus& warning) { return warning.IsIdenticalTo(status); });
  if (!isListed) fWarnings.push_back(status);
}

bool QvLogAlgorithm::CanContinue() {
  if (!fStatus.IsError() && fCancelInfo.StopRequested()) Note({QvStatusCode::kCancelled, false});
  return !fStatus.IsError();
}

QvStatus QvLogAlgorithm::FirstPass(MultiPassRecordIter& iter) {
  if (fSettings.GetUsePatternTabulator()) {
    fPatternExtractor =
        std::make_unique<QvPatternTabulator>(fSettings, fFactorTables, fValidator, fCancelInfo);
    const QvStatus status = fPatternExtractor->FillFactorTables(iter);
    fRecordCounts = fPatternExtractor->GetRecordCounts();
    return status;
  }
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return FillFactorTables(pass, fFactorTables, fRecordCounts);
}

void QvLogAlgorithm::ProcessData(MultiPassRecordIter& iter) {
  fDesign.SetUpTables(fFactorTables, fSettings.GetCovariates());
  Note(FirstPass(iter));
  if (fStatus.IsError()) return;
  fMeanValues = fFactorTables.GetCovariateMeans();
  fbFactorTableFilled = true;
}

QvRowLayout QvLogAlgorithm::RecordLayout() const {
  QvRowLayout layout;
  layout.fCovariates = fSettings.GetCovariates();
  layout.fFrequencyWeight = fSettings.GetFrequencyWeightVar();
  layout.fRegressionWeight = fSettings.GetRegrWeightVar();
  layout.fDependent = fSettings.GetDependent();
  return layout;
}

void QvLogAlgorithm::SetUpModel(std::vector<QvRegrParameter>& params) {
  const QvRowLayout records = RecordLayout();
  fModel.SetLayouts(records,
                    fPatternExtractor != nullptr ? fPatternExtractor->GetRowLayout() : records);
  fModel.SetDesign(fFactorTables, fDesign.GetEffectParameters());
  fFactorTables.CreateParameterIndices();
  QvStatus status;
  fModel.SetDependentCategories(status, fFactorTables.GetDependCountsPtr());
  Note(status);
  if (!CanContinue()) return;
  status = QvStatus();
  fModel.Initialize(status);
  Note(status);
  params = fModel.GetAllParameters();
  fbParametersCreated = !params.empty();
  if (!fStatus.IsError()) Note(CheckStartingValues());
}

QvStatus QvLogAlgorithm::CheckStartingValues() const {
  const std::size_t nValues = fSettings.GetStartingValues().size();
  const std::size_t nParameters = fModel.GetAllParameters().size();
  if (nValues == 0 || nValues == nParameters) return {};
  QvStatus status(QvStatusCode::kNoParameters, false);
  status.SetDiscreteDatum(0, static_cast<long>(nValues));
  status.SetDiscreteDatum(1, static_cast<long>(nParameters));
  return status;
}

QvStatus QvLogAlgorithm::CreateParameters(MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  if (!CanContinue()) return fStatus;
  if (fbModelBuilt) {
    Note({QvStatusCode::kAlreadyBuilt, false});
  } else if (fbFactorTableFilled) {
    Note({QvStatusCode::kDataProcessed, false});
  } else if (!fDesign.AreVariablesKnown()) {
    Note({QvStatusCode::kNoParameters, false});
  }
  if (!fStatus.IsError()) ProcessData(iter);
  if (CanContinue()) SetUpModel(params);
  return fStatus;
}

QvStatus QvLogAlgorithm::AccumulateXPrimeX(MultiPassRecordIter& iter) {
  if (fPatternExtractor == nullptr) {
    QvRecordPass pass(iter, fCancelInfo, fValidator);
    return ForEachCountedRecord(pass, fFactorTables, fRecordCounts, [this](const Record& record) {
      return fModel.AddRecordToXPrimeX(record.GetAll());
    });
  }
  const QvStatus status = fPatternExtractor->CreateRowPatterns(iter, fModel);
  fRecordCounts = fPatternExtractor->GetRecordCounts();
  return status.IsError() ? status : fPatternExtractor->AddRowsToXPrimeX(fModel);
}

QvStatus QvLogAlgorithm::ClassifyRecords(MultiPassRecordIter& iter) {
  if (fPatternExtractor != nullptr) return fPatternExtractor->ClassifyRows(fModel);
  std::vector<double> noResiduals;
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return ForEachCountedRecord(pass, fFactorTables, fRecordCounts, [&](const Record& record) {
    fModel.UpdateClassification(noResiduals, record.GetAll());
    return true;
  });
}

QvStatus QvLogAlgorithm::Classify(MultiPassRecordIter& iter) {
  const QvStatus status = ClassifyRecords(iter);
  return status.IsError() ? status : fModel.FinishClassification();
}

void QvLogAlgorithm::CreateStatistics() {
  fpStats = std::make_unique<QvAccumStatsLogistic>(fSettings, fModel.GetNumBasicNonRedundant(),
                                                   fModel.GetNumDependCategories(), fBeta);
  if (fpStats->IsValid()) return;
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, fModel.GetNumAllNonRedundant());
  Note(status);
}

void QvLogAlgorithm::RunOptimizer(MultiPassRecordIter& iter) {
  QvRecordIterHandler recordHandler(iter, fCancelInfo, fValidator, fSettings.GetDependent(),
                                    fSettings.GetFrequencyWeightVar(), fSettings.GetRegrWeightVar(),
                                    &fRecordCounts);
  IQvDataHandler* handler = fPatternExtractor.get();
  if (handler == nullptr) handler = &recordHandler;
  fpOptimizer = std::make_unique<QvRegOptimizer>(fSettings, &fModel, handler, fpStats.get(), fBeta,
                                                 fCancelInfo, fSettings.GetProgressListener(),
                                                 fSettings.GetIterationFrequency());
  fpOptimizer->SetReportExponents(fModel.GetKeptExponents());
  ApplyStartingValues();
  if (CanContinue()) Note(fpOptimizer->Estimate());
  // A pass that could not start shows there one pass late, and after the last one never.
  Note(recordHandler.GetStatus());
  if (CanContinue()) Note(fModel.SetEstimates(fBeta, *fpOptimizer->GetMatrix()));
  fpOptimizer->DeleteMatrix();
}

void QvLogAlgorithm::ApplyStartingValues() {
  const bool isInterceptAlone =
      fSettings.GetInterceptUse() && fModel.GetNumBasicNonRedundant() <= 1;
  if (fSettings.GetStartingValues().empty() || isInterceptAlone) return;
  Note(fpOptimizer->MeasureBaseline());
  if (CanContinue()) fBeta = fModel.CompressEstimates(fSettings.GetStartingValues());
}

QvStatus QvLogAlgorithm::BuildModel(MultiPassRecordIter& iter) {
  if (!fbParametersCreated) return fStatus;
  if (CanContinue()) Note(AccumulateXPrimeX(iter));
  if (CanContinue()) Note(fModel.FindRedundancy());
  if (CanContinue()) {
    QvStatus status;
    fModel.GetStartingValues(status, fBeta);
    Note(status);
  }
  if (CanContinue()) CreateStatistics();
  if (CanContinue()) RunOptimizer(iter);
  if (CanContinue()) Note(Classify(iter));
  fModel.DeleteXPrimeXMatrix();
  fpStats.reset();
  // A stop that came with the last record left that record out.
  fbModelBuilt = CanContinue();
  return fStatus;
}

bool QvLogAlgorithm::MayBeScored(const Record& record, QvStatus& status) const {
  if (record.Size() < fDesign.GetRecordSize()) {
    status = QvStatus(QvStatusCode::kShortRecord, false);
    return false;
  }
  return fValidator.IsValid4Scoring(record, status);
}

QvStatus QvLogAlgorithm::Score(const Record& record, double& predicted,
                               std::vector<double>& probabilities) {
  QvStatus status = fStatus;
  if (status.IsError()) return status;
  if (fCancelInfo.WillCancel()) return {QvStatusCode::kCancelled, false};
  if (!fbModelBuilt) return {QvStatusCode::kNotBuilt, false};
  if (!MayBeScored(record, status)) return status;
  probabilities.assign(static_cast<std::size_t>(fModel.GetNumDependCategories()), 0.0);
  int code = kNone;
  fModel.ComputeCategoryProbabilities(status, record.GetAll(), probabilities, code);
  predicted = code;
  return status;
}

std::unique_ptr<IQvRegOutputStats> QvLogAlgorithm::MakeOutputStats() {
  return std::make_unique<QvLogOutputStats>(fSettings, *this);
}

bool QvLogAlgorithm::ExpandRow(const Record& record, std::vector<double>& row) const {
  QvStatus status;
  if (!MayBeScored(record, status)) return false;
  row.assign(static_cast<std::size_t>(fModel.GetNumAllParameters()), 0.0);
  return fModel.ExpandRow(row, record.GetAll());
}

bool QvLogAlgorithm::ExpandRow(const Record& record, std::vector<int>& indices,
                               std::vector<double>& values) const {
  QvStatus status;
  return MayBeScored(record, status) && fModel.ExpandRow(record.GetAll(), indices, values);
}

void QvLogAlgorithm::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvLogAlgorithm display start");
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fPatternExtractor");
  if (fPatternExtractor != nullptr) fPatternExtractor->Display();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fFactorTables");
  fFactorTables.Display();
  QvComponentDisplay::DisplayDV("fMeanValues", fMeanValues, true);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fModel");
  fModel.Display();
  QvComponentDisplay::DisplayB("fbFactorTableFilled", fbFactorTableFilled);
  QvComponentDisplay::DisplayB("fbModelBuilt", fbModelBuilt);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvLogAlgorithm display end");
}
