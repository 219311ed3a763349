// The matrix: dense updates, and the sweep of all its pivots.

#include <vector>

#include <benchmark/benchmark.h>

#include "bench/UniformNumbers.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"

namespace {

std::vector<double> MakeRow(int size, qvbench::UniformNumbers& uniform) {
  std::vector<double> row(static_cast<std::size_t>(size));
  for (double& value : row) value = uniform.Next();
  return row;
}

/// One update of a matrix of an intercept, the covariates and the dependent.
void UpdateDense(benchmark::State& state) {
  const int order = static_cast<int>(state.range(0)) + 2;
  qvbench::UniformNumbers uniform;
  const std::vector<double> row = MakeRow(order, uniform);
  QvCommon::QvSymMatrix matrix(order);
  for (auto _ : state) {
    benchmark::DoNotOptimize(matrix.UpdateXX(row, 1e-6));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(UpdateDense)->Arg(10)->Arg(50)->Arg(200);

/// Items are pivots.
void Sweep(benchmark::State& state) {
  const auto order = static_cast<int>(state.range(0));
  qvbench::UniformNumbers uniform;
  QvCommon::QvSymMatrix filled(order);
  for (int i = 0; i < 2 * order; ++i) filled.UpdateXX(MakeRow(order, uniform), 1.0);
  std::vector<double> diagonal;
  filled.GetDiagonal(diagonal);
  int kept = order;
  for (auto _ : state) {
    QvCommon::QvSymMatrix matrix = filled;
    QvCommon::QvBitSet swept(order);
    for (int k = 0; k < order; ++k) matrix.Sweep(k, 1e-12, diagonal, swept, true);
    kept = swept.Count();
  }
  if (kept < order) state.SkipWithError("a pivot was skipped");
  state.SetItemsProcessed(state.iterations() * order);
}
BENCHMARK(Sweep)->Arg(50)->Arg(200)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
