#pragma once

#include <limits>
#include <optional>

namespace qvhost {

/// What inference adds to one estimate. An entry without a value does not exist: the standard error
/// of a redundant parameter, the statistic over a standard error of 0. Every value is finite.
struct CoefficientStatistics {
  std::optional<double> stdError;
  std::optional<double> statistic;  ///< Estimate over standard error; Student's t, or z.
  std::optional<double> pValue;     ///< Two-sided, in [0, 1].
  std::optional<double> confLow;
  std::optional<double> confHigh;
};

/// Standard errors, tests and confidence limits of the coefficients of one model: Student's t for a
/// linear model; for one fitted by maximum likelihood the normal distribution, which is Student's t
/// with infinitely many degrees of freedom.
///
/// Immutable after construction; any thread may use one.
class CoefficientInference {
 public:
  /// `residualStdError`: square root of the residual variance, none when it does not exist, in the
  /// unit of the estimates.
  /// `degreesOfFreedom`: those of the residual variance, above 0 when it exists; may be infinite.
  /// `confidence`: probability that the limits hold the coefficient, in [0, 1).
  CoefficientInference(std::optional<double> residualStdError, double degreesOfFreedom,
                       double confidence);

  /// For maximum likelihood, whose covariance matrix is not to be scaled.
  [[nodiscard]] static CoefficientInference Normal(double confidence) {
    return {1.0, std::numeric_limits<double>::infinity(), confidence};
  }

  /// The statistics of a coefficient that the model kept. `unscaledVariance` is its diagonal
  /// element of the (generalized) inverse of X'WX. Standard error and limits are answered times 2
  /// to the power of `exponent`, and absent where no double holds that.
  [[nodiscard]] CoefficientStatistics Of(double estimate, double unscaledVariance,
                                         int exponent = 0) const;

 private:
  std::optional<double> residualStdError_;
  double degreesOfFreedom_;
  std::optional<double> quantile_;  ///< Of Student's t, at (1 + confidence) / 2.
};

}  // namespace qvhost
