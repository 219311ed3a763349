#pragma once

#include <cstddef>

namespace qvtest {

/// The bytes of this process's heap that are in use, by whichever module: what a library leaks
/// shows here as well. 0 where the run-time library does not tell (a sanitizer's does not, and
/// looks for leaks itself).
[[nodiscard]] std::size_t HeapBytesInUse();

/// Runs something often enough for caches to fill, then again, and returns by how many bytes the
/// heap grew the second time.
template <typename Run>
[[nodiscard]] std::size_t HeapGrowth(Run&& run) {
  constexpr int kRepeats = 20;
  for (int i = 0; i < kRepeats; ++i) run();
  const std::size_t before = HeapBytesInUse();
  for (int i = 0; i < kRepeats; ++i) run();
  const std::size_t after = HeapBytesInUse();
  return after > before ? after - before : 0;
}

}  // namespace qvtest
