#include "host/inference/ChiSquare.h"

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>

#include "host/inference/Finite.h"
#include "host/inference/QuietPolicy.h"

namespace qvhost {

std::optional<double> UpperChiSquare(std::optional<double> statistic, int degrees) {
  if (!statistic || degrees < 1) return std::nullopt;
  const boost::math::chi_squared_distribution<double, QuietPolicy> distribution(degrees);
  return Finite(boost::math::cdf(complement(distribution, std::max(*statistic, 0.0))));
}

}  // namespace qvhost
