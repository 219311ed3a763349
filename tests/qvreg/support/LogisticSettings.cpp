#include "tests/qvreg/support/LogisticSettings.h"

#include <stdexcept>

namespace qvtest {

LogisticSettings::LogisticSettings(int dependent, int nCategories,
                                   const std::vector<FactorRole>& factors,
                                   const std::vector<int>& covariates)
    : model_(dependent, factors, covariates), nCategories_(nCategories) {
  Adopt();
  Reference(QvLogRegSettings::kLastObserved);
  if (settings_.SetParamEstConCriterion(1e-10)) return;
  throw std::invalid_argument("refused: criterion of the estimates");
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
  if (settings_.SetDependentRefCat(category, nCategories_)) return *this;
  throw std::invalid_argument("refused: reference category");
}

LogisticSettings& LogisticSettings::InMemory(bool use) {
  settings_.SetUsePatternTabulator(use);
  return *this;
}

}  // namespace qvtest
