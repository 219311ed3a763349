#pragma once

#include <optional>

namespace qvhost {

/// The probability that an F variable of `numerator` and `denominator` degrees of freedom exceeds
/// `statistic`. None when there is no statistic or a degree of freedom that is not above 0.
[[nodiscard]] std::optional<double> UpperF(std::optional<double> statistic, double numerator,
                                           double denominator);

/// What the fit statistics of a linear model are computed from. A plain value.
struct LinearSums {
  /// Roots of the mean squared residual, and of the mean square of the dependent about its mean (0
  /// without an intercept), each in the dependent's units over 2 to the power of `exponent`; means
  /// are over the total frequency weight.
  double rmse = 0.0;
  double total = 0.0;
  int exponent = 0;
  double freqWeight = 0.0;  ///< In total; the number of records without such weights.
  /// Sum of the logarithms of the regression weights, each as often as its frequency weight says.
  double logWeights = 0.0;
  int kept = 0;  ///< Parameters that are not redundant.
  bool hasIntercept = true;
  double degreesOfFreedom = 0.0;  ///< Of the residuals.
};

/// How well a linear model fits, as `summary`, `logLik`, `AIC` and `BIC` of R define it. A plain
/// value; what does not exist is none.
struct LinearQuality {
  std::optional<double> fStatistic;  ///< Against the model of the intercept alone, or of nothing.
  int fDegrees = 0;                  ///< Of its numerator.
  std::optional<double> fP;
  std::optional<double> adjustedRSquare;
  /// At the estimates and the residual variance of maximum likelihood.
  std::optional<double> logLikelihood;
  std::optional<double> aic;  ///< With the variance as one more parameter.
  std::optional<double> bic;  ///< Likewise, with the total frequency weight as number of records.
};

[[nodiscard]] LinearQuality ComputeLinearQuality(const LinearSums& sums);

}  // namespace qvhost
