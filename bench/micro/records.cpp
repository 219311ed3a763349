// What a record costs in the passes of a linear model, from the values in memory on.

#include <benchmark/benchmark.h>

#include "bench/micro/ModelCase.h"

namespace {

using qvbench::ModelCase;

void CountRecords(benchmark::State& state, ModelCase& model) {
  for (auto _ : state) {
    for (const QvCommon::Record& record : model.Records()) model.Tables().UpdateAll(record);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ModelCase::kRecords));
}

void AddRecords(benchmark::State& state, ModelCase& model) {
  bool ok = true;
  for (auto _ : state) {
    for (const QvCommon::Record& record : model.Records()) {
      ok = model.Model().AddRecord(record.GetAll()) && ok;
    }
    benchmark::ClobberMemory();
  }
  if (!ok) state.SkipWithError("a record was refused");
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ModelCase::kRecords));
}

void CountDenseRow(benchmark::State& state) {
  ModelCase model(static_cast<int>(state.range(0)), {});
  CountRecords(state, model);
}
BENCHMARK(CountDenseRow)->Arg(10)->Arg(50)->Arg(200);

void CountFactor(benchmark::State& state) {
  ModelCase model(0, {static_cast<int>(state.range(0))});
  CountRecords(state, model);
}
BENCHMARK(CountFactor)->Arg(5)->Arg(500);

void CountCrossing(benchmark::State& state) {
  ModelCase model(0, {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))});
  CountRecords(state, model);
}
BENCHMARK(CountCrossing)->Args({10, 50});

void AddDenseRow(benchmark::State& state) {
  ModelCase model(static_cast<int>(state.range(0)), {});
  AddRecords(state, model);
}
BENCHMARK(AddDenseRow)->Arg(10)->Arg(50)->Arg(200);

void AddFactor(benchmark::State& state) {
  ModelCase model(0, {static_cast<int>(state.range(0))});
  AddRecords(state, model);
}
BENCHMARK(AddFactor)->Arg(5)->Arg(500);

void AddCrossing(benchmark::State& state) {
  ModelCase model(0, {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))});
  AddRecords(state, model);
}
BENCHMARK(AddCrossing)->Args({10, 50});

/// One effect's parameter of one record: key, hash code, table.
void HashLookup(benchmark::State& state) {
  ModelCase model(0, {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))});
  std::int64_t missing = 0;
  for (auto _ : state) {
    for (const QvCommon::Record& record : model.Records()) {
      bool ok = false;
      benchmark::DoNotOptimize(model.Tables().GetRowParameterIndices(record.GetAll(), ok));
      missing += ok ? 0 : 1;
    }
  }
  if (missing > 0) state.SkipWithError("a combination was not found");
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ModelCase::kRecords));
}
BENCHMARK(HashLookup)->Args({10, 50});

}  // namespace
