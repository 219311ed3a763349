#include "host/inference/Inference.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

#include "host/inference/QuietPolicy.h"

namespace qvhost {
namespace {

using StudentsT = boost::math::students_t_distribution<double, QuietPolicy>;
using Normal = boost::math::normal_distribution<double, QuietPolicy>;

std::optional<double> TwoSidedP(double degreesOfFreedom, double statistic) {
  // From the upper tail itself: one minus the lower tail would lose a small p.
  return Finite(2.0 *
                boost::math::cdf(complement(StudentsT(degreesOfFreedom), std::abs(statistic))));
}

}  // namespace

std::optional<double> LimitQuantile(double degreesOfFreedom, double confidence) {
  const double tail = (1.0 - confidence) / 2.0;
  return Finite(boost::math::quantile(complement(StudentsT(degreesOfFreedom), tail)));
}

std::optional<double> UpperChiSquare(std::optional<double> statistic, int degrees) {
  if (!statistic || degrees < 1) return std::nullopt;
  const boost::math::chi_squared_distribution<double, QuietPolicy> distribution(degrees);
  return Finite(boost::math::cdf(complement(distribution, std::max(*statistic, 0.0))));
}

double NormalQuantile(double below, double above) {
  const Normal normal;
  return below < above ? boost::math::quantile(normal, below)
                       : boost::math::quantile(complement(normal, above));
}

double NormalShareBelow(double number) { return boost::math::cdf(Normal(), number); }

ResidualVariance ComputeResidualVariance(std::optional<double> rmse, double totalFreqWeight,
                                         int kept, std::optional<double> imposedDf) {
  ResidualVariance result;
  result.degreesOfFreedom = imposedDf.value_or(totalFreqWeight - kept);
  if (rmse && result.degreesOfFreedom > 0.0) {
    // sqrt(rmse^2 * total / df) without the square, which could overflow.
    result.stdError = Finite(*rmse * std::sqrt(totalFreqWeight / result.degreesOfFreedom));
  }
  return result;
}

CoefficientInference::CoefficientInference(std::optional<double> residualStdError,
                                           double degreesOfFreedom, double confidence)
    : residualStdError_(residualStdError), degreesOfFreedom_(degreesOfFreedom) {
  if (residualStdError_) {
    quantile_ = LimitQuantile(degreesOfFreedom, confidence);
  }
}

CoefficientStatistics CoefficientInference::Of(double estimate, double unscaledVariance,
                                               int exponent) const {
  if (!residualStdError_) return {};
  return OfError(estimate, *residualStdError_ * std::sqrt(unscaledVariance), exponent);
}

CoefficientStatistics CoefficientInference::OfError(double estimate, double stdError,
                                                    int exponent) const {
  CoefficientStatistics result;
  if (!Finite(stdError)) {
    return result;
  }
  result.stdError = TimesPowerOf2(stdError, exponent);
  if (quantile_) {
    result.confLow = TimesPowerOf2(estimate - *quantile_ * stdError, exponent);
    result.confHigh = TimesPowerOf2(estimate + *quantile_ * stdError, exponent);
  }
  result.statistic = Finite(estimate / stdError);
  if (result.statistic) {
    result.pValue = TwoSidedP(degreesOfFreedom_, *result.statistic);
  }
  return result;
}

}  // namespace qvhost
