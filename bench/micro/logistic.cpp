// What a record costs in the iterations of a logistic model, from the values in memory on; and what
// the two ways to feed the iterations cost.

#include <vector>

#include <benchmark/benchmark.h>

#include "bench/micro/LogisticCase.h"

namespace {

using qvbench::ClassRecords;
using qvbench::LogisticCase;
using Feed = LogisticCase::Feed;

constexpr int kRecords = 1024;

/// The design row and its update of log-likelihood, scores and information.
void AccumulateRows(benchmark::State& state, const ClassRecords& shape, bool llOnly) {
  LogisticCase model(shape, kRecords, Feed::kRecords);
  if (!model.IsReady()) {
    state.SkipWithError("the model could not be set up");
    return;
  }
  const std::vector<int>& localIndices = model.Model().GetDependCategoryLocalIndices();
  std::vector<int> indices;
  std::vector<double> values;
  bool ok = true;
  for (auto _ : state) {
    for (const QvCommon::Record& record : model.Records()) {
      int count = 0;
      ok = model.Model().GetSparseRow(record.GetAll(), count, indices, values) && ok;
      const auto code = static_cast<std::size_t>(record[model.Dependent()]);
      ok = model.Stats().UpdateForRow(indices, values, localIndices[code], 1.0, llOnly) == 0 && ok;
    }
    benchmark::ClobberMemory();
  }
  if (!ok) state.SkipWithError("a record was refused");
  state.SetItemsProcessed(state.iterations() * kRecords);
}

/// Covariates and classes.
void AccumulateDense(benchmark::State& state) {
  const auto covariates = static_cast<int>(state.range(0));
  AccumulateRows(state, {covariates, static_cast<int>(state.range(1)), {}}, false);
}
BENCHMARK(AccumulateDense)->ArgsProduct({{10, 30, 100}, {2, 3, 7}});

/// The same for a step that is tried: the log-likelihood alone.
void LogLikelihoodDense(benchmark::State& state) {
  const auto covariates = static_cast<int>(state.range(0));
  AccumulateRows(state, {covariates, static_cast<int>(state.range(1)), {}}, true);
}
BENCHMARK(LogLikelihoodDense)->ArgsProduct({{10, 30, 100}, {2, 3, 7}});

/// Levels of one factor, and classes.
void AccumulateFactor(benchmark::State& state) {
  const auto levels = static_cast<int>(state.range(0));
  AccumulateRows(state, {0, static_cast<int>(state.range(1)), {levels}}, false);
}
BENCHMARK(AccumulateFactor)->ArgsProduct({{5, 200}, {2, 3, 7}});

/// The full pass of one iteration.
void Walk(benchmark::State& state, const std::vector<int>& levels, Feed feed) {
  constexpr int kWalked = 16384;
  LogisticCase model({0, 3, levels}, kWalked, feed);
  if (!model.IsReady()) {
    state.SkipWithError("the model could not be set up");
    return;
  }
  for (auto _ : state) {
    model.Handler().ResetAccumStats(QvConst::QvMethodNewtonRaphson, false);
    if (model.Handler().ComputeStatsForOptimizer(false).IsError()) {
      state.SkipWithError("the walk failed");
      return;
    }
  }
  int rows = 0;
  int refused = 0;
  double weight = 0.0;
  model.Stats().GetCounts(rows, refused, weight);
  if (rows != kWalked) state.SkipWithError("records were lost");
  state.SetItemsProcessed(state.iterations() * kWalked);
}

/// Two factors: few patterns, each of many records.
const std::vector<int> kFewPatterns = {6, 12};
/// Three large factors: nearly every record is a pattern of its own.
const std::vector<int> kDistinctRows = {100, 100, 100};

BENCHMARK_CAPTURE(Walk, FewPatterns_Records, kFewPatterns, Feed::kRecords);
BENCHMARK_CAPTURE(Walk, FewPatterns_Tabulator, kFewPatterns, Feed::kTabulator);
BENCHMARK_CAPTURE(Walk, DistinctRows_Records, kDistinctRows, Feed::kRecords);
BENCHMARK_CAPTURE(Walk, DistinctRows_Tabulator, kDistinctRows, Feed::kTabulator);

}  // namespace
