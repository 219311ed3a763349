#include "tests/qvreg/support/ReferenceRun.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvModelEffect.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvtest {
namespace {

/// Hands out the records of a table that outlives it.
class TableIterator final : public QvCommon::MultiPassRecordIter {
 public:
  explicit TableIterator(const std::vector<QvCommon::Record>& records) : records_(&records) {}

  [[nodiscard]] bool HasMore() const override { return next_ < records_->size(); }
  const QvCommon::Record* Next() override { return HasMore() ? &(*records_)[next_++] : nullptr; }
  [[nodiscard]] int GetFailReason() const override { return HasMore() ? 0 : 1; }
  int NewPass() override {
    next_ = 0;
    ++passes_;
    return GetFailReason();
  }
  [[nodiscard]] int Passes() const { return passes_; }

 private:
  const std::vector<QvCommon::Record>* records_;
  std::size_t next_ = 0;
  int passes_ = 0;
};

void Require(bool accepted, const std::string& what) {
  if (!accepted) throw std::runtime_error("refused: " + what);
}

void Require(const QvCommon::QvStatus& status, const std::string& what) {
  if (!status.IsOK()) {
    throw std::runtime_error(what + " ended with status " + std::to_string(status.GetCode()));
  }
}

/// Record indices of the model's factors, then of its covariates.
std::vector<int> VariableIndices(const ReferenceCase& reference) {
  std::vector<int> indices;
  for (const auto& names : {reference.model.Factors(), reference.model.Covariates()}) {
    for (const std::string& name : names) indices.push_back(reference.table.IndexOf(name));
  }
  return indices;
}

QvModelEffect MakeEffect(const ReferenceTerm& term, const ReferenceCase& reference,
                         const std::vector<int>& indices) {
  QvModelEffect effect(static_cast<int>(reference.model.Factors().size()),
                       static_cast<int>(reference.model.Covariates().size()), &indices);
  for (std::size_t i = 0; i < term.factors.size(); ++i) {
    const int variable = reference.table.IndexOf(term.factors[i]);
    Require(effect.AddNewFactor(variable, term.nested && i > 0), "factor " + term.factors[i]);
  }
  for (const CovariatePower& covariate : term.covariates) {
    for (int power = 1; power <= covariate.power; ++power) {
      const int got = effect.AddCovariate(reference.table.IndexOf(covariate.column));
      Require(got == power, "covariate " + covariate.column);
    }
  }
  return effect;
}

/// `indices` stays where it is as long as a component made of the settings lives.
QvRegSettings MakeSettings(const ReferenceCase& reference, const std::vector<int>& indices,
                           int refinements) {
  const ReferenceTable& table = reference.table;
  QvRegSettings settings;
  Require(settings.SetDependent(table.IndexOf(reference.model.dependent)), "dependent");
  for (const std::string& factor : reference.model.Factors()) {
    const auto nLevels = static_cast<int>(table.levels.at(factor).size());
    Require(settings.AddFactor(table.IndexOf(factor), nLevels) > 0, "factor " + factor);
  }
  for (const std::string& covariate : reference.model.Covariates()) {
    Require(settings.AddCovariate(table.IndexOf(covariate)) > 0, "covariate " + covariate);
  }
  const ReferenceValues& expected = reference.expected;
  if (!expected.freqWeight.empty()) {
    Require(settings.SetFrequencyWeightVar(table.IndexOf(expected.freqWeight)), "frequency weight");
  }
  if (!expected.regrWeight.empty()) {
    Require(settings.SetRegrWeightVar(table.IndexOf(expected.regrWeight)), "regression weight");
  }
  for (const ReferenceTerm& term : reference.model.terms) {
    Require(settings.AddModelEffect(MakeEffect(term, reference, indices)), "effect");
  }
  settings.SetInterceptUse(reference.model.intercept);
  Require(settings.SetMaxRefinements(refinements), "refinements");
  return settings;
}

std::string CovariateText(const std::string& name, int power) {
  return power == 1 ? name : "I(" + name + "^" + std::to_string(power) + ")";
}

ReferenceLabel LabelOf(const QvRegrParameter& parameter, const ReferenceCase& reference) {
  constexpr int kAbsent = -1;
  ReferenceLabel label;
  std::vector<std::string> parts;
  for (const std::string& factor : reference.model.Factors()) {
    const int category = parameter.ContainsFactor(reference.table.IndexOf(factor), kAbsent);
    if (category == kAbsent) continue;
    parts.push_back("C(" + factor + ")");
    label.levels[factor] = reference.table.levels.at(factor).at(static_cast<std::size_t>(category));
  }
  for (const std::string& covariate : reference.model.Covariates()) {
    const int power = parameter.GetCovariateMult(reference.table.IndexOf(covariate));
    if (power > 0) parts.push_back(CovariateText(covariate, power));
  }
  for (const std::string& part : parts) label.term += (label.term.empty() ? "" : ":") + part;
  if (parameter.IsIntercept()) label.term = "(Intercept)";
  return label;
}

ReferenceFit ReadStatistics(const IQvRegOutputStats& statistics, const ReferenceCase& reference) {
  ReferenceFit fit;
  fit.estimates = statistics.GetParamEstimates();
  int index = 0;
  for (const QvRegrParameter& parameter : statistics.GetParameters()) {
    fit.labels.push_back(LabelOf(parameter, reference));
    fit.redundant.push_back(!statistics.GetRedundancyIndicators().IsIn(index));
    fit.unscaledVariance.push_back(statistics.GetCovarianceMatrix()->GetElem(index, index));
    ++index;
  }
  fit.rmse = statistics.GetModelFitStat(QvConst::QvFitRootMeanSquareError);
  fit.rSquare = statistics.GetModelFitStat(QvConst::QvFitMultipleRSquare);
  fit.totalFreqWeight = statistics.GetTotalFreqWeight();
  return fit;
}

}  // namespace

ReferenceFit FitReferenceCase(const ReferenceCase& reference, int refinements,
                              std::optional<double> tolerance) {
  const std::vector<int> indices = VariableIndices(reference);
  QvRegSettings settings = MakeSettings(reference, indices, refinements);
  if (tolerance) settings.SetTolerance(*tolerance);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  Require(factory.GetStatus(), "factory");
  Require(component != nullptr, "component");

  TableIterator records(reference.table.records);
  std::vector<QvRegrParameter> parameters;
  Require(component->CreateParameters(records, parameters), "CreateParameters");
  Require(component->BuildModel(records), "BuildModel");
  IQvRegOutputStats* statistics = nullptr;
  Require(component->GetOutputStats(statistics), "GetOutputStats");
  Require(statistics->GetParameters() == parameters, "parameters as created");
  ReferenceFit fit = ReadStatistics(*statistics, reference);
  fit.passes = records.Passes();
  return fit;
}

}  // namespace qvtest
