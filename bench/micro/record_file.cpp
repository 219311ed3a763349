// Reading a record file, one pass after the other.

#include <cstdio>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "qvreg/data/BinaryRecordIterator.h"

namespace {

/// Items are records.
void ReadRecordFile(benchmark::State& state) {
  constexpr std::int64_t kRecords = 100000;
  const auto values = static_cast<int>(state.range(0));
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  if (file == nullptr) {
    state.SkipWithError("no temporary file");
    return;
  }
  const std::vector<double> row(static_cast<std::size_t>(values), 1.5);
  for (std::int64_t i = 0; i < kRecords; ++i) {
    std::fwrite(row.data(), sizeof(double), row.size(), file.get());
  }
  std::rewind(file.get());
  QvCommon::BinaryRecordIterator iter(file.get(), values);
  std::int64_t read = 0;
  for (auto _ : state) {
    iter.NewPass();
    while (iter.HasMore()) {
      benchmark::DoNotOptimize(iter.Next());
      ++read;
    }
  }
  if (read != state.iterations() * kRecords) state.SkipWithError("records were lost");
  state.SetItemsProcessed(read);
  state.SetBytesProcessed(read * values * static_cast<std::int64_t>(sizeof(double)));
}
BENCHMARK(ReadRecordFile)->Arg(11)->Arg(101)->Unit(benchmark::kMillisecond);

}  // namespace
