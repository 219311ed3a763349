#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qvhost {

/// Values with how often each occurred, in the order in which they came first: a hash table with
/// open addressing. `Key` is made of whatever is looked up, and compared with it.
template <typename Key>
class CountedValues {
 public:
  struct Entry {
    Key key;
    std::uint64_t hash = 0;
    std::int64_t count = 0;
  };

  /// Counts a value of which all hashes are the same; false when it is new and there are `most`
  /// others: then nothing is counted.
  template <typename View>
  bool Add(const View& value, std::uint64_t hash, std::size_t most, std::int64_t times = 1) {
    if (slots_.empty()) slots_.assign(kFirstSlots, kEmpty);
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    for (; slots_[at] != kEmpty; at = (at + 1) & mask) {
      Entry& entry = entries_[slots_[at]];
      if (entry.hash != hash || !(entry.key == value)) continue;
      entry.count += times;
      return true;
    }
    if (entries_.size() >= most) return false;
    slots_[at] = static_cast<std::uint32_t>(entries_.size());
    entries_.push_back({Key(value), hash, times});
    if (2 * entries_.size() > slots_.size()) Place(2 * slots_.size());
    return true;
  }

  [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }
  void Clear() { *this = {}; }

  /// Lowers all counts by their median and drops the values that have none left. By how much.
  std::int64_t Lower() {
    std::vector<std::int64_t> counts;
    counts.reserve(entries_.size());
    for (const Entry& entry : entries_) counts.push_back(entry.count);
    const auto middle = counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2);
    std::nth_element(counts.begin(), middle, counts.end());
    const std::int64_t share = *middle;
    for (Entry& entry : entries_) entry.count -= share;
    std::erase_if(entries_, [](const Entry& entry) { return entry.count <= 0; });
    Place(slots_.size());
    return share;
  }

 private:
  static constexpr std::size_t kFirstSlots = 64;
  static constexpr std::uint32_t kEmpty = 0xFFFFFFFFU;

  void Place(std::size_t size) {
    slots_.assign(size, kEmpty);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      std::size_t at = entries_[i].hash & (size - 1);
      while (slots_[at] != kEmpty) at = (at + 1) & (size - 1);
      slots_[at] = static_cast<std::uint32_t>(i);
    }
  }

  std::vector<std::uint32_t> slots_;  ///< Indices of entries; a power of two of them.
  std::vector<Entry> entries_;
};

}  // namespace qvhost
