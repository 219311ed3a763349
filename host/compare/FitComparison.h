#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/compare/SavedFit.h"

namespace qvhost {

/// The test of a fit against a smaller one that is nested in it. A plain value; numbers that do not
/// exist are absent.
struct NestedTest {
  std::size_t fit = 0;      ///< From 0.
  std::size_t against = 0;  ///< The smaller one.
  int degrees = 0;
  std::optional<double> residualDegrees;  ///< This and the sum: of linear models only.
  std::optional<double> statistic;        ///< F of linear models, chi-square of logistic ones.
  std::optional<double> pValue;
  std::optional<double> sumOfSquares;
};

/// Fits side by side. A plain value.
struct FitComparison {
  std::vector<SavedFit> fits;  ///< As they were given: two at least.
  /// For each fit but the smallest, in the order of their numbers of parameters: the test against
  /// the largest smaller one that is nested in it, where there is one and the records are the same.
  std::vector<NestedTest> tests;
  std::vector<std::string> notes;  ///< Sentences: why there is no test, and what it rests on.
};

/// Compares fits. REQUIRES: two at least. Throws Error (kBadInput) for fits of different models or
/// dependents.
[[nodiscard]] FitComparison CompareFits(std::vector<SavedFit> fits);

}  // namespace qvhost
