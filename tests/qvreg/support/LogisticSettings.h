#pragma once

#include <vector>

#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/LinearSettings.h"

namespace qvtest {

/// Builds the settings of a logistic model, as LinearSettings those of a linear one: describe the
/// model first, then take the settings and change the rest of them. Owns the list of variables that
/// the effects point to. Both convergence criteria start so tight that estimates come out exact:
/// 1e-10 for the estimates, none for the log-likelihood.
class LogisticSettings {
 public:
  LogisticSettings(int dependent, int nCategories, const std::vector<FactorRole>& factors,
                   const std::vector<int>& covariates);
  LogisticSettings(const LogisticSettings&) = delete;
  LogisticSettings& operator=(const LogisticSettings&) = delete;
  ~LogisticSettings() = default;

  LogisticSettings& Effect(const std::vector<int>& factors,
                           const std::vector<int>& covariates = {});
  LogisticSettings& FrequencyWeight(int variable);
  LogisticSettings& RegressionWeight(int variable);
  LogisticSettings& NoIntercept();
  /// A category's code, QvLogRegSettings::kLastObserved or kFirstObserved.
  LogisticSettings& Reference(int category);
  /// With the pattern tabulator, or without.
  LogisticSettings& InMemory(bool use = true);

  [[nodiscard]] QvLogRegSettings& Get() { return settings_; }

 private:
  /// Takes over what the model's builder now says.
  LogisticSettings& Adopt();

  LinearSettings model_;
  int nCategories_;
  QvLogRegSettings settings_;
};

}  // namespace qvtest
