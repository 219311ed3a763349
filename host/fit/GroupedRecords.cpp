#include "host/fit/GroupedRecords.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/fit/RecordPatterns.h"

namespace qvhost {

namespace {

constexpr std::int64_t kFewestRecords = 10000;

constexpr int kMostThreads = 4;

/// Records that follow each other in the sample, and the most of all; of a smaller table a share.
constexpr std::int64_t kSampleRun = 64;
constexpr std::int64_t kMostSampled = 16384;
constexpr std::int64_t kSampleShare = 8;

/// Values that a thread reads between two calls of the progress: 1 MB.
constexpr std::int64_t kValuesAtOnce = std::int64_t{1} << 17;

/// The most parts that records are divided into by their digests, which are grouped one by one.
constexpr std::int64_t kMostParts = 64;

/// How many distinct records may be found: fewer than half.
std::int64_t MostPatterns(const CodedTable& table) {
  return (std::max<std::int64_t>(table.RecordCount(), 1) - 1) / 2;
}

/// How many of them so many bytes hold.
std::size_t PatternsIn(std::size_t bytes, const CodedTable& table) {
  constexpr std::size_t kBytesBeside = 40;
  return bytes / (sizeof(double) * static_cast<std::size_t>(table.RecordSize()) + kBytesBeside);
}

/// The digests of some records: a run of them from a random place in each of many equal stretches.
std::vector<std::uint64_t> Sample(const CodedTable& table) {
  const std::int64_t records = table.RecordCount();
  const std::int64_t runs = std::min(kMostSampled, records / kSampleShare) / kSampleRun;
  const auto size = static_cast<std::size_t>(table.RecordSize());
  std::vector<double> values(static_cast<std::size_t>(kSampleRun) * size);
  std::vector<std::uint64_t> digests;
  std::mt19937_64 places;  // NOLINT(*-msc51-cpp,*-msc32-c): the same sample in every run
  for (std::int64_t run = 0; run < runs; ++run) {
    const std::int64_t begin = records / runs * run;
    const auto spare = static_cast<std::uint64_t>(records / runs - kSampleRun + 1);
    table.ReadRecords(begin + static_cast<std::int64_t>(places() % spare), values);
    for (std::size_t at = 0; at < values.size(); at += size) {
      digests.push_back(HashOf(std::span(values).subspan(at, size)));
    }
  }
  return digests;
}

/// How many distinct records a table of so many is likely to have at least, from those in a sample
/// that occur there once and twice (Chao, Nonparametric estimation of the number of classes in a
/// population, Scandinavian Journal of Statistics 11, 1984): a few that occur twice among thousands
/// tell of many equal ones in the table. The estimate is for a sample with replacement. Where each
/// of P distinct records stands in the table c times, one without has only c - 1 others for each to
/// be equal to, and the estimate is too large by the factor c / (c - 1).
double EstimateDistinct(std::vector<std::uint64_t> digests, double records) {
  std::ranges::sort(digests);
  double distinct = 0.0;
  double once = 0.0;
  double twice = 0.0;
  for (auto at = digests.begin(); at != digests.end();) {
    const auto end = std::upper_bound(at, digests.end(), *at);
    distinct += 1.0;
    if (end - at == 1) once += 1.0;
    if (end - at == 2) twice += 1.0;
    at = end;
  }
  const double estimate = distinct + once * (once - 1.0) / (2.0 * (twice + 1.0));
  return estimate / (1.0 + estimate / records);
}

/// The grouped records, written as they are found. Borrows the table.
class Writer {
 public:
  Writer(const CodedTable& table, const GroupingOptions& options)
      : table_(table), file_(options.spoolDir) {
    const auto size = static_cast<std::size_t>(table.RecordSize());
    const bool addsWeight = options.freqWeight < 0;
    weight_ = addsWeight ? size : static_cast<std::size_t>(options.freqWeight);
    record_.resize(size + (addsWeight ? 2 : 1));
    count_.label = "number of identical records";
    count_.areZerosAndOnes = false;
  }

  /// False for a weight that is no number any more.
  [[nodiscard]] bool Write(const RecordPatterns& patterns) {
    for (std::size_t pattern = 0; pattern < patterns.Size(); ++pattern) {
      const auto count = static_cast<double>(patterns.Count(pattern));
      std::ranges::copy(patterns.Values(pattern), record_.begin());
      double& weight = record_[weight_];
      if (weight_ >= static_cast<std::size_t>(table_.RecordSize())) {
        weight = count;
      } else if (weight > 0.0) {
        weight *= count;
      }
      if (!std::isfinite(weight)) return false;
      record_.back() = count;
      count_.lowest = std::min(count_.lowest, count);
      count_.highest = std::max(count_.highest, count);
      file_.Append(record_);
    }
    written_ += static_cast<std::int64_t>(patterns.Size());
    return true;
  }
  [[nodiscard]] std::int64_t Written() const { return written_; }

  /// Over then.
  [[nodiscard]] GroupedRecords Take() {
    file_.Flush();
    file_.Rewind();
    std::vector<CodedColumn> columns = table_.Columns();
    columns.resize(record_.size(), count_);
    return {CodedTable(std::move(file_), std::move(columns), written_, table_.MissingStrings()),
            static_cast<int>(weight_), static_cast<int>(record_.size()) - 1};
  }

 private:
  const CodedTable& table_;
  SpoolFile file_;
  std::size_t weight_ = 0;      ///< Place of the frequency weight; the number of records is last.
  std::vector<double> record_;  ///< Scratch.
  CodedColumn count_;
  std::int64_t written_ = 0;
};

/// Groups the records of one table. Borrows everything it is made of.
class Grouper {
 public:
  Grouper(const CodedTable& table, const GroupingOptions& options)
      : table_(table),
        options_(options),
        size_(static_cast<std::size_t>(table.RecordSize())),
        most_(PatternsIn(options.mostBytes, table)) {}

  /// None when the records are not to be grouped.
  std::optional<GroupedRecords> Run() {
    if (table_.RecordCount() < kFewestRecords || most_ == 0) return std::nullopt;
    const double distinct =
        EstimateDistinct(Sample(table_), static_cast<double>(table_.RecordCount()));
    if (distinct > static_cast<double>(MostPatterns(table_))) return std::nullopt;
    const double parts = std::ceil(distinct / static_cast<double>(most_));
    if (parts > static_cast<double>(kMostParts)) return std::nullopt;
    parts_ = std::max(static_cast<std::int64_t>(parts), std::int64_t{1});
    while (true) {
      Writer writer(table_, options_);
      const Outcome outcome = GroupAll(writer);
      if (outcome == Outcome::kGrouped) return writer.Take();
      if (outcome == Outcome::kNotToBeGrouped || parts_ == kMostParts) return std::nullopt;
      // No parts are equal, and the sample tells of the least.
      parts_ = std::min(2 * parts_, kMostParts);
    }
  }

 private:
  enum class Outcome { kGrouped, kTooManyInAPart, kNotToBeGrouped };

  /// A stretch of the table that one thread reads.
  struct Stretch {
    std::int64_t next;
    std::int64_t end;
    RecordPatterns patterns;
    std::vector<double> values;
    bool isFull = false;
  };

  Outcome GroupAll(Writer& writer) {
    for (part_ = 0; part_ < parts_; ++part_) {
      const std::optional<RecordPatterns> patterns = FindPatterns();
      if (!patterns) return Outcome::kTooManyInAPart;
      if (!writer.Write(*patterns)) return Outcome::kNotToBeGrouped;
      if (writer.Written() > MostPatterns(table_)) return Outcome::kNotToBeGrouped;
    }
    return Outcome::kGrouped;
  }

  [[nodiscard]] bool IsInPart(std::span<const double> record) const {
    if (parts_ == 1) return true;
    // RecordPatterns finds its places by the lower bits.
    constexpr int kUpperBits = 16;
    const auto upper = static_cast<std::int64_t>(HashOf(record) >> (64 - kUpperBits));
    return (upper * parts_) >> kUpperBits == part_;
  }

  /// Those of the part; none when they are too many.
  std::optional<RecordPatterns> FindPatterns() {
    const std::int64_t count = std::clamp(options_.threads, 1, kMostThreads);
    std::vector<Stretch> stretches;
    for (std::int64_t k = 0; k < count; ++k) {
      const std::int64_t records = table_.RecordCount();
      stretches.push_back({records * k / count, records * (k + 1) / count, {size_, most_}, {}});
    }
    const auto isFull = [](const Stretch& stretch) { return stretch.isFull; };
    const auto hasMore = [](const Stretch& stretch) { return stretch.next < stretch.end; };
    while (std::ranges::any_of(stretches, hasMore)) {
      ForEachOnThreads(static_cast<int>(count), stretches.size(),
                       [&](std::size_t k) { ReadOn(stretches[k]); });
      if (std::ranges::any_of(stretches, isFull)) return std::nullopt;
      Report(stretches);
    }
    // In the order of the table, so that the number of stretches does not show.
    for (std::size_t k = 1; k < stretches.size(); ++k) {
      if (!stretches.front().patterns.Merge(stretches[k].patterns)) return std::nullopt;
    }
    return std::move(stretches.front().patterns);
  }

  void ReadOn(Stretch& stretch) const {
    const std::int64_t atOnce =
        std::max<std::int64_t>(kValuesAtOnce / static_cast<std::int64_t>(size_), 1);
    const std::int64_t records = std::min(atOnce, stretch.end - stretch.next);
    stretch.values.resize(static_cast<std::size_t>(records) * size_);
    if (records == 0) return;
    table_.ReadRecords(stretch.next, stretch.values);
    stretch.next += records;
    for (std::size_t at = 0; at < stretch.values.size(); at += size_) {
      const std::span<const double> record = std::span(stretch.values).subspan(at, size_);
      if (!IsInPart(record) || stretch.patterns.Add(record)) continue;
      stretch.isFull = true;
      return;
    }
  }

  void Report(const std::vector<Stretch>& stretches) const {
    if (options_.interrupt.Requested()) throw Cancelled();
    if (!options_.progress) return;
    std::int64_t left = 0;
    for (const Stretch& stretch : stretches) left += stretch.end - stretch.next;
    options_.progress((table_.RecordCount() * (part_ + 1) - left) / parts_);
  }

  const CodedTable& table_;
  const GroupingOptions& options_;
  std::size_t size_;
  std::size_t most_;  ///< Distinct records of a part.
  std::int64_t parts_ = 1;
  std::int64_t part_ = 0;
};

}  // namespace

std::optional<GroupedRecords> GroupRecords(const CodedTable& table,
                                           const GroupingOptions& options) {
  return Grouper(table, options).Run();
}

std::optional<GroupedRecords> GroupForFit(const CodedTable& table, const ModelBinding& binding,
                                          const FitOptions& options, ProgressBar& progress,
                                          const Interrupt& interrupt) {
  if (binding.kind != ModelKind::kLogistic || !options.logistic.collapse) return std::nullopt;
  return GroupRecords(table, {.interrupt = interrupt,
                              .freqWeight = binding.freqWeight,
                              .spoolDir = options.spoolDir,
                              .threads = QvThreadCount(options.threads),
                              .progress = ShowShare("grouping", table.RecordCount(), progress)});
}

}  // namespace qvhost
