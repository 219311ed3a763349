#pragma once

#include <string>
#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// A column of the data, or a variable of the formula, whose effect on predictions is asked for. A
/// plain value.
struct MarginVariable {
  /// A covariate that changes with the column.
  struct Slope {
    int variable = 0;   ///< Index into Formula::variables.
    int position = -1;  ///< In the records, of its derivative by the column; -1 where that is 1.
  };

  std::string name;
  int factor = -1;            ///< Of a factor: index into Formula::variables.
  std::vector<Slope> slopes;  ///< Of a column of covariates.
  bool isWhole = false;       ///< A covariate by itself, and no column of it.
};

/// What --margins computes. A plain value.
struct MarginPlan {
  std::vector<MarginVariable> variables;  ///< In the order of the formula.
  std::vector<std::string> notes;         ///< On columns that have no effect of their own.
};

/// Finds the columns that have an effect of their own, all or those of the list, and adds to the
/// binding the columns of records that hold derivatives: see DerivativeSql.
///
/// - A factor is one variable: each level is compared with the base.
/// - Of a column of numbers all covariates count in which it occurs.
/// - A covariate of a single column that has no derivative, as round(x), is a variable by itself.
/// - A column that is factor and covariate, or part of several factors, has none, and neither has
///   one that occurs in several covariates of which one has no derivative.
///
/// Throws Error (kBadInput) for a name of the list that is no column of the formula, and for one
/// that has no effect.
[[nodiscard]] MarginPlan PlanMargins(const Formula& formula, const TableSource& source,
                                     const std::vector<std::string>& names, ModelBinding& binding);

}  // namespace qvhost
