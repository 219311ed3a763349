#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// How to estimate a logistic model. The defaults are the library's own, but for the reference and
/// the step-halvings: rare levels need many of them.
struct LogisticOptions {
  /// The level that the others are compared with: its text, "first" or "last" (of those that
  /// occur; a level of that name takes precedence). Empty: the first of two, else the last.
  std::string reference;
  std::optional<bool> inMemory;  ///< Keep the records in memory; none: by their size.
  int maxIterations = 100;       ///< 0 or more.
  int maxStepHalving = 30;       ///< Of one iteration, 1 or more.
  /// Converged when the log-likelihood changes by less; 0: not checked.
  double logLikelihoodCriterion = 0.0;
  bool absoluteLogLikelihood = false;  ///< The change itself, not its share.
  /// Converged when the estimates change by less; 0: not checked.
  double parameterCriterion = 1e-6;
  bool absoluteParameter = false;  ///< The changes themselves, not their shares.
  int separationFrom = 20;         ///< The first iteration that checks for separation; 0: none.
  bool collapse = true;            ///< Fit identical records as one; see GroupRecords.
};

/// The share of a pivot below which a parameter is redundant. Of a linear model the square of the
/// 1e-7 by which R's lm compares norms; it keeps a year beside its square. The information matrix
/// of a logistic model is known to fewer digits.
[[nodiscard]] constexpr double DefaultTolerance(ModelKind kind) {
  return kind == ModelKind::kLinear ? 1e-14 : 1e-12;
}

/// What to fit to what, and how. Every field but the source and the formula has a default that
/// suits most; empty texts and options are "not given".
struct FitOptions {
  /// An option of the command that only one kind of model has.
  struct OfOneKind {
    std::string name;
    ModelKind kind;
  };

  DataSource source;
  std::string formula;
  std::string where;          ///< A condition on the rows that are used; empty for all.
  BindingOptions binding;     ///< The kind of model, the weight columns.
  int maxParameters = 10000;  ///< A model of more is refused before it takes memory; 1 or more.
  bool intercept = true;      ///< False takes the intercept out whatever the formula says.
  /// Share of a pivot below which a parameter is redundant, in [0, 1); none: DefaultTolerance.
  std::optional<double> tolerance;
  double confidence = 0.95;                ///< Of the limits, in [0, 1).
  std::optional<double> degreesOfFreedom;  ///< Above 0; none: computed. Linear models only.
  std::optional<int> anova;  ///< Type of the tests of effects, 1 to 3; none: 2 where it is cheap.
  bool vif = false;          ///< Report how much terms inflate each other's variances.
  /// Columns whose average effects on predictions are computed, all for an empty list; none: none.
  std::optional<std::vector<std::string>> margins = std::nullopt;
  /// Combinations of means over the grid of the variables, and the factors for whose levels means
  /// are reported; each as written.
  std::vector<std::string> contrasts = {};
  std::vector<std::string> means = {};
  bool refine = true;    ///< Iterative refinement of a linear model's estimates.
  std::string spoolDir;  ///< Folder of the temporary file; empty: the system's.
  int threads = 0;       ///< 0: as many as the machine has cores.
  LogisticOptions logistic;
  /// Of the standard errors, tests and limits; clusters are those of BindingOptions::cluster.
  CovarianceKind covariance = CovarianceKind::kModel;
  std::string covarianceFile;  ///< File for the covariance matrix; empty for none.
  std::string diagnostics;     ///< File for residuals and leverages of records; empty for none.
  bool influential = false;    ///< Find the most influential records.
  bool digest = false;         ///< Make a digest of the records used.
  bool plots = false;          ///< Compute what a report draws, see FitPlots.
  bool strict = false;         ///< An estimation that does not converge is a failure.
  std::string save;            ///< File for the model; empty for none.
  std::string predictions;     ///< File for the predicted values; empty for none.
  /// Names of columns of the data that stand beside predictions and diagnostics; of all of them
  /// with `keepAll`.
  std::vector<std::string> keep;
  bool keepAll = false;
  std::vector<OfOneKind> ofOneKind;  ///< Those given, to refuse them for the other kind.
};

}  // namespace qvhost
