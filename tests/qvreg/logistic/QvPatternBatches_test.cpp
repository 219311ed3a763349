#include "qvreg/logistic/QvPatternBatches.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/StubAccumStats.h"

namespace {

using qvtest::LogisticSettings;
using qvtest::LogModelOnTables;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;
using Rows = std::vector<Doubles>;
using Result = QvPatternBatches::Result;

/// Records of y, A, B and x.
enum Variable { kY = 0, kA = 1, kB = 2, kX = 3 };

/// Rows that were given to statistics together.
struct Together {
  Ints columns;
  Ints places;
  Doubles values;
  Ints categories;
  Doubles weights;
  bool llOnly = false;

  bool operator==(const Together&) const = default;
};

/// One by one, or alike.
struct Single {
  Ints columns;
  Doubles values;
  int category;
  double weight;
  long long count;

  bool operator==(const Single&) const = default;
};

/// Statistics that write down what they are given, and refuse what they are told.
class JournalStats : public qvtest::StubAccumStats, public IQvPatternStats {
 public:
  std::vector<Together> together;
  std::vector<Single> singles;
  bool refusesTogether = false;
  int refusedCategory = -1;

  bool BeginPattern(const Ints& columns, const Ints& places, std::size_t nValues,
                    bool llOnly) override {
    EXPECT_FALSE(isOpen_);
    isOpen_ = true;
    nValues_ = nValues;
    begun_ = {columns, places, {}, {}, {}, llOnly};
    return true;
  }
  bool AddRows(const IQvPatternStats::Rows& rows) override {
    if (refusesTogether) return false;
    Together added = begun_;
    added.values.assign(rows.fpValues, rows.fpValues + rows.fCount * nValues_);
    added.categories.assign(rows.fpCategories, rows.fpCategories + rows.fCount);
    added.weights.assign(rows.fpWeights, rows.fpWeights + rows.fCount);
    together.push_back(std::move(added));
    return true;
  }
  void EndPattern() override {
    EXPECT_TRUE(isOpen_);
    isOpen_ = false;
  }
  int UpdateForRow(const Ints& indices, const Doubles& values, int category, double weight,
                   bool /*llOnly*/) override {
    singles.push_back({indices, values, category, weight, 1});
    return category == refusedCategory ? -1 : 0;
  }
  int UpdateForAlikeRows(const Ints& indices, const Doubles& values, int category, double weight,
                         long long nRows, bool /*llOnly*/) override {
    singles.push_back({indices, values, category, weight, nRows});
    return category == refusedCategory ? -1 : 0;
  }

 private:
  Together begun_;
  std::size_t nValues_ = 0;
  bool isOpen_ = false;
};

/// A model of such settings on these records, and batches on their way to a journal.
class Walk {
 public:
  Walk(LogisticSettings& settings, const Rows& rows) : tables(settings.Get(), rows) {
    tables.FindRedundancy();
    batches = std::make_unique<QvPatternBatches>(tables.model, stats, stats);
    batches->Begin(false);
  }
  Result Add(const Doubles& record, double weight = 1.0) const {
    const int category =
        tables.model.GetDependCategoryLocalIndices().at(static_cast<std::size_t>(record[kY]));
    return batches->Add(record.data(), category, weight);
  }
  /// How many rows were added, in whichever way.
  [[nodiscard]] long long CountRows() const {
    long long count = 0;
    for (const Together& rows : stats.together) {
      count += static_cast<long long>(rows.categories.size());
    }
    for (const Single& row : stats.singles) count += row.count;
    return count;
  }

  LogModelOnTables tables;
  JournalStats stats;
  std::unique_ptr<QvPatternBatches> batches;
};

/// Records of three categories, A of nA levels and B of nB, and x.
Rows RandomRows(std::size_t count, int nA, int nB) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  const auto pick = [&](int n) { return static_cast<double>(random() % static_cast<unsigned>(n)); };
  Rows rows;
  for (std::size_t i = 0; i < count; ++i) {
    rows.push_back({pick(3), pick(nA), pick(nB), normal(random)});
  }
  return rows;
}

TEST(QvPatternBatches, OfADesignWithoutFactorsRowsAreAdded64AtATime) {
  LogisticSettings settings(kY, 3, {}, {kX});
  settings.Effect({}, {kX});
  const Rows rows = RandomRows(130, 1, 1);
  Walk walk(settings, rows);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row, row[kX] + 10.0), Result::kTaken);
  ASSERT_EQ(walk.stats.together.size(), 2u);
  EXPECT_TRUE(walk.stats.singles.empty());
  EXPECT_TRUE(walk.batches->AddWaiting());
  // The last two are too few.
  ASSERT_EQ(walk.stats.singles.size(), 2u);
  EXPECT_EQ(
      walk.stats.singles[1],
      (Single{
          {0, 1}, {1.0, rows[129][kX]}, static_cast<int>(rows[129][kY]), rows[129][kX] + 10.0, 1}));
  for (std::size_t panel = 0; panel < 2; ++panel) {
    const Together& together = walk.stats.together[panel];
    EXPECT_EQ(together.columns, (Ints{0, 1}));
    EXPECT_EQ(together.places, (Ints{0, 1}));
    ASSERT_EQ(together.categories.size(), 64u);
    for (std::size_t r = 0; r < 64; ++r) {
      const Doubles& row = rows[panel * 64 + r];
      EXPECT_EQ(together.values[2 * r], 1.0);
      EXPECT_EQ(together.values[2 * r + 1], row[kX]);
      EXPECT_EQ(together.categories[r], static_cast<int>(row[kY]));
      EXPECT_EQ(together.weights[r], row[kX] + 10.0);
    }
  }
}

TEST(QvPatternBatches, RowsOfAPatternAreAddedTogetherInTheirOrder) {
  LogisticSettings settings(kY, 3, {{kA, 2}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  const Rows rows = RandomRows(300, 2, 1);
  Walk walk(settings, rows);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
  EXPECT_TRUE(walk.batches->AddWaiting());
  EXPECT_EQ(walk.CountRows(), 300);
  // Intercept, the first level of A and x are kept: columns 0, 1 and 2.
  for (const double level : {0.0, 1.0}) {
    Doubles expected;
    for (const Doubles& row : rows) {
      if (row[kA] == level) expected.push_back(row[kX]);
    }
    Doubles added;
    for (const Together& together : walk.stats.together) {
      if (together.columns.size() != (level == 0.0 ? 3u : 2u)) continue;
      EXPECT_EQ(together.places, level == 0.0 ? (Ints{0, 0, 1}) : (Ints{0, 1}));
      EXPECT_LE(together.categories.size(), 64u);
      for (std::size_t r = 0; r < together.categories.size(); ++r) {
        added.push_back(together.values[2 * r + 1]);
      }
    }
    EXPECT_EQ(added, expected);
  }
}

TEST(QvPatternBatches, OfRowsWithoutCovariatesOnlySumsWait) {
  LogisticSettings settings(kY, 3, {{kA, 2}, {kB, 2}}, {});
  settings.Effect({kA}).Effect({kB});
  const Rows rows = RandomRows(1000, 2, 2);
  Walk walk(settings, rows);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row, 0.5), Result::kTaken);
  EXPECT_TRUE(walk.stats.together.empty() && walk.stats.singles.empty());
  EXPECT_TRUE(walk.batches->AddWaiting());
  EXPECT_EQ(walk.stats.singles.size(), 12u);
  EXPECT_EQ(walk.CountRows(), 1000);
  double weight = 0.0;
  for (const Single& row : walk.stats.singles) {
    EXPECT_EQ(row.weight, 0.5 * static_cast<double>(row.count));
    EXPECT_EQ(row.values, Doubles(row.columns.size(), 1.0));
    weight += row.weight;
  }
  EXPECT_EQ(weight, 500.0);
  EXPECT_TRUE(walk.batches->AddWaiting());
  EXPECT_EQ(walk.stats.singles.size(), 12u) << "nothing is left";
}

TEST(QvPatternBatches, ARefusedSumIsToldAtTheEnd) {
  LogisticSettings settings(kY, 3, {{kA, 2}}, {});
  settings.Effect({kA});
  const Rows rows = RandomRows(50, 2, 1);
  Walk walk(settings, rows);
  walk.stats.refusedCategory = 1;
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
  EXPECT_FALSE(walk.batches->AddWaiting());
}

TEST(QvPatternBatches, WhereRowsAreNotTakenTogetherEachIsTried) {
  LogisticSettings settings(kY, 3, {}, {kX});
  settings.Effect({}, {kX});
  Rows rows = RandomRows(64, 1, 1);
  for (Doubles& row : rows) row[kY] = std::min(row[kY], 1.0);
  rows[40][kY] = 2.0;
  Walk walk(settings, rows);
  walk.stats.refusesTogether = true;
  walk.stats.refusedCategory = 2;
  for (std::size_t r = 0; r < 63; ++r) EXPECT_EQ(walk.Add(rows[r]), Result::kTaken);
  EXPECT_EQ(walk.Add(rows[63]), Result::kRefused);
  EXPECT_EQ(walk.stats.singles.size(), 41u) << "none behind the refused one";
}

TEST(QvPatternBatches, WhatIsRefusedForSureComesBehindAllThatWait) {
  LogisticSettings settings(kY, 3, {}, {kX});
  settings.Effect({}, {kX});
  const Rows rows = RandomRows(10, 1, 1);
  Walk walk(settings, rows);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
  EXPECT_EQ(walk.batches->Add(rows[0].data(), -1, 1.0), Result::kLeft);
  EXPECT_EQ(walk.CountRows(), 10);
  EXPECT_EQ(walk.Add(rows[0], 0.0), Result::kLeft);
  EXPECT_EQ(walk.CountRows(), 10);
}

TEST(QvPatternBatches, RowsOfManyZerosAreAddedOneByOneWithoutThem) {
  constexpr int kCovariates = 20;
  Ints covariates;
  for (int k = 1; k <= kCovariates; ++k) covariates.push_back(k);
  LogisticSettings settings(kY, 2, {}, covariates);
  for (const int covariate : covariates) settings.Effect({}, {covariate});
  Rows rows;
  for (std::size_t r = 0; r < std::size_t{2} * kCovariates; ++r) {
    Doubles row(kCovariates + 1, 0.0);
    row[kY] = static_cast<double>(r / 3 % 2);
    row[1 + r % kCovariates] = 1.0 + static_cast<double>(r);
    rows.push_back(row);
  }
  Walk walk(settings, rows);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
  EXPECT_TRUE(walk.batches->AddWaiting());
  EXPECT_TRUE(walk.stats.together.empty());
  ASSERT_EQ(walk.stats.singles.size(), rows.size());
  EXPECT_EQ(walk.stats.singles[7].columns, (Ints{0, 8}));
  EXPECT_EQ(walk.stats.singles[7].values, (Doubles{1.0, 8.0}));
}

TEST(QvPatternBatches, WhereNearlyEveryRowHasItsOwnPatternTheRestIsLeft) {
  LogisticSettings settings(kY, 3, {{kA, 60}, {kB, 50}}, {kX});
  settings.Effect({kA}).Effect({kB}).Effect({}, {kX});
  Rows rows;
  for (int b = 0; b < 50; ++b) {
    for (int a = 0; a < 60; ++a) {
      rows.push_back({1.0 * ((a + b) % 7 % 3), 1.0 * a, 1.0 * b, 0.5 * ((a + 5 * b) % 11)});
    }
  }
  Walk walk(settings, rows);
  long long left = 0;
  for (const Doubles& row : rows) left += walk.Add(row) == Result::kLeft ? 1 : 0;
  EXPECT_EQ(left, 3000 - 1024);
  EXPECT_EQ(walk.CountRows(), 1024);
  EXPECT_EQ(walk.batches->Add(rows[0].data(), 0, 1.0), Result::kLeft) << "for the whole pass";
  walk.batches->Begin(false);
  EXPECT_EQ(walk.Add(rows[0]), Result::kTaken) << "but for no other";
}

TEST(QvPatternBatches, PatternsOfManyRowsAreForgottenForOthers) {
  // Rows of 400 values take 200 kB where 64 wait: there is room for some forty patterns.
  constexpr int kCovariates = 400;
  constexpr int kLevels = 60;
  Ints covariates;
  for (int k = 2; k < kCovariates + 2; ++k) covariates.push_back(k);
  LogisticSettings settings(kY, 2, {{kA, kLevels}}, covariates);
  settings.Effect({kA});
  for (const int covariate : covariates) settings.Effect({}, {covariate});
  std::mt19937 random(3);
  std::normal_distribution<double> normal;
  Rows rows;
  for (int level = 0; level < kLevels; ++level) {
    for (int r = 0; r < 8; ++r) {
      Doubles row(kCovariates + 2);
      for (double& value : row) value = normal(random);
      row[kY] = r % 2;
      row[kA] = level;
      rows.push_back(std::move(row));
    }
  }
  Walk walk(settings, rows);
  walk.batches->Begin(true);
  for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
  EXPECT_TRUE(walk.batches->AddWaiting());
  EXPECT_TRUE(walk.stats.singles.empty());
  ASSERT_EQ(walk.stats.together.size(), std::size_t{kLevels});
  for (const Together& together : walk.stats.together) {
    EXPECT_EQ(together.categories, (Ints{0, 1, 0, 1, 0, 1, 0, 1}));
    EXPECT_TRUE(together.llOnly);
  }
}

TEST(QvPatternBatches, ALevelCombinationWithoutParameterIsLeft) {
  LogisticSettings settings(kY, 3, {{kA, 4}}, {kX});
  settings.Effect({kA}).Effect({}, {kX});
  const Rows rows = RandomRows(100, 2, 1);
  Walk walk(settings, rows);
  Doubles strange = rows[0];
  strange[kA] = 3.0;
  EXPECT_EQ(walk.Add(strange), Result::kLeft);
  EXPECT_EQ(walk.Add(rows[0]), Result::kTaken);
}

TEST(QvPatternBatches, APassForgetsWhatWaitedForAnother) {
  LogisticSettings dense(kY, 3, {}, {kX});
  dense.Effect({}, {kX});
  LogisticSettings factor(kY, 3, {{kA, 2}}, {kX});
  factor.Effect({kA}).Effect({}, {kX});
  LogisticSettings constant(kY, 3, {{kA, 2}}, {});
  constant.Effect({kA});
  for (LogisticSettings* settings : {&dense, &factor, &constant}) {
    const Rows rows = RandomRows(20, 2, 1);
    Walk walk(*settings, rows);
    for (const Doubles& row : rows) EXPECT_EQ(walk.Add(row), Result::kTaken);
    walk.batches->Begin(false);
    EXPECT_TRUE(walk.batches->AddWaiting());
    EXPECT_EQ(walk.CountRows(), 0);
  }
}

}  // namespace
