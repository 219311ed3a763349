#include "qvreg/design/QvRecordPatterns.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;
using Rows = std::vector<Doubles>;

constexpr int kA = 0;
constexpr int kB = 1;
constexpr int kUnused = 2;
constexpr int kX = 3;
constexpr int kNone = QvRecordPatterns::kNone;
constexpr int kMany = 1000;

/// The effects intercept, A, x and B x; the parameter is that of the argument's levels. The number
/// of factor levels decides how patterns are found.
class RecordPatternsTest : public ::testing::TestWithParam<int> {
 protected:
  /// After these records, of A, B, a factor that no effect has, and x.
  void SetUpTables(const Rows& rows) {
    QvRegrParameter slope;
    ASSERT_GT(slope.AddCovariate(kX, 1), 0);
    const std::vector<QvRegrParameter> effects{{}, {}, slope, slope};
    tables_.SetModelEffectFactors({{}, {kA}, {}, {kB}}, {kA, kB, kUnused});
    tables_.SetCovariates({kX});
    tables_.SetEffectCovariates(effects);
    for (const Doubles& row : rows) ASSERT_TRUE(tables_.UpdateAll(MakeRecord(row)));
    const int count = tables_.CreateParameterIndices();
    row_.Setup(tables_, effects, {kX}, {kX});
    numbers_.resize(static_cast<std::size_t>(count));
    std::iota(numbers_.begin(), numbers_.end(), 0);
  }
  void SetUpPatterns(int most) { patterns_.SetUp(row_, tables_, numbers_, most); }
  /// The patterns of the rows as far as they were found.
  Ints Find(const Rows& rows) {
    std::vector<const double*> records;
    for (const Doubles& row : rows) records.push_back(row.data());
    Ints found(rows.size(), -7);
    found.resize(patterns_.Find(records, found.data()));
    return found;
  }
  [[nodiscard]] Ints Columns(int pattern) const {
    return {patterns_.GetColumns(pattern).begin(), patterns_.GetColumns(pattern).end()};
  }
  [[nodiscard]] Ints Places(int pattern) const {
    return {patterns_.GetPlaces(pattern).begin(), patterns_.GetPlaces(pattern).end()};
  }

  QvFactorTables tables_{{kA, kB, kUnused},    {GetParam(), GetParam(), 5}, -1, -1, 0, 0, -1, 0.0,
                         QvConst::QvOffsetNone};
  QvDesignRow row_;
  Ints numbers_;
  QvRecordPatterns patterns_;
};

/// Columns: the intercept 0, levels of A 1 and 2, x 3, levels of B times x 4 and 5.
const Rows kRows{{0, 0, 0, 2.5}, {1, 1, 0, 3.5}, {1, 0, 0, 4.5}};

TEST_P(RecordPatternsTest, AreNumberedInTheOrderOfTheirArrival) {
  SetUpTables(kRows);
  SetUpPatterns(kMany);
  EXPECT_EQ(patterns_.GetCount(), 0);
  EXPECT_EQ(Find({kRows[2], kRows[0], kRows[2]}), (Ints{0, 1, 0}));
  EXPECT_EQ(Find({kRows[1], kRows[0]}), (Ints{2, 1}));
  EXPECT_EQ(patterns_.GetCount(), 3);
}

TEST_P(RecordPatternsTest, ThatAreForgottenLeaveNothingToThoseThatFollow) {
  SetUpTables({kRows[1], kRows[2]});
  const Doubles& unseen = kRows[0];
  SetUpPatterns(kMany);
  Find({unseen, kRows[1]});
  EXPECT_FALSE(patterns_.IsComplete(0));
  EXPECT_TRUE(patterns_.IsComplete(1));
  EXPECT_FALSE(patterns_.AreAllComplete());
  patterns_.Clear();
  EXPECT_EQ(Find({kRows[1], unseen}), (Ints{0, 1}));
  EXPECT_TRUE(patterns_.IsComplete(0));
  EXPECT_FALSE(patterns_.IsComplete(1));
  EXPECT_EQ(Columns(0), (Ints{0, 1, 2, 4}));

  SetUpPatterns(kMany);
  EXPECT_EQ(patterns_.GetCount(), 0);
  EXPECT_TRUE(patterns_.AreAllComplete());
  EXPECT_EQ(Find({kRows[2]}), (Ints{0}));
  EXPECT_EQ(Columns(0), (Ints{0, 1, 2, 3}));
}

TEST_P(RecordPatternsTest, HaveTheColumnsOfTheirRecords) {
  SetUpTables(kRows);
  SetUpPatterns(kMany);
  Find({kRows[1], kRows[0]});
  EXPECT_EQ(Columns(0), (Ints{0, 2, 3, 5}));
  EXPECT_EQ(Places(0), (Ints{0, 0, 1, 1}));
  EXPECT_EQ(Columns(1), (Ints{0, 1, 3, 4}));
  EXPECT_TRUE(patterns_.IsComplete(0));
}

TEST_P(RecordPatternsTest, HaveTheNumbersOfTheColumns) {
  SetUpTables(kRows);
  numbers_ = {0, -1, 1, -1, 2, 3};
  SetUpPatterns(kMany);
  Find({kRows[0], kRows[1]});
  EXPECT_EQ(Columns(0), (Ints{0, 2}));
  EXPECT_EQ(Columns(1), (Ints{0, 1, 3}));
  EXPECT_EQ(Places(1), (Ints{0, 0, 1}));
}

TEST_P(RecordPatternsTest, EndBeforeOneTooMany) {
  SetUpTables(kRows);
  SetUpPatterns(2);
  EXPECT_EQ(Find({kRows[0], kRows[1], kRows[0], kRows[2], kRows[0]}), (Ints{0, 1, 0}));
  EXPECT_EQ(Find({kRows[2]}), Ints{});
  EXPECT_EQ(Find({kRows[1]}), Ints{1});
  patterns_.Clear();
  EXPECT_EQ(patterns_.GetCount(), 0);
  EXPECT_EQ(Find({kRows[2], kRows[0], kRows[2]}), (Ints{0, 1, 0}));
  EXPECT_EQ(Columns(0), (Ints{0, 2, 3, 4}));
  EXPECT_EQ(Columns(1), (Ints{0, 1, 3, 4}));
}

TEST_P(RecordPatternsTest, DoNotDependOnAFactorWithoutAnEffect) {
  SetUpTables(kRows);
  SetUpPatterns(kMany);
  EXPECT_EQ(Find({{0, 0, 1, 2.5}, {0, 0, 3, 2.5}}), (Ints{0, 0}));
}

TEST_P(RecordPatternsTest, LeaveOutWhatHasNoParameter) {
  SetUpTables({kRows[0], kRows[2]});
  SetUpPatterns(kMany);
  // The second level of B did not occur.
  EXPECT_EQ(Find({kRows[1], kRows[0]}), (Ints{0, 1}));
  EXPECT_FALSE(patterns_.IsComplete(0));
  EXPECT_EQ(Columns(0), (Ints{0, 2, 3}));
  EXPECT_TRUE(patterns_.IsComplete(1));
}

TEST_P(RecordPatternsTest, AreNoneOfALevelWithoutACategory) {
  SetUpTables(kRows);
  SetUpPatterns(1);
  const auto end = static_cast<double>(GetParam());
  EXPECT_EQ(Find({{0, -1, 0, 1}, {end, 0, 0, 1}, {0, 1e300, 0, 1}, kRows[0]}),
            (Ints{kNone, kNone, kNone, 0}));
  EXPECT_EQ(patterns_.GetCount(), 1);
}

TEST_P(RecordPatternsTest, GiveTheValuesRowByRow) {
  SetUpTables(kRows);
  SetUpPatterns(kMany);
  EXPECT_EQ(patterns_.GetDesign().GetValueCount(), 2U);
  Doubles values(6, -1.0);
  const std::vector<const double*> records{kRows[0].data(), kRows[1].data()};
  patterns_.FillValues(records, 3, values.data());
  EXPECT_EQ(values, (Doubles{1.0, 2.5, -1.0, 1.0, 3.5, -1.0}));
}

INSTANTIATE_TEST_SUITE_P(Levels, RecordPatternsTest, ::testing::Values(2, 100000));

TEST(RecordPatterns, OfCodesThatStartAtOneAreThoseOfTheirLevels) {
  QvFactorTables tables({kA}, {2}, -1, -1, 0, 1, -1, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{kA}}, {kA});
  const Rows rows{{1}, {2}, {0}, {3}};
  for (const std::size_t r : {0U, 1U}) ASSERT_TRUE(tables.UpdateAll(MakeRecord(rows[r])));
  tables.CreateParameterIndices();
  QvDesignRow row;
  row.Setup(tables, {QvRegrParameter()}, {}, {});
  const Ints numbers{0, 1};
  QvRecordPatterns patterns;
  patterns.SetUp(row, tables, numbers, kMany);
  std::vector<const double*> records;
  for (const Doubles& each : rows) records.push_back(each.data());
  Ints found(rows.size(), -7);
  EXPECT_EQ(patterns.Find(records, found.data()), rows.size());
  EXPECT_EQ(found, (Ints{0, 1, kNone, kNone}));
  EXPECT_EQ(patterns.GetColumns(1).front(), 1);
}

TEST(RecordPatterns, WithoutFactorsThereIsOne) {
  QvFactorTables tables({}, {}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{}}, {});
  tables.CreateParameterIndices();
  QvDesignRow row;
  row.Setup(tables, {QvRegrParameter()}, {}, {});
  const Ints numbers{0};
  QvRecordPatterns patterns;
  patterns.SetUp(row, tables, numbers, 1);
  const double record = 4.0;
  const std::vector<const double*> records{&record, &record};
  Ints found(2, kNone);
  EXPECT_EQ(patterns.Find(records, found.data()), 2U);
  EXPECT_EQ(found, (Ints{0, 0}));
  EXPECT_EQ(patterns.GetColumns(0).size(), 1U);
}

}  // namespace
