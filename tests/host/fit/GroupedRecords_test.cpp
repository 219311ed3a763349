#include "host/fit/GroupedRecords.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "qvreg/common/Constants.h"

namespace qvhost {
namespace {

using Values = std::vector<double>;

constexpr int kRecords = 40000;

/// A table of records of two numbers.
CodedTable MakeTable(int records, const std::function<Values(int)>& recordOf, int claimed = -1) {
  SpoolFile file("");
  for (int i = 0; i < records; ++i) file.Append(recordOf(i));
  file.Flush();
  file.Rewind();
  std::vector<CodedColumn> columns(2);
  columns[0].label = "a";
  columns[1].label = "b";
  columns[1].missing = 7;
  return {std::move(file), std::move(columns), claimed < 0 ? records : claimed};
}

Values FewValues(int i) { return {i % 5 * 1.0, i % 7 * 0.5}; }

std::optional<GroupedRecords> Group(const CodedTable& table, int threads = 1, int weight = -1) {
  const Interrupt interrupt;
  return GroupRecords(table, {.interrupt = interrupt, .freqWeight = weight, .threads = threads});
}

std::vector<Values> RecordsOf(const CodedTable& table) {
  const auto size = static_cast<std::size_t>(table.RecordSize());
  std::vector<Values> records(static_cast<std::size_t>(table.RecordCount()), Values(size));
  for (std::size_t i = 0; i < records.size(); ++i) {
    table.ReadRecords(static_cast<std::int64_t>(i), records[i]);
  }
  return records;
}

bool IsGrouped(int records, const std::function<Values(int)>& recordOf) {
  return Group(MakeTable(records, recordOf)).has_value();
}

TEST(GroupedRecords, AreTheDistinctOnesWithTheirNumber) {
  const std::optional<GroupedRecords> grouped = Group(MakeTable(kRecords, FewValues));
  ASSERT_TRUE(grouped);
  EXPECT_EQ(grouped->freqWeight, 2);
  EXPECT_EQ(grouped->count, 3);
  const std::vector<Values> records = RecordsOf(grouped->table);
  ASSERT_EQ(records.size(), 35U);
  double total = 0.0;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Values expected = FewValues(static_cast<int>(i));
    EXPECT_EQ((Values{records[i][0], records[i][1]}), expected) << "in the order of the table";
    EXPECT_EQ(records[i][2], records[i][3]);
    EXPECT_TRUE(records[i][3] == 1142.0 || records[i][3] == 1143.0);
    total += records[i][3];
  }
  EXPECT_EQ(total, kRecords);
}

TEST(GroupedRecords, TellWhatTheTableTellsOfItsColumns) {
  const std::optional<GroupedRecords> grouped = Group(MakeTable(kRecords, FewValues));
  ASSERT_TRUE(grouped);
  const std::vector<CodedColumn>& columns = grouped->table.Columns();
  ASSERT_EQ(columns.size(), 4U);
  EXPECT_EQ(columns[1].label, "b");
  EXPECT_EQ(columns[1].missing, 7);
  EXPECT_EQ(columns[3].missing, 0);
  EXPECT_EQ(columns[3].lowest, 1142.0);
  EXPECT_EQ(columns[3].highest, 1143.0);
  EXPECT_EQ(grouped->table.Kept(), nullptr);
}

TEST(GroupedRecords, DoNotDependOnThreads) {
  std::mt19937 random(1);
  std::vector<Values> rows;
  for (int i = 0; i < kRecords; ++i)
    rows.push_back({static_cast<double>(random() % 100), static_cast<double>(random() % 90)});
  const CodedTable table =
      MakeTable(kRecords, [&](int i) { return rows[static_cast<std::size_t>(i)]; });
  const std::optional<GroupedRecords> one = Group(table, 1);
  ASSERT_TRUE(one);
  for (const int threads : {2, 3, 8}) {
    const std::optional<GroupedRecords> other = Group(table, threads);
    ASSERT_TRUE(other);
    EXPECT_EQ(RecordsOf(other->table), RecordsOf(one->table)) << threads;
  }
}

TEST(GroupedRecords, MultiplyTheirWeightByTheirNumber) {
  const CodedTable table = MakeTable(kRecords, [](int i) {
    constexpr std::array<double, 4> kWeights = {0.5, 0.0, -2.0, QvMV::gMissingValue};
    return Values{0.0, kWeights[static_cast<std::size_t>(i % 4)]};
  });
  const std::optional<GroupedRecords> grouped = Group(table, 1, 1);
  ASSERT_TRUE(grouped);
  EXPECT_EQ(grouped->freqWeight, 1);
  EXPECT_EQ(grouped->count, 2);
  EXPECT_EQ(RecordsOf(grouped->table), (std::vector<Values>{{0.0, 5000.0, 10000.0},
                                                            {0.0, 0.0, 10000.0},
                                                            {0.0, -2.0, 10000.0},
                                                            {0.0, QvMV::gMissingValue, 10000.0}}));
}

TEST(GroupedRecords, AreNotMadeOfWeightsBeyondTheLargestNumber) {
  const CodedTable table = MakeTable(kRecords, [](int) { return Values{0.0, 1e305}; });
  EXPECT_FALSE(Group(table, 1, 1));
  EXPECT_TRUE(Group(table));
}

TEST(GroupedRecords, AreNotMadeOfFewRecords) {
  EXPECT_FALSE(IsGrouped(9999, FewValues));
  EXPECT_TRUE(IsGrouped(10000, FewValues));
  EXPECT_FALSE(IsGrouped(0, FewValues));
}

TEST(GroupedRecords, AreFewerThanHalfOfTheRecords) {
  const auto repeated = [](int distinct) {
    return [distinct](int i) { return Values{i % distinct * 1.0, 0.0}; };
  };
  EXPECT_TRUE(IsGrouped(kRecords, repeated(kRecords / 2 - 4000)));
  EXPECT_FALSE(IsGrouped(kRecords, repeated(kRecords / 2)));
  EXPECT_FALSE(IsGrouped(kRecords, repeated(kRecords)));
  // Just enough for the whole table, though not for a sample.
  EXPECT_FALSE(IsGrouped(kRecords, [](int i) { return Values{i / 2 * 1.0, 0.0}; }));
}

constexpr std::size_t kBytesOfEach = 2 * sizeof(double) + 40;

/// With memory for so many distinct records.
std::optional<GroupedRecords> GroupWithin(std::size_t most, const CodedTable& table,
                                          int threads = 1) {
  const Interrupt interrupt;
  return GroupRecords(
      table, {.interrupt = interrupt, .threads = threads, .mostBytes = most * kBytesOfEach});
}

TEST(GroupedRecords, AreFoundInPartsWhereMemoryHoldsNotAll) {
  const CodedTable table = MakeTable(kRecords, FewValues);
  const std::optional<GroupedRecords> atOnce = Group(table);
  ASSERT_TRUE(atOnce);
  std::vector<Values> expected = RecordsOf(atOnce->table);
  std::ranges::sort(expected);
  for (const std::size_t most : {34U, 20U, 5U}) {
    const std::optional<GroupedRecords> inParts = GroupWithin(most, table);
    ASSERT_TRUE(inParts) << most;
    std::vector<Values> records = RecordsOf(inParts->table);
    EXPECT_NE(records, RecordsOf(atOnce->table)) << "in another order";
    EXPECT_EQ(RecordsOf(GroupWithin(most, table, 3)->table), records);
    std::ranges::sort(records);
    EXPECT_EQ(records, expected) << most;
    EXPECT_EQ(inParts->table.Columns()[3].lowest, 1142.0);
    EXPECT_EQ(inParts->table.Columns()[3].highest, 1143.0);
  }
}

TEST(GroupedRecords, AreNotMadeOfMoreThanFitIntoTheParts) {
  const CodedTable table = MakeTable(kRecords, FewValues);
  EXPECT_TRUE(GroupWithin(35, table));
  EXPECT_FALSE(GroupWithin(0, table));
  const CodedTable many = MakeTable(kRecords, [](int i) { return Values{i % 1000 * 1.0, 0.0}; });
  EXPECT_FALSE(GroupWithin(15, many)) << "more than 64 parts";
  EXPECT_TRUE(GroupWithin(30, many));
}

TEST(GroupedRecords, AreFoundWhereASampleHasHardlyAnyTwice) {
  constexpr int kMany = 1000000;
  constexpr int kDistinct = 200000;
  std::mt19937 random(2);
  std::set<double> values;
  const CodedTable table = MakeTable(kMany, [&](int) {
    const auto value = static_cast<double>(random() % kDistinct);
    values.insert(value);
    return Values{value, 0.0};
  });
  const std::optional<GroupedRecords> grouped = Group(table);
  ASSERT_TRUE(grouped);
  EXPECT_EQ(grouped->table.RecordCount(), static_cast<std::int64_t>(values.size()));
}

TEST(GroupedRecords, AreFoundWhereEqualOnesFollowEachOther) {
  EXPECT_TRUE(IsGrouped(1000000, [](int i) { return Values{i / 20 * 1.0, 0.0}; }));
}

TEST(GroupedRecords, AreNotSoughtForOneFrequentRecordAmongDistinctOnes) {
  std::vector<long long> seen;
  const CodedTable table = MakeTable(kRecords, [](int i) {
    return Values{i % 3 == 0 ? -1.0 : i * 1.0, 0.0};
  });
  const Interrupt interrupt;
  EXPECT_FALSE(GroupRecords(
      table, {.interrupt = interrupt, .progress = [&](long long n) { seen.push_back(n); }}));
  EXPECT_TRUE(seen.empty()) << "the sample tells";
}

TEST(GroupedRecords, TellHowManyRecordsWereSeen) {
  constexpr int kMany = 200000;
  std::vector<long long> seen;
  const CodedTable table = MakeTable(kMany, FewValues);
  const Interrupt interrupt;
  EXPECT_TRUE(GroupRecords(
      table,
      {.interrupt = interrupt, .threads = 2, .progress = [&](long long n) { seen.push_back(n); }}));
  EXPECT_EQ(seen, (std::vector<long long>{131072, kMany}));
  seen.clear();
  EXPECT_TRUE(GroupRecords(table, {.interrupt = interrupt,
                                   .threads = 2,
                                   .mostBytes = 25 * kBytesOfEach,
                                   .progress = [&](long long n) { seen.push_back(n); }}));
  EXPECT_EQ(seen, (std::vector<long long>{65536, kMany / 2, (kMany + 131072) / 2, kMany}));
}

TEST(GroupedRecords, OfAFileThatEndsTooEarlyAreAnError) {
  const CodedTable table = MakeTable(kRecords, FewValues, 2 * kRecords);
  EXPECT_THROW(static_cast<void>(Group(table)), Error);
}

TEST(GroupedRecords, AreNotMadeAfterAnInterrupt) {
  const CodedTable table = MakeTable(kRecords, FewValues);
  const Interrupt interrupt;
  ASSERT_EQ(std::raise(SIGINT), 0);
  EXPECT_THROW(static_cast<void>(GroupRecords(table, {.interrupt = interrupt})), Cancelled);
}

}  // namespace
}  // namespace qvhost
