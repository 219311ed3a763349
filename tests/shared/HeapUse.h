#pragma once

#include <cstddef>

namespace qvtest {

/// The bytes of this process's heap that are in use, by whichever module: what a library leaks
/// shows here as well. 0 where the run-time library does not tell (a sanitizer's does not, and
/// looks for leaks itself).
[[nodiscard]] std::size_t HeapBytesInUse();

/// Runs something often enough for caches to fill, then again, and returns by how many bytes the
/// heap grew with each run of the second time. Less than the smallest block is none: what the
/// allocator's own rounding adds now and then.
template <typename Run>
[[nodiscard]] std::size_t HeapGrowth(Run&& run) {
  constexpr int kRepeats = 40;
  constexpr std::size_t kSmallestBlock = 16;
  for (int i = 0; i < kRepeats; ++i) run();
  const std::size_t before = HeapBytesInUse();
  for (int i = 0; i < kRepeats; ++i) run();
  const std::size_t after = HeapBytesInUse();
  const std::size_t growth = after > before ? (after - before) / kRepeats : 0;
  return growth < kSmallestBlock ? 0 : growth;
}

}  // namespace qvtest
