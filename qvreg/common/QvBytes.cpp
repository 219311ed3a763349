#include "qvreg/common/QvBytes.h"

#include <array>
#include <bit>
#include <cstring>

namespace QvCommon {

namespace {

/// The first word of every message: "qvreg" and what a transfer as text would change.
constexpr std::uint64_t kMark = 0x0A1A0D6765727671;
constexpr std::size_t kHeadSize = 24;
constexpr std::size_t kWordSize = 8;

/// Writes a word to eight bytes, the least significant first.
void StoreWord(std::uint64_t value, unsigned char* bytes) {
  for (std::size_t i = 0; i < kWordSize; ++i) {
    bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

std::uint64_t LoadWord(const unsigned char* bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kWordSize; ++i) value |= std::uint64_t{bytes[i]} << (8 * i);
  return value;
}

/// The second word of a message.
std::uint64_t KindOf(QvMessageType type) {
  const std::uint64_t version = type == QvMessageType::kModel ? kModelVersion : kMessageVersion;
  return version << 32 | static_cast<std::uint32_t>(type);
}

std::uint64_t Mix(std::uint64_t digest, std::uint64_t word) {
  // Both steps can be undone: words that differ give digests that differ.
  digest = (digest ^ word) * 0x9E3779B97F4A7C15;
  return digest ^ (digest >> 32);
}

}  // namespace

std::uint64_t DigestOf(std::span<const unsigned char> bytes) {
  std::uint64_t digest = Mix(0, bytes.size());
  std::size_t i = 0;
  for (; i + kWordSize <= bytes.size(); i += kWordSize) {
    digest = Mix(digest, LoadWord(bytes.data() + i));
  }
  std::array<unsigned char, kWordSize> rest{};
  if (i < bytes.size()) std::memcpy(rest.data(), bytes.data() + i, bytes.size() - i);
  return Mix(digest, LoadWord(rest.data()));
}

void QvByteWriter::PutWord(std::uint64_t value) {
  const std::size_t place = fBytes.size();
  fBytes.resize(place + kWordSize);
  StoreWord(value, fBytes.data() + place);
}

void QvByteWriter::PutDouble(double value) { PutWord(std::bit_cast<std::uint64_t>(value)); }

void QvByteWriter::PutInts(std::span<const int> values) {
  PutWord(values.size());
  for (const int value : values) {
    const auto word = static_cast<std::uint32_t>(value);
    for (int shift = 0; shift < 32; shift += 8) {
      fBytes.push_back(static_cast<unsigned char>(word >> shift));
    }
  }
}

void QvByteWriter::PutDoubles(std::span<const double> values) {
  PutWord(values.size());
  std::size_t place = fBytes.size();
  fBytes.resize(place + values.size() * kWordSize);
  for (const double value : values) {
    StoreWord(std::bit_cast<std::uint64_t>(value), fBytes.data() + place);
    place += kWordSize;
  }
}

void QvByteWriter::PutBytes(std::span<const unsigned char> bytes) {
  PutWord(bytes.size());
  fBytes.insert(fBytes.end(), bytes.begin(), bytes.end());
}

QvBytes QvByteWriter::TakeMessage(QvMessageType type) {
  QvByteWriter message;
  message.fBytes.reserve(kHeadSize + fBytes.size() + kWordSize);
  message.PutWord(kMark);
  message.PutWord(KindOf(type));
  message.PutBytes(fBytes);
  fBytes = {};
  message.PutWord(DigestOf(message.fBytes));
  return std::move(message.fBytes);
}

QvByteReader::QvByteReader(std::span<const unsigned char> message, QvMessageType type) {
  fRest = message;
  const std::uint64_t mark = GetWord();
  const std::uint64_t kind = GetWord();
  const std::span<const unsigned char> contents = GetBytes();
  const bool isWhole =
      mark == kMark && kind == KindOf(type) && fRest.size() == kWordSize &&
      LoadWord(fRest.data()) == DigestOf(message.first(message.size() - kWordSize));
  if (isWhole) {
    fRest = contents;
  } else {
    Fail();
  }
}

void QvByteReader::Fail() { fbFailed = true; }

std::span<const unsigned char> QvByteReader::Take(std::size_t size) {
  if (fbFailed || fRest.size() < size) {
    Fail();
    return {};
  }
  const std::span<const unsigned char> taken = fRest.first(size);
  fRest = fRest.subspan(size);
  return taken;
}

std::uint64_t QvByteReader::GetWord() {
  const std::span<const unsigned char> bytes = Take(kWordSize);
  return bytes.empty() ? 0 : LoadWord(bytes.data());
}

int QvByteReader::GetIntWithin(int least, int largest) {
  const std::int64_t value = GetInt();
  if (value < least || value > largest) Fail();
  return fbFailed ? 0 : static_cast<int>(value);
}

std::int64_t QvByteReader::GetTotal() {
  constexpr std::int64_t kMost = (std::int64_t{1} << 62) - 1;
  const std::int64_t value = GetInt();
  if (value < 0 || value > kMost) Fail();
  return fbFailed ? 0 : value;
}

bool QvByteReader::GetBool() {
  const std::span<const unsigned char> bytes = Take(1);
  if (bytes.empty()) return false;
  if (bytes.front() > 1) Fail();
  return !fbFailed && bytes.front() == 1;
}

double QvByteReader::GetDouble() { return std::bit_cast<double>(GetWord()); }

std::size_t QvByteReader::GetCount(std::size_t size) {
  const std::uint64_t count = GetWord();
  if (count <= fRest.size() / size) return static_cast<std::size_t>(count);
  Fail();
  return 0;
}

std::vector<int> QvByteReader::GetInts() {
  constexpr std::size_t kIntSize = 4;
  std::vector<int> values(GetCount(kIntSize));
  for (int& value : values) {
    const std::span<const unsigned char> bytes = Take(kIntSize);
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < kIntSize; ++i) word |= std::uint32_t{bytes[i]} << (8 * i);
    value = static_cast<int>(word);
  }
  return values;
}

std::vector<double> QvByteReader::GetDoubles() { return GetDoubles(GetCount(kWordSize)); }

std::vector<double> QvByteReader::GetDoubles(std::size_t count) {
  if (count > fRest.size() / kWordSize) Fail();
  std::vector<double> values(fbFailed ? 0 : count);
  for (double& value : values) value = GetDouble();
  return values;
}

std::vector<bool> QvByteReader::GetFlags(std::size_t count) {
  if (count > fRest.size()) Fail();
  std::vector<bool> flags(fbFailed ? 0 : count);
  for (auto&& flag : flags) flag = GetBool();
  return flags;
}

void QvByteReader::GetDoublesInto(std::span<double> values) {
  if (GetCount(kWordSize) != values.size()) return Fail();
  for (double& value : values) value = GetDouble();
}

std::span<const unsigned char> QvByteReader::GetBytes() { return Take(GetCount(1)); }

}  // namespace QvCommon
