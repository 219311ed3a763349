#include "host/fit/RunSettings.h"

#include <algorithm>
#include <new>
#include <numeric>

#include "host/formula/Term.h"
#include "qvreg/settings/QvModelEffect.h"

namespace qvhost {

namespace {

/// The settings refuse a role or an effect of a bound model only when memory runs out.
void Require(bool accepted) {
  if (!accepted) throw std::bad_alloc();
}

int PositionOf(const ModelBinding& binding, int variable) {
  return binding.positions[static_cast<std::size_t>(variable)];
}

}  // namespace

RunSettings::RunSettings(const Formula& formula, const ModelBinding& binding,
                         const CodedTable& table, const FitOptions& options)
    : variables_(static_cast<std::size_t>(binding.factorCount + binding.covariateCount)) {
  std::iota(variables_.begin(), variables_.end(), ModelBinding::kDependent + 1);
  AddRoles(binding, table);
  for (const Term& term : formula.terms) {
    AddEffect(term, binding);
  }
  settings_.SetInterceptUse(formula.intercept && options.intercept);
  settings_.SetTolerance(options.tolerance);
  settings_.SetConfidenceLevel(options.confidence);
  if (options.degreesOfFreedom) settings_.SetDF(*options.degreesOfFreedom);
  settings_.SetRefineEstimates(options.refine);
}

void RunSettings::AddRoles(const ModelBinding& binding, const CodedTable& table) {
  Require(settings_.SetDependent(ModelBinding::kDependent));
  for (int i = 0; i < binding.factorCount + binding.covariateCount; ++i) {
    const int position = variables_[static_cast<std::size_t>(i)];
    if (i >= binding.factorCount) {
      Require(settings_.AddCovariate(position) > 0);
      continue;
    }
    // A column without any value has no level, and a factor has at least one.
    const auto levels = table.Columns()[static_cast<std::size_t>(position)].levels.size();
    Require(settings_.AddFactor(position, std::max(1, static_cast<int>(levels))) > 0);
  }
  if (binding.freqWeight >= 0) Require(settings_.SetFrequencyWeightVar(binding.freqWeight));
  if (binding.regressionWeight >= 0) Require(settings_.SetRegrWeightVar(binding.regressionWeight));
}

void RunSettings::AddEffect(const Term& term, const ModelBinding& binding) {
  QvModelEffect effect(binding.factorCount, binding.covariateCount, &variables_);
  for (const FactorStep& step : FactorSteps(term, binding.isFactor)) {
    Require(effect.AddNewFactor(PositionOf(binding, step.variable), step.nested));
  }
  for (const CovariateStep& step : CovariateSteps(term, binding.isFactor)) {
    for (int times = 0; times < step.multiplicity; ++times) {
      Require(effect.AddCovariate(PositionOf(binding, step.variable)) > 0);
    }
  }
  Require(settings_.AddModelEffect(effect));
}

}  // namespace qvhost
