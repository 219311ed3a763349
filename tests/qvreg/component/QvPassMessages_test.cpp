#include "qvreg/component/QvPassMessages.h"

#include <cstddef>
#include <limits>

#include <gtest/gtest.h>

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

}  // namespace
