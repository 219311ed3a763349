#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/LogisticOptions.h"

namespace qvhost {

/// What the user of a logistic model should know about how its estimation ended: what it means,
/// which parameters drive it, and what to do. Borrows the result, whose parameters and logistic
/// part are filled in.
class OptimizationWarnings {
 public:
  /// `means`: those of the covariates, in the order of `covariates`.
  OptimizationWarnings(const FitResult& result, const LogisticOptions& options,
                       std::vector<std::string> covariates, std::vector<double> means)
      : result_(result),
        options_(options),
        covariates_(std::move(covariates)),
        means_(std::move(means)) {}

  /// None when the iterations ended well.
  [[nodiscard]] std::vector<std::string> Find() const;

 private:
  [[nodiscard]] std::string Drivers() const;
  [[nodiscard]] bool IsDriver(const ParameterResult& parameter) const;
  /// The product of its covariates at their means: times it, an estimate's size does not depend on
  /// the covariates' units.
  [[nodiscard]] double UnitOf(const ParameterResult& parameter) const;

  const FitResult& result_;
  const LogisticOptions& options_;
  std::vector<std::string> covariates_;
  std::vector<double> means_;
};

}  // namespace qvhost
