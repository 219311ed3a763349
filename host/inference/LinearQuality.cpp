#include "host/inference/LinearQuality.h"

#include <algorithm>
#include <boost/math/distributions/fisher_f.hpp>
#include <cmath>
#include <numbers>

#include "host/inference/Inference.h"
#include "host/inference/QuietPolicy.h"

namespace qvhost {

std::optional<double> UpperF(std::optional<double> statistic, double numerator,
                             double denominator) {
  if (!statistic || !(numerator > 0.0) || !(denominator > 0.0)) return std::nullopt;
  const boost::math::fisher_f_distribution<double, QuietPolicy> distribution(numerator,
                                                                             denominator);
  return Finite(boost::math::cdf(complement(distribution, std::max(*statistic, 0.0))));
}

LinearQuality ComputeLinearQuality(const LinearSums& sums) {
  LinearQuality quality;
  const double df = sums.degreesOfFreedom;
  const int intercepts = sums.hasIntercept ? 1 : 0;
  quality.fDegrees = sums.kept - intercepts;
  const double unexplained = (sums.rmse / sums.total) * (sums.rmse / sums.total);
  if (df > 0.0) {
    const double explained = std::max(1.0 - unexplained, 0.0);
    if (quality.fDegrees > 0) {
      quality.fStatistic = Finite(explained / unexplained * df / quality.fDegrees);
    }
    quality.fP = UpperF(quality.fStatistic, quality.fDegrees, df);
    quality.adjustedRSquare =
        Finite(1.0 - std::min(unexplained, 1.0) * (sums.freqWeight - intercepts) / df);
  }
  const double logRmse = std::log(sums.rmse) + sums.exponent * std::numbers::ln2;
  quality.logLikelihood =
      Finite(0.5 * (sums.logWeights -
                    sums.freqWeight * (std::log(2.0 * std::numbers::pi) + 1.0 + 2.0 * logRmse)));
  if (quality.logLikelihood) {
    const double parameters = sums.kept + 1.0;
    quality.aic = Finite(-2.0 * *quality.logLikelihood + 2.0 * parameters);
    quality.bic = Finite(-2.0 * *quality.logLikelihood + parameters * std::log(sums.freqWeight));
  }
  return quality;
}

}  // namespace qvhost
