#pragma once

#include <utility>
#include <vector>

#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvModelEffect.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvtest {

/// A factor of a model: its record index and its number of categories.
struct FactorRole {
  int variable;
  int categories;
};

/// A parameter of covariates alone: their record indices and powers. A refused one throws.
[[nodiscard]] QvRegrParameter ParameterOf(const std::vector<std::pair<int, int>>& powers);

/// Builds the settings of a linear model. Owns the list of variables that the effects are built
/// over; the copies in the settings do without it. A refused setting throws.
class LinearSettings {
 public:
  LinearSettings(int dependent, const std::vector<FactorRole>& factors,
                 const std::vector<int>& covariates);
  LinearSettings(const LinearSettings&) = delete;
  LinearSettings& operator=(const LinearSettings&) = delete;
  ~LinearSettings() = default;

  /// Adds an effect of crossed factors and of covariates; a covariate named twice is squared.
  LinearSettings& Effect(const std::vector<int>& factors, const std::vector<int>& covariates = {});
  /// Adds an effect whose factors are each nested in those before it.
  LinearSettings& NestedEffect(const std::vector<int>& factors);
  LinearSettings& FrequencyWeight(int variable);
  LinearSettings& RegressionWeight(int variable);
  LinearSettings& NoIntercept();
  LinearSettings& Refined();

  [[nodiscard]] QvRegSettings& Get() { return settings_; }

 private:
  [[nodiscard]] QvModelEffect EmptyEffect() const;
  void Add(const QvModelEffect& effect);

  std::vector<int> variables_;
  int nFactors_;
  int nCovariates_;
  QvRegSettings settings_;
};

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
  LogisticSettings& NestedEffect(const std::vector<int>& factors);
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
