// What the cross-products of a record file cost with BLAS, for comparison: the file is read once,
// in blocks of 1 MB, and dsyrk adds each block to the matrix of the records' values. There is no
// intercept, solution or residual.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "bench/Arguments.h"
#include "bench/Blas.h"
#include "bench/RunReport.h"
#include "bench/Stopwatch.h"

int main(int argc, char** argv) {
  const long covariates = argc == 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (covariates < 0) {
    std::fprintf(stderr, "usage: bench_blas_run FILE COVARIATES\n");
    return 2;
  }
  const qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) return 2;

  const qvbench::Stopwatch watch;
  constexpr std::size_t kBlock = std::size_t{1} << 17;
  const auto order = static_cast<int>(covariates + 1);
  const auto size = static_cast<std::size_t>(order);
  std::vector<double> block(std::max<std::size_t>(kBlock / size, 1) * size);
  std::vector<double> products(size * size);
  const double one = 1.0;
  long records = 0;
  while (true) {
    const std::size_t read = std::fread(block.data(), sizeof(double), block.size(), file.get());
    const auto count = static_cast<int>(read / size);
    if (count == 0) break;
    dsyrk_("L", "N", &order, &count, &one, block.data(), &order, &one, products.data(), &order);
    records += count;
  }
  qvbench::PrintStep("whole run", watch.Now(), static_cast<double>(records));
  std::printf("  mean square of y       %.12g\n", products.back() / static_cast<double>(records));
  qvbench::PrintPeakMemory();
  return 0;
}
