#include "host/fit/GridPlan.h"

#include <algorithm>
#include <optional>

#include "host/fit/ExpressionFault.h"
#include "host/fit/ModelBinding.h"

namespace qvhost {
namespace {

bool IsColumn(const Variable& variable) {
  return variable.form == Variable::Form::kColumn && variable.standardizing == Standardizing::kNone;
}

/// Makes the plan. Borrows the formula.
class Planner {
 public:
  Planner(const Formula& formula, const std::vector<bool>& isFactor)
      : formula_(formula), isFactor_(isFactor) {
    plan_.axesOf.resize(formula.variables.size());
    plan_.isComputed.resize(formula.variables.size(), false);
  }

  GridPlan Plan() {
    ForEach(true, true, [this](std::size_t i) { AddFactor(i); });
    ForEach(true, false, [this](std::size_t i) { AddFactor(i); });
    ForEach(false, true, [this](std::size_t i) { AddCovariate(i); });
    ForEach(false, false, [this](std::size_t i) { AddCovariate(i); });
    FindNesting();
    return std::move(plan_);
  }

 private:
  /// Columns as they stand come first, since others may be computed of them.
  template <typename Action>
  void ForEach(bool isFactor, bool isColumn, Action action) {
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      if (isFactor_[i] == isFactor && IsColumn(formula_.variables[i]) == isColumn) action(i);
    }
  }

  [[nodiscard]] std::optional<std::size_t> AxisOf(const std::string& column) const {
    for (std::size_t i = 0; i < plan_.axes.size(); ++i) {
      if (!column.empty() && plan_.axes[i].column == column) return i;
    }
    return std::nullopt;
  }

  std::size_t Add(GridPlan::Axis axis) {
    plan_.axes.push_back(std::move(axis));
    return plan_.axes.size() - 1;
  }

  void AddFactor(std::size_t i) {
    const Variable& variable = formula_.variables[i];
    const std::string column = IsColumn(variable) ? variable.columns.front().found.name : "";
    std::optional<std::size_t> axis = AxisOf(column);
    if (!axis) {
      axis = Add({.name = PlainName(variable),
                  .column = column,
                  .sql = column.empty() ? "" : variable.columns.front().found.sql,
                  .variable = static_cast<int>(i),
                  .isFactor = true});
    }
    plan_.axesOf[i] = {*axis};
  }

  void AddCovariate(std::size_t i) {
    const Variable& variable = formula_.variables[i];
    const std::vector<FoundColumn> columns = DistinctColumns(variable);
    const bool isOwn = std::ranges::any_of(columns, [this](const FoundColumn& column) {
      return column.kind != ValueKind::kNumber && !AxisOf(column.name);
    });
    if (isOwn) {
      plan_.axesOf[i] = {Add({.name = variable.label, .variable = static_cast<int>(i)})};
      return;
    }
    for (const FoundColumn& column : columns) {
      std::optional<std::size_t> axis = AxisOf(column.name);
      if (!axis) {
        axis = Add({.name = column.name,
                    .column = column.name,
                    .sql = column.sql,
                    .variable = IsColumn(variable) ? static_cast<int>(i) : -1});
      }
      plan_.axesOf[i].push_back(*axis);
    }
    const bool isAxis = IsColumn(variable) && !plan_.axes[plan_.axesOf[i].front()].isFactor;
    plan_.isComputed[i] = !isAxis;
  }

  /// The factors of a term, as axes.
  [[nodiscard]] std::vector<std::size_t> FactorsOf(const Term& term) const {
    std::vector<std::size_t> factors;
    for (const TermPart& part : term.parts) {
      const auto variable = static_cast<std::size_t>(part.variable);
      if (isFactor_[variable]) factors.push_back(plan_.axesOf[variable].front());
    }
    std::ranges::sort(factors);
    return factors;
  }

  void FindNesting() {
    std::vector<std::optional<std::vector<std::size_t>>> common(plan_.axes.size());
    for (const Term& term : formula_.terms) {
      const std::vector<std::size_t> factors = FactorsOf(term);
      for (const std::size_t axis : factors) {
        if (!common[axis]) common[axis] = factors;
        std::vector<std::size_t> both;
        std::ranges::set_intersection(*common[axis], factors, std::back_inserter(both));
        common[axis] = both;
      }
    }
    const auto stands = [&](std::size_t one, std::size_t in) {
      return common[one] && std::ranges::binary_search(*common[one], in);
    };
    plan_.within.resize(plan_.axes.size());
    for (std::size_t axis = 0; axis < plan_.axes.size(); ++axis) {
      for (std::size_t other = 0; other < plan_.axes.size(); ++other) {
        if (stands(axis, other) && !stands(other, axis)) plan_.within[axis].push_back(other);
      }
    }
  }

  const Formula& formula_;
  const std::vector<bool>& isFactor_;
  GridPlan plan_;
};

}  // namespace

GridPlan PlanGrid(const Formula& formula, const std::vector<bool>& isFactor) {
  return Planner(formula, isFactor).Plan();
}

}  // namespace qvhost
