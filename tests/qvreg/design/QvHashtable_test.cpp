#include "qvreg/design/QvHashtable.h"

#include <initializer_list>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using QvCommon::QvHashKey;
using QvCommon::QvHashPair;
using Table = QvCommon::QvHashtable<int>;
using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;

QvHashKey Key(const std::vector<int>& codes, int hashCode) {
  QvHashKey key(static_cast<int>(codes.size()));
  for (int i = 0; i < key.GetLength(); ++i) key[i] = codes[static_cast<std::size_t>(i)];
  key.SetHashCode(hashCode);
  return key;
}

/// A key of one code whose hash code is the code.
QvHashKey Key(int code) { return Key({code}, code); }

bool Insert(Table& table, const QvHashKey& key, int value) {
  auto ownKey = std::make_unique<QvHashKey>(key);
  auto ownValue = std::make_unique<int>(value);
  return table.Insert(ownKey, ownValue);
}

TEST(QvHashtable, StartsEmptyWith89BucketsAndThreshold66) {
  const Table table;
  EXPECT_EQ(table.GetCount(), 0);
  EXPECT_EQ(table.GetBucketCount(), 89);
  EXPECT_EQ(table.GetThreshold(), 66);
  EXPECT_EQ(table.GetGrowthCount(), 0);
  EXPECT_EQ(table.Find(Key(1)), nullptr);
}

TEST(QvHashtable, FindsWhatWasInserted) {
  Table table;
  EXPECT_TRUE(Insert(table, Key({3, 1}, 40), 7));
  const QvHashPair<int>* pair = table.Find(Key({3, 1}, 40));
  ASSERT_NE(pair, nullptr);
  EXPECT_EQ(pair->GetValue(), 7);
  EXPECT_TRUE(pair->GetKey() == Key({3, 1}, 40));
  EXPECT_EQ(table.Find(Key({1, 3}, 40)), nullptr);
  EXPECT_EQ(table.Find(Key({3}, 40)), nullptr);
}

TEST(QvHashtable, AnEqualKeyIsFoundOnlyUnderItsHashCode) {
  Table table;
  Insert(table, Key({5}, 10), 1);
  // 99 = 10 + 89 falls into the same bucket.
  EXPECT_EQ(table.Find(Key({5}, 99)), nullptr);
}

TEST(QvHashtable, ADuplicateIsRefusedAndStaysWithTheCaller) {
  Table table;
  Insert(table, Key(4), 1);
  auto key = std::make_unique<QvHashKey>(Key(4));
  auto value = std::make_unique<int>(2);
  EXPECT_FALSE(table.Insert(key, value));
  EXPECT_NE(key, nullptr);
  EXPECT_NE(value, nullptr);
  EXPECT_EQ(table.GetCount(), 1);
  EXPECT_EQ(table.Find(Key(4))->GetValue(), 1);
}

TEST(QvHashtable, AnInsertionTakesKeyAndValue) {
  Table table;
  auto key = std::make_unique<QvHashKey>(Key(4));
  auto value = std::make_unique<int>(2);
  EXPECT_TRUE(table.Insert(key, value));
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(value, nullptr);
}

TEST(QvHashtable, KeysOfOneHashCodeAreAllFound) {
  Table table;
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(Insert(table, Key({i, -i}, 12), i));
  for (int i = 0; i < 5; ++i) {
    const QvHashPair<int>* pair = table.Find(Key({i, -i}, 12));
    ASSERT_NE(pair, nullptr);
    EXPECT_EQ(pair->GetValue(), i);
  }
  EXPECT_EQ(table.GetCount(), 5);
}

TEST(QvHashtable, GrowsAtThe67thInsertionTo179BucketsAndThreshold134) {
  Table table;
  for (int i = 0; i < 66; ++i) ASSERT_TRUE(Insert(table, Key(1000 * i), i));
  EXPECT_EQ(table.GetBucketCount(), 89);
  EXPECT_EQ(table.GetGrowthCount(), 0);

  ASSERT_TRUE(Insert(table, Key(1000 * 66), 66));
  EXPECT_EQ(table.GetBucketCount(), 179);
  EXPECT_EQ(table.GetThreshold(), 134);
  EXPECT_EQ(table.GetGrowthCount(), 1);
  EXPECT_EQ(table.GetCount(), 67);
  for (int i = 0; i <= 66; ++i) {
    ASSERT_NE(table.Find(Key(1000 * i)), nullptr) << i;
    EXPECT_EQ(table.Find(Key(1000 * i))->GetValue(), i);
  }
}

TEST(QvHashtable, ARefusedDuplicateAtTheThresholdDoesNotGrowTheTable) {
  Table table;
  for (int i = 0; i < 66; ++i) Insert(table, Key(i), i);
  EXPECT_FALSE(Insert(table, Key(65), 0));
  EXPECT_EQ(table.GetBucketCount(), 89);
}

TEST(QvHashtable, GrowsAgainTo359Buckets) {
  Table table;
  for (int i = 0; i < 135; ++i) Insert(table, Key(i), i);
  EXPECT_EQ(table.GetBucketCount(), 359);
  EXPECT_EQ(table.GetThreshold(), 269);  // 269.25 truncated
  EXPECT_EQ(table.GetGrowthCount(), 2);
}

TEST(QvHashtable, EntriesKeepTheirAddressWhenTheTableGrows) {
  Table table;
  Insert(table, Key(1), 1);
  const QvHashPair<int>* before = table.Find(Key(1));
  for (int i = 2; i < 400; ++i) Insert(table, Key(i), i);
  EXPECT_EQ(table.Find(Key(1)), before);
}

TEST(QvHashtable, ClearDropsTheEntriesAndKeepsTheBuckets) {
  Table table;
  for (int i = 0; i < 67; ++i) Insert(table, Key(i), i);
  table.Clear();
  EXPECT_EQ(table.GetCount(), 0);
  EXPECT_EQ(table.GetBucketCount(), 179);
  EXPECT_EQ(table.Find(Key(3)), nullptr);
}

TEST(QvHashtable, InsertionsAfterClearReuseTheEntries) {
  Table table;
  for (int i = 0; i < 60; ++i) Insert(table, Key(i), i);
  table.Clear();
  const long long live = qvtest::LiveAllocations();
  for (int i = 0; i < 60; ++i) Insert(table, Key(i), 2 * i);
  // A key, its codes and a value each: no entry of the table's own.
  EXPECT_EQ(qvtest::LiveAllocations() - live, 3 * 60);
  EXPECT_EQ(table.Find(Key(59))->GetValue(), 118);
}

TEST(QvHashtable, DisplayOfAnEmptyTableIsItsTwoLines) {
  EXPECT_EQ(CapturedDisplay(Table()), "Start of Hashtable.\nEnd of Hashtable.\n");
}

TEST(QvHashtable, DisplayShowsEachBucketNewestFirst) {
  Table table;
  Insert(table, Key({7}, 2), 70);
  Insert(table, Key({8}, 91), 80);  // 91 = 2 + 89
  Insert(table, Key({9}, 1), 90);
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(table),
                           {"Start of Hashtable.\n", "Bucket 1 :\n", "9\n", "90\n", "Bucket 2 :\n",
                            "8\n", "80\n", "7\n", "70\n", "End of Hashtable.\n"}));
}

TEST(QvHashtable, ForEachVisitsEveryEntryOnce) {
  Table table;
  constexpr int kEntries = 200;
  for (int i = 0; i < kEntries; ++i) Insert(table, Key({i}, i % 7), i);
  std::vector<int> visits(kEntries, 0);
  EXPECT_TRUE(table.ForEach([&visits](const QvHashPair<int>& pair) {
    EXPECT_EQ(pair.GetKey()[0], pair.GetValue());
    ++visits.at(static_cast<std::size_t>(pair.GetValue()));
    return true;
  }));
  EXPECT_EQ(visits, std::vector<int>(kEntries, 1));
}

TEST(QvHashtable, ForEachGoesBucketByBucketNewestFirst) {
  Table table;
  for (const int code : {90, 3, 1, 92}) Insert(table, Key(code), code);  // 90 and 92 share buckets
  std::vector<int> order;
  table.ForEach([&order](const QvHashPair<int>& pair) {
    order.push_back(pair.GetValue());
    return true;
  });
  EXPECT_EQ(order, (std::vector<int>{1, 90, 92, 3}));
}

TEST(QvHashtable, ForEachStopsWhereTheVisitorAnswersFalse) {
  Table table;
  for (int i = 0; i < 10; ++i) Insert(table, Key(i), i);
  int visits = 0;
  EXPECT_FALSE(table.ForEach([&visits](const QvHashPair<int>&) { return ++visits < 4; }));
  EXPECT_EQ(visits, 4);
}

TEST(QvHashtable, ForEachOfAnEmptyTableVisitsNothing) {
  Table table;
  int visits = 0;
  const auto count = [&visits](const QvHashPair<int>&) { return ++visits == 0; };
  EXPECT_TRUE(table.ForEach(count));
  Insert(table, Key(1), 1);
  table.Clear();
  EXPECT_TRUE(table.ForEach(count));
  EXPECT_EQ(visits, 0);
}

}  // namespace
