#pragma once

#include <cstddef>
#include <numeric>
#include <vector>

#include "bench/Require.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// The settings of a linear model of records of covariates, each an effect of its own, and last
/// the dependent. Owns the list that the effects point to.
class LinearModel {
 public:
  LinearModel(int covariates, bool refine) : variables_(static_cast<std::size_t>(covariates)) {
    std::iota(variables_.begin(), variables_.end(), 0);
    Require(settings_.SetDependent(covariates));
    for (const int var : variables_) {
      Require(settings_.AddCovariate(var) > 0);
      QvModelEffect effect(0, covariates, &variables_);
      Require(effect.AddCovariate(var) > 0);
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
