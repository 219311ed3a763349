#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/table/SpoolFile.h"

namespace qvhost {

/// The probability of a level of the dependent for one record, or for several equal ones.
struct ScoreEntry {
  double level = 0.0;  ///< Places of levels: whose probability it is,
  double score = 0.0;
  double own = 0.0;     ///< and which one the record has.
  double weight = 0.0;  ///< Frequency weight.
};

/// Sorts entries by level, score, own level and weight, so that their order does not depend on that
/// in which they came. Memory is bounded: what it does not hold is sorted in runs, which wait in a
/// temporary file until they are merged.
///
/// Any thread may add. Throws Error (kRunFailed) as SpoolFile does.
class ScoreSorter {
 public:
  static constexpr std::size_t kMostInMemory = std::size_t{1} << 21;  // 64 MiB

  /// `spoolDir`: see SpoolFile; `most` entries are kept in memory.
  explicit ScoreSorter(std::string spoolDir, std::size_t most = kMostInMemory)
      : spoolDir_(std::move(spoolDir)), most_(most) {}

  void Add(std::span<const ScoreEntry> entries);

  /// Calls `visit` with all entries in order, and forgets them. What `visit` throws passes through.
  void Visit(const std::function<void(const ScoreEntry&)>& visit);

 private:
  /// Where a sorted run lies in the file, in entries.
  struct Run {
    std::int64_t begin;
    std::int64_t end;
  };

  void Spill();
  void Merge(const std::function<void(const ScoreEntry&)>& visit);

  const std::string spoolDir_;
  const std::size_t most_;
  std::mutex mutex_;
  std::vector<ScoreEntry> entries_;
  std::optional<SpoolFile> file_;
  std::vector<Run> runs_;
};

}  // namespace qvhost
