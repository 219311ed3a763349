#include "host/fit/Continuation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <utility>

#include "host/fit/SeparationCheck.h"

namespace qvhost {

namespace {

// Enough for separation to show after the library suspected it, and no more than a look is worth.
constexpr int kIterationsOfABuild = 10;

void Require(bool accepted) {
  if (!accepted) throw std::bad_alloc();
}

bool AreFinite(const std::vector<double>& values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

/// In the layout of all parameters, from that of those which are not redundant; nothing of nothing.
std::vector<double> Expand(const std::vector<double>& kept, const QvCommon::QvBitSet& indicators) {
  if (kept.empty()) return {};
  std::vector<double> all(static_cast<std::size_t>(indicators.Size()), 0.0);
  std::size_t next = 0;
  for (int i = 0; i < indicators.Size(); ++i) {
    if (indicators.IsIn(i)) all[static_cast<std::size_t>(i)] = kept.at(next++);
  }
  return all;
}

}  // namespace

Continuation::Continuation(QvLogRegSettings& settings, const CodedTable& table,
                           IterationHistory& history, const Interrupt& interrupt,
                           std::function<void(long long)> progress)
    : settings_(settings),
      table_(table),
      history_(history),
      interrupt_(interrupt),
      progress_(std::move(progress)),
      maxIterations_(settings.GetMaxIterations()),
      isSeparationLookedFor_(settings.GetStartingIteration() > 0),
      logLikelihoodCriterion_(settings.GetLLConCriterion()) {}

void Continuation::Count(const QvLogOutputStats& output) {
  ++builds_;
  ending_.outcome = output.GetOutcome();
  ending_.iterations += output.GetIterations();
  ending_.stepHalvings += output.GetStepHalvings();
}

bool Continuation::IsSeparationSeen(const QvLogOutputStats& output) {
  if (!isSeparationLookedFor_) return false;
  const QvCommon::QvBitSet& kept = output.GetRedundancyIndicators();
  for (const IterationHistory::Sight& sight : history_.Sights()) {
    const Separation found =
        CheckSeparation(table_, output, Expand(sight.step, kept), progress_, interrupt_);
    if (found == Separation::kNone) continue;
    ending_.outcome = found == Separation::kComplete ? kOptCompleteSeparation : kOptQuasiSeparation;
    ending_.growth = Expand(sight.growth, kept);
    return true;
  }
  history_.Forget();
  return false;
}

bool Continuation::IsStuck(const QvLogOutputStats& output) const {
  // From the same estimates the same step is taken, and no more halvings are allowed.
  if (ending_.outcome == kOptStepHalvingFailed) return true;
  if (ending_.outcome != kOptHessianSingular || builds_ < 2) return false;
  return history_.IsNothing(output.GetFinalLL() - logLikelihoodBefore_);
}

void Continuation::PrepareBuild(const QvLogOutputStats& output) {
  logLikelihoodBefore_ = output.GetFinalLL();
  Require(settings_.SetStartingValues(output.GetParamEstimates()));
  Require(settings_.SetStartingIteration(0));
  Require(settings_.SetMaxIterations(
      std::min(maxIterations_ - ending_.iterations, kIterationsOfABuild)));
  // A log-likelihood that changes little is no maximum as long as estimates grow.
  Require(settings_.SetLLConCriterion(history_.IsGrowing() ? 0.0 : logLikelihoodCriterion_));
}

bool Continuation::GoesOn(const QvLogOutputStats& output) {
  Count(output);
  switch (ending_.outcome) {
    case kOptHessianSingular:
    case kOptStepHalvingFailed:
    case kOptMaxIterations:
    case kOptQuasiSeparation:
      break;
    case kOptCompleteSeparation:
      // Every record was predicted with certainty: along the estimates themselves they lie apart.
      ending_.growth = Expand(history_.Growth(), output.GetRedundancyIndicators());
      return false;
    default:
      return false;
  }
  if (IsSeparationSeen(output) || IsStuck(output)) return false;
  if (ending_.iterations >= maxIterations_) {
    if (ending_.outcome == kOptQuasiSeparation) ending_.outcome = kOptMaxIterations;
    return false;
  }
  // From estimates beyond the range of a double, which the report names, nothing goes on.
  if (!AreFinite(output.GetParamEstimates())) return false;
  PrepareBuild(output);
  return true;
}

}  // namespace qvhost
