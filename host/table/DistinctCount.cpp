#include "host/table/DistinctCount.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace qvhost {

namespace {

constexpr std::size_t kFirstSlots = 128;

/// The place of a hash, or the empty slot for it. REQUIRES: an empty slot; a power of two.
std::size_t PlaceOf(const std::vector<std::uint64_t>& slots, std::uint64_t hash) {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = hash & mask;
  while (slots[at] != 0 && slots[at] != hash) at = (at + 1) & mask;
  return at;
}

}  // namespace

void DistinctCount::Insert(std::uint64_t hash) {
  // 0 stands for an empty slot.
  hash = std::max<std::uint64_t>(hash, 1);
  if (slots_.empty()) slots_.assign(kFirstSlots, 0);
  std::size_t at = PlaceOf(slots_, hash);
  if (slots_[at] != 0) return;
  if (count_ == most_) {
    ++halvings_;
    least_ = std::numeric_limits<std::uint64_t>::max() -
             (std::numeric_limits<std::uint64_t>::max() >> halvings_);
    Rebuild(slots_.size());
    Add(hash);
    return;
  }
  slots_[at] = hash;
  ++count_;
  if (2 * count_ > slots_.size()) Rebuild(2 * slots_.size());
}

void DistinctCount::Rebuild(std::size_t size) {
  std::vector<std::uint64_t> slots(size, 0);
  count_ = 0;
  for (const std::uint64_t hash : slots_) {
    if (hash == 0 || hash < least_) continue;
    slots[PlaceOf(slots, hash)] = hash;
    ++count_;
  }
  slots_ = std::move(slots);
}

}  // namespace qvhost
