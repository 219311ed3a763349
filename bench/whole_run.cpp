// Fits a record file of covariates, factors and a dependent through the library's public interface,
// and prints what each pass took.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/Arguments.h"
#include "bench/LinearModel.h"
#include "bench/TimedFit.h"
#include "qvreg/qvreg.h"

int main(int argc, char** argv) {
  const bool refine = argc > 1 && std::strcmp(argv[argc - 1], "--refine") == 0;
  std::vector<int> shape;
  for (int i = 2; i < (refine ? argc - 1 : argc); ++i) {
    shape.push_back(static_cast<int>(qvbench::PositiveArgument(argv[i])));
  }
  if (shape.empty() || *std::min_element(shape.begin(), shape.end()) < 0) {
    std::fprintf(stderr, "usage: bench_whole_run FILE COVARIATES [LEVELS...] [--refine]\n");
    return 2;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[1], "rb"),
                                                             &std::fclose);
  if (file == nullptr) {
    std::perror(argv[1]);
    return 2;
  }

  qvbench::LinearModel model(shape[0], {shape.begin() + 1, shape.end()}, refine);
  qvbench::PassClock clock;
  qvbench::TimedIterator<QvCommon::BinaryRecordIterator> iter(
      clock, file.get(), shape[0] + static_cast<int>(shape.size()));
  return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
}
