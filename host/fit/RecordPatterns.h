#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qvhost {

/// The digest of a record, the same for records whose values are equal; -0 equals 0.
[[nodiscard]] std::uint64_t HashOf(std::span<const double> record);

/// The distinct records among those added, in the order in which each came first, and how many
/// there were of each. Movable. One thread at a time.
///
/// Takes 8 bytes for each value of a distinct record, and up to 40 beside.
class RecordPatterns {
 public:
  /// For records of `recordSize` values, 1 or more, and up to `most` distinct ones, fewer than
  /// 2^32.
  RecordPatterns(std::size_t recordSize, std::size_t most);

  /// Adds one record; false, and nothing is changed, when it would be one distinct record too many.
  [[nodiscard]] bool Add(std::span<const double> record);
  /// Adds all records of `later`, which are as large; false when there are too many distinct ones,
  /// of which some were added.
  [[nodiscard]] bool Merge(const RecordPatterns& later);

  /// How many distinct records there are.
  [[nodiscard]] std::size_t Size() const { return counts_.size(); }
  /// The values of a distinct record; without -0. Valid while this object lives.
  [[nodiscard]] std::span<const double> Values(std::size_t pattern) const;
  /// How many such records were added.
  [[nodiscard]] std::int64_t Count(std::size_t pattern) const { return counts_[pattern]; }

 private:
  [[nodiscard]] bool Add(std::span<const double> record, std::int64_t count);
  void Append(std::span<const double> record, std::int64_t count);
  void GrowSlots();

  std::size_t recordSize_;
  std::size_t most_;
  std::vector<std::vector<double>> blocks_;  ///< Of so many distinct records that none is moved.
  std::vector<std::int64_t> counts_;
  /// A power of two; 0 where free, else the number of the distinct record, from 1 on, in the lower
  /// half and half of its digest in the upper one.
  std::vector<std::uint64_t> slots_;
};

}  // namespace qvhost
