#pragma once

#include <vector>

/// Where a row holds a model's variables; -1 for one that it does not hold.
struct QvRowLayout {
  /// Parallel to the settings' covariates.
  std::vector<int> fCovariates;
  int fFrequencyWeight = -1;
  int fRegressionWeight = -1;
  int fDependent = -1;
};
