#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

namespace qvtest {

/// The bytes of this process's heap that are in use, by whichever module: what a library leaks
/// shows here as well. 0 where the run-time library does not tell (a sanitizer's does not, and
/// looks for leaks itself).
[[nodiscard]] std::size_t HeapBytesInUse();

/// Runs something often enough for caches to fill, then three times as often, and returns by how
/// many bytes the heap grew with each run of that time when it grew least: a leak shows every time,
/// what the allocator keeps or rounds does not. Less than the smallest block is none.
template <typename Run>
[[nodiscard]] std::size_t HeapGrowth(Run&& run) {
  constexpr int kRepeats = 40;
  constexpr int kTimes = 3;
  constexpr std::size_t kSmallestBlock = 16;
  for (int i = 0; i < kRepeats; ++i) run();
  std::size_t least = std::numeric_limits<std::size_t>::max();
  for (int time = 0; time < kTimes; ++time) {
    const std::size_t before = HeapBytesInUse();
    for (int i = 0; i < kRepeats; ++i) run();
    const std::size_t after = HeapBytesInUse();
    least = std::min(least, after > before ? (after - before) / kRepeats : 0);
  }
  return least < kSmallestBlock ? 0 : least;
}

}  // namespace qvtest
