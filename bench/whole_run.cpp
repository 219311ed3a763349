// Fits a record file of covariates, factors and a dependent through the library's public interface,
// and prints what each pass took. With --blocks records are read many at a time, with --mapped,
// which Windows' build has not, they are those of the file mapped into memory; otherwise they are
// read one by one.

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
#if __has_include(<sys/mman.h>)
#include "bench/MappedFile.h"
#endif

int main(int argc, char** argv) {
  int rest = argc;
  const auto take = [&](const char* option) {
    const bool isGiven = rest > 1 && std::strcmp(argv[rest - 1], option) == 0;
    if (isGiven) --rest;
    return isGiven;
  };
  const bool isBlocks = take("--blocks");
#if __has_include(<sys/mman.h>)
  const bool isMapped = take("--mapped");
#endif
  const bool refine = take("--refine");
  std::vector<int> shape;
  for (int i = 2; i < rest; ++i) {
    shape.push_back(static_cast<int>(qvbench::PositiveArgument(argv[i])));
  }
  if (shape.empty() || *std::min_element(shape.begin(), shape.end()) < 0) {
    std::fprintf(
        stderr,
        "usage: bench_whole_run FILE COVARIATES [LEVELS...] [--refine] [--blocks | --mapped]\n");
    return 2;
  }
  qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) return 2;

  using qvbench::TimedIterator;
  qvbench::LinearModel model(shape[0], {shape.begin() + 1, shape.end()}, refine);
  qvbench::PassClock clock;
  const auto fit = [&](QvCommon::MultiPassRecordIter&& iter) {
    return qvbench::FitAndPrint(model.Settings(), iter, clock) ? 0 : 1;
  };
  const int size = shape[0] + static_cast<int>(shape.size());
  const long long count = qvbench::CountRecords(argv[1], size);
  if (isBlocks) {
    return fit(TimedIterator<qvbench::BlockFile>(clock, std::move(file), size, 0, count));
  }
#if __has_include(<sys/mman.h>)
  if (isMapped) return fit(TimedIterator<qvbench::MappedFile>(clock, file, size, count));
#endif
  return fit(TimedIterator<QvCommon::BinaryRecordIterator>(clock, file.get(), size));
}
