#include "qvreg/component/QvPassMessages.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvKernels.h"
#include "qvreg/common/QvStatusCodes.h"

namespace {

using QvCommon::QvBytes;
using QvCommon::QvStatus;

/// Sums of which the number of records is all.
class NoSums : public IQvPassSums {
 public:
  bool Merge(const IQvPassSums& /*other*/) override { return true; }
  void Write(QvCommon::QvByteWriter& /*writer*/) const override {}
  void Read(QvCommon::QvByteReader& /*reader*/) override {}
  [[nodiscard]] std::size_t GetSize() const override { return 0; }
};

/// The code of reading an answer that so many records were used.
long CodeOf(long long nUsed) {
  const QvBytes bytes = WriteRequest(QvPassKind::kProducts, {}, {});
  QvPassRequest request;
  EXPECT_TRUE(ReadRequest(bytes, request).IsOK());
  NoSums sums;
  sums.fNUsed = nUsed;
  const QvBytes answer = WriteAnswer(request, QvStatus(), &sums);
  NoSums read;
  const QvStatus status = ReadAnswer(answer, request.fDigest, read);
  if (status.IsOK()) {
    EXPECT_EQ(read.fNUsed, nUsed);
  } else {
    EXPECT_TRUE(status.IsError());
  }
  return status.GetCode();
}

// Two answers are merged before anyone looks at their numbers.
TEST(PassMessages, AnswersWhoseNumbersCouldOverflowAreRefused) {
  constexpr long long kMost = (1LL << 62) - 1;
  for (const long long nUsed : {0LL, 5LL, kMost}) {
    EXPECT_EQ(CodeOf(nUsed), QvStatusCode::kOK) << nUsed;
  }
  for (const long long nUsed : {-1LL, kMost + 1, std::numeric_limits<long long>::max()}) {
    EXPECT_EQ(CodeOf(nUsed), QvStatusCode::kUnreadableMessage) << nUsed;
  }
}

TEST(PassMessages, AWarningOfSuccessIsRefused) {
  for (const long code : {QvStatusCode::kOK, QvStatusCode::kReferenceNotObserved}) {
    QvCommon::QvByteWriter writer;
    WriteStatus({code, false}, writer);
    QvBytes bytes = writer.TakeBytes();
    constexpr std::size_t kWarning = 8;  // behind the code
    bytes[kWarning] = 1;
    QvCommon::QvByteReader reader(bytes);
    EXPECT_EQ(ReadStatus(reader).GetCode(), code);
    EXPECT_EQ(reader.HasFailed(), code == QvStatusCode::kOK);
  }
}

TEST(PassMessages, CountsThatCouldOverflowAreRefused) {
  QvRecordCounts counts;
  counts.fMissing = (1LL << 62) - 1;
  for (const bool isTooLarge : {false, true}) {
    if (isTooLarge) ++counts.fMissing;
    QvCommon::QvByteWriter writer;
    WriteCounts(counts, writer);
    QvCommon::QvByteReader reader(writer.GetBytes());
    QvRecordCounts read;
    ReadCounts(reader, read);
    EXPECT_EQ(reader.HasFailed(), isTooLarge);
  }
}

QvStatus ReadBack(const QvStatus& status) {
  QvCommon::QvByteWriter writer;
  WriteStatus(status, writer);
  QvCommon::QvByteReader reader(writer.GetBytes());
  const QvStatus read = ReadStatus(reader);
  EXPECT_EQ(reader.IsAtEnd(), status.GetCode() >= 0 && status.GetCode() <= 9999);
  return read;
}

TEST(PassMessages, AStatusArrivesWithAllThatIsAttached) {
  QvStatus status(QvStatusCode::kBadCategory, false);
  EXPECT_TRUE(ReadBack(status).IsIdenticalTo(status));
  status.SetDiscreteDatum(1, -7);
  status.SetDiscreteDatum(3, 0);
  status.SetScaleDatum(0, 0.5);
  status.SetScaleDatum(2, -1e300);
  EXPECT_TRUE(ReadBack(status).IsIdenticalTo(status));
  const QvStatus warning(QvStatusCode::kReferenceNotObserved, true);
  EXPECT_TRUE(ReadBack(warning).IsIdenticalTo(warning));
  EXPECT_TRUE(ReadBack(QvStatus()).IsIdenticalTo(QvStatus()));
}

TEST(PassMessages, ACodeHasFourDigitsAtMost) {
  for (const long code : {1L, 9999L}) EXPECT_EQ(ReadBack(QvStatus(code, true)).GetCode(), code);
  for (const long code : {-1L, 10000L}) EXPECT_EQ(ReadBack(QvStatus(code, true)).GetCode(), 0);
}

/// A request whose sums are rounded in a way of this number.
QvBytes RequestOf(std::int64_t rounding) {
  const QvBytes base{1, 2, 3};
  QvCommon::QvByteWriter writer;
  writer.PutInt(static_cast<int>(QvPassKind::kProducts));
  writer.PutInt(rounding);
  writer.PutWord(QvCommon::DigestOf(base));
  writer.PutBytes(base);
  writer.PutBytes(QvBytes{4});
  return writer.TakeMessage(QvCommon::QvMessageType::kRequest);
}

// Sums of one run are all rounded alike, or their bits would depend on who made them.
TEST(PassMessages, ARequestIsForThoseWhoRoundAsItsSender) {
  const std::int64_t own = QvCommon::QvKernels::Get().fbFused ? 2 : 1;
  const QvBytes base{1, 2, 3};
  EXPECT_EQ(WriteRequest(QvPassKind::kProducts, base, QvBytes{4}), RequestOf(own));
  QvPassRequest request;
  EXPECT_TRUE(ReadRequest(RequestOf(own), request).IsOK());
  EXPECT_EQ(request.fKind, QvPassKind::kProducts);
  for (const std::int64_t other : {std::int64_t{0}, 3 - own, std::int64_t{3}}) {
    EXPECT_EQ(ReadRequest(RequestOf(other), request),
              QvStatus(QvStatusCode::kUnreadableMessage, false));
  }
}

TEST(PassMessages, AnAnswerIsThatOfItsRequest) {
  QvPassRequest request;
  EXPECT_TRUE(ReadRequest(WriteRequest(QvPassKind::kProducts, {}, {}), request).IsOK());
  NoSums sums;
  const QvBytes answer = WriteAnswer(request, QvStatus(), &sums);
  EXPECT_TRUE(ReadAnswer(answer, request.fDigest, sums).IsOK());
  EXPECT_EQ(ReadAnswer(answer, request.fDigest + 1, sums),
            QvStatus(QvStatusCode::kUnreadableMessage, false));
  const QvStatus failed(QvStatusCode::kNoRecords, false);
  EXPECT_EQ(ReadAnswer(WriteAnswer(request, failed, nullptr), request.fDigest, sums), failed);
}

}  // namespace
