#include "tests/qvreg/support/FittedModel.h"

#include <cstddef>
#include <stdexcept>
#include <string>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

void Require(const QvCommon::QvStatus& status, const char* operation) {
  if (status.IsOK()) return;
  throw std::runtime_error(std::string(operation) + " ended with status " +
                           std::to_string(status.GetCode()));
}

std::unique_ptr<IQvRegComponent> MakeComponent(QvRegSettings& settings) {
  QvRegFactory factory;
  std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  Require(factory.GetStatus(), "the factory");
  if (component == nullptr) throw std::runtime_error("the factory made no component");
  return component;
}

}  // namespace

FittedModel::FittedModel(QvRegSettings& settings, const std::vector<QvCommon::Record>& records)
    : component_(MakeComponent(settings)) {
  VectorRecordIter iter(records);
  Build(iter);
}

FittedModel::FittedModel(QvRegSettings& settings, QvCommon::MultiPassRecordIter& records)
    : component_(MakeComponent(settings)) {
  std::vector<QvRegrParameter> parameters;
  Require(component_->CreateParameters(records, parameters), "CreateParameters");
  Build(records);
  if (stats_->GetParameters() != parameters) throw std::runtime_error("other parameters");
}

void FittedModel::Build(QvCommon::MultiPassRecordIter& records) {
  Require(component_->BuildModel(records), "BuildModel");
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
  predicted.reserve(records.size());
  for (const QvCommon::Record& record : records) predicted.push_back(Predict(record));
  return predicted;
}

LogisticFit::LogisticFit(QvLogRegSettings& settings, const std::vector<QvCommon::Record>& records)
    : model_(settings, records), stats_(dynamic_cast<const QvLogOutputStats*>(&model_.Stats())) {
  if (stats_ == nullptr) throw std::runtime_error("not the statistics of a logistic model");
}

LogisticScore LogisticFit::Score(const QvCommon::Record& record) {
  LogisticScore score;
  score.status = Component().Score(record, score.predicted, score.probabilities);
  return score;
}

std::vector<double> LogisticFit::ProbabilitiesByCode(const QvCommon::Record& record,
                                                     int nCategories) {
  const LogisticScore score = Score(record);
  std::vector<double> byCode(static_cast<std::size_t>(nCategories), 0.0);
  const std::vector<int>& codes = Stats().GetDependCategories();
  for (std::size_t j = 0; j < codes.size(); ++j) {
    byCode.at(static_cast<std::size_t>(codes[j])) = score.probabilities.at(j);
  }
  return byCode;
}

std::vector<double> LogisticFit::TableByCode(int nCategories) const {
  const auto n = static_cast<std::size_t>(nCategories);
  std::vector<double> byCode(n * n, 0.0);
  const std::vector<int>& codes = Stats().GetDependCategories();
  for (std::size_t i = 0; i < codes.size(); ++i) {
    for (std::size_t j = 0; j < codes.size(); ++j) {
      const auto place =
          static_cast<std::size_t>(codes[i]) * n + static_cast<std::size_t>(codes[j]);
      byCode.at(place) =
          Stats().GetClassificationTable()->GetElem(static_cast<int>(i), static_cast<int>(j));
    }
  }
  return byCode;
}

std::vector<double> LogisticFit::AllNumbers() const {
  std::vector<double> numbers = Stats().GetParamEstimates();
  for (const QvRegrParameterStats& parameter : Stats().GetParamStats()) {
    numbers.push_back(parameter.fEstimate);
  }
  for (const double mean : Stats().GetMeanValues()) numbers.push_back(mean);
  for (const auto stat : {QvConst::QvFitCoxSnellRSquare, QvConst::QvFitNagelkerkeRSquare,
                          QvConst::QvFitMcFaddenRSquare}) {
    numbers.push_back(Stats().GetModelFitStat(stat));
  }
  for (const double number : {Stats().GetInitialLL(), Stats().GetFinalLL(), Stats().GetLLChange(),
                              Stats().GetParameterChange(), Stats().GetTotalFreqWeight(),
                              Stats().GetTotalRegrWeight(), Stats().GetNDegFreedom()}) {
    numbers.push_back(number);
  }
  const QvCommon::QvSymMatrixData* covariance = Stats().GetCovarianceMatrix();
  if (covariance == nullptr) return numbers;
  for (int i = 0; i < covariance->GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) numbers.push_back(covariance->GetElem(i, j));
  }
  return numbers;
}

}  // namespace qvtest
