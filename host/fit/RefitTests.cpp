#include "host/fit/RefitTests.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/EffectTesting.h"
#include "host/fit/RunSettings.h"
#include "host/fit/ScaledEstimates.h"
#include "host/inference/Inference.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {
namespace {

constexpr std::size_t kMostTerms = 20;
constexpr double kMostSeconds = 10.0;

const QvLogOutputStats& LogisticOutput(const ModelRun& run) {
  return dynamic_cast<const QvLogOutputStats&>(run.Output());
}

bool HasConverged(QvOptimizationOutcome outcome) {
  return outcome == kOptLLConverged || outcome == kOptParamConverged ||
         outcome == kOptBothConverged || outcome == kOptNoIterations;
}

}  // namespace

std::vector<RefitTests::Comparison> RefitTests::Plan(int type) const {
  const std::size_t count = fitted_.formula.terms.size();
  const auto containing = ContainingTerms(fitted_.formula, fitted_.binding.isFactor, type);
  std::vector<Comparison> plan;
  for (std::size_t term = 0; term < count; ++term) {
    Comparison comparison;
    comparison.larger.assign(count, true);
    for (std::size_t other = 0; other < count; ++other) {
      if (type == 1) comparison.larger[other] = other <= term;
      if (type == 2) comparison.larger[other] = !containing[term][other];
      comparison.isWald = comparison.isWald || (type == 3 && containing[term][other]);
    }
    comparison.smaller = comparison.larger;
    comparison.smaller[term] = false;
    plan.push_back(std::move(comparison));
  }
  return plan;
}

std::size_t RefitTests::CountRefits(const std::vector<Comparison>& plan) const {
  std::vector<TermChoice> models;
  const auto add = [&](const TermChoice& model) {
    const auto terms = std::ranges::count(model, true);
    if (terms == 0 || terms == static_cast<std::ptrdiff_t>(model.size())) return;
    if (std::ranges::find(models, model) == models.end()) models.push_back(model);
  };
  for (const Comparison& comparison : plan) {
    if (comparison.isWald) continue;
    add(comparison.larger);
    add(comparison.smaller);
  }
  return models.size();
}

std::string RefitTests::NamesOfOthers(const TermChoice& terms) const {
  std::string names;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i]) continue;
    names += (names.empty() ? "" : ", ") + TermLabel(fitted_.formula, fitted_.formula.terms[i]);
  }
  return names;
}

void RefitTests::Refit(Likelihood& likelihood, std::vector<std::string>& notes) {
  Formula reduced = fitted_.formula;
  reduced.terms.clear();
  for (std::size_t i = 0; i < likelihood.terms.size(); ++i) {
    if (likelihood.terms[i]) reduced.terms.push_back(fitted_.formula.terms[i]);
  }
  // The variables of all terms keep their roles, so that the same records are used.
  RunSettings settings(reduced, fitted_.binding, fitted_.table, fitted_.options);
  const CodedTable& table = fitted_.grouped ? fitted_.grouped->table : fitted_.table;
  if (fitted_.grouped) settings.UseGroups(*fitted_.grouped, fitted_.options.logistic);
  try {
    ModelRun run(settings.Get(), table, fitted_.options.threads, progress_, interrupt_);
    run.Build();
    likelihood.logLikelihood = LibraryNumber(LogisticOutput(run).GetFinalLL());
    likelihood.kept = run.Output().GetRedundancyIndicators().Count();
    if (HasConverged(run.Ending().outcome)) return;
    notes.push_back(
        fmt::format("The model without {} did not converge: tests that rest on it are rough.",
                    NamesOfOthers(likelihood.terms)));
  } catch (const Cancelled&) {
    throw;
  } catch (const Error& error) {
    notes.push_back(fmt::format("Without {} there is no model to test against: {}",
                                NamesOfOthers(likelihood.terms), error.what()));
  }
}

const RefitTests::Likelihood& RefitTests::LikelihoodOf(const TermChoice& terms,
                                                       std::vector<std::string>& notes) {
  const auto known = std::ranges::find(likelihoods_, terms, &Likelihood::terms);
  if (known != likelihoods_.end()) return *known;
  const QvLogOutputStats& full = LogisticOutput(fitted_.run);
  Likelihood likelihood;
  likelihood.terms = terms;
  if (std::ranges::find(terms, false) == terms.end()) {
    likelihood.logLikelihood = LibraryNumber(full.GetFinalLL());
    likelihood.kept = full.GetRedundancyIndicators().Count();
  } else if (std::ranges::find(terms, true) == terms.end()) {
    likelihood.logLikelihood = LibraryNumber(full.GetInitialLL());
    const bool hasIntercept = full.GetParameters().front().IsIntercept();
    likelihood.kept = hasIntercept ? static_cast<int>(full.GetDependCategories().size()) - 1 : 0;
  } else {
    Refit(likelihood, notes);
  }
  likelihoods_.push_back(std::move(likelihood));
  return likelihoods_.back();
}

EffectTests RefitTests::Run(int type, std::vector<std::string>& notes) {
  EffectTests tests;
  tests.type = type;
  tests.isAsked = true;
  const std::vector<Comparison> plan = Plan(type);
  const std::size_t refits = CountRefits(plan);
  if (plan.size() > kMostTerms) {
    notes.push_back(fmt::format(
        "The tests of effects are left out: each of {} terms would take a fit of its own, and "
        "they are made for up to {}.",
        plan.size(), kMostTerms));
    return tests;
  }
  if (const double expected = fitted_.seconds * static_cast<double>(refits);
      expected > kMostSeconds) {
    notes.push_back(fmt::format(
        "The tests of effects are left out: {} further fits would take about {:.0f} seconds, and "
        "they are made up to {:.0f}.",
        refits, expected, kMostSeconds));
    return tests;
  }
  const auto wald = [&] { return EffectSumsOf(fitted_.run.Output(), interrupt_); };
  const auto containing = ContainingTerms(fitted_.formula, fitted_.binding.isFactor, type);
  std::string byWald;
  for (std::size_t term = 0; term < plan.size(); ++term) {
    EffectTest& test = tests.tests.emplace_back();
    test.term = TermLabel(fitted_.formula, fitted_.formula.terms[term]);
    if (plan[term].isWald) {
      byWald += (byWald.empty() ? "" : ", ") + test.term;
      const auto sum = wald().Of(static_cast<int>(term), containing[term],
                                 EffectSums::Adjustment::kEqualWeights);
      if (interrupt_.Requested()) throw Cancelled();
      if (!sum) continue;
      test.degrees = sum->degrees;
      if (test.degrees > 0) test.statistic = Finite(sum->sum);
    } else {
      const Likelihood larger = LikelihoodOf(plan[term].larger, notes);
      const Likelihood& smaller = LikelihoodOf(plan[term].smaller, notes);
      if (!larger.logLikelihood || !smaller.logLikelihood) continue;
      test.degrees = larger.kept - smaller.kept;
      if (test.degrees > 0) {
        // Below 0 through rounding alone.
        test.statistic = std::max(2.0 * (*larger.logLikelihood - *smaller.logLikelihood), 0.0);
      }
    }
    test.pValue = UpperChiSquare(test.statistic, test.degrees);
  }
  if (!byWald.empty()) {
    notes.push_back(fmt::format(
        "The tests of {} are Wald's, as other terms contain them; those of the others compare "
        "likelihoods.",
        byWald));
  }
  return tests;
}

}  // namespace qvhost
