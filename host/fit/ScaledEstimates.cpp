#include "host/fit/ScaledEstimates.h"

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

constexpr int kMostColumns = 1000;

std::vector<int> Positions(const QvCommon::QvBitSet& kept) {
  std::vector<int> positions;
  for (int i = 0; i < kept.Size(); ++i) {
    if (kept.IsIn(i)) positions.push_back(i);
  }
  return positions;
}

/// In the units of the estimation.
CoefficientCovariance::Parts PartsOf(const IQvRegOutputStats& output,
                                     std::optional<double> imposedDf,
                                     const QvCommon::QvSymMatrixData* robust) {
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  CoefficientCovariance::Parts parts;
  parts.kept = KeptParameters(output);
  parts.estimates = scaled.estimates;
  parts.matrix = robust == nullptr ? &scaled.covariance : robust;
  parts.exponents.assign(parts.estimates.size(), 0);
  if (dynamic_cast<const QvGLMOutputStats*>(&output) != nullptr) {
    const ResidualVariance residual =
        ComputeResidualVariance(scaled.rmse, output.GetTotalFreqWeight(),
                                output.GetRedundancyIndicators().Count(), imposedDf);
    parts.degreesOfFreedom = residual.degreesOfFreedom;
    parts.variance.reset();
    // Without residual degrees of freedom a robust matrix is of no use either.
    if (residual.stdError) {
      parts.variance =
          robust == nullptr ? Finite(*residual.stdError * *residual.stdError) : std::optional(1.0);
    }
  }
  return parts;
}

}  // namespace

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

std::vector<bool> KeptParameters(const IQvRegOutputStats& output) {
  std::vector<bool> kept(output.GetParameters().size());
  for (std::size_t i = 0; i < kept.size(); ++i) {
    kept[i] = output.GetRedundancyIndicators().IsIn(static_cast<int>(i));
  }
  return kept;
}

CoefficientCovariance CoefficientCovarianceOf(const IQvRegOutputStats& output,
                                              std::optional<double> imposedDf,
                                              const QvCommon::QvSymMatrixData* robust) {
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  CoefficientCovariance::Parts parts = PartsOf(output, imposedDf, robust);
  for (std::size_t i = 0; i < parts.exponents.size(); ++i) parts.exponents[i] = scaled.PowerOf(i);
  return CoefficientCovariance(std::move(parts));
}

CoefficientCovariance ScaledCovarianceOf(const IQvRegOutputStats& output,
                                         std::optional<double> imposedDf,
                                         const QvCommon::QvSymMatrixData* robust) {
  return CoefficientCovariance(PartsOf(output, imposedDf, robust));
}

std::optional<double> SmallestPivotShare(const QvCommon::QvSymMatrixData& covariance,
                                         const QvCommon::QvBitSet& kept) {
  const std::vector<int> positions = Positions(kept);
  const int order = static_cast<int>(positions.size());
  if (order < 2 || order > kMostColumns) return std::nullopt;

  QvCommon::QvSymMatrix correlation(order);
  for (int i = 0; i < order; ++i) {
    const int row = positions[static_cast<std::size_t>(i)];
    for (int j = 0; j <= i; ++j) {
      const int column = positions[static_cast<std::size_t>(j)];
      const double scale =
          std::sqrt(covariance.GetElem(row, row)) * std::sqrt(covariance.GetElem(column, column));
      correlation.SetElem(i, j, covariance.GetElem(row, column) / scale);
    }
  }
  // The root of the smallest pivot, since the diagonal is 1 and the first pivot the largest.
  double smallest = 0.0;
  correlation.LTChol(0.0, smallest, true);
  return smallest * smallest;
}

}  // namespace qvhost
