#include "host/fit/MeanError.h"

#include <algorithm>
#include <cmath>

#include "host/inference/Inference.h"

namespace qvhost {

MeanError::MeanError(const QvGLMOutputStats& output, std::optional<double> residualStdError,
                     QvScorer& scorer)
    : output_(output), row_(output, scorer), residualStdError_(residualStdError) {}

std::optional<double> MeanError::Of(const QvCommon::Record& record) {
  if (!residualStdError_ || !row_.Expand(record)) return std::nullopt;
  // The powers of two that divide columns cancel, here as in the matrix.
  const double form = row_.Form(*output_.GetScaledCovarianceMatrix());
  // Rounding may take one of 0 below it.
  return Finite(*residualStdError_ * std::sqrt(std::max(form, 0.0)));
}

}  // namespace qvhost
