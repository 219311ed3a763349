#pragma once

#include <cstdint>

namespace qvbench {

/// The generator SplitMix64 (Steele, Lea, Flood, Fast Splittable Pseudorandom Number Generators,
/// 2014): the same numbers on every machine and with every standard library.
class UniformNumbers {
 public:
  /// The next number in [-1, 1).
  double Next() { return static_cast<double>(NextBits() >> 11U) * 0x1p-52 - 1.0; }
  /// The next whole number in 0 .. count - 1.
  int NextBelow(int count) {
    return static_cast<int>(NextBits() % static_cast<std::uint64_t>(count));
  }

 private:
  std::uint64_t NextBits() {
    state_ += 0x9e3779b97f4a7c15ULL;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27U)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31U);
  }

  std::uint64_t state_ = 20240601;
};

}  // namespace qvbench
