#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"

namespace qvhost {

/// What the user of a logistic model should know about how its estimation ended: what it means,
/// which parameters cause it, and what to do. Borrows the result, whose parameters and logistic
/// part are filled in.
class OptimizationWarnings {
 public:
  /// `spans`: of each of the `covariates`, its highest value less its lowest.
  OptimizationWarnings(const FitResult& result, const LogisticOptions& options,
                       std::vector<std::string> covariates, std::vector<double> spans)
      : result_(result),
        options_(options),
        covariates_(std::move(covariates)),
        spans_(std::move(spans)),
        largestLogGrowth_(LargestLogGrowth()) {}

  /// None when the iterations ended well, but for a maximum so close to separation that Wald's
  /// tests fail (Hauck and Donner, Wald's test as applied to hypotheses in logit analysis, Journal
  /// of the American Statistical Association 72, 1977).
  [[nodiscard]] std::vector<std::string> Find() const;

 private:
  [[nodiscard]] std::string Drivers() const;
  /// That the records of a factor's base are separated; empty when they are not.
  [[nodiscard]] std::string SeparatedBase() const;
  [[nodiscard]] bool IsNearlySeparated() const;
  [[nodiscard]] bool IsDriver(const ParameterResult& parameter) const;
  /// The logarithm of the product of its covariates' spans: times that product, an estimate's size
  /// depends neither on the covariates' units nor on where their zero lies.
  [[nodiscard]] double LogUnitOf(const ParameterResult& parameter) const;
  /// The logarithm of what an estimate gains in an iteration, in the unit of LogUnitOf.
  [[nodiscard]] double LogGrowthOf(const ParameterResult& parameter) const;
  /// The largest of these; minus infinity when no estimate was seen to grow.
  [[nodiscard]] double LargestLogGrowth() const;

  const FitResult& result_;
  const LogisticOptions& options_;
  std::vector<std::string> covariates_;
  std::vector<double> spans_;
  double largestLogGrowth_;
};

}  // namespace qvhost
