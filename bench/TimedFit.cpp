#include "bench/TimedFit.h"

#include <cstddef>
#include <cstdio>
#include <memory>

#include "bench/RunReport.h"

namespace qvbench {

namespace {

constexpr std::size_t kPasses = 3;

/// What a fit gave, and when its steps ended.
struct Fitted {
  QvCommon::QvStatus status;
  double records = 0.0;
  double rmse = 0.0;
  Elapsed parametersEnd;
  Elapsed modelEnd;
  Elapsed statisticsEnd;
};

Fitted Fit(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter, const PassClock& clock) {
  Fitted fitted;
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  if (component == nullptr) {
    fitted.status = factory.GetStatus();
    return fitted;
  }
  std::vector<QvRegrParameter> parameters;
  fitted.status = component->CreateParameters(iter, parameters);
  fitted.parametersEnd = clock.Now();
  if (fitted.status.IsError()) return fitted;
  fitted.status = component->BuildModel(iter);
  fitted.modelEnd = clock.Now();
  if (fitted.status.IsError()) return fitted;
  IQvRegOutputStats* stats = nullptr;
  fitted.status = component->GetOutputStats(stats);
  fitted.statisticsEnd = clock.Now();
  if (fitted.status.IsError()) return fitted;
  fitted.records = stats->GetTotalFreqWeight();
  fitted.rmse = stats->GetModelFitStat(QvConst::QvFitRootMeanSquareError);
  return fitted;
}

}  // namespace

bool FitAndPrint(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                 const PassClock& clock) {
  const Fitted fitted = Fit(settings, iter, clock);
  const std::vector<Elapsed>& starts = clock.Starts();
  if (!fitted.status.IsOK() || fitted.records <= 0.0 || starts.size() != kPasses) {
    std::fprintf(stderr, "the fit ended with status %ld after %zu passes\n",
                 fitted.status.GetCode(), starts.size());
    return false;
  }
  PrintStep("first pass", fitted.parametersEnd - starts[0], fitted.records);
  PrintStep("second pass and sweep", starts[2] - starts[1], fitted.records);
  PrintStep("third pass", fitted.modelEnd - starts[2], fitted.records);
  PrintStep("whole run", fitted.statisticsEnd, fitted.records);
  PrintEnd(fitted.rmse);
  return true;
}

}  // namespace qvbench
