#include "host/fit/CountedRecordIterator.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace qvhost {
namespace {

using Report = std::pair<int, long long>;

/// A table of `rows` records of two numbers that claims to hold `claimed`.
CodedTable MakeTable(int rows, int claimed, int extraValues = 0) {
  SpoolFile file("");
  for (int i = 0; i < rows; ++i) file.Append(std::vector<double>{1.0 * i, 2.0 * i});
  if (extraValues > 0) file.Append(std::vector<double>(static_cast<std::size_t>(extraValues), 1.0));
  file.Flush();
  file.Rewind();
  return {std::move(file), std::vector<CodedColumn>(2), claimed};
}

long long ReadPass(CountedRecordIterator& records) {
  long long count = 0;
  records.NewPass();
  while (records.HasMore()) {
    const QvCommon::Record* record = records.Next();
    EXPECT_EQ((*record)[1], 2.0 * static_cast<double>(count));
    ++count;
  }
  return count;
}

TEST(CountedRecordIterator, DeliversEveryRecordInEveryPass) {
  const CodedTable table = MakeTable(5, 5);
  CountedRecordIterator records(table, {});
  EXPECT_TRUE(records.AllRecordsRead());
  EXPECT_EQ(ReadPass(records), 5);
  EXPECT_EQ(records.Next(), nullptr);
  EXPECT_EQ(ReadPass(records), 5);
  EXPECT_TRUE(records.AllRecordsRead());
}

TEST(CountedRecordIterator, ReportsPassesAndRecords) {
  const CodedTable table = MakeTable(20000, 20000);
  std::vector<Report> reports;
  CountedRecordIterator records(
      table, [&](int pass, long long delivered) { reports.emplace_back(pass, delivered); });
  ReadPass(records);
  ReadPass(records);
  EXPECT_EQ(reports,
            (std::vector<Report>{{1, 0}, {1, 8192}, {1, 16384}, {2, 0}, {2, 8192}, {2, 16384}}));
}

TEST(CountedRecordIterator, NoticesDataThatEndTooEarly) {
  const CodedTable table = MakeTable(4, 5);
  CountedRecordIterator records(table, {});
  ReadPass(records);
  EXPECT_FALSE(records.AllRecordsRead());
}

TEST(CountedRecordIterator, NoticesATruncatedRecord) {
  const CodedTable table = MakeTable(4, 4, 1);
  CountedRecordIterator records(table, {});
  ReadPass(records);
  EXPECT_FALSE(records.AllRecordsRead());
}

TEST(CountedRecordIterator, RemembersAFailureOfAnEarlierPass) {
  const CodedTable table = MakeTable(4, 5);
  CountedRecordIterator records(table, {});
  ReadPass(records);
  records.NewPass();
  records.Next();
  EXPECT_TRUE(records.HasMore());
  EXPECT_FALSE(records.AllRecordsRead());
}

TEST(CountedRecordIterator, APassThatTheLibraryEndsIsNoFailure) {
  const CodedTable table = MakeTable(5, 5);
  CountedRecordIterator records(table, {});
  records.NewPass();
  records.Next();
  EXPECT_TRUE(records.AllRecordsRead());
}

TEST(CountedRecordIterator, AnEmptyTableHasNoRecord) {
  const CodedTable table = MakeTable(0, 0);
  CountedRecordIterator records(table, {});
  EXPECT_EQ(ReadPass(records), 0);
  EXPECT_TRUE(records.AllRecordsRead());
}

#if !defined(_WIN32)
TEST(CountedRecordIterator, RefusesAFileThatDoesNotGoBack) {
  const CodedTable table = MakeTable(5, 5);
  CountedRecordIterator records(table, {});
  EXPECT_EQ(ReadPass(records), 5);
  // A pipe takes the file's place.
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_GE(dup2(ends[0], fileno(table.File())), 0);
  close(ends[0]);
  close(ends[1]);
  try {
    records.NewPass();
    FAIL() << "a pass was started";
  } catch (const Error& error) {
    EXPECT_STREQ(
        error.what(),
        "The temporary file could not be read again from its start. Check the disk, or name "
        "another folder with --spool-dir.");
  }
}
#endif

}  // namespace
}  // namespace qvhost
