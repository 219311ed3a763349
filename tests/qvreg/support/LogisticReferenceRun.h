#pragma once

#include <functional>
#include <memory>

#include "tests/qvreg/support/LogisticFit.h"
#include "tests/qvreg/support/LogisticReferenceCase.h"
#include "tests/qvreg/support/LogisticSettings.h"

namespace qvtest {

/// Fits a logistic reference case as a host does: settings, factory, component, output statistics.
/// Owns them. An operation that fails throws. `task` must outlive it.
class LogisticReferenceRun {
 public:
  using Change = std::function<void(QvLogRegSettings&)>;

  /// `inMemory`: with the pattern tabulator. `change` is applied to the settings last.
  LogisticReferenceRun(
      const LogisticReferenceTask& task, bool inMemory,
      const Change& change = [](QvLogRegSettings&) {});

  [[nodiscard]] const LogisticFit& Fit() const { return *fit_; }
  /// The results in the shape of the expected values.
  [[nodiscard]] LogisticReferenceValues Values() const;

 private:
  [[nodiscard]] LogisticReferenceLabel LabelOf(const QvRegrParameter& parameter) const;
  [[nodiscard]] std::vector<std::string> Categories() const;
  [[nodiscard]] std::vector<std::vector<double>> Classification() const;

  const LogisticReferenceTask& task_;
  LogisticSettings settings_;
  std::unique_ptr<LogisticFit> fit_;
};

}  // namespace qvtest
