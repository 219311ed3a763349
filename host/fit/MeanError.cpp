#include "host/fit/MeanError.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "host/inference/Inference.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

MeanError::MeanError(const QvGLMOutputStats& output, std::optional<double> residualStdError,
                     QvScorer& scorer)
    : output_(output), scorer_(scorer), residualStdError_(residualStdError) {}

std::optional<double> MeanError::Of(const QvCommon::Record& record) {
  if (!residualStdError_ || !scorer_.ExpandRow(record, places_, values_)) return std::nullopt;
  RemoveRedundant();
  // The powers of two that divide columns cancel, here as in the matrix.
  const QvCommon::QvSymMatrixData& covariance = *output_.GetScaledCovarianceMatrix();
  double sum = 0.0;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    double product = 0.5 * covariance.GetElem(places_[i], places_[i]) * values_[i];
    for (std::size_t j = 0; j < i; ++j) {
      product += covariance.GetElem(places_[i], places_[j]) * values_[j];
    }
    sum += 2.0 * product * values_[i];
  }
  // Rounding may take one of 0 below it.
  return Finite(*residualStdError_ * std::sqrt(std::max(sum, 0.0)));
}

void MeanError::RemoveRedundant() {
  const QvCommon::QvBitSet& kept = output_.GetRedundancyIndicators();
  std::size_t count = 0;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    if (!kept.IsIn(places_[i])) continue;
    places_[count] = places_[i];
    values_[count] = values_[i];
    ++count;
  }
  places_.resize(count);
  values_.resize(count);
}

}  // namespace qvhost
