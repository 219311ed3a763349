#include "qvreg/common/QvBytes.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using QvCommon::QvByteReader;
using QvCommon::QvBytes;
using QvCommon::QvByteWriter;
using QvCommon::QvMessageType;

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

QvBytes Message() {
  QvByteWriter writer;
  writer.PutInts(std::vector<int>{1, -2, 3});
  writer.PutDouble(0.1);
  return writer.TakeMessage(QvMessageType::kAnswer);
}

TEST(QvByteWriter, IsLittleEndian) {
  QvByteWriter writer;
  writer.PutInt(-2);
  writer.PutDouble(1.0);
  writer.PutInts(std::vector<int>{0x01020304});
  EXPECT_EQ(writer.GetBytes(), (QvBytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // -2
                                        0,    0,    0,    0,    0,    0,    0xF0, 0x3F,  // 1.0
                                        1,    0,    0,    0,    0,    0,    0,    0,     // one int
                                        4,    3,    2,    1}));
}

TEST(QvByteReader, ReadsWhatWasWritten) {
  QvByteWriter writer;
  writer.PutInt(kLeast);
  writer.PutBool(true);
  writer.PutDouble(-0.0);
  writer.PutDouble(std::numeric_limits<double>::infinity());
  writer.PutInts(std::vector<int>{std::numeric_limits<int>::min(), 7});
  writer.PutDoubles(std::vector<double>{0.1, 5e-324});
  writer.PutBytes(QvBytes{9, 8});
  QvByteReader reader(writer.GetBytes());
  EXPECT_EQ(reader.GetInt(), kLeast);
  EXPECT_TRUE(reader.GetBool());
  EXPECT_TRUE(std::signbit(reader.GetDouble()));
  EXPECT_TRUE(std::isinf(reader.GetDouble()));
  EXPECT_EQ(reader.GetInts(), (std::vector<int>{std::numeric_limits<int>::min(), 7}));
  EXPECT_EQ(reader.GetDoubles(), (std::vector<double>{0.1, 5e-324}));
  EXPECT_EQ(reader.GetBytes().size(), 2U);
  EXPECT_TRUE(reader.IsAtEnd());
}

TEST(QvByteReader, KeepsTheBitsOfWhatIsNotANumber) {
  const double payload = std::nan("0x123");
  QvByteWriter writer;
  writer.PutDouble(payload);
  QvByteReader reader(writer.GetBytes());
  const double read = reader.GetDouble();
  QvByteWriter again;
  again.PutDouble(read);
  EXPECT_EQ(again.GetBytes(), writer.GetBytes());
}

TEST(QvByteReader, AnswersZerosOnceItHasFailed) {
  QvByteWriter writer;
  writer.PutBool(true);
  writer.PutInt(5);
  const QvBytes bytes = writer.TakeBytes();
  QvByteReader reader(std::span<const unsigned char>(bytes).first(4));
  EXPECT_TRUE(reader.GetBool());
  EXPECT_EQ(reader.GetInt(), 0);
  EXPECT_TRUE(reader.HasFailed());
  EXPECT_FALSE(reader.GetBool());
  EXPECT_TRUE(reader.GetDoubles().empty());
  EXPECT_FALSE(reader.IsAtEnd());
}

TEST(QvByteReader, RefusesNumbersOutOfRange) {
  QvByteWriter writer;
  writer.PutInt(11);
  QvByteReader reader(writer.GetBytes());
  EXPECT_EQ(reader.GetIntWithin(0, 10), 0);
  EXPECT_TRUE(reader.HasFailed());
  const QvBytes two{2};
  QvByteReader booleans(two);
  EXPECT_FALSE(booleans.GetBool());
  EXPECT_TRUE(booleans.HasFailed());
}

TEST(QvByteReader, TakesNumbersUpToTheEndsOfARange) {
  for (const int value : {-3, 0, 10}) {
    QvByteWriter writer;
    writer.PutInt(value);
    QvByteReader reader(writer.GetBytes());
    EXPECT_EQ(reader.GetIntWithin(-3, 10), value);
    EXPECT_FALSE(reader.HasFailed());
  }
  QvByteWriter writer;
  writer.PutInt(-4);
  QvByteReader reader(writer.GetBytes());
  EXPECT_EQ(reader.GetIntWithin(-3, 10), 0);
  EXPECT_TRUE(reader.HasFailed());
}

TEST(QvByteReader, TakesSumsToWhichAnotherCanBeAdded) {
  constexpr std::int64_t kMost = (std::int64_t{1} << 62) - 1;
  for (const std::int64_t total : {std::int64_t{0}, kMost}) {
    QvByteWriter writer;
    writer.PutInt(total);
    QvByteReader reader(writer.GetBytes());
    EXPECT_EQ(reader.GetTotal(), total);
    EXPECT_TRUE(reader.IsAtEnd());
  }
  for (const std::int64_t total : {std::int64_t{-1}, kMost + 1, kLeast}) {
    QvByteWriter writer;
    writer.PutInt(total);
    QvByteReader reader(writer.GetBytes());
    EXPECT_EQ(reader.GetTotal(), 0);
    EXPECT_TRUE(reader.HasFailed());
  }
}

TEST(QvByteReader, TakesAsManyDoublesAndFlagsAsItIsToldOf) {
  QvByteWriter writer;
  for (const double value : {1.5, -2.5, 3.5}) writer.PutDouble(value);
  for (const bool flag : {true, false, true}) writer.PutBool(flag);
  const QvBytes bytes = writer.TakeBytes();
  QvByteReader reader(bytes);
  EXPECT_EQ(reader.GetDoubles(3), (std::vector<double>{1.5, -2.5, 3.5}));
  EXPECT_EQ(reader.GetFlags(3), (std::vector<bool>{true, false, true}));
  EXPECT_TRUE(reader.IsAtEnd());
  // One more than there are of either, and none.
  QvByteReader doubles(std::span<const unsigned char>(bytes).first(24));
  EXPECT_TRUE(doubles.GetDoubles(4).empty());
  EXPECT_TRUE(doubles.HasFailed());
  QvByteReader flags(std::span<const unsigned char>(bytes).last(3));
  EXPECT_TRUE(flags.GetFlags(4).empty());
  EXPECT_TRUE(flags.HasFailed());
  QvByteReader nothing(bytes);
  EXPECT_TRUE(nothing.GetDoubles(0).empty());
  EXPECT_TRUE(nothing.GetFlags(0).empty());
  EXPECT_EQ(nothing.GetDouble(), 1.5);
}

TEST(QvByteReader, FillsDoublesOfAsManyPlaces) {
  QvByteWriter writer;
  writer.PutDoubles(std::vector<double>{1.5, -2.5});
  std::vector<double> two(2);
  QvByteReader reader(writer.GetBytes());
  reader.GetDoublesInto(two);
  EXPECT_EQ(two, (std::vector<double>{1.5, -2.5}));
  EXPECT_TRUE(reader.IsAtEnd());
  for (const std::size_t places : {std::size_t{1}, std::size_t{3}}) {
    std::vector<double> others(places, 7.0);
    QvByteReader another(writer.GetBytes());
    another.GetDoublesInto(others);
    EXPECT_TRUE(another.HasFailed());
    EXPECT_EQ(others, std::vector<double>(places, 7.0));
  }
}

TEST(QvByteReader, AllocatesNoMoreThanThereAreBytes) {
  for (const std::uint64_t count : {std::uint64_t{4}, std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
    QvByteWriter writer;
    writer.PutWord(count);
    writer.PutInt(0);
    const QvBytes bytes = writer.TakeBytes();
    const long long before = qvtest::AllocationCount();
    QvByteReader ints(bytes);
    QvByteReader doubles(bytes);
    QvByteReader parts(bytes);
    EXPECT_TRUE(ints.GetInts().empty());
    EXPECT_TRUE(doubles.GetDoubles().empty());
    EXPECT_EQ(parts.GetBytes().empty(), count != 4);
    EXPECT_EQ(qvtest::AllocationCount(), before);
    EXPECT_TRUE(ints.HasFailed() && doubles.HasFailed());
  }
}

TEST(QvByteReader, ReadsAMessage) {
  const QvBytes message = Message();
  QvByteReader reader(message, QvMessageType::kAnswer);
  EXPECT_EQ(reader.GetInts(), (std::vector<int>{1, -2, 3}));
  EXPECT_EQ(reader.GetDouble(), 0.1);
  EXPECT_TRUE(reader.IsAtEnd());
}

TEST(QvByteReader, RefusesAMessageOfAnotherTypeOrVersion) {
  QvBytes message = Message();
  EXPECT_TRUE(QvByteReader(message, QvMessageType::kRequest).HasFailed());
  message[12] ^= 1;
  EXPECT_TRUE(QvByteReader(message, QvMessageType::kAnswer).HasFailed());
}

TEST(QvByteReader, RefusesAMessageWithAnyByteChanged) {
  const QvBytes whole = Message();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    QvBytes message = whole;
    message[i] ^= 0x40;
    EXPECT_TRUE(QvByteReader(message, QvMessageType::kAnswer).HasFailed()) << i;
  }
}

TEST(QvByteReader, RefusesAMessageThatIsCutOrLonger) {
  const QvBytes whole = Message();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const QvBytes message(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_TRUE(QvByteReader(message, QvMessageType::kAnswer).HasFailed()) << size;
  }
  QvBytes longer = whole;
  longer.push_back(0);
  EXPECT_TRUE(QvByteReader(longer, QvMessageType::kAnswer).HasFailed());
}

// The numbers are of a Python of its own: words are taken in little-endian, the last filled up with
// zeros, each by (digest ^ word) * 0x9E3779B97F4A7C15 and digest ^ (digest >> 32).
TEST(DigestOf, OfBytesThatWereSavedStaysAsItWas) {
  QvBytes bytes;
  const auto digestOfFirst = [&bytes](unsigned char count) {
    while (bytes.size() < count) bytes.push_back(static_cast<unsigned char>(bytes.size() + 1));
    return QvCommon::DigestOf(bytes);
  };
  EXPECT_EQ(digestOfFirst(0), 0U);
  EXPECT_EQ(digestOfFirst(8), 0x4dcf1de465a7e53aU);
  EXPECT_EQ(digestOfFirst(11), 0xf0a123aec447445aU);
  EXPECT_EQ(digestOfFirst(16), 0x2210da931f7312adU);
}

TEST(DigestOf, DependsOnEveryByteAndOnTheLength) {
  const QvBytes bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const std::uint64_t digest = QvCommon::DigestOf(bytes);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    QvBytes other = bytes;
    ++other[i];
    EXPECT_NE(QvCommon::DigestOf(other), digest) << i;
  }
  QvBytes longer = bytes;
  longer.push_back(0);
  EXPECT_NE(QvCommon::DigestOf(longer), digest);
  EXPECT_NE(QvCommon::DigestOf({}), QvCommon::DigestOf(QvBytes{0}));
}

}  // namespace
