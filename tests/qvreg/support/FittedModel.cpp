#include "tests/qvreg/support/FittedModel.h"

#include <stdexcept>
#include <string>

#include "qvreg/common/QvStatus.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

void Require(const QvCommon::QvStatus& status, const char* operation) {
  if (status.IsOK()) return;
  throw std::runtime_error(std::string(operation) + " ended with status " +
                           std::to_string(status.GetCode()));
}

}  // namespace

FittedModel::FittedModel(QvRegSettings& settings, const std::vector<QvCommon::Record>& records) {
  QvRegFactory factory;
  component_.reset(factory.CreateRegAlgorithm(settings));
  Require(factory.GetStatus(), "the factory");
  if (component_ == nullptr) throw std::runtime_error("the factory made no component");
  VectorRecordIter iter(records);
  Require(component_->BuildModel(iter), "BuildModel");
  Require(component_->GetOutputStats(stats_), "GetOutputStats");
}

double FittedModel::Predict(const QvCommon::Record& record) {
  double predicted = 0.0;
  std::vector<double> unused;
  Require(component_->Score(record, predicted, unused), "Score");
  return predicted;
}

std::vector<double> FittedModel::Predict(const std::vector<QvCommon::Record>& records) {
  std::vector<double> predicted;
  for (const QvCommon::Record& record : records) predicted.push_back(Predict(record));
  return predicted;
}

}  // namespace qvtest
