#pragma once

#include <cstdio>

#ifdef _WIN32
#include <windows.h>
// After it.
#include <psapi.h>
#else
#include <sys/resource.h>
#endif

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
#ifdef _WIN32
  PROCESS_MEMORY_COUNTERS counters{};
  K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  const auto bytes = static_cast<double>(counters.PeakWorkingSetSize);
#else
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const double bytes = static_cast<double>(usage.ru_maxrss) * 1024.0;  // Linux counts in KiB.
#endif
  std::printf("  peak memory            %8.1f MB\n", bytes / 1e6);
}

}  // namespace qvbench
