#include "host/inference/CoefficientInference.h"

#include <boost/math/distributions/students_t.hpp>
#include <cmath>

#include "host/inference/Finite.h"
#include "host/inference/QuietPolicy.h"

namespace qvhost {

namespace {

using StudentsT = boost::math::students_t_distribution<double, QuietPolicy>;

std::optional<double> UpperQuantile(double degreesOfFreedom, double confidence) {
  const double tail = (1.0 - confidence) / 2.0;
  return Finite(boost::math::quantile(complement(StudentsT(degreesOfFreedom), tail)));
}

std::optional<double> TwoSidedP(double degreesOfFreedom, double statistic) {
  // From the upper tail itself: one minus the lower tail would lose a small p.
  return Finite(2.0 *
                boost::math::cdf(complement(StudentsT(degreesOfFreedom), std::abs(statistic))));
}

}  // namespace

CoefficientInference::CoefficientInference(std::optional<double> residualStdError,
                                           double degreesOfFreedom, double confidence)
    : residualStdError_(residualStdError), degreesOfFreedom_(degreesOfFreedom) {
  if (residualStdError_) {
    quantile_ = UpperQuantile(degreesOfFreedom, confidence);
  }
}

CoefficientStatistics CoefficientInference::Of(double estimate, double unscaledVariance,
                                               int exponent) const {
  CoefficientStatistics result;
  if (!residualStdError_) {
    return result;
  }
  const double stdError = *residualStdError_ * std::sqrt(unscaledVariance);
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
