// Fits at limits of the library, through its C interface, and checks what comes out: more records
// than an int counts, more parameters than the bound, a record file beyond 4 GiB. Exits 1 and says
// what is wrong where a result is. bench/limits runs it.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/Arguments.h"
#include "bench/CModel.h"
#include "bench/RunReport.h"
#include "bench/Stopwatch.h"

namespace qvbench {
namespace {

/// Ten more than an int can count.
constexpr std::int64_t kMany = (std::int64_t{1} << 31) + 10;
constexpr double kClose = 1e-9;

bool IsClose(double a, double b) { return std::abs(a - b) <= kClose * std::abs(b); }

void ExpectSummary(const Results& results, double records, double weight, int parameters) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_record_counts counts{};
  counts.struct_size = sizeof counts;
  Succeed(qvreg_results_get_record_counts(results.get(), &counts, &error), error);
  Expect(static_cast<double>(counts.read) == records, "the records read");
  Expect(static_cast<double>(counts.used) == records, "the records used");
  Expect(counts.used_later == -1, "the records used later");
  qvreg_summary summary{};
  summary.struct_size = sizeof summary;
  Succeed(qvreg_results_get_summary(results.get(), &summary, &error), error);
  Expect(summary.n_parameters == parameters, "the number of parameters");
  Expect(summary.total_frequency_weight == weight, "the sum of frequency weights");
  Expect(summary.total_regression_weight == weight, "the sum of regression weights");
  Expect(summary.degrees_of_freedom == weight - parameters, "the degrees of freedom");
}

void Build(const Component& component, const Source& source) {
  qvreg_error error = QVREG_ERROR_INIT;
  Succeed(qvreg_component_build(component.get(), source.get(), &error), error);
}

/// The records of a host, many at a time: of four kinds, in turn.
enum MadeVariable { kCovariate, kFactor, kWeight, kDependent, kMadeSize };

class Maker {
 public:
  explicit Maker(std::int64_t count) : count_(count) {
    for (std::size_t i = 0; i < kAtOnce; ++i) {
      values_[kCovariate][i] = static_cast<double>(i % 2);
      values_[kFactor][i] = 0.0;  // A category that occurs more often than an int counts.
      values_[kWeight][i] = 2.0;
      values_[kDependent][i] = i % 4 == 3 || i % 4 == 0 ? 1.0 : 0.0;
    }
    for (std::size_t v = 0; v < kMadeSize; ++v) {
      columns_[v].struct_size = sizeof columns_[v];
      columns_[v].values = values_[v].data();
      columns_[v].stride = sizeof(double);
    }
  }

  [[nodiscard]] Source Open() {
    const qvreg_block_callbacks callbacks = {sizeof(qvreg_block_callbacks), kMadeSize, this, &Next,
                                             &Again};
    qvreg_error error = QVREG_ERROR_INIT;
    qvreg_source* made = nullptr;
    Succeed(qvreg_source_create_blocks(&callbacks, &made, &error), error);
    return {made, &qvreg_source_destroy};
  }

 private:
  static constexpr std::size_t kAtOnce = 4096;  ///< Whole turns.

  static std::int32_t Next(void* user, qvreg_block* block) {
    auto& maker = *static_cast<Maker*>(user);
    const std::int64_t left = maker.count_ - maker.next_;
    if (left == 0) return QVREG_NEXT_END;
    const auto size = std::min(left, static_cast<std::int64_t>(kAtOnce));
    maker.next_ += size;
    block->n_records = static_cast<std::size_t>(size);
    block->columns = maker.columns_.data();
    return QVREG_NEXT_RECORD;
  }
  static std::int32_t Again(void* user) {
    static_cast<Maker*>(user)->next_ = 0;
    return 0;
  }

  std::int64_t count_;
  std::int64_t next_ = 0;
  std::array<std::array<double, kAtOnce>, kMadeSize> values_{};
  std::array<qvreg_typed_column, kMadeSize> columns_{};
};

void FitMadeRecords(std::int64_t count, bool isLogistic) {
  qvreg_error error = QVREG_ERROR_INIT;
  Maker maker(count);
  const Source source = maker.Open();
  const Settings settings =
      MakeSettings(kDependent, {kCovariate}, {{kFactor, 2}}, isLogistic ? 2 : 0);
  Succeed(qvreg_settings_set_frequency_weight(settings.get(), kWeight, &error), error);
  const Component component = MakeComponent(settings);
  Build(component, source);
  const Results results = ResultsOf(component);
  const auto records = static_cast<double>(count);
  // The intercept, the covariate and the one level that occurs.
  ExpectSummary(results, records, 2.0 * records, 3);
  std::size_t levels = 0;
  std::vector<double> weighted(2);
  std::vector<double> unweighted(2);
  Succeed(qvreg_results_get_factor_counts(results.get(), 0, weighted.data(), unweighted.data(), 2,
                                          &levels, &error),
          error);
  Expect(weighted[0] == 2.0 * records, "the weight of a category");
  Expect(unweighted[0] == records, "the records of a category");
  if (!isLogistic) {
    // Records of the kinds 0, 1 of the last, incomplete turn.
    const auto turns = static_cast<double>(count / 4);
    const std::vector<double> estimates = EstimatesOf(results);
    const double zeros = (turns + 1.0) / (2.0 * turns + 1.0);
    const double ones = turns / (2.0 * turns + 1.0);
    Expect(IsClose(estimates[0] + estimates[2], zeros), "the mean where the covariate is 0");
    Expect(std::abs(estimates[1] - (ones - zeros)) < kClose, "the slope");
    return;
  }
  std::vector<double> table(4);
  std::size_t cells = 0;
  Succeed(qvreg_logistic_get_classification(results.get(), table.data(), 2, table.size(), &cells,
                                            &error),
          error);
  double all = 0.0;
  for (const double cell : table) all += cell;
  Expect(cells == 4 && all == 2.0 * records, "the sum of the classification table");
}

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};

/// Two columns of a byte a record, which are zeros but for the last records: so they take no
/// memory, as long as they are only read.
void FitColumns(std::int64_t count) {
  qvreg_error error = QVREG_ERROR_INIT;
  const auto size = static_cast<std::size_t>(count);
  const std::unique_ptr<std::int8_t, FreeMemory> x(static_cast<std::int8_t*>(std::calloc(size, 1)));
  const std::unique_ptr<std::int8_t, FreeMemory> y(static_cast<std::int8_t*>(std::calloc(size, 1)));
  Expect(x != nullptr && y != nullptr, "memory for the columns");
  for (std::size_t i = 1; i <= 10; ++i) y.get()[size - i] = 1;
  for (std::size_t i = 1; i <= 5; ++i) x.get()[size - i] = 1;
  qvreg_typed_column columns[2] = {};
  for (qvreg_typed_column& column : columns) {
    column.struct_size = sizeof column;
    column.stride = 1;
    column.type = QVREG_TYPE_INT8;
  }
  columns[0].values = x.get();
  columns[1].values = y.get();
  qvreg_column_summary found{};
  found.struct_size = sizeof found;
  Succeed(qvreg_column_summarize(&columns[1], size, &found, &error), error);
  Expect(found.highest == 1.0 && found.missing == 0, "the summary of a column");
  qvreg_source* made = nullptr;
  Succeed(qvreg_source_create_typed_columns(columns, 2, size, &made, &error), error);
  const Source source(made, &qvreg_source_destroy);
  const Settings settings = MakeSettings(1, {0}, {});
  const Component component = MakeComponent(settings);
  Build(component, source);
  const Results results = ResultsOf(component);
  ExpectSummary(results, static_cast<double>(count), static_cast<double>(count), 2);
  const std::vector<double> estimates = EstimatesOf(results);
  // The last records decide.
  const double others = 5.0 / static_cast<double>(count - 5);
  Expect(IsClose(estimates[0], others), "the mean of the other records");
  Expect(IsClose(estimates[0] + estimates[1], 1.0), "the mean of the last records");
}

/// A factor of `levels`, one a record, of a linear model or a logistic one of two classes.
struct Levels {
  std::int64_t next = 0;
  std::int64_t levels = 0;
};

std::int32_t NextLevel(void* user, double* record, std::size_t /*size*/) {
  auto& state = *static_cast<Levels*>(user);
  if (state.next == 2 * state.levels) return QVREG_NEXT_END;
  record[0] = static_cast<double>(state.next % state.levels);
  record[1] = static_cast<double>((state.next / state.levels + state.next) % 2);
  ++state.next;
  return QVREG_NEXT_RECORD;
}

std::int32_t LevelsAgain(void* user) {
  static_cast<Levels*>(user)->next = 0;
  return 0;
}

/// Fits and expects the code and, where it is given, the number of parameters beside it; prints
/// the sentence.
void FitLevels(std::int32_t levels, bool isLogistic, std::int32_t expected) {
  qvreg_error error = QVREG_ERROR_INIT;
  Levels state{0, levels};
  const qvreg_record_callbacks callbacks = {sizeof(qvreg_record_callbacks), 2, &state, &NextLevel,
                                            &LevelsAgain};
  qvreg_source* made = nullptr;
  Succeed(qvreg_source_create_callbacks(&callbacks, &made, &error), error);
  const Source source(made, &qvreg_source_destroy);
  const Settings settings = MakeSettings(1, {}, {{0, levels}}, isLogistic ? 2 : 0);
  const Component component = MakeComponent(settings);
  const std::int32_t code = qvreg_component_build(component.get(), source.get(), &error);
  std::printf("  %d levels, %s: code %d: %s\n", static_cast<int>(levels),
              isLogistic ? "logistic" : "linear", static_cast<int>(code), error.message);
  Expect(code == expected, "the code");
}

/// Records of 1,024 numbers, zeros but in few records: the file takes next to no room.
constexpr std::size_t kWide = 1024;
constexpr std::int64_t kFileBytes = (std::int64_t{1} << 32) + (std::int64_t{1} << 28);
constexpr std::int64_t kFileRecords =
    kFileBytes / static_cast<std::int64_t>(kWide * sizeof(double));

bool PutRecord(std::FILE* file, std::int64_t record, double x, double y) {
  std::vector<double> values(kWide);
  values[0] = x;
  values[kWide - 1] = y;
  const std::int64_t place = record * static_cast<std::int64_t>(kWide * sizeof(double));
#ifdef _WIN32
  const bool isThere = _fseeki64(file, place, SEEK_SET) == 0;
#else
  const bool isThere = fseeko(file, place, SEEK_SET) == 0;
#endif
  return isThere && std::fwrite(values.data(), sizeof(double), kWide, file) == kWide;
}

void MakeFile(const std::string& path) {
  const File file(std::fopen(path.c_str(), "wb"), &std::fclose);
  Expect(file != nullptr, "the file cannot be made");
  bool isWritten = true;
  // A few at the start, about 4 GiB, and at the end.
  for (const std::int64_t at : {std::int64_t{3}, kFileRecords - (std::int64_t{1} << 15) - 1,
                                kFileRecords - (std::int64_t{1} << 15), kFileRecords - 2}) {
    isWritten = isWritten && PutRecord(file.get(), at, 1.0, 3.0);
    isWritten = isWritten && PutRecord(file.get(), at + 1, 1.0, 5.0);
  }
  Expect(isWritten && std::fflush(file.get()) == 0, "the file cannot be written");
}

void FitFile(const std::string& path, bool onThreads) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* opened = nullptr;
  Succeed(qvreg_source_open_file(path.c_str(), kWide, &opened, &error), error);
  const Source source(opened, &qvreg_source_destroy);
  const Settings settings = MakeSettings(static_cast<std::int32_t>(kWide) - 1, {0}, {});
  if (onThreads) {
    Succeed(qvreg_settings_set_threads(settings.get(), source.get(), 2, 0, &error), error);
  }
  const Component component = MakeComponent(settings);
  Succeed(qvreg_component_build(component.get(), onThreads ? nullptr : source.get(), &error),
          error);
  const Results results = ResultsOf(component);
  const auto records = static_cast<double>(kFileRecords);
  ExpectSummary(results, records, records, 2);
  const std::vector<double> estimates = EstimatesOf(results);
  // Two records overlap at 4 GiB, so that seven are not zeros: of y 3, 5, 3, 3, 5, 3, 5.
  Expect(std::abs(estimates[0]) < kClose, "the mean of the zeros");
  Expect(IsClose(estimates[1], 27.0 / 7.0), "the mean of the other records");
}

int PrintUsage() {
  std::fprintf(stderr,
               "usage: bench_limits_run records linear|logistic [COUNT]\n"
               "       bench_limits_run columns [COUNT]\n"
               "       bench_limits_run levels linear|logistic LEVELS CODE\n"
               "       bench_limits_run file PATH\n");
  return 2;
}

bool Run(const std::vector<std::string>& words) {
  const bool isLogistic = words.size() > 1 && words[1] == "logistic";
  const bool isModel = isLogistic || (words.size() > 1 && words[1] == "linear");
  const auto number = [&](std::size_t i) {
    return words.size() > i ? PositiveArgument(words[i].c_str()) : -1;
  };
  if (words[0] == "records" && isModel) {
    FitMadeRecords(number(2) > 0 ? number(2) : kMany, isLogistic);
  } else if (words[0] == "columns") {
    FitColumns(number(1) > 0 ? number(1) : kMany);
  } else if (words[0] == "levels" && isModel && words.size() == 4) {
    FitLevels(static_cast<std::int32_t>(number(2)), isLogistic,
              static_cast<std::int32_t>(std::strtol(words[3].c_str(), nullptr, 10)));
  } else if (words[0] == "file" && words.size() == 2) {
    MakeFile(words[1]);
    FitFile(words[1], false);
    FitFile(words[1], true);
    std::filesystem::remove(words[1]);
  } else {
    return false;
  }
  return true;
}

}  // namespace
}  // namespace qvbench

int main(int argc, char** argv) {
  const qvbench::Stopwatch watch;
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty() || !qvbench::Run(words)) return qvbench::PrintUsage();
  const qvbench::Elapsed whole = watch.Now();
  std::printf("  right after            %8.3f s %8.3f s cpu\n", whole.wall, whole.cpu);
  qvbench::PrintPeakMemory();
  return 0;
}
