#include "host/fit/FitWarnings.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/fit/ScaledEstimates.h"
#include "host/formula/Terms.h"
#include "host/table/NumberLevels.h"
#include "qvreg/design/QvFactorCounts.h"

namespace qvhost {
namespace {

/// With fewer records, many distinct values are no evidence.
constexpr std::int64_t kFewestRecords = 20;

std::string WarningOf(const CodedColumn& column, std::int64_t records) {
  const std::int64_t values = records - column.missing;
  const auto levels = static_cast<std::int64_t>(column.levels.size());
  if (values < kFewestRecords || 2 * levels <= values) return {};
  return fmt::format(
      "'{}' has {} levels in {} records, fewer than two records for a level. Leave it out, or "
      "group its values with --sql.",
      column.label, levels, values);
}

/// Which factors, the dependent included, are probably none, as nearly every record has a level of
/// its own. Those whose levels are numbers are named by DataNotes.
std::vector<std::string> LevelWarnings(const Formula& formula, const ModelBinding& binding,
                                       const CodedTable& table) {
  std::vector<std::string> warnings;
  const auto add = [&](int position, const Variable& variable) {
    const CodedColumn& column = table.Columns()[static_cast<std::size_t>(position)];
    if (column.kind != CodedColumn::Kind::kFactor) return;
    const bool isColumn = !variable.asFactor && variable.form == Variable::Form::kColumn;
    if (isColumn && IsLikelyNumber(column)) return;
    std::string warning = WarningOf(column, table.RecordCount());
    if (!warning.empty()) warnings.push_back(std::move(warning));
  };
  add(ModelBinding::kDependent, formula.response);
  for (std::size_t i = 0; i < formula.variables.size(); ++i) {
    add(binding.positions[i], formula.variables[i]);
  }
  return warnings;
}

// Relative to the dependent's size, a residual this small is rounding error.
constexpr double kRoundingShare = 1e-13;
constexpr double kPerfectRSquare = 1.0 - 1e-15;
// Half of a double's digits are gone.
constexpr double kWorstPivotShare = 1.5e-8;

}  // namespace

std::vector<std::string> FitWarnings::Find() const {
  Sentences found;
  FindRecords(found);
  FindDependentLevels(found);
  FindZerosAndOnes(found);
  FindFactors(found);
  FindBases(found);
  for (std::string& warning : LevelWarnings(formula_, binding_, table_)) {
    found.push_back(std::move(warning));
  }
  FindEmptyCells(found);
  FindNonFinite(found);
  FindRedundantCovariates(found);
  if (result_.kind == ModelKind::kLinear) FindResidual(found);
  FindNearlyDependent(found);
  return found;
}

void FitWarnings::FindRecords(Sentences& found) const {
  const RecordUse& records = result_.records;
  if (records.used < records.read - records.heldOut - records.used) {
    found.push_back(
        "More than half of the records were left out; the fit speaks only for the rest.");
  }
}

std::size_t FitWarnings::PredictorSize() const {
  const std::size_t predictors = result_.logistic ? result_.logistic->levels.size() - 1 : 1;
  return result_.parameters.size() / predictors;
}

void FitWarnings::FindDependentLevels(Sentences& found) const {
  if (!result_.logistic) return;
  const auto& occurring = result_.logistic->levels;
  const std::vector<std::string>& levels = table_.Columns()[ModelBinding::kDependent].levels;
  std::vector<std::string> unseen;
  for (const std::string& level : levels) {
    const auto isThis = [&](const DependentLevel& other) { return other.level == level; };
    if (std::ranges::none_of(occurring, isThis)) unseen.push_back(level);
  }
  if (unseen.empty()) return;
  found.push_back(
      fmt::format("{} of the {} levels of the dependent {} not occur in the records used and {} "
                  "left out of the model: {}.",
                  unseen.size(), levels.size(), unseen.size() == 1 ? "does" : "do",
                  unseen.size() == 1 ? "is" : "are", NameList(unseen)));
}

int FitWarnings::ActiveLevels(int variable) const {
  const int position = binding_.positions[static_cast<std::size_t>(variable)];
  return output_.GetFactorCounts().GetNActiveCategories(position - ModelBinding::kDependent - 1);
}

void FitWarnings::FindFactors(Sentences& found) const {
  for (int factor = 0; factor < binding_.factorCount; ++factor) {
    const int position = factor + ModelBinding::kDependent + 1;
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
    const QvFactorCounts::Counts& counts = *output_.GetFactorCounts().GetCountsPtr(factor);
    std::vector<std::string> seen;
    std::vector<std::string> unseen;
    for (std::size_t level = 0; level < column.levels.size(); ++level) {
      (counts[level].first > 0.0 ? seen : unseen).push_back(column.levels[level]);
    }
    if (seen.size() == 1) {
      found.push_back(
          fmt::format("The factor '{}' has only one level ({}) in the records used, so "
                      "it explains nothing.",
                      column.label, NameList(seen)));
    }
    if (!unseen.empty()) {
      found.push_back(fmt::format(
          "{} of the {} levels of '{}' {} not occur in the records used and "
          "{} no parameter: {}.",
          unseen.size(), column.levels.size(), column.label, unseen.size() == 1 ? "does" : "do",
          unseen.size() == 1 ? "has" : "have", NameList(unseen)));
    }
  }
}

void FitWarnings::FindBases(Sentences& found) const {
  for (int factor = 0; factor < binding_.factorCount; ++factor) {
    const auto position = static_cast<std::size_t>(factor) + ModelBinding::kDependent + 1;
    const std::vector<std::string>& levels = table_.Columns()[position].levels;
    const LevelChoice& choice = binding_.columns[position].levels;
    if ((!choice.base && !choice.isFirstBase) || levels.empty()) continue;
    const QvFactorCounts::Counts& counts = *output_.GetFactorCounts().GetCountsPtr(factor);
    std::size_t last = levels.size();
    while (last > 0 && counts[last - 1].first <= 0.0) --last;
    if (last == levels.size() || last == 0) continue;
    found.push_back(fmt::format(
        "The base '{}' of '{}' does not occur in the records used; '{}' takes its place.",
        levels.back(), table_.Columns()[position].label, levels[last - 1]));
  }
}

void FitWarnings::FindZerosAndOnes(Sentences& found) const {
  if (result_.kind != ModelKind::kLinear || !binding_.isKindByType) return;
  const CodedColumn& dependent = table_.Columns()[ModelBinding::kDependent];
  const bool areBoth = dependent.lowest == 0.0 && dependent.highest == 1.0;
  if (!areBoth || !dependent.areZerosAndOnes) return;
  found.push_back(fmt::format(
      "The dependent '{}' is 0 or 1 throughout and was taken as a number; for a logistic model of "
      "it, add --model logistic.",
      dependent.label));
}

long long FitWarnings::ParametersOf(std::size_t term) const {
  const bool intercept = !result_.parameters.empty() && result_.parameters.front().IsIntercept();
  const int effect = static_cast<int>(term) + (intercept ? 1 : 0);
  const auto& parameters = output_.GetParameters();
  const auto end = parameters.begin() + static_cast<std::ptrdiff_t>(PredictorSize());
  return std::count_if(parameters.begin(), end, [&](const QvRegrParameter& parameter) {
    return parameter.GetEffectIndex() == effect;
  });
}

void FitWarnings::FindEmptyCells(Sentences& found) const {
  for (std::size_t i = 0; i < formula_.terms.size(); ++i) {
    const std::vector<FactorStep> steps = FactorSteps(formula_.terms[i], binding_.isFactor);
    const bool nested =
        std::any_of(steps.begin(), steps.end(), [](const FactorStep& step) { return step.nested; });
    if (steps.size() < 2 || nested) continue;
    double cells = 1.0;
    for (const FactorStep& step : steps) cells *= ActiveLevels(step.variable);
    const double empty = cells - static_cast<double>(ParametersOf(i));
    if (empty <= 0.0) continue;
    found.push_back(
        fmt::format("{:.0f} of the {:.0f} combinations of levels in '{}' {} not occur "
                    "in the records used and {} no parameter.",
                    empty, cells, TermLabel(formula_, formula_.terms[i]),
                    empty == 1.0 ? "does" : "do", empty == 1.0 ? "has" : "have"));
  }
}

void FitWarnings::FindNonFinite(Sentences& found) const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < PredictorSize(); ++i) {
    if (result_.parameters[i].nonFinite) names.push_back(result_.parameters[i].label);
  }
  if (names.empty()) return;
  const bool isOne = names.size() == 1;
  found.push_back(fmt::format(
      "{} {} left out of the model, because {} values, the products of {} values or "
      "the weights are too large for a number. Rescale the columns.",
      NameList(names), isOne ? "is" : "are", isOne ? "its" : "their", isOne ? "its" : "their"));
}

std::optional<std::string> FitWarnings::OnlyValue(const ParameterResult& parameter) const {
  if (parameter.covariates.size() != 1 || parameter.covariates.front().power != 1) return {};
  const auto column = std::ranges::find(table_.Columns(), parameter.covariates.front().covariate,
                                        &CodedColumn::label);
  if (column == table_.Columns().end() || column->lowest != column->highest) return {};
  return fmt::format("{}", column->lowest);
}

void FitWarnings::FindRedundantCovariates(Sentences& found) const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < PredictorSize(); ++i) {
    const ParameterResult& parameter = result_.parameters[i];
    if (parameter.nonFinite) continue;
    if (!parameter.redundant || !parameter.levels.empty()) continue;
    if (const auto value = OnlyValue(parameter)) {
      found.push_back(fmt::format(
          "'{}' has one value, {}, in all records, so it explains nothing; leave it out.",
          parameter.label, *value));
    } else {
      names.push_back(parameter.label);
    }
  }
  if (names.empty()) return;
  const bool isOne = names.size() == 1;
  const std::string depends =
      fmt::format("{} {} on the terms before", NameList(names), isOne ? "depends" : "depend");
  if (result_.tolerance == 0.0) {
    found.push_back(
        fmt::format("{}, and the model is the same without {}.", depends, isOne ? "it" : "them"));
    return;
  }
  // The library does not tell what was left.
  found.push_back(fmt::format(
      "{}: they leave no more of {} than the share of --tolerance ({:g}). Unless this is exact, "
      "centre the variables, as center(x), or lower --tolerance.",
      depends, isOne ? "it" : "each", result_.tolerance));
}

void FitWarnings::FindResidual(Sentences& found) const {
  const ScaledEstimates scaled = ScaledEstimatesOf(output_);
  const double meanSize =
      std::ldexp(std::abs(output_.GetMeanValues().back()), -scaled.dependentExponent);
  const double rSquare = result_.rSquare.value_or(0.0);
  const bool isTiny = scaled.rmse && *scaled.rmse <= kRoundingShare * meanSize;
  const bool isConstant = isTiny && rSquare == 0.0 && result_.records.used > 1;
  if (isConstant) {
    found.push_back("The dependent is the same in all records used; there is nothing to explain.");
  }
  if (!(result_.degreesOfFreedom > 0.0)) {
    found.push_back(
        "The model has as many parameters as the data have records, so nothing is left to tell the "
        "error from: standard errors, t, p and limits do not exist. Give more records, leave out "
        "terms, or impose degrees of freedom with --df.");
  } else if (!result_.rmse || !scaled.rmse) {
    found.push_back(
        "The root mean square error is outside the range of floating-point numbers; rescale the "
        "dependent.");
  } else if (isConstant) {
    return;
  } else if (*scaled.rmse == 0.0) {
    found.push_back(
        "The fit is perfect: no residual is left, so standard errors are 0 and t and p do not "
        "exist.");
  } else if (isTiny || rSquare >= kPerfectRSquare) {
    found.push_back(
        "The fit is essentially perfect; its standard errors, t and p may show nothing but "
        "rounding.");
  }
}

void FitWarnings::FindNearlyDependent(Sentences& found) const {
  // Estimates without a maximum look dependent, and OptimizationWarnings reports them.
  if (result_.logistic && !result_.logistic->converged) return;
  const auto share =
      SmallestPivotShare(ScaledEstimatesOf(output_).covariance, output_.GetRedundancyIndicators());
  if (!share || *share > kWorstPivotShare) return;
  found.push_back(
      "Some columns of the design are nearly dependent, which costs the estimates digits and makes "
      "their standard errors large. Centre or rescale covariates, or leave one of them out.");
}

}  // namespace qvhost
