#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/formula/Formula.h"

namespace qvhost {

/// What varies, or stands still, in the grid of a formula over which means are taken.
///
/// Every factor is an axis, its values the levels. So is every column of numbers that a covariate
/// reads, itself or inside an expression: expressions are computed of the columns' values in the
/// grid. Where a factor is a column as it stands, C(year), that is the column of the covariates,
/// too. An expression of anything else, such as of a date, is an axis itself. A plain value.
struct GridPlan {
  struct Axis {
    std::string name = {};    ///< For people: `species`, `year` for C(year).
    std::string column = {};  ///< As the table spells it; empty for an expression's own axis.
    std::string sql = {};     ///< The column's values; empty likewise.
    int variable = -1;        ///< The first of Formula::variables that it is; -1 for none.
    bool isFactor = false;    ///< Whether its values are levels.
    int position = -1;        ///< In the coded records, see BindModel.
  };

  std::vector<Axis> axes;  ///< Factors first, each in the order of the formula.
  /// For each of Formula::variables, of what axes it is computed.
  std::vector<std::vector<std::size_t>> axesOf;
  /// And whether the engine must do that: it is not the axis itself.
  std::vector<bool> isComputed;
  /// For each axis in which others the formula has it: those that stand in every term with it, but
  /// not the other way round. So s in `a + a:s`; neither in `a:s` alone.
  std::vector<std::vector<std::size_t>> within;
};

/// `isFactor`: for each of Formula::variables.
[[nodiscard]] GridPlan PlanGrid(const Formula& formula, const std::vector<bool>& isFactor);

}  // namespace qvhost
