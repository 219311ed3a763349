#include <algorithm>
#include <climits>
#include <memory>
#include <random>
#include <set>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvHashtable.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace QvCommon {
namespace {

/// Reaches the hash function, which is for those who fill keys: an explicit instantiation may name
/// a private member.
int HashOf(const QvHashKey& key);
template <int (QvHashKey::*kHash)() const>
struct HashAccess {
  friend int HashOf(const QvHashKey& key) { return (key.*kHash)(); }
};
template struct HashAccess<&QvHashKey::ComputeHashCode>;

QvHashKey KeyOf(const std::vector<int>& codes) {
  QvHashKey key(static_cast<int>(codes.size()));
  for (int i = 0; i < key.GetLength(); ++i) key[i] = codes[static_cast<std::size_t>(i)];
  return key;
}

TEST(QvHashKey, StartsWithZeros) {
  const QvHashKey key(3);
  EXPECT_EQ(key.GetLength(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(key[i], 0);
  EXPECT_EQ(key.GetHashCode(), 0);
}

TEST(QvHashKey, ANegativeLengthIsEmpty) { EXPECT_EQ(QvHashKey(-1).GetLength(), 0); }

TEST(QvHashKey, CodesAreWrittenInPlace) {
  QvHashKey key(2);
  key[0] = 7;
  key[1] = -2;
  EXPECT_EQ(key, KeyOf({7, -2}));
}

TEST(QvHashKey, EqualityComparesLengthAndCodes) {
  EXPECT_TRUE(KeyOf({1, 2}) == KeyOf({1, 2}));
  EXPECT_FALSE(KeyOf({1, 2}) == KeyOf({2, 1}));
  EXPECT_FALSE(KeyOf({1, 2}) == KeyOf({1, 2, 0}));
  EXPECT_TRUE(QvHashKey(0) == QvHashKey(0));
}

// Level combinations whose hash codes are the same would else be counted as one.
TEST(QvKeyNumbers, AreDifferentForKeysOfTheSameHashCode) {
  constexpr int kKeys = 200000;
  QvKeyNumbers numbers(1);
  std::set<int> hashCodes;
  for (int code = 0; code < kKeys; ++code) {
    hashCodes.insert(HashOf(KeyOf({code})));
    ASSERT_EQ(numbers.FindOrInsert(std::vector<int>{code}), code);
  }
  EXPECT_LT(hashCodes.size(), static_cast<std::size_t>(kKeys)) << "some are the same";
  for (int code = 0; code < kKeys; ++code) {
    ASSERT_EQ(numbers.Find(std::vector<int>{code}), code);
  }
}

TEST(QvHashKey, EqualityIgnoresTheStoredHashCode) {
  QvHashKey hashed = KeyOf({1, 2});
  hashed.SetHashCode(99);
  EXPECT_TRUE(hashed == KeyOf({1, 2}));
}

TEST(QvHashKey, OrderIsLexicographicWithTheFirstCodeMostSignificant) {
  EXPECT_TRUE(KeyOf({1, 9}) < KeyOf({2, 0}));
  EXPECT_TRUE(KeyOf({1, 2, 3}) < KeyOf({1, 2, 4}));
  EXPECT_TRUE(KeyOf({-1}) < KeyOf({0}));
  EXPECT_FALSE(KeyOf({2, 0}) < KeyOf({1, 9}));
}

TEST(QvHashKey, OrderIsStrictAndConsistentWithEquality) {
  std::vector<QvHashKey> keys;
  for (int a = -1; a < 3; ++a) {
    for (int b = -1; b < 3; ++b) keys.push_back(KeyOf({a, b}));
  }
  for (const QvHashKey& a : keys) {
    for (const QvHashKey& b : keys) {
      EXPECT_EQ(static_cast<int>(a < b) + static_cast<int>(b < a) + static_cast<int>(a == b), 1);
    }
  }
}

TEST(QvHashKey, CopiesCarryCodesAndHashCode) {
  QvHashKey original = KeyOf({4, 5});
  original.SetHashCode(77);
  const QvHashKey copy(original);
  QvHashKey assigned(9);
  assigned = original;
  original[0] = 0;
  EXPECT_EQ(copy, KeyOf({4, 5}));
  EXPECT_EQ(copy.GetHashCode(), 77);
  EXPECT_EQ(assigned, KeyOf({4, 5}));
  EXPECT_EQ(assigned.GetHashCode(), 77);
}

TEST(QvHashKey, HashCodeDependsOnTheCodesOnly) {
  QvHashKey stored = KeyOf({3, 1, 4});
  stored.SetHashCode(12345);
  EXPECT_EQ(HashOf(stored), HashOf(KeyOf({3, 1, 4})));
}

TEST(QvHashKey, HashCodeUsesEveryCodeAndItsPlace) {
  const std::vector<int> codes = {3, 1, 4, 1, 5, 9, 2, 6};
  const int hash = HashOf(KeyOf(codes));
  for (std::size_t i = 0; i < codes.size(); ++i) {
    std::vector<int> changed = codes;
    ++changed[i];
    EXPECT_NE(HashOf(KeyOf(changed)), hash) << "code " << i;
  }
  std::vector<int> reversed(codes.rbegin(), codes.rend());
  EXPECT_NE(HashOf(KeyOf(reversed)), hash);
}

TEST(QvHashKey, HashCodeIsNeverNegative) {
  std::mt19937 random(20240501);
  std::uniform_int_distribution<int> anyInt(INT_MIN, INT_MAX);
  for (int trial = 0; trial < 10000; ++trial) {
    EXPECT_GE(HashOf(KeyOf({anyInt(random), anyInt(random), anyInt(random)})), 0);
  }
}

TEST(QvHashKey, HashCodesOfAGridFillATableEvenly) {
  // 64 x 64 small codes, the worst case of a weak hash, into 1024 buckets: 4 a bucket on average.
  constexpr int kSide = 64;
  constexpr int kBuckets = 1024;
  std::vector<int> filled(kBuckets);
  std::set<int> hashes;
  for (int a = 0; a < kSide; ++a) {
    for (int b = 0; b < kSide; ++b) {
      const int hash = HashOf(KeyOf({a, b}));
      hashes.insert(hash);
      ++filled[static_cast<std::size_t>(hash % kBuckets)];
    }
  }
  EXPECT_GE(hashes.size(), static_cast<std::size_t>(kSide * kSide - 2));
  EXPECT_LE(*std::max_element(filled.begin(), filled.end()), 20);
}

TEST(QvHashKey, DisplayPrintsTheCodes) {
  const QvHashKey key = KeyOf({2, 0, -1});
  EXPECT_EQ(qvtest::OutputOf([&] { key.Display(); }), "Key: 2 0 -1\n");
}

/// Numbers the keys, and checks that both tables visit them in one order.
void ExpectOrderOfHashtable(const std::vector<std::vector<int>>& keys, int length) {
  QvKeyNumbers numbers(length);
  QvHashtable<int> table;
  for (const std::vector<int>& codes : keys) {
    const int number = numbers.FindOrInsert(codes);
    auto key = std::make_unique<QvHashKey>(KeyOf(codes));
    key->SetHashCode(HashOf(*key));
    auto value = std::make_unique<int>(number);
    table.Insert(key, value);
    ASSERT_EQ(numbers.FindOrInsert(codes), number);
  }
  ASSERT_EQ(numbers.GetCount(), table.GetCount());
  std::vector<int> order;
  table.ForEach([&](const QvHashPair<int>& pair) {
    const std::span<const int> codes = numbers.GetCodes(pair.GetValue());
    EXPECT_EQ(KeyOf({codes.begin(), codes.end()}), pair.GetKey());
    order.push_back(pair.GetValue());
    return true;
  });
  EXPECT_EQ(numbers.GetOrder(), order);
}

TEST(QvKeyNumbers, CountFromZeroInTheOrderOfArrival) {
  QvKeyNumbers numbers(2);
  EXPECT_EQ(numbers.GetCount(), 0);
  EXPECT_EQ(numbers.FindOrInsert(std::vector{3, 1}), 0);
  EXPECT_EQ(numbers.FindOrInsert(std::vector{1, 3}), 1);
  EXPECT_EQ(numbers.FindOrInsert(std::vector{3, 2}), 2);
  EXPECT_EQ(numbers.FindOrInsert(std::vector{1, 3}), 1);
  EXPECT_EQ(numbers.Find(std::vector{3, 2}), 2);
  EXPECT_EQ(numbers.Find(std::vector{2, 3}), -1);
  EXPECT_EQ(numbers.GetCount(), 3);
}

TEST(QvKeyNumbers, OfNoCodesIsOneKey) {
  QvKeyNumbers numbers;
  EXPECT_EQ(numbers.FindOrInsert({}), 0);
  EXPECT_EQ(numbers.FindOrInsert({}), 0);
  EXPECT_EQ(numbers.GetOrder(), std::vector<int>{0});
}

TEST(QvKeyNumbers, AreVisitedInTheOrderOfAHashtable) {
  std::mt19937 random(5);
  for (const int count : {1, 66, 67, 5000}) {
    std::vector<std::vector<int>> keys;
    for (int i = 0; i < count; ++i) {
      keys.push_back({static_cast<int>(random() % 50), static_cast<int>(random() % 90)});
    }
    ExpectOrderOfHashtable(keys, 2);
  }
}

}  // namespace
}  // namespace QvCommon
