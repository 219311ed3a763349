#pragma once

#include <optional>

namespace qvhost {

/// The error side of one linear fit: its degrees of freedom and its standard error.
struct ResidualVariance {
  double degreesOfFreedom = 0.0;   ///< May be 0 or below, for a model with no residual left.
  std::optional<double> stdError;  ///< Square root of sse / degreesOfFreedom; finite.
};

/// From what the library reports: `rmse` is the root of the mean squared residual, each record
/// counted by its weights and divided by `totalFreqWeight`; `kept` is the number of parameters that
/// are not redundant. `imposedDf` above 0 replaces the degrees of freedom, as the user may ask.
///
/// There is no standard error without an rmse, or when the degrees of freedom are not above 0.
[[nodiscard]] ResidualVariance ComputeResidualVariance(std::optional<double> rmse,
                                                       double totalFreqWeight, int kept,
                                                       std::optional<double> imposedDf);

}  // namespace qvhost
