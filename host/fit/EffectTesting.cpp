#include "host/fit/EffectTesting.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/fit/ScaledEstimates.h"
#include "host/formula/TermHierarchy.h"
#include "host/inference/LinearQuality.h"
#include "qvreg/common/QvBitSet.h"

namespace qvhost {
namespace {

/// Products and sums that the tests of type 2 take, about.
double WorkOf(const EffectSums& sums, const std::vector<std::vector<bool>>& containing) {
  std::vector<int> sizes;
  sizes.reserve(containing.size());
  for (std::size_t i = 0; i < containing.size(); ++i) {
    sizes.push_back(sums.KeptOf(static_cast<int>(i)));
  }
  double work = 0.0;
  for (std::size_t i = 0; i < containing.size(); ++i) {
    double size = sizes[i];
    for (std::size_t j = 0; j < containing.size(); ++j) size += containing[i][j] ? sizes[j] : 0;
    work += size * size * size;
  }
  return work;
}

/// In how many combinations of levels the factors of a term occur, and in how many they might.
struct Cells {
  std::size_t occurring = 0;
  double possible = 1.0;
};

Cells CellsOf(int term, const std::vector<int>& terms,
              const std::vector<QvRegrParameter>& parameters) {
  std::set<std::vector<int>> cells;
  std::vector<std::set<int>> levels;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i] != term) continue;
    const std::vector<int>& cell = parameters[i].GetCategories();
    cells.insert(cell);
    levels.resize(cell.size());
    for (std::size_t k = 0; k < cell.size(); ++k) levels[k].insert(cell[k]);
  }
  Cells result;
  result.occurring = cells.size();
  for (const std::set<int>& ofFactor : levels) {
    result.possible *= static_cast<double>(ofFactor.size());
  }
  return result;
}

bool IsNested(const Term& term) { return term.parts.back().depth > 0; }

}  // namespace

std::vector<RedundantColumn> RedundantColumnsOf(const IQvRegOutputStats& output,
                                                const std::vector<bool>& kept) {
  std::vector<RedundantColumn> columns;
  std::vector<double> combination;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i] || !output.GetRedundantCombination(static_cast<int>(i), combination)) continue;
    RedundantColumn& column = columns.emplace_back();
    column.parameter = i;
    for (std::size_t place = 0; place < combination.size(); ++place) {
      if (combination[place] == 0.0) continue;
      column.places.push_back(place);
      column.coefficients.push_back(combination[place]);
    }
  }
  return columns;
}

std::vector<int> TermsOfParameters(const IQvRegOutputStats& output) {
  const std::vector<QvRegrParameter>& parameters = output.GetParameters();
  const bool hasIntercept = !parameters.empty() && parameters.front().IsIntercept();
  std::vector<int> terms;
  terms.reserve(parameters.size());
  for (const QvRegrParameter& parameter : parameters) {
    terms.push_back(parameter.GetEffectIndex() - (hasIntercept ? 1 : 0));
  }
  return terms;
}

std::vector<std::vector<bool>> ContainingTerms(const Formula& formula,
                                               const std::vector<bool>& isFactor, int type) {
  std::vector<std::vector<bool>> containing;
  for (const Term& term : formula.terms) {
    std::vector<bool>& others = containing.emplace_back();
    others.reserve(formula.terms.size());
    for (const Term& other : formula.terms) {
      others.push_back(type == 2   ? Contains(other, term)
                       : type == 3 ? HasMoreFactors(other, term, isFactor)
                                   : false);
    }
  }
  return containing;
}

EffectSums EffectSumsOf(const IQvRegOutputStats& output, const Interrupt& interrupt) {
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  std::vector<bool> kept = KeptParameters(output);
  std::vector<RedundantColumn> redundant = RedundantColumnsOf(output, kept);
  return EffectSums({scaled.estimates, scaled.covariance, std::move(kept),
                     TermsOfParameters(output), std::move(redundant),
                     [&interrupt] { return interrupt.Requested(); }});
}

std::vector<std::optional<EffectSum>> SumsOfTerms(const EffectSums& sums, const Formula& formula,
                                                  const std::vector<bool>& isFactor, int type) {
  const auto count = static_cast<int>(formula.terms.size());
  std::vector<std::optional<EffectSum>> results(formula.terms.size());
  if (type == 1) {
    const auto sequential = sums.Sequential(count);
    if (sequential) std::ranges::copy(*sequential, results.begin());
    return results;
  }
  const auto adjustment = type == 2 ? EffectSums::Adjustment::kWithoutContaining
                                    : EffectSums::Adjustment::kEqualWeights;
  const std::vector<std::vector<bool>> containing = ContainingTerms(formula, isFactor, type);
  for (int term = 0; term < count; ++term) {
    const auto place = static_cast<std::size_t>(term);
    results[place] = sums.Of(term, containing[place], adjustment);
  }
  return results;
}

std::optional<EffectTests> TestLinearEffects(const Formula& formula, const ModelBinding& binding,
                                             const IQvRegOutputStats& output,
                                             std::optional<int> type, const FitResult& result,
                                             const Interrupt& interrupt) {
  constexpr double kCheap = 2e8;
  EffectTests tests;
  tests.isAsked = type.has_value();
  tests.type = type.value_or(2);
  const EffectSums sums = EffectSumsOf(output, interrupt);
  const bool isCheap = WorkOf(sums, ContainingTerms(formula, binding.isFactor, 2)) <= kCheap;
  if (!tests.isAsked && !isCheap) return std::nullopt;

  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  const ResidualVariance residual = ComputeResidualVariance(
      scaled.rmse, output.GetTotalFreqWeight(), output.GetRedundancyIndicators().Count(),
      result.imposedDegreesOfFreedom ? std::optional(result.degreesOfFreedom) : std::nullopt);
  const auto found = SumsOfTerms(sums, formula, binding.isFactor, tests.type);
  if (interrupt.Requested()) throw Cancelled();
  for (std::size_t i = 0; i < found.size(); ++i) {
    EffectTest& test = tests.tests.emplace_back();
    test.term = TermLabel(formula, formula.terms[i]);
    test.residualDegrees = Finite(residual.degreesOfFreedom);
    if (!found[i]) continue;
    test.degrees = found[i]->degrees;
    if (test.degrees == 0) continue;
    test.sumOfSquares = TimesPowerOf2(found[i]->sum, 2 * scaled.dependentExponent);
    if (!residual.stdError) continue;
    const double error = *residual.stdError;
    test.statistic = Finite(found[i]->sum / error / error / test.degrees);
    test.pValue = UpperF(test.statistic, test.degrees, residual.degreesOfFreedom);
  }
  return tests;
}

std::vector<std::string> MarginalTestNotes(const Formula& formula, const ModelBinding& binding,
                                           const IQvRegOutputStats& output) {
  constexpr const char* kTested =
      "a test of type 3 is one of what the data can estimate of its term's hypothesis.";
  const std::vector<int> terms = TermsOfParameters(output);
  const std::vector<bool> kept = KeptParameters(output);
  std::vector<std::string> notes;
  for (std::size_t t = 0; t < formula.terms.size(); ++t) {
    const Term& term = formula.terms[t];
    if (FactorSteps(term, binding.isFactor).size() < 2 || IsNested(term)) continue;
    const Cells cells = CellsOf(static_cast<int>(t), terms, output.GetParameters());
    const double empty = cells.possible - static_cast<double>(cells.occurring);
    if (empty == 0.0) continue;
    notes.push_back(fmt::format("{:.0f} of {:.0f} combinations of levels of {} do not occur: {}",
                                empty, cells.possible, TermLabel(formula, term), kTested));
  }
  std::set<std::pair<std::size_t, std::size_t>> dependent;
  for (const RedundantColumn& column : RedundantColumnsOf(output, kept)) {
    const auto own = static_cast<std::size_t>(terms[column.parameter]);
    for (const std::size_t place : column.places) {
      if (terms[place] < 0) continue;
      const auto other = static_cast<std::size_t>(terms[place]);
      if (other == own || Contains(formula.terms[own], formula.terms[other])) continue;
      dependent.emplace(own, other);
    }
  }
  for (const auto& [own, other] : dependent) {
    notes.push_back(fmt::format("Columns of {} depend on those of {}: {}",
                                TermLabel(formula, formula.terms[own]),
                                TermLabel(formula, formula.terms[other]), kTested));
  }
  return notes;
}

}  // namespace qvhost
