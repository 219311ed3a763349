#include "bench/TimedFit.h"

#include <cstddef>
#include <cstdio>

#include "bench/RunReport.h"

namespace qvbench {

namespace {

/// Of a linear model.
constexpr std::size_t kPasses = 3;

TimedFit RunSteps(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                  const PassClock& clock) {
  TimedFit fit;
  QvRegFactory factory;
  fit.component.reset(factory.CreateRegAlgorithm(settings));
  if (fit.component == nullptr) {
    fit.status = factory.GetStatus();
    return fit;
  }
  std::vector<QvRegrParameter> parameters;
  fit.status = fit.component->CreateParameters(iter, parameters);
  fit.parametersEnd = clock.Now();
  if (fit.status.IsError()) return fit;
  fit.status = fit.component->BuildModel(iter);
  fit.modelEnd = clock.Now();
  if (fit.status.IsError()) return fit;
  fit.status = fit.component->GetOutputStats(fit.stats);
  fit.statisticsEnd = clock.Now();
  return fit;
}

}  // namespace

TimedFit Fit(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter, const PassClock& clock) {
  TimedFit fit = RunSteps(settings, iter, clock);
  if (fit.stats != nullptr && fit.status.IsOK()) return fit;
  std::fprintf(stderr, "the fit ended with status %ld after %zu passes\n", fit.status.GetCode(),
               clock.Starts().size());
  fit.stats = nullptr;
  return fit;
}

bool FitAndPrint(QvRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                 const PassClock& clock) {
  const TimedFit fit = Fit(settings, iter, clock);
  if (fit.stats == nullptr) return false;
  const std::vector<Elapsed>& starts = clock.Starts();
  const double records = fit.stats->GetTotalFreqWeight();
  if (records <= 0.0 || starts.size() != kPasses) {
    std::fprintf(stderr, "the fit used %g records in %zu passes\n", records, starts.size());
    return false;
  }
  PrintStep("first pass", fit.parametersEnd - starts[0], records);
  PrintStep("second pass and sweep", starts[2] - starts[1], records);
  PrintStep("third pass", fit.modelEnd - starts[2], records);
  PrintStep("whole run", fit.statisticsEnd, records);
  PrintError(fit.stats->GetModelFitStat(QvConst::QvFitRootMeanSquareError));
  PrintPeakMemory();
  return true;
}

}  // namespace qvbench
