// Rows by pattern; QvPatternTabulator_rows_test.cpp has the blocks of a single one.
#include "qvreg/logistic/QvPatternTable.h"

#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kRowSize = 2;
constexpr int kA = 0;
constexpr int kB = 1;

/// A table of patterns of two factors' levels, of which both factors have as many.
class QvPatternTableTest : public ::testing::TestWithParam<int> {
 protected:
  QvPatternTableTest() {
    tables_.SetModelEffectFactors({{}, {kA}, {kB}}, {kA, kB});
    for (int level = 0; level < GetParam(); ++level) {
      tables_.UpdateAll(MakeRecord({1.0 * level, 1.0 * level}));
    }
    tables_.CreateParameterIndices();
    EXPECT_TRUE(table_.SetUp(kRowSize, {GetParam(), GetParam()}));
  }
  /// Adds a row with the next value to a pattern, by its parameters what is expected there.
  void Append(int a, int b) {
    const QvRowPlace row = table_.AppendRow({a, b});
    ASSERT_NE(row.fpFirst, nullptr);
    row[0] = next_;
    row[1] = -next_;
    expected_[{0, 1 + a, 1 + GetParam() + b}].push_back(next_);
    next_ += 1.0;
  }
  void AppendMany(int count, int nPatterns) {
    for (int i = 0; i < count; ++i) {
      const int pattern = static_cast<int>(random_() % static_cast<unsigned>(nPatterns));
      Append(pattern % GetParam(), pattern / GetParam() % GetParam());
    }
  }
  /// The rows' values by the parameters of their pattern, as they are walked.
  std::map<Ints, Doubles> Walked() {
    table_.Arrange(tables_);
    std::map<Ints, Doubles> walked;
    Ints indices;
    for (std::size_t place = 0; place < static_cast<std::size_t>(table_.GetPatternCount());
         ++place) {
      table_.CopyIndices(place, indices);
      EXPECT_EQ(walked.count(indices), 0U);
      Doubles& values = walked[indices];
      table_.ForEachRun(place, [&](const QvStoredRows& rows) {
        Doubles scratch(kRowSize);
        for (std::size_t r = 0; r < rows.fCount; ++r) {
          const double* row = rows.Row(r, scratch.data());
          EXPECT_EQ(row[1], -row[0]);
          values.push_back(row[0]);
        }
        return true;
      });
      EXPECT_EQ(table_.GetRowCountAt(place), values.size());
    }
    return walked;
  }

  QvFactorTables tables_{{kA, kB}, {GetParam(), GetParam()}, -1, -1, 0, 0, -1,
                         0.0,      QvConst::QvOffsetNone};
  QvPatternTable table_;
  std::map<Ints, Doubles> expected_;
  std::mt19937 random_{9};
  double next_ = 1.0;
};

// Patterns that are found in an array, and patterns that are hashed.
INSTANTIATE_TEST_SUITE_P(Levels, QvPatternTableTest, ::testing::Values(7, 300));

TEST_P(QvPatternTableTest, FewPatternsKeepManyRowsInTheOrderOfTheirArrival) {
  AppendMany(30000, 3);
  EXPECT_EQ(Walked(), expected_);
  EXPECT_EQ(table_.GetPatternCount(), 3);
  EXPECT_EQ(table_.GetRowCount(), 30000);
}

TEST_P(QvPatternTableTest, ManyPatternsKeepTheirRowsInTheOrderOfTheirArrival) {
  AppendMany(40000, 300 * 300);
  EXPECT_EQ(Walked(), expected_);
  EXPECT_EQ(table_.GetRowCount(), 40000);
}

TEST_P(QvPatternTableTest, RowsMayFollowOnceTheyWereWalked) {
  AppendMany(500, 40);
  EXPECT_EQ(Walked(), expected_);
  AppendMany(3000, 60);
  EXPECT_EQ(Walked(), expected_);
  EXPECT_EQ(Walked(), expected_);
}

TEST_P(QvPatternTableTest, ACodeBeyondItsBoundHasNoRow) {
  EXPECT_EQ(table_.AppendRow({GetParam(), 0}).fpFirst, nullptr);
  EXPECT_EQ(table_.AppendRow({0, -1}).fpFirst, nullptr);
  EXPECT_EQ(table_.GetRowCount(), 0);
  EXPECT_TRUE(Walked().empty());
}

TEST_P(QvPatternTableTest, AWalkEndsWhereTheVisitorAnswersFalse) {
  AppendMany(5000, 1);
  table_.Arrange(tables_);
  int visits = 0;
  EXPECT_FALSE(table_.ForEachRun(0, [&](const QvStoredRows&) { return ++visits < 2; }));
  EXPECT_EQ(visits, 2);
}

TEST_P(QvPatternTableTest, AllocatesBlocksAndNotPatterns) {
  Ints codes(2);
  const long long before = qvtest::AllocationCount();
  for (int i = 0; i < 40000; ++i) {
    codes = {i / 300 % GetParam(), i % GetParam()};
    table_.AppendRow(codes);
  }
  table_.Arrange(tables_);
  // Some for each of 49 patterns of 7 levels, which have blocks of their own.
  EXPECT_LT(qvtest::AllocationCount() - before, 1000);
}

TEST(QvPatternTable, WithoutFactorsEveryRowIsOfOnePattern) {
  QvFactorTables tables({}, {}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{}, {}}, {});
  tables.CreateParameterIndices();
  QvPatternTable table;
  ASSERT_TRUE(table.SetUp(1, {}));
  for (int i = 0; i < 100; ++i) table.AppendRow({})[0] = i;
  table.Arrange(tables);
  ASSERT_EQ(table.GetPatternCount(), 1);
  EXPECT_EQ(table.GetRowCountAt(0), 100U);
  Ints indices;
  table.CopyIndices(0, indices);
  EXPECT_EQ(indices, (Ints{0, 1}));
  double next = 0.0;
  table.ForEachRun(0, [&](const QvStoredRows& rows) {
    for (std::size_t r = 0; r < rows.fCount; ++r) EXPECT_EQ(rows.fpValues[r], next++);
    return true;
  });
}

TEST(QvPatternTable, ABoundBelowOneIsRefused) {
  QvPatternTable table;
  EXPECT_FALSE(table.SetUp(1, {3, 0}));
}

}  // namespace
