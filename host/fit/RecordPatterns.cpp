#include "host/fit/RecordPatterns.h"

#include <algorithm>
#include <bit>

namespace qvhost {

namespace {

constexpr std::size_t kInBlock = 1024;
constexpr std::size_t kFirstSlots = 4096;
constexpr std::uint64_t kLowerHalf = 0xffffffff;

}  // namespace

std::uint64_t HashOf(std::span<const double> record) {
  // An odd number of no regularity: the golden ratio's bits.
  constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;
  constexpr int kHalf = 32;
  std::uint64_t hash = record.size();
  for (const double value : record) {
    hash = (hash ^ std::bit_cast<std::uint64_t>(value + 0.0)) * kFactor;
    hash ^= hash >> kHalf;
  }
  hash *= kFactor;
  return hash ^ (hash >> kHalf);
}

RecordPatterns::RecordPatterns(std::size_t recordSize, std::size_t most)
    : recordSize_(recordSize), most_(most), slots_(kFirstSlots) {}

std::span<const double> RecordPatterns::Values(std::size_t pattern) const {
  return std::span(blocks_[pattern / kInBlock])
      .subspan(pattern % kInBlock * recordSize_, recordSize_);
}

bool RecordPatterns::Add(std::span<const double> record) { return Add(record, 1); }

bool RecordPatterns::Add(std::span<const double> record, std::int64_t count) {
  const std::uint64_t hash = HashOf(record);
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = hash & mask;
  for (; slots_[at] != 0; at = (at + 1) & mask) {
    if (((slots_[at] ^ hash) & ~kLowerHalf) != 0) continue;
    const std::size_t pattern = (slots_[at] & kLowerHalf) - 1;
    if (!std::ranges::equal(Values(pattern), record)) continue;
    counts_[pattern] += count;
    return true;
  }
  if (Size() == most_) return false;
  Append(record, count);
  slots_[at] = (hash & ~kLowerHalf) | Size();
  if (Size() * 2 > slots_.size()) GrowSlots();
  return true;
}

void RecordPatterns::Append(std::span<const double> record, std::int64_t count) {
  if (Size() % kInBlock == 0) blocks_.emplace_back().reserve(kInBlock * recordSize_);
  for (const double value : record) blocks_.back().push_back(value + 0.0);
  counts_.push_back(count);
}

void RecordPatterns::GrowSlots() {
  std::vector<std::uint64_t> slots(2 * slots_.size());
  const std::size_t mask = slots.size() - 1;
  for (std::size_t pattern = 0; pattern < Size(); ++pattern) {
    const std::uint64_t hash = HashOf(Values(pattern));
    std::size_t at = hash & mask;
    while (slots[at] != 0) at = (at + 1) & mask;
    slots[at] = (hash & ~kLowerHalf) | (pattern + 1);
  }
  slots_ = std::move(slots);
}

bool RecordPatterns::Merge(const RecordPatterns& later) {
  for (std::size_t pattern = 0; pattern < later.Size(); ++pattern) {
    if (!Add(later.Values(pattern), later.Count(pattern))) return false;
  }
  return true;
}

}  // namespace qvhost
