#include "tests/qvreg/support/LogModelOnTables.h"

#include <stdexcept>

#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

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
  design.SetUpTables(tables, settings.GetCovariates());
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
