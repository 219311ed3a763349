// Numbers of level combinations, looked up in an array or hashed.

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using Ints = std::vector<int>;

constexpr int kNone = -1;
constexpr int kA = 0;
constexpr int kB = 1;

/// Tables of two factors of so many levels with the effects A, B and A by B.
class LevelsTest : public ::testing::TestWithParam<int> {
 protected:
  LevelsTest() { tables_.SetModelEffectFactors({{kA}, {kB}, {kA, kB}}, {kA, kB}); }

  void Add(int a, int b) { ASSERT_TRUE(tables_.UpdateAll(MakeRecord({1.0 * a, 1.0 * b}))); }
  void ExpectParameters(int a, int b, const Ints& expected) {
    const std::vector<double> row{1.0 * a, 1.0 * b};
    bool ok = false;
    EXPECT_EQ(tables_.GetRowParameterIndices(row.data(), ok), expected) << a << " " << b;
    const bool isKnown = std::find(expected.begin(), expected.end(), -1) == expected.end();
    EXPECT_EQ(ok, isKnown);
    EXPECT_EQ(tables_.GetEffectParameterIndex(2, {a, b}), expected[2]);
  }

  QvFactorTables tables_{{kA, kB}, {GetParam(), GetParam()}, kNone, kNone, 0, 0, kNone,
                         0.0,      QvConst::QvOffsetNone};
};

// In an array from the start, hashed, and in an array once the combinations are known.
INSTANTIATE_TEST_SUITE_P(Levels, LevelsTest, ::testing::Values(20, 2000, 300));

TEST_P(LevelsTest, AreFoundAsTheyWereNumbered) {
  const int n = GetParam();
  // Every second level of A with all of B where they are few, else a diagonal.
  std::vector<std::pair<int, int>> cells;
  if (n <= 300) {
    for (int a = 0; a < n; a += 2) {
      for (int b = n - 1; b >= 0; b -= 1) cells.emplace_back(a, b);
    }
  } else {
    for (int a = 0; a < n; a += 2) cells.emplace_back(a, n - 1 - a);
  }
  for (const auto& [a, b] : cells) Add(a, b);
  for (const auto& [a, b] : cells) Add(a, b);
  std::set<int> levelsOfB;
  for (const auto& [a, b] : cells) levelsOfB.insert(b);
  std::sort(cells.begin(), cells.end());
  const int nA = n / 2;
  const auto nB = static_cast<int>(levelsOfB.size());
  EXPECT_EQ(tables_.CreateParameterIndices(), nA + nB + static_cast<int>(cells.size()));
  for (std::size_t cell = 0; cell < cells.size(); ++cell) {
    const auto& [a, b] = cells[cell];
    const auto place = static_cast<int>(std::distance(levelsOfB.begin(), levelsOfB.find(b)));
    ExpectParameters(a, b, {a / 2, nA + place, nA + nB + static_cast<int>(cell)});
  }
  ExpectParameters(1, n - 1, {-1, nA + nB - 1, -1});
  ExpectParameters(0, n, {0, -1, -1});
  ExpectParameters(-2, n - 1, {-1, nA + nB - 1, -1});
}

TEST_P(LevelsTest, OfOtherTablesAreNumberedAfterMerging) {
  QvFactorTables others({kA, kB}, {GetParam(), GetParam()}, kNone, kNone, 0, 0, kNone, 0.0,
                        QvConst::QvOffsetNone);
  others.SetModelEffectFactors({{kA}, {kB}, {kA, kB}}, {kA, kB});
  Add(2, 3);
  ASSERT_TRUE(others.UpdateAll(MakeRecord({1, 3})));
  ASSERT_TRUE(tables_.Merge(others));
  EXPECT_EQ(tables_.CreateParameterIndices(), 2 + 1 + 2);
  ExpectParameters(1, 3, {0, 2, 3});
  ExpectParameters(2, 3, {1, 2, 4});
  // What is recorded later is numbered anew.
  Add(2, 4);
  EXPECT_EQ(tables_.CreateParameterIndices(), 2 + 2 + 3);
  ExpectParameters(2, 4, {1, 3, 6});
  ExpectParameters(1, 3, {0, 2, 4});
}

}  // namespace
