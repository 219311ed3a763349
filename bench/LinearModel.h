#pragma once

#include <vector>

#include "bench/Require.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// The settings of a linear model of records of covariates, then factors, each an effect of its
/// own, and last the dependent. Owns the list that the effects point to.
class LinearModel {
 public:
  /// `levels`: per factor how many it has.
  LinearModel(int covariates, const std::vector<int>& levels, bool refine) {
    const auto nFactors = static_cast<int>(levels.size());
    Require(settings_.SetDependent(covariates + nFactors));
    // An effect is defined against the factors, then the covariates; records hold them the other
    // way.
    for (int f = 0; f < nFactors; ++f) variables_.push_back(covariates + f);
    for (int var = 0; var < covariates; ++var) variables_.push_back(var);

    const QvModelEffect empty(nFactors, covariates, &variables_);
    for (int var = 0; var < covariates; ++var) {
      Require(settings_.AddCovariate(var) > 0);
      QvModelEffect effect = empty;
      Require(effect.AddCovariate(var) > 0);
      Require(settings_.AddModelEffect(effect));
    }
    int var = covariates;
    for (const int count : levels) {
      Require(settings_.AddFactor(var, count) > 0);
      QvModelEffect effect = empty;
      Require(effect.AddNewFactor(var++, false));
      Require(settings_.AddModelEffect(effect));
    }
    settings_.SetRefineEstimates(refine);
  }
  LinearModel(const LinearModel&) = delete;
  LinearModel& operator=(const LinearModel&) = delete;

  [[nodiscard]] QvRegSettings& Settings() { return settings_; }

 private:
  std::vector<int> variables_;
  QvRegSettings settings_;
};

}  // namespace qvbench
