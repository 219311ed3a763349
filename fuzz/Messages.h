#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "qvreg/common/QvBytes.h"

/// \file
/// Damaged messages that a checksum does not betray.

namespace qvfuzz {

inline constexpr std::size_t kHeadSize = 24;
inline constexpr std::size_t kWordSize = 8;

inline void StoreWord(std::uint64_t word, unsigned char* bytes) {
  for (std::size_t i = 0; i < kWordSize; ++i) {
    bytes[i] = static_cast<unsigned char>(word >> (8 * i));
  }
}

/// A message of these contents, whatever they are.
[[nodiscard]] inline QvCommon::QvBytes MessageOf(QvCommon::QvMessageType type,
                                                 std::span<const unsigned char> contents) {
  QvCommon::QvByteWriter writer;
  for (std::size_t i = 0; i < contents.size(); ++i) writer.PutBool(false);
  QvCommon::QvBytes message = writer.TakeMessage(type);
  Check(message.size() == kHeadSize + contents.size() + kWordSize, "the frame of a message");
  for (std::size_t i = 0; i < contents.size(); ++i) message[kHeadSize + i] = contents[i];
  const std::size_t end = message.size() - kWordSize;
  StoreWord(QvCommon::DigestOf(std::span(message).first(end)), message.data() + end);
  return message;
}

/// What stands within the frame of a message.
[[nodiscard]] inline QvCommon::QvBytes ContentsOf(const QvCommon::QvBytes& message) {
  const auto begin = message.begin() + static_cast<std::ptrdiff_t>(kHeadSize);
  return {begin, message.end() - static_cast<std::ptrdiff_t>(kWordSize)};
}

/// Changes some of the contents: bytes, words, what numbers of elements may stand in, the length.
inline void Damage(FuzzedDataProvider& data, QvCommon::QvBytes& contents) {
  constexpr std::uint64_t kWords[] = {0,
                                      1,
                                      2,
                                      std::numeric_limits<std::uint64_t>::max(),
                                      std::uint64_t{1} << 31,
                                      (std::uint64_t{1} << 31) - 1,
                                      (std::uint64_t{1} << 31) - 2,
                                      std::uint64_t{1} << 61,
                                      std::uint64_t{1} << 63,
                                      0x7FF0000000000000,
                                      0x7FF8000000000000,
                                      0xFFEFFFFFFFFFFFFF};
  const int nChanges = data.ConsumeIntegralInRange(0, 4);
  for (int i = 0; i < nChanges && !contents.empty(); ++i) {
    const auto place = data.ConsumeIntegralInRange<std::size_t>(0, contents.size() - 1);
    const auto at = contents.begin() + static_cast<std::ptrdiff_t>(place);
    switch (data.ConsumeIntegralInRange(0, 5)) {
      case 0:
        *at = data.ConsumeIntegral<unsigned char>();
        break;
      case 1:
        if (place + kWordSize <= contents.size()) {
          StoreWord(data.PickValueInArray(kWords), &contents[place]);
        }
        break;
      case 2:
        *at = static_cast<unsigned char>(*at + (data.ConsumeBool() ? 1 : 255));
        break;
      case 3:
        contents.resize(place);
        break;
      case 4:
        contents.insert(at, data.ConsumeIntegralInRange<std::size_t>(1, 16),
                        data.ConsumeIntegral<unsigned char>());
        break;
      default:
        contents.erase(at, at + static_cast<std::ptrdiff_t>(std::min<std::size_t>(
                                    contents.size() - place,
                                    data.ConsumeIntegralInRange<std::size_t>(1, 16))));
    }
  }
}

}  // namespace qvfuzz
