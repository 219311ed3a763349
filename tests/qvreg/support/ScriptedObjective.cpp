#include "tests/qvreg/support/ScriptedObjective.h"

#include <cstdio>
#include <utility>

namespace qvtest {

using QvCommon::QvStatus;
using QvCommon::QvSymMatrix;

ScriptedObjective::ScriptedObjective(Doubles start, int K) : beta(std::move(start)) {
  model.nAllNonRedundant = static_cast<int>(beta.size());
  for (int c = 0; c < K; ++c) model.categories.push_back(c);
  trialLL = [](const Doubles& b) {
    double ll = -1.0;
    for (const double value : b) ll -= (value - 2.0) * (value - 2.0) / 2.0;
    return ll;
  };
  scores = [](const Doubles& b) {
    Doubles slopes;
    for (const double value : b) slopes.push_back(2.0 - value);
    return slopes;
  };
  information = [](const Doubles& b) {
    QvSymMatrix unit(static_cast<int>(b.size()));
    for (int i = 0; i < unit.GetOrder(); ++i) unit.SetElem(i, i, 1.0);
    return unit;
  };
}

QvStatus ScriptedObjective::Pass(bool llOnly) {
  calls.emplace_back(llOnly ? "ll" : "full");
  visited.push_back(beta);
  if (Passes() == failingPass) return failure;
  stats_.logLikelihood = !llOnly && fullLL ? fullLL(beta) : trialLL(beta);
  if (!llOnly) {
    stats_.scores = scores(beta);
    stats_.information = information(beta);
  }
  if (afterPass) afterPass(Passes());
  return {};
}

void ScriptedObjective::Stats_::Reset(QvConst::QvEstimationMethod method, bool separationCheck) {
  owner_.calls.push_back("reset " + std::to_string(static_cast<int>(method)) + " " +
                         (separationCheck ? "1" : "0"));
}

void ScriptedObjective::Stats_::GetCounts(int& validRows, int& invalidCalls, double& w) const {
  validRows = 10;
  invalidCalls = 0;
  w = owner_.weight;
}

void ScriptedObjective::Stats_::GetMinMaxProbabilities(double& lowest, double& highest,
                                                       double& lowestOfAll) const {
  lowest = owner_.minObserved;
  highest = owner_.maxObserved;
  lowestOfAll = owner_.minComputed;
}

void ScriptedObjective::Stats_::Display(bool llOnly) const {
  std::printf("scripted statistics %d\n", llOnly ? 1 : 0);
}

void ScriptedObjective::Handler_::SetStatsModel(IQvAccumStats* stats, const IQvRegModel* ofModel) {
  const bool areThose = stats == &owner_.stats_ && ofModel == &owner_.model;
  owner_.calls.emplace_back(areThose ? "set" : "set others");
}

void ScriptedObjective::Handler_::ResetAccumStats(QvConst::QvEstimationMethod method,
                                                  bool separationCheck) {
  owner_.stats_.Reset(method, separationCheck);
}

QvStatus ScriptedObjective::Handler_::ComputeStatsForOptimizer(bool llOnly) {
  return owner_.Pass(llOnly);
}

}  // namespace qvtest
