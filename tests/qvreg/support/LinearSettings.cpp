#include "tests/qvreg/support/LinearSettings.h"

#include <stdexcept>
#include <string>

namespace qvtest {
namespace {

void Require(bool accepted, const char* what) {
  if (!accepted) throw std::invalid_argument(std::string("refused: ") + what);
}

}  // namespace

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

}  // namespace qvtest
