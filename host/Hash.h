#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// \file
/// Hashes that are the same on every machine, so that what is counted by them is, too.

namespace qvhost {

/// A number of which every bit depends on every bit of `bits`, and that no other one gives (the
/// finalizer of SplitMix64: Steele, Lea and Flood, Fast splittable pseudorandom number generators,
/// OOPSLA 2014).
[[nodiscard]] constexpr std::uint64_t MixBits(std::uint64_t bits) {
  bits += 0x9E3779B97F4A7C15U;
  bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
  bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
  return bits ^ (bits >> 31U);
}

/// Of a number; 0 and -0 are the same.
[[nodiscard]] constexpr std::uint64_t HashNumber(double value) {
  return MixBits(std::bit_cast<std::uint64_t>(value == 0.0 ? 0.0 : value));
}

[[nodiscard]] inline std::uint64_t HashText(std::string_view text) {
  std::uint64_t hash = MixBits(text.size());
  while (!text.empty()) {
    std::uint64_t word = 0;
    const std::size_t length = text.size() < sizeof word ? text.size() : sizeof word;
    // Byte by byte, so that the order of bytes in a word does not count; compiled to one move.
    for (std::size_t i = 0; i < length; ++i) {
      word |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
    }
    hash = MixBits(hash ^ word);
    text.remove_prefix(length);
  }
  return hash;
}

}  // namespace qvhost
