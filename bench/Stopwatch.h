#pragma once

#include <chrono>
#include <ctime>

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

/// Counts from its construction.
class Stopwatch {
 public:
  [[nodiscard]] Elapsed Now() const {
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wallStart_;
    const auto ticks = static_cast<double>(std::clock() - cpuStart_);
    return {wall.count(), ticks / static_cast<double>(CLOCKS_PER_SEC)};
  }

 private:
  std::chrono::steady_clock::time_point wallStart_ = std::chrono::steady_clock::now();
  std::clock_t cpuStart_ = std::clock();
};

}  // namespace qvbench
