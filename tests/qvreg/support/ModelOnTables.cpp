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

}  // namespace qvtest
