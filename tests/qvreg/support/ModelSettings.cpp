#include "tests/qvreg/support/ModelSettings.h"

#include <stdexcept>
#include <string>

namespace qvtest {
namespace {

void Require(bool accepted, const char* what) {
  if (!accepted) throw std::invalid_argument(std::string("refused: ") + what);
}

}  // namespace

QvRegrParameter ParameterOf(const std::vector<std::pair<int, int>>& powers) {
  QvRegrParameter parameter;
  for (const auto& [variable, power] : powers) {
    Require(parameter.AddCovariate(variable, power) > 0, "parameter's covariate");
  }
  return parameter;
}

LinearSettings::LinearSettings(int dependent, const std::vector<FactorRole>& factors,
                               const std::vector<int>& covariates)
    : nFactors_(static_cast<int>(factors.size())),
      nCovariates_(static_cast<int>(covariates.size())) {
  Require(settings_.SetDependent(dependent), "dependent");
  for (const FactorRole& factor : factors) {
    Require(settings_.AddFactor(factor.variable, factor.categories) > 0, "factor");
    variables_.push_back(factor.variable);
  }
  for (const int covariate : covariates) {
    Require(settings_.AddCovariate(covariate) > 0, "covariate");
    variables_.push_back(covariate);
  }
}

QvModelEffect LinearSettings::EmptyEffect() const {
  return QvModelEffect(nFactors_, nCovariates_, &variables_);
}

void LinearSettings::Add(const QvModelEffect& effect) {
  Require(settings_.AddModelEffect(effect), "effect");
}

LinearSettings& LinearSettings::Effect(const std::vector<int>& factors,
                                       const std::vector<int>& covariates) {
  QvModelEffect effect = EmptyEffect();
  for (const int factor : factors) Require(effect.AddNewFactor(factor, false), "effect's factor");
  for (const int covariate : covariates) {
    Require(effect.AddCovariate(covariate) > 0, "effect's covariate");
  }
  Add(effect);
  return *this;
}

LinearSettings& LinearSettings::NestedEffect(const std::vector<int>& factors) {
  QvModelEffect effect = EmptyEffect();
  for (const int factor : factors) {
    Require(effect.AddNewFactor(factor, effect.GetNFactors() > 0), "effect's nested factor");
  }
  Add(effect);
  return *this;
}

LinearSettings& LinearSettings::FrequencyWeight(int variable) {
  Require(settings_.SetFrequencyWeightVar(variable), "frequency weight");
  return *this;
}

LinearSettings& LinearSettings::RegressionWeight(int variable) {
  Require(settings_.SetRegrWeightVar(variable), "regression weight");
  return *this;
}

LinearSettings& LinearSettings::NoIntercept() {
  settings_.SetInterceptUse(false);
  return *this;
}

LinearSettings& LinearSettings::Refined() {
  settings_.SetRefineEstimates(true);
  return *this;
}

LogisticSettings::LogisticSettings(int dependent, int nCategories,
                                   const std::vector<FactorRole>& factors,
                                   const std::vector<int>& covariates)
    : model_(dependent, factors, covariates), nCategories_(nCategories) {
  Adopt();
  Reference(QvLogRegSettings::kLastObserved);
  Require(settings_.SetParamEstConCriterion(1e-10), "criterion of the estimates");
}

LogisticSettings& LogisticSettings::Adopt() {
  static_cast<QvRegSettings&>(settings_) = model_.Get();
  return *this;
}

LogisticSettings& LogisticSettings::Effect(const std::vector<int>& factors,
                                           const std::vector<int>& covariates) {
  model_.Effect(factors, covariates);
  return Adopt();
}

LogisticSettings& LogisticSettings::NestedEffect(const std::vector<int>& factors) {
  model_.NestedEffect(factors);
  return Adopt();
}

LogisticSettings& LogisticSettings::FrequencyWeight(int variable) {
  model_.FrequencyWeight(variable);
  return Adopt();
}

LogisticSettings& LogisticSettings::RegressionWeight(int variable) {
  model_.RegressionWeight(variable);
  return Adopt();
}

LogisticSettings& LogisticSettings::NoIntercept() {
  model_.NoIntercept();
  return Adopt();
}

LogisticSettings& LogisticSettings::Reference(int category) {
  Require(settings_.SetDependentRefCat(category, nCategories_), "reference category");
  return *this;
}

LogisticSettings& LogisticSettings::InMemory(bool use) {
  settings_.SetUsePatternTabulator(use);
  return *this;
}

}  // namespace qvtest
