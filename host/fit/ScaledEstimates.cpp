#include "host/fit/ScaledEstimates.h"

#include "host/fit/LibraryNumber.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

ScaledEstimates ScaledEstimatesOf(const IQvRegOutputStats& output) {
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&output)) {
    return {linear->GetScaledEstimates(), linear->GetParameterExponents(),
            linear->GetDependentExponent(), *linear->GetScaledCovarianceMatrix(),
            LibraryNumber(linear->GetScaledRootMeanSquareError())};
  }
  const auto& logistic = dynamic_cast<const QvLogOutputStats&>(output);
  return {logistic.GetScaledEstimates(), logistic.GetParameterExponents(), 0,
          *logistic.GetScaledCovarianceMatrix(), std::nullopt};
}

}  // namespace qvhost
