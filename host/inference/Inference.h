#pragma once

#include <cmath>
#include <limits>
#include <optional>

namespace qvhost {

/// The value, or none when it is infinite or not a number: what does not exist is reported as
/// absent.
[[nodiscard]] inline std::optional<double> Finite(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// The value times 2 to the power of `exponent`, or none when no double holds that: it is too
/// large, or it is not 0 and too small.
[[nodiscard]] inline std::optional<double> TimesPowerOf2(double value, int exponent) {
  const double result = std::ldexp(value, exponent);
  return (result == 0.0) == (value == 0.0) ? Finite(result) : std::nullopt;
}

/// The probability that a chi-square variable of `degrees` degrees of freedom exceeds `statistic`
/// (one below 0 through rounding counts as 0). None when there is no statistic or
/// no degree of freedom.
[[nodiscard]] std::optional<double> UpperChiSquare(std::optional<double> statistic, int degrees);

/// The number that a standard normal variable is below with the probability `below`; `above` is 1
/// less that, which of the two is small to its own digits. REQUIRES: both are above 0.
[[nodiscard]] double NormalQuantile(double below, double above);
/// The probability that such a variable is below `number`.
[[nodiscard]] double NormalShareBelow(double number);

/// The residual degrees of freedom and the residual standard error of a linear fit.
struct ResidualVariance {
  double degreesOfFreedom = 0.0;   ///< May be 0 or below, for a model with no residual left.
  std::optional<double> stdError;  ///< Square root of sse / degreesOfFreedom; finite.
};

/// From what the library reports: `rmse` is the root of the mean squared residual, each record
/// counted by its weights and divided by `totalFreqWeight`; `kept` is the number of parameters that
/// are not redundant. `imposedDf` above 0 replaces the degrees of freedom, as the user may ask.
///
/// There is no standard error without an rmse, or when the degrees of freedom are not above 0.
[[nodiscard]] ResidualVariance ComputeResidualVariance(std::optional<double> rmse,
                                                       double totalFreqWeight, int kept,
                                                       std::optional<double> imposedDf);

/// What inference adds to one estimate. An entry without a value does not exist: the standard error
/// of a redundant parameter, the statistic over a standard error of 0. Every value is finite.
struct CoefficientStatistics {
  std::optional<double> stdError;
  std::optional<double> statistic;  ///< Estimate over standard error; Student's t, or z.
  std::optional<double> pValue;     ///< Two-sided, in [0, 1].
  std::optional<double> confLow;
  std::optional<double> confHigh;
};

/// By how many standard errors limits of a `confidence`, in [0, 1), lie from an estimate: a
/// quantile of Student's t of so many degrees of freedom, above 0, which may be infinite. None when
/// no double holds it.
[[nodiscard]] std::optional<double> LimitQuantile(double degreesOfFreedom, double confidence);

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
  /// element of the (generalized) inverse of X'WX. Standard error and limits are returned times 2
  /// to the power of `exponent`, and absent where no double holds that.
  [[nodiscard]] CoefficientStatistics Of(double estimate, double unscaledVariance,
                                         int exponent = 0) const;
  /// The same for anything that is estimated, from its standard error, in the units of the result.
  /// REQUIRES: a residual standard error, which is in it.
  [[nodiscard]] CoefficientStatistics OfError(double estimate, double stdError,
                                              int exponent = 0) const;

 private:
  std::optional<double> residualStdError_;
  double degreesOfFreedom_;
  std::optional<double> quantile_;  ///< Of Student's t, at (1 + confidence) / 2.
};

}  // namespace qvhost
