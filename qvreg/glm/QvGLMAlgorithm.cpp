#include "qvreg/glm/QvGLMAlgorithm.h"

#include <algorithm>
#include <new>
#include <span>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvTableSums.h"
#include "qvreg/glm/QvGLMOutputStats.h"

using QvCommon::MultiPassRecordIter;
using QvCommon::QvStatus;
using QvCommon::Record;

namespace {

constexpr int kNone = -1;
constexpr int kFirstCode = 0;

}  // namespace

QvGLMAlgorithm::QvGLMAlgorithm(const QvRegSettings& settings)
    : QvRegAlgorithm(settings),
      fSettings(settings),
      fFactorTables(settings.GetFactors(), settings.GetFactorSizes(),
                    settings.GetFrequencyWeightVar(), kNone, 0, kFirstCode, kNone, 0.0,
                    QvConst::QvOffsetNone),
      fModel(settings),
      fDesign(settings) {
  fValidator.SetRecordInfo(settings.GetVariableTypes(), settings.GetFactors(),
                           settings.GetFactorSizes(), 0);
}

void QvGLMAlgorithm::SetUpTables(QvFactorTables& tables) const {
  std::vector<int> averaged = fSettings.GetCovariates();
  averaged.push_back(fSettings.GetDependent());
  fDesign.SetUpTables(tables, averaged);
}

QvStatus QvGLMAlgorithm::ProcessData(MultiPassRecordIter& iter) {
  SetUpTables(fFactorTables);
  const QvStatus status = RunPass(QvPassKind::kTables, [&] {
    QvRecordPass pass(iter, fCancelInfo, fValidator);
    return FillFactorTables(pass, fFactorTables, fRecordCounts);
  });
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
QvStatus QvGLMAlgorithm::ForEachPanel(MultiPassRecordIter& iter, Step&& step) {
  QvRecordPass pass(iter, fCancelInfo, fValidator);
  return ForEachCountedPanel<QvCommon::QvKernels::kRows>(pass, fFactorTables, fRecordCounts, step);
}

void QvGLMAlgorithm::SetWeightAndMean() {
  fModel.SetScale(fFactorTables.GetTotalWeight());
  fModel.SetDependentMean(fMeanValues.back());
}

QvStatus QvGLMAlgorithm::AddProducts(MultiPassRecordIter& iter) {
  const QvStatus status = ForEachPanel(
      iter, [this](std::span<const double* const> records) { return fModel.AddRecords(records); });
  fModel.SettleProducts();
  return status;
}

QvStatus QvGLMAlgorithm::AddResiduals(MultiPassRecordIter& iter) {
  return ForEachPanel(iter, [this](std::span<const double* const> records) {
    fModel.ResidualSteps(records);
    return true;
  });
}

QvStatus QvGLMAlgorithm::Estimate(MultiPassRecordIter& iter) {
  SetWeightAndMean();
  QvStatus status = RunPass(QvPassKind::kProducts, [&] { return AddProducts(iter); });
  if (!status.IsError()) status = fModel.Sweep(fCancelInfo);
  if (status.IsError()) return status;

  if (!fModel.IsSwept()) return {QvStatusCode::kStageMissing, false};
  do {
    status = RunPass(QvPassKind::kResiduals, [&] { return AddResiduals(iter); });
    if (status.IsError()) return status;
  } while (fModel.Refine());
  return fModel.Fit();
}

std::unique_ptr<IQvPassSums> QvGLMAlgorithm::MakeSums(QvPassKind kind) {
  switch (kind) {
    case QvPassKind::kTables: {
      auto sums = std::make_unique<QvTableSums>(fSettings, 0);
      SetUpTables(sums->fTables);
      return sums;
    }
    case QvPassKind::kProducts: {
      auto products = fModel.MakeProducts();
      if (!products->IsValid()) throw std::bad_alloc();
      return products;
    }
    default:
      return fModel.MakeResiduals();
  }
}

QvStatus QvGLMAlgorithm::TakeSums(QvPassKind kind, IQvPassSums& sums) {
  if (kind == QvPassKind::kTables) {
    return dynamic_cast<QvTableSums&>(sums).GiveTo(fFactorTables, fRecordCounts);
  }
  fRecordCounts.NoteLaterPass(sums.fNUsed);
  if (kind == QvPassKind::kProducts) {
    fModel.SwapProducts(dynamic_cast<QvCrossProducts&>(sums));
  } else {
    fModel.SwapResiduals(dynamic_cast<QvGLMResiduals&>(sums));
  }
  return {};
}

void QvGLMAlgorithm::WriteTables(QvCommon::QvByteWriter& writer) const {
  fFactorTables.Write(writer);
}

void QvGLMAlgorithm::ReadTables(QvCommon::QvByteReader& reader) {
  if (!fDesign.AreVariablesKnown()) return reader.Fail();
  SetUpTables(fFactorTables);
  fFactorTables.Read(reader);
  if (!SetUpFromTables()) reader.Fail();
}

bool QvGLMAlgorithm::SetUpFromTables() {
  fMeanValues = fFactorTables.GetCovariateMeans();
  fbDataProcessed = true;
  fModel.Initialize(fFactorTables);
  fFactorTables.CreateParameterIndices();
  const bool isSetUp = !fModel.SetUpDesign(fDesign.GetEffectParameters()).IsError();
  SetWeightAndMean();
  return isSetUp;
}

void QvGLMAlgorithm::WriteState(QvPassKind kind, QvCommon::QvByteWriter& writer) const {
  const bool hasEstimates = kind == QvPassKind::kResiduals || kind == QvPassKind::kScoring;
  if (hasEstimates) fModel.WriteEstimates(writer);
}

void QvGLMAlgorithm::ReadState(QvPassKind kind, QvCommon::QvByteReader& reader) {
  if (kind == QvPassKind::kResiduals || kind == QvPassKind::kScoring) {
    fModel.ReadEstimates(reader);
    fbModelBuilt = kind == QvPassKind::kScoring;
  } else if (kind != QvPassKind::kTables && kind != QvPassKind::kProducts) {
    reader.Fail();
  }
}

void QvGLMAlgorithm::FillContents(QvModelContents& contents) const {
  contents.fTables = fFactorTables.GetContents();
  contents.fLinear = fModel.GetContents();
}

bool QvGLMAlgorithm::TakeModel(QvModelContents& contents) {
  if (!fDesign.AreVariablesKnown()) return false;
  SetUpTables(fFactorTables);
  fbModelBuilt = fFactorTables.TakeContents(contents.fTables) && SetUpFromTables() &&
                 fModel.TakeContents(contents.fLinear);
  return fbModelBuilt;
}

QvStatus QvGLMAlgorithm::RunPart(QvPassKind kind, MultiPassRecordIter& iter, IQvPassSums& sums) {
  if (kind == QvPassKind::kTables) {
    QvRecordPass pass(iter, fCancelInfo, fValidator);
    return dynamic_cast<QvTableSums&>(sums).AddRecords(pass);
  }
  CountAnew();
  // The sums take the place of the model's for the time of the pass.
  const auto swap = [&] {
    if (kind == QvPassKind::kProducts)
      return fModel.SwapProducts(dynamic_cast<QvCrossProducts&>(sums));
    fModel.SwapResiduals(dynamic_cast<QvGLMResiduals&>(sums));
  };
  swap();
  const QvStatus status = kind == QvPassKind::kProducts ? AddProducts(iter) : AddResiduals(iter);
  swap();
  sums.fNUsed = fRecordCounts.fUsedLater;
  return status;
}

QvStatus QvGLMAlgorithm::BuildModel(MultiPassRecordIter& iter) {
  if (fStatus.IsError()) return fStatus;
  if (!fModel.HasMatrix()) return fStatus = QvStatus(QvStatusCode::kNoParameters, false);
  if (fbModelBuilt) return {QvStatusCode::kAlreadyBuilt, false};
  fStatus = Estimate(iter);
  if (fStatus.IsError()) return fStatus;
  fbModelBuilt = true;
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

bool QvGLMAlgorithm::ExpandSparseRow(const Record& record, std::vector<int>& indices,
                                     std::vector<double>& values) {
  return HoldsDesign(record) && fModel.ExpandScaledRow(record.GetAll(), indices, values);
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
