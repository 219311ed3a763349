#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/table/CountedValues.h"
#include "host/table/DistinctCount.h"
#include "host/table/QuantileSketch.h"

namespace qvhost {

/// How much of a column is kept while it is read.
struct ProfileLimits {
  std::size_t values;     ///< Different values that are counted.
  std::size_t textBytes;  ///< The same, of their texts together.
  std::size_t hashes;     ///< Of DistinctCount.

  /// For each of so many columns, so that all together stay within some hundred megabytes.
  [[nodiscard]] static ProfileLimits Of(std::size_t columns);
};

/// What the values of a column of numbers are like; NaN and what stands for a missing number are
/// missing. A plain value; none where there is no finite value.
struct NumberSummary {
  double minimum = 0.0;
  double maximum = 0.0;
  double mean = 0.0;
  std::optional<double> deviation;  ///< With n - 1; none of one value.
  std::array<double, 3> quartiles{};
  bool areQuartilesExact = true;
  bool areWhole = true;     ///< All values are whole numbers.
  std::int64_t steps = 0;   ///< Values that are the one before and 1.
  std::int64_t finite = 0;  ///< Values that are neither missing nor infinite.
};

/// A value of a category and how often it occurs. A plain value.
struct LevelCount {
  std::string level;
  std::int64_t count = 0;
};

/// What became known of a column. A plain value.
struct ColumnSummary {
  std::int64_t rows = 0;
  std::int64_t missing = 0;
  std::int64_t infinite = 0;
  std::int64_t distinct = 0;
  bool isDistinctExact = true;
  std::optional<NumberSummary> numbers = std::nullopt;  ///< Of a column of numbers.
  /// Of any other: first and last of the texts in the order of bytes; empty without values.
  std::string first = {};
  std::string last = {};
  /// The values that were counted, most frequent first, of equal ones the first by bytes (numbers:
  /// ascending), as texts. All with their numbers where `areLevelsExact`. Otherwise those that are
  /// certainly more frequent than any that is not here, each with a number that it has at least.
  std::vector<LevelCount> levels = {};
  bool areLevelsExact = true;
  /// Of texts whose levels are not exact: the first values that differ, to judge by.
  std::vector<LevelCount> sample = {};
};

/// Sums up the numbers of a column, row after row.
class NumberProfile {
 public:
  explicit NumberProfile(const ProfileLimits& limits) : limits_(limits), distinct_(limits.hashes) {}

  void AddMissing() { ++missing_; }
  /// A value, which may be NaN; `hash` tells it from others.
  void Add(double value, std::uint64_t hash);
  [[nodiscard]] ColumnSummary Finish();

 private:
  static constexpr std::size_t kBlock = 1024;

  void EndBlock();
  void StopCounting();
  [[nodiscard]] NumberSummary Numbers() const;

  ProfileLimits limits_;
  std::int64_t missing_ = 0;
  std::int64_t infinite_ = 0;
  std::int64_t steps_ = 0;
  bool areWhole_ = true;
  std::optional<double> before_;
  std::array<double, kBlock> block_{};
  std::size_t inBlock_ = 0;
  std::int64_t count_ = 0;  ///< In full blocks, as are the next four.
  double mean_ = 0.0;
  double squares_ = 0.0;  ///< Of deviations from the mean.
  double minimum_ = 0.0;
  double maximum_ = 0.0;
  bool isCounting_ = true;  ///< Values are counted; otherwise these two see them.
  CountedValues<double> counted_;
  DistinctCount distinct_;
  QuantileSketch sketch_;
};

/// Sums up the texts of a column, row after row.
class TextProfile {
 public:
  explicit TextProfile(const ProfileLimits& limits) : limits_(limits), distinct_(limits.hashes) {}

  void AddMissing() { ++missing_; }
  void Add(std::string_view text);
  [[nodiscard]] ColumnSummary Finish();

 private:
  void MakeRoom();

  ProfileLimits limits_;
  std::int64_t missing_ = 0;
  std::int64_t count_ = 0;
  std::string first_;
  std::string last_;
  CountedValues<std::string> counted_;
  std::size_t bytes_ = 0;       ///< Of the texts that are counted.
  bool isExact_ = true;         ///< Every value is counted.
  std::int64_t uncounted_ = 0;  ///< How often a value may have occurred beyond its count.
  DistinctCount distinct_;      ///< Knows all values once not all are counted.
  std::vector<LevelCount> sample_;
};

}  // namespace qvhost
