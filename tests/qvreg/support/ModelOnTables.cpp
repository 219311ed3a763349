#include "tests/qvreg/support/ModelOnTables.h"

#include <stdexcept>

#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/design/QvModelDesign.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

namespace {

constexpr int kNone = -1;

}  // namespace

ModelOnTables::ModelOnTables(const QvRegSettings& settings,
                             const std::vector<std::vector<double>>& rows)
    : tables(settings.GetFactors(), settings.GetFactorSizes(), settings.GetFrequencyWeightVar(),
             kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone),
      model(settings),
      records_(MakeRecords(rows)) {
  const QvModelDesign design(settings);
  std::vector<int> averaged = settings.GetCovariates();
  averaged.push_back(settings.GetDependent());
  design.SetUpTables(tables, averaged);
  for (const QvCommon::Record& record : records_) tables.UpdateAll(record);
  tables.CreateParameterIndices();
  model.Initialize(tables);
  if (!model.CreateParameters(design.GetEffectParameters()).IsOK())
    throw std::runtime_error("no parameters");
  model.SetScale(tables.GetTotalWeight());
  model.SetDependentMean(tables.GetCovariateMeans().back());
}

void ModelOnTables::AddRecords() {
  for (const QvCommon::Record& record : records_) {
    if (!model.AddRecord(record.GetAll())) throw std::runtime_error("a record was refused");
  }
}

QvCommon::QvStatus ModelOnTables::Fit() {
  AddRecords();
  QvCancelInfo cancel;
  const QvCommon::QvStatus status = model.Sweep(cancel);
  if (status.IsError()) return status;
  for (const QvCommon::Record& record : records_) model.ResidualStep(record.GetAll());
  return model.Fit();
}

LogModelOnTables::LogModelOnTables(const QvLogRegSettings& runSettings,
                                   const std::vector<std::vector<double>>& rows)
    : settings(runSettings),
      tables(settings.GetFactors(), settings.GetFactorSizes(), settings.GetFrequencyWeightVar(),
             settings.GetDependent(), settings.GetDependentNCategs(), 0, -1, 0.0,
             QvConst::QvOffsetNone),
      design(settings),
      model(settings, cancel),
      records_(MakeRecords(rows)) {
  validator.SetRecordInfo(settings.GetVariableTypes(), settings.GetFactors(),
                          settings.GetFactorSizes(), settings.GetDependentNCategs());
  tables.SetModelEffectFactors(design.GetEffectFactors(), settings.GetFactors());
  tables.SetCovariates(settings.GetCovariates());
  tables.SetRegrWeightVar(settings.GetRegrWeightVar());
  for (const QvCommon::Record& record : records_) tables.UpdateAll(record);
  tables.CreateParameterIndices();
  model.SetDesign(tables, design.GetEffectParameters());
  model.SetLayouts(RecordLayout(), RecordLayout());
}

QvRowLayout LogModelOnTables::RecordLayout() const {
  QvRowLayout layout;
  layout.fCovariates = settings.GetCovariates();
  layout.fFrequencyWeight = settings.GetFrequencyWeightVar();
  layout.fRegressionWeight = settings.GetRegrWeightVar();
  layout.fDependent = settings.GetDependent();
  return layout;
}

QvCommon::QvStatus LogModelOnTables::Initialize() {
  QvCommon::QvStatus status;
  model.SetDependentCategories(status, tables.GetDependCountsPtr());
  if (!status.IsError()) model.Initialize(status);
  return status;
}

void LogModelOnTables::FindRedundancy() {
  if (Initialize().IsError()) throw std::runtime_error("the model was not initialised");
  for (const QvCommon::Record& record : records_) {
    if (!model.AddRecordToXPrimeX(record.GetAll())) throw std::runtime_error("a row was refused");
  }
  if (model.FindRedundancy().IsError()) throw std::runtime_error("no redundancy");
}

}  // namespace qvtest
