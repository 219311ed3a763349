#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/ReferenceCase.h"

namespace qvtest {

/// The settings of a case's model with every choice of the library's as it is by default, but for
/// what LogisticSettings says. Throw for a case of the other kind.
[[nodiscard]] std::unique_ptr<LinearSettings> LinearSettingsOf(const ReferenceCase& reference);
[[nodiscard]] std::unique_ptr<LogisticSettings> LogisticSettingsOf(const ReferenceCase& reference);

/// What the library makes of a linear case.
struct LinearReferenceFit {
  ReferenceValues values;
  double totalFreqWeight = 0.0;
  int passes = 0;  ///< Over the records.
};

/// Fits a linear case as a host does: settings, factory, component, output statistics, with at most
/// `refinements` steps of it and the `tolerance` where it is given. Throws std::runtime_error with
/// the status code when a step fails.
[[nodiscard]] LinearReferenceFit FitLinearCase(const ReferenceCase& reference, int refinements,
                                               std::optional<double> tolerance = std::nullopt);

/// A logistic case, fitted as a host does. Owns settings and component. An operation that fails
/// throws. `reference` must outlive it.
class LogisticReferenceRun {
 public:
  using Change = std::function<void(QvLogRegSettings&)>;

  /// `inMemory`: with the pattern tabulator. `change` is applied to the settings last.
  LogisticReferenceRun(
      const ReferenceCase& reference, bool inMemory,
      const Change& change = [](QvLogRegSettings&) {});

  [[nodiscard]] LogisticFit& Fit() { return *fit_; }
  [[nodiscard]] const LogisticFit& Fit() const { return *fit_; }
  /// The results in the shape of the expected values.
  [[nodiscard]] ReferenceValues Values() const;

 private:
  const ReferenceCase& reference_;
  std::unique_ptr<LogisticSettings> settings_;
  std::unique_ptr<LogisticFit> fit_;
};

}  // namespace qvtest
