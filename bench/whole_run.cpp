// Fits a record file of covariates and a dependent through the library's public interface, and
// prints what each pass took.

#include <cstdio>
#include <cstring>
#include <memory>

#include "bench/Arguments.h"
#include "bench/LinearModel.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

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

  qvbench::LinearModel model(static_cast<int>(count), refine);
  qvbench::PassClock clock;
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(clock, file.get(),
                                                              static_cast<int>(count) + 1);
  return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
}
