#pragma once

#include <array>
#include <cstdint>

namespace qvhost {

/// The rows 0, 1, ... of a table in another order, which a seed tells: a permutation of their
/// numbers, the same on every machine. Each row's place is computed by itself, without memory for
/// the others.
///
/// A Feistel network of eight rounds (Luby and Rackoff, How to construct pseudorandom permutations
/// from pseudorandom functions, SIAM Journal on Computing 17, 1988) over numbers of 2b bits, b >= 1
/// being the least for which they hold every row; it is applied again to places beyond the rows
/// (Black and Rogaway, Ciphers with arbitrary finite domains, CT-RSA 2002). With mix, the output
/// function of splitmix64 (Steele, Lea and Flood, Fast splittable pseudorandom number generators,
/// OOPSLA 2014), and all sums modulo 2^64, round i = 1, ..., 8 takes the halves (l, r) to (r, l xor
/// h) with h the upper b bits of mix(mix(seed + i g) + r), g = 0x9E3779B97F4A7C15.
///
/// A value; const operations may run on several threads at once.
class RowShuffle {
 public:
  /// REQUIRES: `rows` from 1 to 2^62.
  RowShuffle(std::int64_t rows, std::uint64_t seed);

  /// The row's place, from 0 on. REQUIRES: 0 <= row < rows.
  [[nodiscard]] std::int64_t PlaceOf(std::int64_t row) const;

 private:
  static constexpr int kRounds = 8;

  std::uint64_t rows_;
  int halfBits_ = 1;
  std::array<std::uint64_t, kRounds> keys_ = {};
};

}  // namespace qvhost
