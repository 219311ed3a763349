#include "host/fit/RowShuffle.h"

#include <utility>

namespace qvhost {

namespace {

constexpr int kBits = 64;

std::uint64_t Mix(std::uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31);
}

}  // namespace

RowShuffle::RowShuffle(std::int64_t rows, std::uint64_t seed)
    : rows_(static_cast<std::uint64_t>(rows)) {
  constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15ULL;
  while ((std::uint64_t{1} << (2 * halfBits_)) < rows_) ++halfBits_;
  for (std::uint64_t& key : keys_) key = Mix(seed += kStep);
}

std::int64_t RowShuffle::PlaceOf(std::int64_t row) const {
  const std::uint64_t mask = (std::uint64_t{1} << halfBits_) - 1;
  auto place = static_cast<std::uint64_t>(row);
  do {
    std::uint64_t left = place >> halfBits_;
    std::uint64_t right = place & mask;
    for (const std::uint64_t key : keys_) {
      left ^= Mix(key + right) >> (kBits - halfBits_);
      std::swap(left, right);
    }
    place = (left << halfBits_) | right;
  } while (place >= rows_);
  return static_cast<std::int64_t>(place);
}

}  // namespace qvhost
