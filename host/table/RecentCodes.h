#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "host/Hash.h"
#include "host/table/DuckDb.h"

namespace qvhost {

/// The codes of short texts that were met lately, each in the one place that its bytes choose: most
/// values of a factor are found here without a look-up in a table of all its levels. Takes 24 KB.
class RecentCodes {
 public:
  static constexpr std::int64_t kUnknown = -1;

  /// The place of a text, whose code is there, or kUnknown for the caller to fill it in; null for a
  /// text too long to stand inside the value. Valid until the next call.
  [[nodiscard]] std::int64_t* Find(const duckdb_string_t& text) {
    constexpr std::uint32_t kLongest = sizeof text.value.inlined.inlined;
    if (text.value.inlined.length > kLongest) return nullptr;
    Bytes bytes;
    static_assert(sizeof bytes == sizeof text);
    std::memcpy(bytes.data(), &text, sizeof text);
    Entry& entry = entries_[MixBits(bytes[0] ^ (bytes[1] * kOdd)) % kPlaces];
    // Arrays are compared by a call.
    const bool isSame = entry.bytes[0] == bytes[0] && entry.bytes[1] == bytes[1];
    if (!isSame) entry = {bytes, kUnknown};
    return &entry.code;
  }

 private:
  using Bytes = std::array<std::uint64_t, 2>;
  struct Entry {
    Bytes bytes{};
    std::int64_t code = kUnknown;
  };
  static constexpr std::size_t kPlaces = 1024;
  static constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15U;

  std::vector<Entry> entries_ = std::vector<Entry>(kPlaces);
};

}  // namespace qvhost
