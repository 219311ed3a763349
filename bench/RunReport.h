#pragma once

#include <cstdio>

#include <sys/resource.h>

#include "bench/Stopwatch.h"

namespace qvbench {

/// Prints what one pass over `records` records took, or all of them.
inline void PrintStep(const char* name, const Elapsed& elapsed, double records) {
  std::printf("  %-22s %8.3f s %8.3f s cpu %12.0f records/s %8.1f ns/record\n", name, elapsed.wall,
              elapsed.cpu, records / elapsed.wall, elapsed.wall / records * 1e9);
}

/// Prints the root mean square error, by which runs of different programs show that they did the
/// same.
inline void PrintError(double rmse) { std::printf("  root mean square error %.12g\n", rmse); }

/// Prints the most resident memory that this process had.
inline void PrintPeakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("  peak memory            %8.1f MB\n",
              static_cast<double>(usage.ru_maxrss) * 1024.0 / 1e6);  // Linux counts in KiB.
}

}  // namespace qvbench
