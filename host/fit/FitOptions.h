#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/LogisticOptions.h"
#include "host/fit/ModelBinding.h"
#include "host/table/TableSource.h"

namespace qvhost {

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
  std::string where;         ///< A condition on the rows that are used; empty for all.
  BindingOptions binding;    ///< The kind of model, the weight columns.
  bool intercept = true;     ///< False takes the intercept out whatever the formula says.
  double tolerance = 1e-12;  ///< Share of a pivot below which a parameter is redundant; in [0, 1).
  double confidence = 0.95;  ///< Of the limits, in [0, 1).
  std::optional<double> degreesOfFreedom;  ///< Above 0; none: computed. Linear models only.
  bool refine = true;                      ///< Iterative refinement of a linear model's estimates.
  std::string spoolDir;                    ///< Folder of the temporary file; empty: the system's.
  LogisticOptions logistic;
  std::string predictions;           ///< File for the predicted values; empty for none.
  std::vector<OfOneKind> ofOneKind;  ///< Those given, to refuse them for the other kind.
};

}  // namespace qvhost
