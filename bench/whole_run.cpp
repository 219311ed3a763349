// Fits a record file of covariates and a dependent through the library's public interface, and
// prints what each pass took. With --blocks records are read many at a time, otherwise one by one.

#include <cstdio>
#include <cstring>
#include <utility>

#include "bench/Arguments.h"
#include "bench/BlockFile.h"
#include "bench/LinearModel.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

int main(int argc, char** argv) {
  const bool isBlocks = argc > 3 && std::strcmp(argv[argc - 1], "--blocks") == 0;
  const int rest = isBlocks ? argc - 1 : argc;
  const bool refine = rest == 4 && std::strcmp(argv[3], "--refine") == 0;
  const long count = argc >= 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (count < 0 || (rest > 3 && !refine)) {
    std::fprintf(stderr, "usage: bench_whole_run FILE COVARIATES [--refine] [--blocks]\n");
    return 2;
  }
  qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) {
    std::perror(argv[1]);
    return 2;
  }

  qvbench::LinearModel model(static_cast<int>(count), refine);
  qvbench::PassClock clock;
  const int size = static_cast<int>(count) + 1;
  if (isBlocks) {
    qvbench::TimedIterator<qvbench::BlockFile> iter(clock, std::move(file), size, 0,
                                                    qvbench::CountRecords(argv[1], size));
    return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
  }
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(clock, file.get(), size);
  return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
}
