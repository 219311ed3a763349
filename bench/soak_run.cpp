// Fits, cancels and scores again and again through the C interface, on one thread or on several at
// once, and checks that memory stays flat and every number the same to the last bit. Exits 1 and
// says what is wrong. bench/limits runs it.

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/Arguments.h"
#include "bench/CModel.h"
#include "bench/UniformNumbers.h"

namespace qvbench {
namespace {

constexpr std::size_t kRecords = 500;
constexpr std::size_t kScoredOf = 25;  ///< One in so many records is scored.
constexpr std::int32_t kLevels = 3;
constexpr std::int32_t kClasses = 3;
enum Variable { kX1, kX2, kFactor, kNumber, kClass, kSize };

/// What memory may grow by after it has settled, in bytes: pages of stacks, buffers of output.
constexpr double kMostGrowth = 1e6;

/// Resident memory in bytes; 0 where the system does not tell, or a sanitizer keeps its own books.
double ResidentBytes() {
#ifdef __SANITIZE_THREAD__
  return 0.0;
#endif
  std::ifstream statm("/proc/self/statm");
  double all = 0.0;
  double resident = 0.0;
  constexpr double kPage = 4096.0;
  return statm >> all >> resident ? resident * kPage : 0.0;
}

std::vector<double> MakeTable() {
  UniformNumbers numbers;
  std::vector<double> table;
  for (std::size_t i = 0; i < kRecords; ++i) {
    const double x1 = numbers.Next();
    const double x2 = numbers.Next();
    const int level = numbers.NextBelow(kLevels);
    table.insert(table.end(),
                 {x1, x2, static_cast<double>(level), x1 - 2.0 * x2 + level + numbers.Next(),
                  static_cast<double>(numbers.NextBelow(kClasses))});
  }
  return table;
}

/// FNV-1a over the bits of numbers.
class Digest {
 public:
  void Add(const std::vector<double>& numbers) {
    for (const double number : numbers) {
      std::array<unsigned char, sizeof number> bytes{};
      std::memcpy(bytes.data(), &number, sizeof number);
      for (const unsigned char byte : bytes) value_ = (value_ ^ byte) * 0x100000001b3ULL;
    }
  }
  [[nodiscard]] std::uint64_t Value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325ULL;
};

/// Cancels at a poll of its number.
struct Stop {
  int polls = 0;
};

std::int32_t IsStopped(void* user) { return --static_cast<Stop*>(user)->polls < 0 ? 1 : 0; }

/// The work of one thread: models of a table that all threads share.
class Work {
 public:
  explicit Work(const std::vector<double>& table) : table_(table) {
    qvreg_error error = QVREG_ERROR_INIT;
    std::array<qvreg_column, kSize> columns{};
    for (std::size_t v = 0; v < kSize; ++v) columns[v] = {table.data() + v, kSize};
    qvreg_source* made = nullptr;
    Succeed(qvreg_source_create_columns(columns.data(), kSize, kRecords, &made, &error), error);
    source_.reset(made);
  }

  /// Fits both models, scores by them, saves and restores them, and cancels a fit of each: a digest
  /// of all numbers.
  std::uint64_t Do() {
    Digest digest;
    for (const bool isLogistic : {false, true}) {
      Fit(isLogistic, digest);
      Cancel(isLogistic, ++turn_);
    }
    return digest.Value();
  }

 private:
  static Settings SettingsOf(bool isLogistic) {
    return MakeSettings(isLogistic ? kClass : kNumber, {kX1, kX2}, {{kFactor, kLevels}},
                        isLogistic ? kClasses : 0);
  }

  void Fit(bool isLogistic, Digest& digest) {
    qvreg_error error = QVREG_ERROR_INIT;
    const Settings settings = SettingsOf(isLogistic);
    const bool onThreads = turn_ % 4 == 1;
    if (onThreads) {
      Succeed(qvreg_settings_set_threads(settings.get(), source_.get(), 2, 0, &error), error);
    }
    const Component component = MakeComponent(settings);
    qvreg_source* source = onThreads ? nullptr : source_.get();
    Succeed(qvreg_component_build(component.get(), source, &error), error);
    const Results results = ResultsOf(component);
    digest.Add(EstimatesOf(results));
    AddScores(component.get(), digest);
    qvreg_bytes* bytes = nullptr;
    Succeed(qvreg_component_write(component.get(), &bytes, &error), error);
    qvreg_component* restored = nullptr;
    Succeed(qvreg_component_restore(bytes, &restored, &error), error);
    AddScores(restored, digest);
    qvreg_component_destroy(restored);
    qvreg_bytes_destroy(bytes);
  }

  void AddScores(const qvreg_component* component, Digest& digest) const {
    qvreg_error error = QVREG_ERROR_INIT;
    for (std::size_t i = 0; i < kRecords; i += kScoredOf) {
      double predicted = 0.0;
      std::int32_t verdict = 0;
      Succeed(qvreg_component_score(component, table_.data() + i * kSize, kSize, &predicted,
                                    nullptr, 0, &verdict, &error),
              error);
      Expect(verdict == QVREG_VERDICT_VALID, "the verdict of a record");
      digest.Add({predicted});
    }
  }

  /// A fit that a callback ends at some poll, another one each time; one that comes to its end
  /// before that is whole.
  void Cancel(bool isLogistic, int turn) {
    qvreg_error error = QVREG_ERROR_INIT;
    const Settings settings = SettingsOf(isLogistic);
    Stop stop{turn * 37 % 1400};
    Succeed(qvreg_settings_set_cancel(settings.get(), &IsStopped, &stop, &error), error);
    const Component component = MakeComponent(settings);
    const std::int32_t code = qvreg_component_build(component.get(), source_.get(), &error);
    Expect(code == QVREG_OK || code == QVREG_CANCELLED, "the code of a cancelled fit");
    // By another call, too: a component that was cancelled stays so.
    Succeed(qvreg_component_cancel(component.get(), &error), error);
  }

  const std::vector<double>& table_;
  Source source_{nullptr, &qvreg_source_destroy};
  int turn_ = 0;
};

bool IsFlat(const char* what, double settled, double end) {
  std::printf("  resident memory of %s: %.2f MB when settled, %.2f MB at the end\n", what,
              settled / 1e6, end / 1e6);
  return end <= settled + kMostGrowth;
}

void SoakFits(int fits) {
  const std::vector<double> table = MakeTable();
  Work work(table);
  std::array<std::uint64_t, 4> expected{};
  double settled = 0.0;
  const int turns = fits / 2;
  for (int turn = 0; turn < turns; ++turn) {
    const std::uint64_t digest = work.Do();
    // Threads of a fit give other last bits than none: each kind of turn has its digest.
    std::uint64_t& first = expected.at(static_cast<std::size_t>(turn % 4));
    if (turn < 4) first = digest;
    Expect(digest == first, "the digest of a turn");
    if (turn == turns / 10) settled = ResidentBytes();
  }
  std::printf("  %d fits and %d cancelled ones, digest %016llx\n", 2 * turns, 2 * turns,
              static_cast<unsigned long long>(expected[0]));
  Expect(IsFlat("one thread", settled, ResidentBytes()), "memory has grown");
}

void SoakThreads(int seconds) {
  constexpr int kThreads = 4;
  const std::vector<double> table = MakeTable();
  const auto begin = std::chrono::steady_clock::now();
  const auto passed = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  std::array<std::uint64_t, 4> expected{};
  {
    Work first(table);
    for (std::uint64_t& digest : expected) digest = first.Do();
  }
  std::atomic<long long> turns{0};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      Work work(table);
      for (std::size_t turn = 0; passed() < seconds; ++turn) {
        Expect(work.Do() == expected.at(turn % 4), "the digest of a turn on a thread");
        ++turns;
      }
    });
  }
  double settled = 0.0;
  while (passed() < seconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    if (passed() < seconds / 5.0) settled = ResidentBytes();
  }
  const double end = ResidentBytes();
  for (std::thread& thread : threads) thread.join();
  std::printf("  %lld turns of two fits, two cancelled fits and %zu scores on %d threads in %d s\n",
              turns.load(), 4 * kRecords / kScoredOf, kThreads, seconds);
  Expect(turns > 0, "there was no turn");
  Expect(IsFlat("four threads", settled, end), "memory has grown");
}

}  // namespace
}  // namespace qvbench

int main(int argc, char** argv) {
  const long number = argc == 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (number > 0 && std::strcmp(argv[1], "fits") == 0) {
    qvbench::SoakFits(static_cast<int>(number));
  } else if (number > 0 && std::strcmp(argv[1], "threads") == 0) {
    qvbench::SoakThreads(static_cast<int>(number));
  } else {
    std::fprintf(stderr, "usage: bench_soak_run fits COUNT | threads SECONDS\n");
    return 2;
  }
  return 0;
}
