// Fits a record file of covariates and a dependent through the library's public interface, and
// prints what each pass took.

#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

#include "bench/Arguments.h"
#include "bench/Require.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

namespace {

/// Every covariate an effect of its own; the dependent stands behind them.
QvRegSettings MakeSettings(const std::vector<int>& covariates, bool refine) {
  QvRegSettings settings;
  const auto count = static_cast<int>(covariates.size());
  qvbench::Require(settings.SetDependent(count));
  for (const int var : covariates) {
    qvbench::Require(settings.AddCovariate(var) > 0);
    QvModelEffect effect(0, count, &covariates);
    qvbench::Require(effect.AddCovariate(var) > 0);
    qvbench::Require(settings.AddModelEffect(effect));
  }
  settings.SetRefineEstimates(refine);
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  const bool refine = argc == 4 && std::strcmp(argv[3], "--refine") == 0;
  const long count = argc >= 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (count < 0 || (argc > 3 && !refine)) {
    std::fprintf(stderr, "usage: bench_whole_run FILE COVARIATES [--refine]\n");
    return 2;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[1], "rb"),
                                                             &std::fclose);
  if (file == nullptr) {
    std::perror(argv[1]);
    return 2;
  }

  std::vector<int> covariates(static_cast<std::size_t>(count));
  std::iota(covariates.begin(), covariates.end(), 0);
  QvRegSettings settings = MakeSettings(covariates, refine);
  qvbench::PassClock clock;
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(clock, file.get(),
                                                              static_cast<int>(count) + 1);
  return qvbench::FitAndPrint(settings, iter, clock) ? 0 : 1;
}
