#include "host/inference/ResidualVariance.h"

#include <cmath>

#include "host/inference/Finite.h"

namespace qvhost {

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

}  // namespace qvhost
