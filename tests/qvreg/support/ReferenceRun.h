#pragma once

#include <optional>
#include <vector>

#include "tests/qvreg/support/ReferenceCase.h"

namespace qvtest {

/// What the library makes of a reference case, in the shape of its expected values.
struct ReferenceFit {
  std::vector<ReferenceLabel> labels;
  std::vector<double> estimates;
  std::vector<bool> redundant;
  std::vector<double> unscaledVariance;
  double rmse = 0.0;
  double rSquare = 0.0;
  double totalFreqWeight = 0.0;
  int passes = 0;  ///< Over the records.
};

/// Fits a case as a host does: settings, factory, component, output statistics, with at most
/// `refinements` steps of it and the `tolerance` where it is given. Throws std::runtime_error with
/// the status code when a step fails.
[[nodiscard]] ReferenceFit FitReferenceCase(const ReferenceCase& reference, int refinements,
                                            std::optional<double> tolerance = std::nullopt);

}  // namespace qvtest
