#include "qvreg/glm/QvGLMAlgorithm.h"

#include <algorithm>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/glm/QvGLMOutputStats.h"

using QvCommon::MultiPassRecordIter;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

constexpr int kNone = -1;
constexpr int kFirstCode = 0;

}  // namespace

QvGLMAlgorithm::QvGLMAlgorithm(const QvRegSettings& settings)
    : QvRegAlgorithm(settings.GetCancelPointer()),
      fSettings(settings),
      fFactorTables(settings.GetFactors(), settings.GetFactorSizes(),
                    settings.GetFrequencyWeightVar(), kNone, 0, kFirstCode, kNone, 0.0,
                    QvConst::QvOffsetNone),
      fModel(settings),
      fDesign(settings) {
  fValidator.SetRecordInfo(settings.GetVariableTypes(), settings.GetFactors(),
                           settings.GetFactorSizes(), 0);
}

QvStatus QvGLMAlgorithm::ProcessData(MultiPassRecordIter& iter) {
  std::vector<int> averaged = fSettings.GetCovariates();
  averaged.push_back(fSettings.GetDependent());
  fDesign.SetUpTables(fFactorTables, averaged);
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  const QvStatus status = FillFactorTables(pass, fFactorTables, fRecordCounts);
  if (status.IsError()) return status;
  fMeanValues = fFactorTables.GetCovariateMeans();
  fbDataProcessed = true;
  return status;
}

QvStatus QvGLMAlgorithm::CreateParameters(MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  if (fStatus.IsError()) return fStatus;
  if (fbModelBuilt) return fStatus = QvStatus(QvStatusCode::kAlreadyBuilt, false);
  if (fbDataProcessed) return fStatus = QvStatus(QvStatusCode::kDataProcessed, false);
  if (!fDesign.AreVariablesKnown()) return fStatus = QvStatus(QvStatusCode::kNoParameters, false);
  fStatus = ProcessData(iter);
  if (fStatus.IsError()) return fStatus;

  fModel.Initialize(fFactorTables);
  fFactorTables.CreateParameterIndices();
  fStatus = fModel.CreateParameters(fDesign.GetEffectParameters());
  if (!fStatus.IsError()) params = fModel.GetParameters();
  return fStatus;
}

template <typename Step>
QvStatus QvGLMAlgorithm::ForEachRecord(MultiPassRecordIter& iter, Step&& step) {
  if (!fbDataProcessed) return {QvStatusCode::kDataNotProcessed, false};
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return ForEachCountedRecord(pass, fFactorTables, fRecordCounts,
                              [&](const Record& record) { return step(record.GetAll()); });
}

QvStatus QvGLMAlgorithm::Estimate(MultiPassRecordIter& iter) {
  fModel.SetScale(fFactorTables.GetTotalWeight());
  fModel.SetDependentMean(fMeanValues.back());
  QvStatus status =
      ForEachRecord(iter, [this](const double* values) { return fModel.AddRecord(values); });
  if (!status.IsError()) status = fModel.Sweep(fCancelInfo);
  if (status.IsError()) return status;

  if (!fModel.IsSwept()) return {QvStatusCode::kStageMissing, false};
  do {
    status = ForEachRecord(iter, [this](const double* values) {
      fModel.ResidualStep(values);
      return true;
    });
    if (status.IsError()) return status;
  } while (fModel.Refine());
  return fModel.Fit();
}

QvStatus QvGLMAlgorithm::BuildModel(MultiPassRecordIter& iter) {
  if (fStatus.IsError()) return fStatus;
  if (!fModel.HasMatrix()) return fStatus = QvStatus(QvStatusCode::kNoParameters, false);
  if (fbModelBuilt) return {QvStatusCode::kAlreadyBuilt, false};
  fStatus = Estimate(iter);
  if (fStatus.IsError()) return fStatus;
  fbModelBuilt = true;
  if (!fWarnings.empty()) fStatus = fWarnings.back();
  return fStatus;
}

bool QvGLMAlgorithm::HoldsDesign(const Record& record) const {
  return record.Size() >= fDesign.GetRecordSize();
}

QvStatus QvGLMAlgorithm::Score(const Record& record, double& predicted,
                               std::vector<double>& /*values*/) {
  if (fStatus.IsError()) return fStatus;
  if (fCancelInfo.WillCancel()) return {QvStatusCode::kCancelled, false};
  if (!fbModelBuilt) return {QvStatusCode::kNotBuilt, false};
  if (!HoldsDesign(record)) return {QvStatusCode::kShortRecord, false};
  predicted = fModel.GetPredictedValue(record.GetAll());
  return fStatus;
}

std::unique_ptr<IQvRegOutputStats> QvGLMAlgorithm::MakeOutputStats() {
  return std::make_unique<QvGLMOutputStats>(fSettings, *this);
}

bool QvGLMAlgorithm::ExpandRow(const Record& record, std::vector<double>& row) {
  if (!fModel.HasMatrix() || !HoldsDesign(record)) return false;
  const int var = fSettings.GetDependent();
  const double dependent = var < record.Size() ? record[var] : QvMV::gMissingValue;
  return fModel.ExpandRow(record.GetAll(), dependent, row);
}

bool QvGLMAlgorithm::ExpandScaledRow(const Record& record, std::vector<int>& indices,
                                     std::vector<double>& values) {
  if (!fModel.HasMatrix() || !HoldsDesign(record)) return false;
  return fModel.ExpandScaledRow(record.GetAll(), indices, values);
}

void QvGLMAlgorithm::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvGLMAlgorithm display start");
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Record Validator");
  fValidator.Display();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fFactorTables");
  fFactorTables.Display();
  QvComponentDisplay::DisplayDV("fMeanValues", fMeanValues, true);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fModel");
  fModel.Display();
  QvComponentDisplay::DisplayB("fbDataProcessed", fbDataProcessed);
  QvComponentDisplay::DisplayB("fbModelBuilt", fbModelBuilt);
  QvComponentDisplay::DisplayCount("fRecordCount", fRecordCounts.fRead);
  QvComponentDisplay::DisplayCount("fValidCount", fRecordCounts.fUsed);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvGLMAlgorithm display end");
}
