#include "host/fit/MarginPlan.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/formula/Derivative.h"
#include "host/formula/Tokenizer.h"
#include "host/table/ColumnInfo.h"

namespace qvhost {
namespace {

/// Where a column occurs, and what that makes of it.
struct ColumnUses {
  std::string name;
  std::vector<std::size_t> variables;
};

bool Reads(const Variable& variable, const std::string& column) {
  return std::ranges::any_of(variable.columns,
                             [&](const ColumnUse& use) { return use.found.name == column; });
}

bool ReadsOne(const Variable& variable) {
  const std::string& first = variable.columns.front().found.name;
  return std::ranges::all_of(variable.columns,
                             [&](const ColumnUse& use) { return use.found.name == first; });
}

/// Decides for each column. Borrows everything it is made of.
class Planner {
 public:
  Planner(const Formula& formula, ModelBinding& binding) : formula_(formula), binding_(binding) {}

  MarginPlan Run(const std::vector<std::string>& wanted) {
    for (const Variable& variable : formula_.variables) {
      for (const ColumnUse& use : variable.columns) {
        const std::string& name = use.found.name;
        const bool isWanted = wanted.empty() || std::ranges::find(wanted, name) != wanted.end();
        if (!isWanted || std::ranges::find(seen_, name) != seen_.end()) continue;
        seen_.push_back(name);
        const std::string reason = Add(UsesOf(name));
        if (reason.empty()) continue;
        if (!wanted.empty()) {
          throw Error(ExitCode::kBadInput,
                      fmt::format("--margins: {} has no effect of its own, since {}.",
                                  WrittenName(name), reason));
        }
        plan_.notes.push_back(
            fmt::format("There is no marginal effect of {}: {}.", WrittenName(name), reason));
      }
    }
    return std::move(plan_);
  }

 private:
  [[nodiscard]] ColumnUses UsesOf(const std::string& name) const {
    ColumnUses uses{name, {}};
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      if (Reads(formula_.variables[i], name)) uses.variables.push_back(i);
    }
    return uses;
  }

  [[nodiscard]] const Variable& VariableOf(std::size_t index) const {
    return formula_.variables[index];
  }

  /// Why there is none; empty where there is.
  std::string Add(const ColumnUses& uses) {
    const auto isFactor = [this](std::size_t i) { return binding_.isFactor[i]; };
    const auto factors = std::ranges::count_if(uses.variables, isFactor);
    if (factors == 0) return AddCovariate(uses);
    const std::size_t first = uses.variables.front();
    if (uses.variables.size() > 1) {
      return fmt::format("it occurs in {} and in {}, which a change of one leaves as it is",
                         VariableOf(first).label, VariableOf(uses.variables[1]).label);
    }
    for (const ColumnUse& use : VariableOf(first).columns) {
      const ColumnUses others = UsesOf(use.found.name);
      if (others.variables.size() == 1) continue;
      return fmt::format("{} of {} occurs in other variables, too", WrittenName(use.found.name),
                         VariableOf(first).label);
    }
    AddWhole(first, PlainName(VariableOf(first)));
    plan_.variables.back().factor = static_cast<int>(first);
    return {};
  }

  std::string AddCovariate(const ColumnUses& uses) {
    std::vector<std::pair<std::size_t, std::string>> slopes;
    for (const std::size_t i : uses.variables) {
      const std::optional<std::string> slope = DerivativeSql(VariableOf(i), uses.name);
      if (slope) {
        slopes.emplace_back(i, *slope);
        continue;
      }
      if (uses.variables.size() > 1 || !ReadsOne(VariableOf(i))) {
        return fmt::format("{} has no derivative by it", VariableOf(i).label);
      }
      AddWhole(i, VariableOf(i).label);
      plan_.variables.back().slopes.push_back({static_cast<int>(i)});
      return {};
    }
    MarginVariable variable;
    variable.name = uses.name;
    for (const auto& [i, slope] : slopes) {
      variable.slopes.push_back({static_cast<int>(i), slope == "1" ? -1 : Place(i, uses, slope)});
    }
    plan_.variables.push_back(std::move(variable));
    return {};
  }

  /// A variable by itself, once for all of its columns.
  void AddWhole(std::size_t index, const std::string& name) {
    for (const ColumnUse& use : VariableOf(index).columns) seen_.push_back(use.found.name);
    plan_.variables.push_back({name, -1, {}, true});
  }

  /// The records get a column; where there is no finite derivative it is missing.
  int Place(std::size_t variable, const ColumnUses& uses, const std::string& slope) {
    binding_.columns.push_back(
        {fmt::format("derivative of {} by {}", VariableOf(variable).label, uses.name),
         fmt::format("TRY(CASE WHEN isfinite(CAST({0} AS DOUBLE)) THEN CAST({0} AS DOUBLE) END)",
                     slope),
         Coding::kNumber});
    return static_cast<int>(binding_.columns.size()) - 1;
  }

  const Formula& formula_;
  ModelBinding& binding_;
  MarginPlan plan_;
  std::vector<std::string> seen_;  ///< Columns that are settled.
};

/// The columns of the table that a list names. Throws Error for one that is not in the formula.
std::vector<std::string> ColumnsNamed(const Formula& formula, const TableSource& source,
                                      const std::vector<std::string>& names) {
  std::vector<std::string> columns;
  for (const std::string& name : names) {
    const std::string& column = ColumnOfOption(source, name, "--margins").name;
    const auto reads = [&](const Variable& variable) { return Reads(variable, column); };
    if (std::ranges::none_of(formula.variables, reads)) {
      std::vector<std::string> all;
      for (const Variable& variable : formula.variables) {
        for (const ColumnUse& use : variable.columns) {
          const std::string written = WrittenName(use.found.name);
          if (std::ranges::find(all, written) == all.end()) all.push_back(written);
        }
      }
      throw Error(
          ExitCode::kBadInput,
          fmt::format("--margins: no term of the formula has {}; {}.", WrittenName(column),
                      all.empty() ? "it has no terms"
                                  : fmt::format("its columns are {}", fmt::join(all, ", "))));
    }
    columns.push_back(column);
  }
  return columns;
}

}  // namespace

MarginPlan PlanMargins(const Formula& formula, const TableSource& source,
                       const std::vector<std::string>& names, ModelBinding& binding) {
  MarginPlan plan = Planner(formula, binding).Run(ColumnsNamed(formula, source, names));
  if (formula.variables.empty()) {
    plan.notes.emplace_back("There are no marginal effects, as the formula has no terms.");
  }
  return plan;
}

}  // namespace qvhost
