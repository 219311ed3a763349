// Fits a record file of covariates, factors and a class with the logistic model, through the
// library's public interface, and prints what its passes took. With --in-memory the records are
// kept in memory, by pattern, and the file is read twice. With --blocks records are read many at a
// time, otherwise one by one.

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "bench/BlockFile.h"
#include "bench/ClassModel.h"
#include "bench/ClassRecords.h"
#include "bench/RunReport.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

namespace {

using qvbench::Elapsed;
using qvbench::PassClock;
using qvbench::PrintStep;
using qvbench::TimedFit;

/// One pass over the file for all that is done after the second.
void PrintStepsInMemory(const TimedFit& fit, const std::vector<Elapsed>& starts, double records) {
  PrintStep("first pass", fit.parametersEnd - starts[0], records);
  PrintStep("second pass and rest", fit.modelEnd - starts[1], records);
}

void PrintSteps(const TimedFit& fit, const std::vector<Elapsed>& starts, double records) {
  const std::size_t last = starts.size() - 1;
  PrintStep("first pass", fit.parametersEnd - starts[0], records);
  PrintStep("second pass and sweep", starts[2] - starts[1], records);
  PrintStep("passes of iterations", starts[last] - starts[2],
            records * static_cast<double>(last - 2));
  PrintStep("last pass", fit.modelEnd - starts[last], records);
}

bool FitAndPrint(QvLogRegSettings& settings, QvCommon::MultiPassRecordIter& iter,
                 const PassClock& clock) {
  const TimedFit fit = qvbench::Fit(settings, iter, clock);
  const auto* stats = dynamic_cast<const QvLogOutputStats*>(fit.stats);
  if (stats == nullptr) return false;
  const std::vector<Elapsed>& starts = clock.Starts();
  const double records = stats->GetTotalFreqWeight();
  const bool isInMemory = settings.GetUsePatternTabulator();
  const bool isConverged = stats->GetOutcome() == kOptLLConverged ||
                           stats->GetOutcome() == kOptParamConverged ||
                           stats->GetOutcome() == kOptBothConverged;
  if (!isConverged || records <= 0.0 || (isInMemory ? starts.size() != 2 : starts.size() < 4)) {
    std::fprintf(stderr, "the fit used %g records in %zu passes and ended with outcome %d\n",
                 records, starts.size(), static_cast<int>(stats->GetOutcome()));
    return false;
  }
  (isInMemory ? PrintStepsInMemory : PrintSteps)(fit, starts, records);
  PrintStep("whole run", fit.statisticsEnd, records);
  std::printf("  passes over the file   %zu\n", starts.size());
  std::printf("  iterations             %d\n", stats->GetIterations());
  std::printf("  log-likelihood         %.14g\n", stats->GetFinalLL());
  qvbench::PrintPeakMemory();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int shapeEnd = argc;
  const auto isLast = [&](const char* option) {
    const bool isHere = shapeEnd > 1 && std::strcmp(argv[shapeEnd - 1], option) == 0;
    if (isHere) --shapeEnd;
    return isHere;
  };
  const bool isBlocks = isLast("--blocks");
  const bool isInMemory = isLast("--in-memory");
  const auto shape = qvbench::ClassRecords::FromArguments(shapeEnd - 2, argv + 2);
  if (!shape) {
    std::fprintf(stderr,
                 "usage: bench_logistic_run FILE COVARIATES CLASSES [LEVELS...] [--in-memory] "
                 "[--blocks]\n");
    return 2;
  }
  qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) return 2;
  qvbench::ClassModel model(*shape);
  model.Settings().SetUsePatternTabulator(isInMemory);
  PassClock clock;
  if (isBlocks) {
    qvbench::TimedIterator<qvbench::BlockFile> iter(clock, std::move(file), shape->Size(), 0,
                                                    qvbench::CountRecords(argv[1], shape->Size()));
    return FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
  }
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(clock, file.get(), shape->Size());
  return FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
}
