#include "qvreg/data/BinaryRecordIterator.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/support/TempFolder.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace QvCommon {
namespace {

using Rows = std::vector<std::vector<double>>;

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// A temporary file of `values`, standing at its start.
File FileOf(const std::vector<double>& values) {
  File file(std::tmpfile());
  EXPECT_NE(file, nullptr);
  for (const double value : values) {
    EXPECT_EQ(std::fwrite(&value, sizeof(value), 1, file.get()), 1U);
  }
  std::rewind(file.get());
  return file;
}

/// The same with the first bytes of one more value behind them.
File FileCutWithinADouble(const std::vector<double>& values) {
  File file = FileOf(values);
  std::fseek(file.get(), 0, SEEK_END);
  EXPECT_GE(std::fputs("abc", file.get()), 0);
  std::rewind(file.get());
  return file;
}

std::vector<double> ValuesOf(const Record& record) {
  return {record.GetAll(), record.GetAll() + record.Size()};
}

/// Every record from here to the end of the pass.
Rows RestOf(MultiPassRecordIter& iter) {
  Rows rows;
  while (iter.HasMore()) {
    const Record* record = iter.Next();
    if (record == nullptr) {
      ADD_FAILURE() << "an announced record was not delivered";
      return rows;
    }
    rows.push_back(ValuesOf(*record));
  }
  return rows;
}

/// A stream that a derived class marks as one that cannot be read again.
class OneWayIterator : public BinaryRecordIterator {
 public:
  using BinaryRecordIterator::BinaryRecordIterator;
  void ForbidRewind() { SetFailReason(kIterNoRewind); }
};

TEST(BinaryRecordIterator, AnEmptyFileHasNoRecord) {
  const File file = FileOf({});
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_EQ(iter.GetFailReason(), kIterEndOfData);
  EXPECT_FALSE(iter.HasMore());
  EXPECT_EQ(iter.Next(), nullptr);
  EXPECT_EQ(iter.GetFailReason(), kIterEndOfData);
}

TEST(BinaryRecordIterator, OneRecordIsDeliveredByTheCallThatFindsTheEnd) {
  const File file = FileOf({1.5, -2.0});
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_TRUE(iter.HasMore());
  EXPECT_EQ(iter.GetFailReason(), kIterOk);
  const Record* record = iter.Next();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(ValuesOf(*record), (std::vector<double>{1.5, -2.0}));
  EXPECT_EQ(iter.GetFailReason(), kIterEndOfData);
  EXPECT_FALSE(iter.HasMore());
  EXPECT_EQ(iter.Next(), nullptr);
}

TEST(BinaryRecordIterator, ATruncatedLastRecordIsAnErrorAndNeverDelivered) {
  const File file = FileOf({1, 2, 3, 4, 5});
  BinaryRecordIterator iter(file.get(), 2);
  ASSERT_NE(iter.Next(), nullptr);
  EXPECT_EQ(iter.GetFailReason(), kIterOk);
  const Record* second = iter.Next();
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(ValuesOf(*second), (std::vector<double>{3, 4}));
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
  EXPECT_FALSE(iter.HasMore());
  EXPECT_EQ(iter.Next(), nullptr);
}

TEST(BinaryRecordIterator, AFileShorterThanARecordIsAnError) {
  const File file = FileOf({1, 2});
  BinaryRecordIterator iter(file.get(), 3);
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
  EXPECT_EQ(iter.Next(), nullptr);
}

TEST(BinaryRecordIterator, ARecordCutWithinADoubleIsAnErrorAndNeverDelivered) {
  const File file = FileCutWithinADouble({1, 2, 3});
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_EQ(RestOf(iter), (Rows{{1, 2}}));
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
}

TEST(BinaryRecordIterator, LessThanADoubleBehindTheLastRecordIsNeverDelivered) {
  const File file = FileCutWithinADouble({1, 2});
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_EQ(RestOf(iter), (Rows{{1, 2}}));
  EXPECT_NE(iter.GetFailReason(), kIterOk);
  EXPECT_EQ(iter.Next(), nullptr);
}

TEST(BinaryRecordIterator, ARefusedNextChangesNothing) {
  const File file = FileOf({1, 2, 3});
  BinaryRecordIterator iter(file.get(), 2);
  const Record* last = iter.Next();
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(iter.Next(), nullptr);
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
  EXPECT_EQ(ValuesOf(*last), (std::vector<double>{1, 2}));
}

TEST(BinaryRecordIterator, ANewPassDeliversTheSameRecordsAgain) {
  const File file = FileOf({1, 2, 3, 4, 5, 6});
  BinaryRecordIterator iter(file.get(), 2);
  const Rows first = RestOf(iter);
  EXPECT_EQ(first, (Rows{{1, 2}, {3, 4}, {5, 6}}));
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_EQ(iter.NewPass(), kIterOk);
    EXPECT_EQ(RestOf(iter), first);
  }
}

TEST(BinaryRecordIterator, ANewPassMayStartBeforeTheEnd) {
  const File file = FileOf({1, 2, 3});
  BinaryRecordIterator iter(file.get(), 1);
  EXPECT_EQ(iter.NewPass(), kIterOk);
  iter.Next();
  iter.Next();
  EXPECT_EQ(iter.NewPass(), kIterOk);
  EXPECT_EQ(RestOf(iter), (Rows{{1}, {2}, {3}}));
}

TEST(BinaryRecordIterator, ANewPassRecoversFromATruncatedRecord) {
  const File file = FileOf({1, 2, 3});
  BinaryRecordIterator iter(file.get(), 2);
  EXPECT_EQ(RestOf(iter), (Rows{{1, 2}}));
  EXPECT_EQ(iter.NewPass(), kIterOk);
  EXPECT_EQ(RestOf(iter), (Rows{{1, 2}}));
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
}

TEST(BinaryRecordIterator, ANewPassOfAnEmptyFileAnswersTheEnd) {
  const File file = FileOf({});
  BinaryRecordIterator iter(file.get(), 1);
  EXPECT_EQ(iter.NewPass(), kIterEndOfData);
}

TEST(BinaryRecordIterator, ARecordStaysUnchangedUntilTheNextCall) {
  const File file = FileOf({1, 2});
  BinaryRecordIterator iter(file.get(), 1);
  const Record* record = iter.Next();
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(iter.HasMore());
  EXPECT_EQ(iter.GetFailReason(), kIterOk);
  EXPECT_EQ((*record)[0], 1.0);
  EXPECT_EQ((*iter.Next())[0], 2.0);
}

TEST(BinaryRecordIterator, DeliversEveryDoubleAsItStands) {
  const std::vector<double> values = {QvMV::gMissingValue, -0.0, 5e-324, 1.0 / 3.0};
  const File file = FileOf(values);
  BinaryRecordIterator iter(file.get(), 4);
  EXPECT_EQ(RestOf(iter), (Rows{values}));
}

TEST(BinaryRecordIterator, ACopyMidPassSharesThePositionAndKeepsItsOwnLookAhead) {
  const File file = FileOf({0, 1, 2, 3});
  BinaryRecordIterator original(file.get(), 1);
  EXPECT_EQ((*original.Next())[0], 0.0);  // Record 1 is read ahead.

  BinaryRecordIterator copy(original);
  EXPECT_EQ((*original.Next())[0], 1.0);  // Reads record 2.
  EXPECT_EQ((*copy.Next())[0], 1.0);      // Reads record 3.
  EXPECT_EQ((*original.Next())[0], 2.0);  // Finds the end.
  EXPECT_FALSE(original.HasMore());
  EXPECT_TRUE(copy.HasMore());
  EXPECT_EQ((*copy.Next())[0], 3.0);
  EXPECT_FALSE(copy.HasMore());
}

TEST(BinaryRecordIterator, ACopyHasRecordsOfItsOwn) {
  const File file = FileOf({0, 1, 2});
  BinaryRecordIterator original(file.get(), 1);
  const Record* first = original.Next();
  BinaryRecordIterator copy(original);
  copy.Next();
  EXPECT_EQ((*first)[0], 0.0);
}

TEST(BinaryRecordIterator, AssignmentTakesFileSizeAndState) {
  const File pairs = FileOf({1, 2, 3, 4});
  const File empty = FileOf({});
  const BinaryRecordIterator source(pairs.get(), 2);
  BinaryRecordIterator target(empty.get(), 5);
  target = source;
  EXPECT_EQ(target.GetFailReason(), kIterOk);
  EXPECT_EQ(RestOf(target), (Rows{{1, 2}, {3, 4}}));
  EXPECT_EQ(target.NewPass(), kIterOk);
}

TEST(BinaryRecordIterator, ANullFileIsReportedAndHasNoRecord) {
  EXPECT_EQ(qvtest::OutputOf([] {
              BinaryRecordIterator iter(nullptr, 2);
              EXPECT_EQ(iter.GetFailReason(), kIterReadError);
              EXPECT_FALSE(iter.HasMore());
              EXPECT_EQ(iter.Next(), nullptr);
            }),
            "Error: file handle is NULL in BinaryRecordIterator constructor");
}

TEST(BinaryRecordIterator, ANewPassOnANullFileLeavesTheReadErrorAndPrintsNoMore) {
  EXPECT_EQ(qvtest::OutputOf([] {
              BinaryRecordIterator iter(nullptr, 2);
              EXPECT_EQ(iter.NewPass(), kIterReadError);
              EXPECT_EQ(iter.GetFailReason(), kIterReadError);
              EXPECT_FALSE(iter.HasMore());
            }),
            "Error: file handle is NULL in BinaryRecordIterator constructor");
}

TEST(BinaryRecordIterator, AGoodFilePrintsNothing) {
  const File file = FileOf({1});
  EXPECT_EQ(qvtest::OutputOf([&] { const BinaryRecordIterator iter(file.get(), 1); }), "");
}

TEST(BinaryRecordIterator, AStreamThatCannotBeRewoundIsLeftAlone) {
  const File file = FileOf({1, 2, 3});
  OneWayIterator iter(file.get(), 1);
  iter.Next();
  const long position = std::ftell(file.get());
  iter.ForbidRewind();
  EXPECT_EQ(iter.NewPass(), kIterNoRewind);
  EXPECT_EQ(iter.GetFailReason(), kIterNoRewind);
  EXPECT_FALSE(iter.HasMore());
  EXPECT_EQ(iter.Next(), nullptr);
  EXPECT_EQ(std::ftell(file.get()), position);
}

TEST(BinaryRecordIterator, AFailedReadIsAnError) {
  const qvtest::TempFolder folder;
  const File writeOnly(std::fopen(folder.File("records").c_str(), "wb"));
  ASSERT_NE(writeOnly, nullptr);
  BinaryRecordIterator iter(writeOnly.get(), 1);
  EXPECT_EQ(iter.GetFailReason(), kIterReadError);
  EXPECT_EQ(iter.Next(), nullptr);
}

TEST(BinaryRecordIterator, ARecordSizeBelowOneIsAnError) {
  for (const int size : {0, -1}) {
    const File file = FileOf({1});
    BinaryRecordIterator iter(file.get(), size);
    EXPECT_EQ(iter.GetFailReason(), kIterReadError);
    EXPECT_FALSE(iter.HasMore());
    EXPECT_EQ(iter.NewPass(), kIterReadError);
  }
}

TEST(BinaryRecordIterator, ARecordThatCannotBeAllocatedIsAnError) {
  for (const long long n : {1, 2}) {
    const File file = FileOf({1, 2});
    const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
    BinaryRecordIterator iter(file.get(), 2);
    EXPECT_TRUE(fault.HasStruck());
    EXPECT_EQ(iter.GetFailReason(), kIterReadError);
    EXPECT_EQ(iter.Next(), nullptr);
  }
}

TEST(BinaryRecordIterator, ReadsRecordsWithoutAllocation) {
  const File file = FileOf(std::vector<double>(100, 1.0));
  BinaryRecordIterator iter(file.get(), 2);
  iter.Next();
  const long long before = qvtest::AllocationCount();
  while (iter.HasMore()) iter.Next();
  iter.NewPass();
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

TEST(BinaryRecordIterator, LeavesTheFileOpen) {
  const File file = FileOf({1, 2});
  { const BinaryRecordIterator iter(file.get(), 1); }
  std::rewind(file.get());
  double value = 0.0;
  EXPECT_EQ(std::fread(&value, sizeof(value), 1, file.get()), 1U);
  EXPECT_EQ(value, 1.0);
}

#if !defined(_WIN32)
TEST(BinaryRecordIterator, AStreamWithoutAWayBackGoesOnWhereItStands) {
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  File writer(fdopen(ends[1], "wb"));
  const File reader(fdopen(ends[0], "rb"));
  std::setvbuf(reader.get(), nullptr, _IONBF, 0);  // what is read ahead is left to the iterator
  for (const double value : {1.0, 2.0, 3.0}) {
    ASSERT_EQ(std::fwrite(&value, sizeof(value), 1, writer.get()), 1U);
  }
  writer.reset();
  BinaryRecordIterator iter(reader.get(), 1);
  EXPECT_TRUE(iter.HasMore());
  // Record 1 was read ahead and is given up.
  EXPECT_EQ(iter.NewPass(), kIterOk);
  EXPECT_EQ(RestOf(iter), (Rows{{2}, {3}}));
  EXPECT_EQ(iter.GetFailReason(), kIterEndOfData);
  EXPECT_EQ(iter.NewPass(), kIterEndOfData) << "and never that it could not go back";
}
#endif

}  // namespace
}  // namespace QvCommon
