#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

/// \file
/// Numbers as bytes: little-endian, the same on every machine, with a length and a checksum.

namespace QvCommon {

/// Bytes that travel between processes or machines.
using QvBytes = std::vector<unsigned char>;

/// What a message holds; written into its head.
enum class QvMessageType : std::uint32_t { kRequest = 1, kAnswer = 2, kSettings = 3, kModel = 4 };

/// The version of all messages that this library writes, and the only one that it reads; models,
/// which are kept, have one of their own.
inline constexpr std::uint32_t kMessageVersion = 1;
inline constexpr std::uint32_t kModelVersion = 1;

/// A 64-bit digest of bytes: different for bytes that differ within one aligned word of eight. For
/// damage and for look-ups, not against an attacker.
[[nodiscard]] std::uint64_t DigestOf(std::span<const unsigned char> bytes);

/// Appends numbers to bytes. Used from one thread at a time; every operation may throw
/// std::bad_alloc.
class QvByteWriter {
 public:
  void PutInt(std::int64_t value) { PutWord(static_cast<std::uint64_t>(value)); }
  void PutWord(std::uint64_t value);
  void PutBool(bool value) { fBytes.push_back(value ? 1 : 0); }
  /// The bits of a double, whatever it is.
  void PutDouble(double value);
  /// The number of values, then each; ints take four bytes.
  void PutInts(std::span<const int> values);
  void PutDoubles(std::span<const double> values);
  /// The number of bytes, then each.
  void PutBytes(std::span<const unsigned char> bytes);

  [[nodiscard]] const QvBytes& GetBytes() const { return fBytes; }
  /// Moves the bytes out.
  [[nodiscard]] QvBytes TakeBytes() { return std::exchange(fBytes, {}); }
  /// Moves them out as a message: behind a head of 24 bytes (a mark, the version, the type,
  /// the length), before a checksum of all.
  [[nodiscard]] QvBytes TakeMessage(QvMessageType type);

 private:
  QvBytes fBytes;
};

/// Reads what a QvByteWriter wrote, in the same order. Bytes that end too early or hold what a
/// reader cannot accept make it fail, for good: it then answers zeros and empty vectors. Nothing
/// allocates more than the bytes that are there.
///
/// Borrows the bytes. Used from one thread at a time.
class QvByteReader {
 public:
  /// Reads bytes that are no message by themselves.
  explicit QvByteReader(std::span<const unsigned char> bytes) : fRest(bytes) {}
  /// Reads the contents of a message; fails for one that is damaged, or of another type or version.
  QvByteReader(std::span<const unsigned char> message, QvMessageType type);

  [[nodiscard]] std::int64_t GetInt() { return static_cast<std::int64_t>(GetWord()); }
  /// An int from `least` to `largest`; anything else fails.
  [[nodiscard]] int GetIntWithin(int least, int largest);
  /// A sum that others are added to: from 0 to 2^62 - 1, so that two of them do not overflow;
  /// anything else fails.
  [[nodiscard]] std::int64_t GetTotal();
  [[nodiscard]] std::uint64_t GetWord();
  [[nodiscard]] bool GetBool();
  [[nodiscard]] double GetDouble();
  [[nodiscard]] std::vector<int> GetInts();
  [[nodiscard]] std::vector<double> GetDoubles();
  /// So many doubles, and so many flags, without their number.
  [[nodiscard]] std::vector<double> GetDoubles(std::size_t count);
  [[nodiscard]] std::vector<bool> GetFlags(std::size_t count);
  /// Reads doubles into `values`, whose size must be theirs.
  void GetDoublesInto(std::span<double> values);
  /// A part of the borrowed bytes.
  [[nodiscard]] std::span<const unsigned char> GetBytes();
  /// A number of elements of at least `size` bytes each that follow, of which so many must be
  /// there.
  std::size_t GetCount(std::size_t size);

  /// Makes it fail.
  void Fail();
  [[nodiscard]] bool HasFailed() const { return fbFailed; }
  /// True when it did not fail and nothing is left.
  [[nodiscard]] bool IsAtEnd() const { return !fbFailed && fRest.empty(); }

 private:
  /// The next `size` bytes, or none and a failure.
  std::span<const unsigned char> Take(std::size_t size);

  std::span<const unsigned char> fRest;
  bool fbFailed = false;
};

}  // namespace QvCommon
