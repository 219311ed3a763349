// The handler with a model whose rows wait for each other; QvRecordIterHandler_test.cpp has what
// holds for any model.
#include <array>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/logistic/QvRecordIterHandler.h"
#include "tests/qvreg/support/BlockIter.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::BlockIter;
using qvtest::LogisticSettings;
using qvtest::LogModelOnTables;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kZ = 3;
constexpr int kFrequency = 4;

Rows RandomRows(std::size_t count) {
  std::mt19937 random(11);
  std::normal_distribution<double> normal;
  const auto pick = [&](unsigned n) { return static_cast<double>(random() % n); };
  Rows rows;
  for (std::size_t i = 0; i < count; ++i) {
    rows.push_back({pick(3), pick(4), normal(random), pick(3) - 1.0, 1.0 + pick(2)});
  }
  return rows;
}

/// Log-likelihood, scores, information and counts.
Doubles NumbersOf(const QvAccumStatsLogistic& stats) {
  Doubles numbers = stats.GetScores();
  numbers.push_back(stats.GetLL());
  QvCommon::QvSymMatrix information;
  stats.GetHessian(information);
  for (int i = 0; i < information.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) numbers.push_back(information.GetElem(i, j));
  }
  int valid = 0;
  int invalid = 0;
  double weight = 0.0;
  stats.GetCounts(valid, invalid, weight);
  numbers.insert(numbers.end(), {1.0 * valid, 1.0 * invalid, weight});
  return numbers;
}

/// Designs without factors, without covariates, and with both.
class WaitingRowsTest : public ::testing::TestWithParam<int> {
 protected:
  WaitingRowsTest() {
    if (GetParam() > 0) settings_.Effect({kA});
    if (GetParam() != 1) settings_.Effect({}, {kX}).Effect({}, {kZ, kZ});
    if (GetParam() > 1) settings_.Effect({kA}, {kX});
    settings_.FrequencyWeight(kFrequency);
    tables_ = std::make_unique<LogModelOnTables>(settings_.Get(), rows_);
    tables_->FindRedundancy();
    const auto p = static_cast<std::size_t>(tables_->model.GetNumAllNonRedundant());
    constexpr std::array<std::size_t, 3> kParameters{6, 8, 18};
    EXPECT_EQ(p, kParameters.at(static_cast<std::size_t>(GetParam())));
    for (std::size_t i = 0; i < p; ++i) beta_.push_back(0.1 * static_cast<double>(i % 5) - 0.2);
  }

  QvAccumStatsLogistic MakeStats() {
    return {settings_.Get(), tables_->model.GetNumBasicNonRedundant(), 3, beta_};
  }
  QvStatus Pass(QvCommon::MultiPassRecordIter& iter, QvAccumStatsLogistic& stats,
                bool llOnly = false) {
    QvRecordIterHandler handler(iter, tables_->cancel, tables_->validator, kY, kFrequency, -1);
    handler.SetStatsModel(&stats, &tables_->model);
    return handler.ComputeStatsForOptimizer(llOnly);
  }

  const Rows rows_ = RandomRows(500);
  LogisticSettings settings_{kY, 3, {{kA, 4}}, {kX, kZ}};
  std::unique_ptr<LogModelOnTables> tables_;
  Doubles beta_;
};

TEST_P(WaitingRowsTest, AddWhatTheyAddOneByOne) {
  QvAccumStatsLogistic together = MakeStats();
  VectorRecordIter iter(MakeRecords(rows_));
  EXPECT_TRUE(Pass(iter, together).IsOK());
  QvAccumStatsLogistic single = MakeStats();
  for (const Doubles& row : rows_) {
    int count = 0;
    Ints indices;
    Doubles values;
    tables_->model.GetSparseRow(row.data(), count, indices, values);
    const int local =
        tables_->model.GetDependCategoryLocalIndices()[static_cast<std::size_t>(row[kY])];
    ASSERT_EQ(single.UpdateForRow(indices, values, local, row[kFrequency], false), 0);
  }
  const Doubles actual = NumbersOf(together);
  const Doubles expected = NumbersOf(single);
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], 1e-10) << i;
  }
}

TEST_P(WaitingRowsTest, AddTheSameHoweverTheyAreRead) {
  QvAccumStatsLogistic single = MakeStats();
  VectorRecordIter iter(MakeRecords(rows_));
  EXPECT_TRUE(Pass(iter, single).IsOK());
  for (const std::size_t block : {1u, 7u, 64u, 1000u}) {
    QvAccumStatsLogistic lent = MakeStats();
    BlockIter blocks(MakeRecords(rows_), block);
    EXPECT_TRUE(Pass(blocks, lent).IsOK());
    EXPECT_EQ(NumbersOf(lent), NumbersOf(single)) << block;
  }
}

TEST_P(WaitingRowsTest, AddTheSameInEveryPassOfAHandler) {
  QvAccumStatsLogistic stats = MakeStats();
  VectorRecordIter iter(MakeRecords(rows_));
  QvRecordIterHandler handler(iter, tables_->cancel, tables_->validator, kY, kFrequency, -1);
  handler.SetStatsModel(&stats, &tables_->model);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
  const Doubles first = NumbersOf(stats);
  stats.Reset(QvConst::QvMethodNewtonRaphson, false);
  EXPECT_TRUE(handler.ComputeStatsForOptimizer(false).IsOK());
  EXPECT_EQ(NumbersOf(stats), first);
}

TEST_P(WaitingRowsTest, OfTheLogLikelihoodAloneLeaveTheRestAlone) {
  QvAccumStatsLogistic whole = MakeStats();
  VectorRecordIter iter(MakeRecords(rows_));
  EXPECT_TRUE(Pass(iter, whole).IsOK());
  QvAccumStatsLogistic alone = MakeStats();
  EXPECT_TRUE(Pass(iter, alone, true).IsOK());
  EXPECT_EQ(alone.GetLL(), whole.GetLL());
  EXPECT_EQ(alone.GetScores(), Doubles(beta_.size(), 0.0));
}

INSTANTIATE_TEST_SUITE_P(Designs, WaitingRowsTest, ::testing::Values(0, 1, 2));

class RefusedWaitingRowTest : public WaitingRowsTest {};

TEST_P(RefusedWaitingRowTest, EndsThePassAtItsEnd) {
  Rows rows = rows_;
  rows[490][kX] = 1e308;
  beta_.assign(beta_.size(), 1e10);
  QvAccumStatsLogistic stats = MakeStats();
  VectorRecordIter iter(MakeRecords(rows));
  EXPECT_TRUE(Pass(iter, stats) == QvStatus(303, false));
}

TEST_P(RefusedWaitingRowTest, ComesBeforeTheErrorOfARecordBehindIt) {
  Rows rows = rows_;
  rows[490][kX] = 1e308;
  rows[495][kY] = 7.0;
  beta_.assign(beta_.size(), 1e10);
  QvAccumStatsLogistic stats = MakeStats();
  VectorRecordIter iter(MakeRecords(rows));
  EXPECT_TRUE(Pass(iter, stats) == QvStatus(303, false));
}

INSTANTIATE_TEST_SUITE_P(Designs, RefusedWaitingRowTest, ::testing::Values(0, 2));

TEST(CrossProductsOfRecords, AreThoseOfRowsOneByOneAndRefuseAStrangeCombination) {
  LogisticSettings settings(kY, 3, {{kA, 4}}, {kX, kZ});
  settings.Effect({kA}).Effect({}, {kX}).Effect({kA}, {kZ}).FrequencyWeight(kFrequency);
  Rows rows = RandomRows(200);
  for (Doubles& row : rows) row[kA] = row[kA] > 2.0 ? 1.0 : row[kA];
  LogModelOnTables single(settings.Get(), rows);
  LogModelOnTables panels(settings.Get(), rows);
  ASSERT_FALSE(single.Initialize().IsError());
  ASSERT_FALSE(panels.Initialize().IsError());
  for (std::size_t r = 0; r < rows.size(); r += 50) {
    std::vector<const double*> records;
    for (std::size_t i = r; i < r + 50; ++i) {
      EXPECT_TRUE(single.model.AddRecordToXPrimeX(rows[i].data()));
      records.push_back(rows[i].data());
    }
    EXPECT_TRUE(panels.model.AddRecordsToXPrimeX(records));
  }
  panels.model.SettleProducts();
  const QvCommon::QvSymMatrix& actual = *panels.model.GetXPrimeXMatrix();
  const QvCommon::QvSymMatrix& expected = *single.model.GetXPrimeXMatrix();
  for (int i = 0; i < expected.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      EXPECT_NEAR(actual.GetElem(i, j), expected.GetElem(i, j), 1e-12) << i << ", " << j;
    }
  }
  rows[0][kA] = 3.0;
  const double* const strange = rows[0].data();
  EXPECT_FALSE(panels.model.AddRecordsToXPrimeX({&strange, 1}));
}

}  // namespace
