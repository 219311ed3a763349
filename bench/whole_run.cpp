// Fits a record file of covariates, factors and a dependent through the library's public interface,
// and prints what each pass took. With --blocks records are read many at a time, otherwise one by
// one.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "bench/Arguments.h"
#include "bench/BlockFile.h"
#include "bench/LinearModel.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

int main(int argc, char** argv) {
  int rest = argc;
  const auto take = [&](const char* option) {
    const bool isGiven = rest > 1 && std::strcmp(argv[rest - 1], option) == 0;
    if (isGiven) --rest;
    return isGiven;
  };
  const bool isBlocks = take("--blocks");
  const bool refine = take("--refine");
  std::vector<int> shape;
  for (int i = 2; i < rest; ++i) {
    shape.push_back(static_cast<int>(qvbench::PositiveArgument(argv[i])));
  }
  if (shape.empty() || *std::min_element(shape.begin(), shape.end()) < 0) {
    std::fprintf(stderr,
                 "usage: bench_whole_run FILE COVARIATES [LEVELS...] [--refine] [--blocks]\n");
    return 2;
  }
  qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) return 2;

  qvbench::LinearModel model(shape[0], {shape.begin() + 1, shape.end()}, refine);
  qvbench::PassClock clock;
  const int size = shape[0] + static_cast<int>(shape.size());
  if (isBlocks) {
    qvbench::TimedIterator<qvbench::BlockFile> iter(clock, std::move(file), size, 0,
                                                    qvbench::CountRecords(argv[1], size));
    return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
  }
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(clock, file.get(), size);
  return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
}
