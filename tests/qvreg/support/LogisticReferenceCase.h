#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceModel.h"

namespace qvtest {

/// What a logistic reference case fits: a model, its weights and its reference category, to data. A
/// value.
struct LogisticReferenceTask {
  ReferenceModel model;
  std::string freqWeight;  ///< Column of the frequency weight; empty for none.
  std::string regrWeight;  ///< Column of the regression weight; empty for none.
  std::string reference;   ///< `first`, `last` or a level of the dependent.
  ReferenceTable table;    ///< The dependent, too, is coded by its levels.

  /// The dependent's levels, observed or not, in code order.
  [[nodiscard]] const std::vector<std::string>& DependentLevels() const;
};

/// A parameter of the expected fit.
struct LogisticReferenceLabel {
  ReferenceLabel column;
  std::string category;  ///< The level of the dependent whose equation it is in.

  bool operator==(const LogisticReferenceLabel&) const = default;
};

/// The expected fit of a case, or what the library made of it; tests/reference/README.md explains
/// each value.
struct LogisticReferenceValues {
  std::vector<std::string> categories;
  std::vector<LogisticReferenceLabel> labels;
  std::vector<double> estimates;
  std::vector<bool> redundant;
  std::vector<double> standardErrors;
  double loglikInitial = 0.0;
  double loglik = 0.0;
  double coxSnell = 0.0;
  double nagelkerke = 0.0;
  double mcFadden = 0.0;
  std::vector<std::vector<double>> classification;
  int recordsUsed = 0;
};

/// One case with a fit. A value.
struct LogisticReferenceCase {
  LogisticReferenceTask task;
  LogisticReferenceValues expected;
};

/// One case without a fit: how its iterations end. A value.
struct LogisticReferenceNoFit {
  LogisticReferenceTask task;
  int outcome = 0;  ///< A QvOptimizationOutcome.
};

/// One extreme case: a fit, or data that are separated. A value.
struct LogisticReferenceExtreme {
  LogisticReferenceTask task;
  std::optional<LogisticReferenceValues> expected;  ///< None where the data are separated.
  int outcome = 0;                                  ///< Then a QvOptimizationOutcome.
};

/// Read a case by its file's name without ending. Throw std::runtime_error, or what the JSON reader
/// throws, for a file that is missing or not as described.
[[nodiscard]] LogisticReferenceCase LoadLogisticReferenceCase(const std::string& name);
[[nodiscard]] LogisticReferenceNoFit LoadLogisticReferenceNoFit(const std::string& name);
[[nodiscard]] LogisticReferenceExtreme LoadLogisticReferenceExtreme(const std::string& name);

/// Names of all cases on disk with a fit, of those without, and of the extreme ones, sorted.
[[nodiscard]] std::vector<std::string> LogisticReferenceNames();
[[nodiscard]] std::vector<std::string> LogisticReferenceNoFitNames();
[[nodiscard]] std::vector<std::string> LogisticReferenceExtremeNames();

}  // namespace qvtest
