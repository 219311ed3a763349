#include "host/table/ColumnProfile.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "host/Hash.h"
#include "qvreg/common/Constants.h"

namespace qvhost {

namespace {

constexpr std::size_t kSampleValues = 2000;
constexpr std::array<double, 3> kQuartiles = {0.25, 0.5, 0.75};

void SortLevels(std::vector<LevelCount>& levels) {
  std::ranges::stable_sort(
      levels, [](const LevelCount& a, const LevelCount& b) { return a.count > b.count; });
}

}  // namespace

ProfileLimits ProfileLimits::Of(std::size_t columns) {
  const auto share = [columns](std::size_t all, std::size_t least, std::size_t most) {
    return std::clamp(all / std::max<std::size_t>(columns, 1), least, most);
  };
  constexpr std::size_t kMegabyte = std::size_t{1} << 20U;
  return {.values = share(2 * kMegabyte, 1024, 65536),
          .textBytes = share(128 * kMegabyte, 65536, 16 * kMegabyte),
          .hashes = share(4 * kMegabyte, 4096, 262144)};
}

void NumberProfile::Add(double value, std::uint64_t hash) {
  if (std::isnan(value) || value == QvMV::gMissingValue) return AddMissing();
  if (isCounting_) {
    if (!counted_.Add(value, hash, limits_.values)) StopCounting();
  }
  if (!isCounting_) {
    distinct_.Add(hash);
    if (std::isfinite(value)) sketch_.Add(value);
  }
  if (!std::isfinite(value)) {
    ++infinite_;
    return;
  }
  if (before_ && value == *before_ + 1.0) ++steps_;
  before_ = value;
  areWhole_ = areWhole_ && value == std::floor(value);
  block_[inBlock_++] = value;
  if (inBlock_ == kBlock) EndBlock();
}

void NumberProfile::EndBlock() {
  if (inBlock_ == 0) return;
  const std::span<const double> values = std::span(block_).first(inBlock_);
  const auto [low, high] = std::ranges::minmax(values);
  minimum_ = count_ == 0 ? low : std::min(minimum_, low);
  maximum_ = count_ == 0 ? high : std::max(maximum_, high);
  const auto size = static_cast<double>(inBlock_);
  // From the first value, lest sums of large numbers lose the small differences.
  const double origin = values.front();
  double sum = 0.0;
  for (const double value : values) sum += (value - origin) / size;
  const double mean = origin + sum;
  double squares = 0.0;
  for (const double value : values) squares += (value - mean) * (value - mean);
  const auto before = static_cast<double>(count_);
  const double all = before + size;
  const double difference = mean - mean_;
  mean_ = count_ == 0 ? mean : mean_ + difference * (size / all);
  squares_ += count_ == 0 ? squares : squares + difference * difference * (before * (size / all));
  count_ += static_cast<std::int64_t>(inBlock_);
  inBlock_ = 0;
}

/// Too many values are different: those so far go to where all go from now on.
void NumberProfile::StopCounting() {
  isCounting_ = false;
  for (const auto& entry : counted_.Entries()) {
    distinct_.Add(entry.hash);
    if (!std::isfinite(entry.key)) continue;
    for (std::int64_t i = 0; i < entry.count; ++i) sketch_.Add(entry.key);
  }
  counted_.Clear();
}

NumberSummary NumberProfile::Numbers() const {
  NumberSummary numbers;
  numbers.minimum = minimum_;
  numbers.maximum = maximum_;
  numbers.mean = mean_;
  numbers.finite = count_;
  if (count_ > 1) numbers.deviation = std::sqrt(squares_ / static_cast<double>(count_ - 1));
  std::vector<WeightedValue> values;
  for (const auto& entry : counted_.Entries()) {
    if (std::isfinite(entry.key)) values.push_back({entry.key, entry.count});
  }
  if (!isCounting_) values = sketch_.Values();
  std::ranges::copy(QuantilesOf(std::move(values), kQuartiles), numbers.quartiles.begin());
  numbers.areQuartilesExact = isCounting_ || sketch_.IsExact();
  numbers.areWhole = areWhole_;
  numbers.steps = steps_;
  return numbers;
}

ColumnSummary NumberProfile::Finish() {
  EndBlock();
  ColumnSummary summary;
  summary.rows = missing_ + infinite_ + count_;
  summary.missing = missing_;
  summary.infinite = infinite_;
  summary.areLevelsExact = isCounting_;
  if (count_ > 0) summary.numbers = Numbers();
  if (!isCounting_) {
    summary.distinct = std::min(distinct_.Value(), infinite_ + count_);
    summary.isDistinctExact = distinct_.IsExact();
    return summary;
  }
  auto entries = counted_.Entries();
  std::ranges::sort(entries, {}, &CountedValues<double>::Entry::key);
  summary.distinct = static_cast<std::int64_t>(entries.size());
  for (const auto& entry : entries) {
    summary.levels.push_back({fmt::format("{}", entry.key), entry.count});
  }
  SortLevels(summary.levels);
  return summary;
}

void TextProfile::Add(std::string_view text) {
  if (count_ == 0 || text < first_) first_ = text;
  if (count_ == 0 || text > last_) last_ = text;
  ++count_;
  const std::uint64_t hash = HashText(text);
  if (!isExact_) distinct_.Add(hash);
  const std::size_t known = counted_.Entries().size();
  const bool hasRoom = bytes_ + text.size() <= limits_.textBytes;
  if (!counted_.Add(text, hash, hasRoom ? limits_.values : known)) {
    MakeRoom();
    distinct_.Add(hash);
    counted_.Add(text, hash, limits_.values);
    bytes_ += text.size();
  } else if (counted_.Entries().size() > known) {
    bytes_ += text.size();
  }
}

/// Lets the values that are not frequent go.
void TextProfile::MakeRoom() {
  if (isExact_) {
    for (const auto& entry : counted_.Entries()) {
      distinct_.Add(entry.hash);
      if (sample_.size() < kSampleValues) sample_.push_back({entry.key, entry.count});
    }
    isExact_ = false;
  }
  if (counted_.Entries().empty()) return;
  uncounted_ += counted_.Lower();
  bytes_ = 0;
  for (const auto& entry : counted_.Entries()) bytes_ += entry.key.size();
}

ColumnSummary TextProfile::Finish() {
  ColumnSummary summary;
  summary.rows = missing_ + count_;
  summary.missing = missing_;
  summary.first = std::move(first_);
  summary.last = std::move(last_);
  summary.areLevelsExact = isExact_;
  summary.sample = std::move(sample_);
  for (const auto& entry : counted_.Entries()) {
    if (entry.count > uncounted_) summary.levels.push_back({entry.key, entry.count});
  }
  std::ranges::sort(summary.levels, {}, &LevelCount::level);
  SortLevels(summary.levels);
  summary.distinct = isExact_ ? static_cast<std::int64_t>(counted_.Entries().size())
                              : std::min(distinct_.Value(), count_);
  summary.isDistinctExact = isExact_ || distinct_.IsExact();
  return summary;
}

}  // namespace qvhost
