#pragma once

#include <chrono>
#include <ctime>

#ifdef _WIN32
#include <windows.h>
#endif

namespace qvbench {

/// Seconds on the clock, and seconds that this process had a processor: the second does not grow
/// when other programs load the machine.
struct Elapsed {
  double wall = 0.0;
  double cpu = 0.0;

  friend Elapsed operator-(const Elapsed& a, const Elapsed& b) {
    return {a.wall - b.wall, a.cpu - b.cpu};
  }
};

/// Seconds that this process had a processor, from some point on.
inline double ProcessorSeconds() {
#ifdef _WIN32
  // There std::clock is the time on the clock.
  FILETIME created{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  const auto seconds = [](const FILETIME& time) {  // From units of 100 ns.
    return (time.dwHighDateTime * 0x1p32 + time.dwLowDateTime) * 1e-7;
  };
  return seconds(kernel) + seconds(user);
#else
  return static_cast<double>(std::clock()) / static_cast<double>(CLOCKS_PER_SEC);
#endif
}

/// Counts from its construction.
class Stopwatch {
 public:
  [[nodiscard]] Elapsed Now() const {
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wallStart_;
    return {wall.count(), ProcessorSeconds() - cpuStart_};
  }

 private:
  std::chrono::steady_clock::time_point wallStart_ = std::chrono::steady_clock::now();
  double cpuStart_ = ProcessorSeconds();
};

}  // namespace qvbench
