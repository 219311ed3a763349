#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qvhost {

/// The hash SHA-256 of FIPS 180-4, of bytes that come piece by piece.
class Sha256 {
 public:
  void Add(std::string_view bytes);

  /// Of all that was added, as 64 hexadecimal digits. Once, and last.
  [[nodiscard]] std::string Finish();

 private:
  static constexpr std::size_t kBlock = 64;

  void Take(const unsigned char* block);

  std::array<std::uint32_t, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::array<unsigned char, kBlock> rest_{};  ///< What is not a whole block yet.
  std::size_t inRest_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace qvhost
