// Rows of a pattern that are added together: what they add is what they add one by one.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace {

using QvCommon::QvSymMatrix;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr auto kNewton = QvConst::QvMethodNewtonRaphson;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Row {
  Doubles values;
  int category;
  double weight;
};

struct Pattern {
  Ints columns;
  Ints places;
  std::vector<Row> rows;
};

/// All numbers that statistics show.
Doubles Shown(const QvAccumStatsLogistic& stats) {
  Doubles numbers{stats.GetLL()};
  for (const Doubles* more : {&stats.GetScores(), &stats.GetDecidedScores()}) {
    numbers.insert(numbers.end(), more->begin(), more->end());
  }
  QvSymMatrix matrix;
  for (int kind = 0; kind < 3; ++kind) {
    if (kind == 0) stats.GetHessian(matrix);
    if (kind == 1) stats.GetUndecidedInformation(matrix);
    if (kind == 2) stats.GetDecidedInformation(matrix);
    for (int i = 0; i < matrix.GetOrder(); ++i) {
      for (int j = 0; j <= i; ++j) numbers.push_back(matrix.GetElem(i, j));
    }
  }
  Doubles rest(4);
  int rows = 0;
  int invalid = 0;
  stats.GetCounts(rows, invalid, rest[0]);
  stats.GetMinMaxProbabilities(rest[1], rest[2], rest[3]);
  numbers.insert(numbers.end(), rest.begin(), rest.end());
  numbers.push_back(rows);
  numbers.push_back(invalid);
  return numbers;
}

void ExpectNear(const Doubles& actual, const Doubles& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  double largest = 1.0;
  for (const double number : expected) {
    if (std::fabs(number) < 1e100) largest = std::max(largest, std::fabs(number));
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], 1e-13 * std::max(largest, std::fabs(expected[i]))) << i;
  }
}

/// Statistics of so many categories, over 12 columns.
class PatternStatsTest : public ::testing::TestWithParam<std::tuple<int, double>> {
 protected:
  static constexpr int kP = 12;

  PatternStatsTest() {
    for (double& estimate : beta_) estimate = spread_ * normal_(random_);
    // The shares of the categories, below which pairs are decided, are those of a first pass.
    const Doubles estimates = std::exchange(beta_, Doubles(beta_.size(), 0.0));
    for (QvAccumStatsLogistic* stats : {&oneByOne_, &together_}) {
      stats->Reset(kNewton, false);
      for (int i = 0; i < 4 * K_; ++i)
        EXPECT_EQ(stats->UpdateForRow({0}, {1.0}, i % K_, 1.0, false), 0);
    }
    beta_ = estimates;
  }

  std::vector<Row> Rows(std::size_t count, std::size_t nValues) {
    std::vector<Row> rows(count);
    for (Row& row : rows) {
      row.values = {1.0};
      while (row.values.size() < nValues) row.values.push_back(normal_(random_));
      row.category = static_cast<int>(random_() % static_cast<unsigned>(K_));
      row.weight = 0.25 * static_cast<double>(1 + random_() % 8);
    }
    return rows;
  }
  /// Patterns of 1 to 200 rows, with columns that share values.
  std::vector<Pattern> Patterns() {
    return {{{0, 3, 5, 8}, {0, 0, 1, 2}, Rows(200, 3)},
            {{0, 1, 6, 8, 11}, {0, 0, 1, 2, 1}, Rows(64, 3)},
            {{2}, {2}, Rows(5, 3)},
            {{}, {}, Rows(9, 3)},
            {{0, 4, 9, 10}, {0, 0, 2, 1}, Rows(1, 3)}};
  }
  static Doubles Expanded(const Pattern& pattern, const Row& row) {
    Doubles values;
    for (const int place : pattern.places)
      values.push_back(row.values[static_cast<std::size_t>(place)]);
    return values;
  }
  static void AddOneByOne(QvAccumStatsLogistic& stats, const Pattern& pattern, bool llOnly) {
    for (const Row& row : pattern.rows) {
      EXPECT_EQ(stats.UpdateForRow(pattern.columns, Expanded(pattern, row), row.category,
                                   row.weight, llOnly),
                0);
    }
  }
  static bool AddBatch(QvAccumStatsLogistic& stats, const std::vector<Row>& rows) {
    Doubles values;
    Ints categories;
    Doubles weights;
    for (const Row& row : rows) {
      values.insert(values.end(), row.values.begin(), row.values.end());
      categories.push_back(row.category);
      weights.push_back(row.weight);
    }
    return stats.AddRows({rows.size(), values.data(), categories.data(), weights.data()});
  }
  static void AddTogether(QvAccumStatsLogistic& stats, const Pattern& pattern, bool llOnly) {
    ASSERT_TRUE(stats.BeginPattern(pattern.columns, pattern.places,
                                   pattern.rows.front().values.size(), llOnly));
    for (std::size_t begin = 0; begin < pattern.rows.size(); begin += 64) {
      const auto first = pattern.rows.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto count = std::min<std::size_t>(64, pattern.rows.size() - begin);
      EXPECT_TRUE(AddBatch(stats, {first, first + static_cast<std::ptrdiff_t>(count)}));
    }
    stats.EndPattern();
  }
  /// Columns of numbers, with zeros behind the rows.
  static bool AddColumns(QvAccumStatsLogistic& stats, const std::vector<Row>& rows) {
    constexpr std::size_t kStep = IQvPatternStats::kPanelRows;
    const std::size_t nValues = rows.front().values.size();
    Doubles numbers((nValues + 1) * kStep);
    Doubles weights;
    for (std::size_t r = 0; r < rows.size(); ++r) {
      for (std::size_t v = 0; v < nValues; ++v) numbers[v * kStep + r] = rows[r].values[v];
      numbers[nValues * kStep + r] = rows[r].category;
      weights.push_back(rows[r].weight);
    }
    std::vector<const double*> columns;
    for (std::size_t v = 0; v <= nValues; ++v) columns.push_back(&numbers[v * kStep]);
    return stats.AddColumns({rows.size(), columns.data(), columns.back(), weights.data()});
  }
  void Reset(bool separationCheck) {
    oneByOne_.Reset(kNewton, separationCheck);
    together_.Reset(kNewton, separationCheck);
  }

  const int K_ = std::get<0>(GetParam());
  const double spread_ = std::get<1>(GetParam());
  std::mt19937 random_{11};
  std::normal_distribution<double> normal_;
  QvLogRegSettings settings_;
  Doubles beta_ = Doubles(static_cast<std::size_t>(kP * (K_ - 1)));
  QvAccumStatsLogistic oneByOne_{settings_, kP, K_, beta_};
  QvAccumStatsLogistic together_{settings_, kP, K_, beta_};
};

// With estimates of usual size, and with such that many pairs are decided.
INSTANTIATE_TEST_SUITE_P(Classes, PatternStatsTest,
                         ::testing::Combine(::testing::Values(2, 3, 6),
                                            ::testing::Values(0.5, 12.0)));

TEST_P(PatternStatsTest, AddWhatTheirRowsAdd) {
  const std::vector<Pattern> patterns = Patterns();
  for (const bool llOnly : {false, true}) {
    for (const bool separationCheck : {false, true}) {
      Reset(separationCheck);
      for (const Pattern& pattern : patterns) {
        AddOneByOne(oneByOne_, pattern, llOnly);
        AddTogether(together_, pattern, llOnly);
      }
      ExpectNear(Shown(together_), Shown(oneByOne_));
    }
  }
  QvSymMatrix decided;
  together_.Reset(kNewton, false);
  for (const Pattern& pattern : patterns) AddTogether(together_, pattern, false);
  together_.GetDecidedInformation(decided);
  EXPECT_EQ(decided.GetElem(0, 0) > 0.0, spread_ > 1.0) << "whether pairs are decided";
}

TEST_P(PatternStatsTest, AreComputedAhead) {
  const std::vector<Pattern> patterns = Patterns();
  Reset(false);
  together_.BeginAhead();
  for (const Pattern& pattern : patterns) {
    AddOneByOne(oneByOne_, pattern, true);
    AddTogether(together_, pattern, true);
  }
  together_.EndAhead(true);
  ExpectNear(Shown(together_), Shown(oneByOne_));
  Reset(true);
  ASSERT_TRUE(together_.TakeAhead());
  for (const Pattern& pattern : patterns) AddOneByOne(oneByOne_, pattern, false);
  ExpectNear(Shown(together_), Shown(oneByOne_));
  // What was kept is forgotten once rows follow.
  AddTogether(together_, patterns[0], true);
  Reset(true);
  EXPECT_FALSE(together_.TakeAhead());
}

TEST_P(PatternStatsTest, MixWithRowsOfTheirOwn) {
  const std::vector<Pattern> patterns = Patterns();
  const Pattern dense{
      {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, Rows(70, kP)};
  Reset(true);
  for (const Pattern* pattern : {&patterns[0], &dense, &patterns[1], &dense}) {
    AddOneByOne(oneByOne_, *pattern, false);
  }
  AddTogether(together_, patterns[0], false);
  AddOneByOne(together_, dense, false);
  AddTogether(together_, patterns[1], false);
  AddTogether(together_, dense, false);
  ExpectNear(Shown(together_), Shown(oneByOne_));
}

TEST_P(PatternStatsTest, OfAllColumnsGiveTheBitsOfRows) {
  const Pattern dense{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
                      {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
                      Rows(150, kP)};
  Reset(true);
  AddOneByOne(oneByOne_, dense, false);
  AddTogether(together_, dense, false);
  EXPECT_EQ(Shown(together_), Shown(oneByOne_));
}

TEST_P(PatternStatsTest, ColumnsAddWhatRowsAdd) {
  const Pattern dense{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
                      {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
                      Rows(150, kP)};
  for (const bool llOnly : {false, true}) {
    for (const Pattern& pattern : {dense, Patterns()[0], Patterns()[1], Patterns()[4]}) {
      Reset(true);
      AddOneByOne(oneByOne_, pattern, llOnly);
      ASSERT_TRUE(together_.BeginPattern(pattern.columns, pattern.places,
                                         pattern.rows.front().values.size(), llOnly));
      EXPECT_TRUE(AddColumns(together_, pattern.rows));
      together_.EndPattern();
      if (pattern.columns.size() == static_cast<std::size_t>(kP)) {
        EXPECT_EQ(Shown(together_), Shown(oneByOne_));
      } else {
        ExpectNear(Shown(together_), Shown(oneByOne_));
      }
    }
  }
}

TEST_P(PatternStatsTest, ColumnsWithARowThatMayBeRefusedAreLeft) {
  const std::vector<Row> rows = Rows(10, 3);
  const Pattern pattern{{0, 3, 5}, {0, 1, 2}, rows};
  Reset(true);
  ASSERT_TRUE(together_.BeginPattern(pattern.columns, pattern.places, 3, false));
  for (const Row& bad : {Row{{1.0, kInfinity, 1.0}, 0, 1.0}, Row{{1.0, std::nan(""), 1.0}, 0, 1.0},
                         Row{{1.0, 1e305, 1.0}, 0, 1.0}, Row{{1.0, 1.0, 1.0}, K_, 1.0},
                         Row{{1.0, 1.0, 1.0}, -1, 1.0}, Row{{1.0, 1.0, 1.0}, 0, 0.0}}) {
    std::vector<Row> left = rows;
    left[7] = bad;
    EXPECT_FALSE(AddColumns(together_, left));
  }
  together_.EndPattern();
  EXPECT_EQ(Shown(together_), Shown(oneByOne_));
}

TEST_P(PatternStatsTest, RowsThatMayBeRefusedAreLeftToBeAddedOneByOne) {
  Pattern pattern = Patterns()[0];
  pattern.rows.resize(10);
  Reset(false);
  AddOneByOne(oneByOne_, pattern, false);
  const auto expectLeft = [&](const Row& bad) {
    std::vector<Row> rows = pattern.rows;
    rows[7] = bad;
    EXPECT_FALSE(AddBatch(together_, rows));
  };
  ASSERT_TRUE(together_.BeginPattern(pattern.columns, pattern.places, 3, false));
  for (const double value : {kInfinity, std::nan(""), 1e305}) {
    expectLeft({{1.0, value, 1.0}, 0, 1.0});
  }
  for (const double weight : {0.0, -1.0}) expectLeft({{1.0, 1.0, 1.0}, 0, weight});
  for (const int category : {-1, K_}) expectLeft({{1.0, 1.0, 1.0}, category, 1.0});
  AddOneByOne(together_, {pattern.columns, pattern.places, {pattern.rows[0]}}, false);
  EXPECT_TRUE(AddBatch(together_, {pattern.rows.begin() + 1, pattern.rows.end()}));
  together_.EndPattern();
  ExpectNear(Shown(together_), Shown(oneByOne_));
}

TEST_P(PatternStatsTest, AlikeRowsAddWhatEachAdds) {
  const Pattern pattern{{0, 3, 7}, {0, 0, 0}, Rows(60, 1)};
  for (const bool llOnly : {false, true}) {
    Reset(true);
    AddOneByOne(oneByOne_, pattern, llOnly);
    for (int c = 0; c < K_; ++c) {
      double weight = 0.0;
      long long count = 0;
      for (const Row& row : pattern.rows) {
        if (row.category != c) continue;
        weight += row.weight;
        ++count;
      }
      ASSERT_GT(count, 0);
      EXPECT_EQ(together_.UpdateForAlikeRows(pattern.columns, {1, 1, 1}, c, weight, count, llOnly),
                0);
    }
    ExpectNear(Shown(together_), Shown(oneByOne_));
  }
}

TEST_P(PatternStatsTest, AlikeRowsAreRefusedAsRowsAre) {
  Reset(false);
  EXPECT_EQ(together_.UpdateForAlikeRows({0, kP}, {1, 1}, 0, 1.0, 3, false), -1);
  EXPECT_EQ(together_.UpdateForAlikeRows({0}, {1}, K_, 1.0, 3, false), -1);
  EXPECT_EQ(together_.UpdateForAlikeRows({0}, {1}, 0, 0.0, 3, false), -1);
  int rows = 0;
  int invalid = 0;
  double weight = 0.0;
  together_.GetCounts(rows, invalid, weight);
  EXPECT_EQ(invalid, 0);
  beta_[0] = kInfinity;
  EXPECT_EQ(together_.UpdateForAlikeRows({0}, {1}, 0, 1.0, 3, false), -1);
  together_.GetCounts(rows, invalid, weight);
  EXPECT_EQ(rows, 0);
  EXPECT_EQ(invalid, 3);
}

TEST(PatternStats, WideSumsOfTheirOwnAreNotMade) {
  constexpr int kWide = 150;
  QvLogRegSettings settings;
  const Doubles beta(kWide, 0.0);
  QvAccumStatsLogistic stats(settings, kWide, 2, beta);
  Ints places(100);
  for (int i = 0; i < 100; ++i) places[static_cast<std::size_t>(i)] = i;
  EXPECT_FALSE(stats.BeginPattern(places, places, 100, false));
  places.resize(70);
  EXPECT_TRUE(stats.BeginPattern(places, places, 70, false));
  stats.EndPattern();
}

}  // namespace
