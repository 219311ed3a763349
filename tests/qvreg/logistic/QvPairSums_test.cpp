// The information of many categories, against its definition.
#include "qvreg/logistic/QvPairSums.h"

#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace {

using QvCommon::QvSymBlockMatrix;
using QvCommon::QvSymMatrix;
using qvtest::DenseMatrix;
using qvtest::MultinomialSums;
using Doubles = std::vector<double>;

constexpr int kCategories = 21;
constexpr double kRounding = 1e-14;

struct Row {
  Doubles values;
  int category = 0;
  double weight = 1.0;
};

/// Rows of p values, of which as many are different as `nDifferent` says.
std::vector<Row> RandomRows(int count, int p, int nDifferent, std::mt19937& random) {
  std::normal_distribution<double> normal;
  std::vector<Doubles> different;
  for (int i = 0; i < nDifferent; ++i) {
    Doubles values(static_cast<std::size_t>(p), 1.0);
    for (std::size_t j = 1; j < values.size(); ++j) values[j] = normal(random);
    different.push_back(values);
  }
  std::vector<Row> rows;
  for (int i = 0; i < count; ++i) {
    rows.push_back({different[random() % different.size()],
                    static_cast<int>(random() % kCategories),
                    0.5 + static_cast<double>(random() % 4)});
  }
  return rows;
}

Doubles RandomEstimates(int p, std::mt19937& random) {
  std::normal_distribution<double> normal;
  Doubles estimates(static_cast<std::size_t>(p * (kCategories - 1)));
  for (double& estimate : estimates) estimate = normal(random);
  return estimates;
}

void Add(const std::vector<Row>& rows, const MultinomialSums& model, QvPairSums& sums) {
  for (const Row& row : rows) {
    // Two apart, as a caller may keep them.
    Doubles probabilities;
    for (const long double probability : model.Probabilities(row.values)) {
      probabilities.push_back(static_cast<double>(probability));
      probabilities.push_back(-1.0);
    }
    sums.Add(row.values.data(), row.weight, probabilities.data(), 2);
  }
}

DenseMatrix InformationOf(QvPairSums& sums, int p) {
  QvSymBlockMatrix blocks;
  EXPECT_TRUE(blocks.SetNRows(kCategories - 1, p));
  sums.AddTo(blocks);
  QvSymMatrix matrix;
  EXPECT_EQ(blocks.CopyToSymMatrix(matrix), 0);
  return DenseMatrix(matrix);
}

TEST(QvPairSums, SuitsManyCategoriesOfFewValues) {
  EXPECT_TRUE(QvPairSums::Suits(1, 1000));
  EXPECT_TRUE(QvPairSums::Suits(8, 17));
  EXPECT_FALSE(QvPairSums::Suits(9, 1000));
  EXPECT_FALSE(QvPairSums::Suits(0, 1000));
  EXPECT_FALSE(QvPairSums::Suits(1, 16));
}

TEST(QvPairSums, GivesTheInformationOfEveryPair) {
  std::mt19937 random(1);
  for (const int p : {1, 3, 8}) {
    for (const int nDifferent : {1, 64, 500}) {
      MultinomialSums expected(p, kCategories, RandomEstimates(p, random));
      QvPairSums sums;
      sums.SetUp(static_cast<std::size_t>(p), kCategories);
      const std::vector<Row> rows = RandomRows(150, p, nDifferent, random);
      for (const Row& row : rows) expected.Add(row.values, row.category, row.weight);
      Add(rows, expected, sums);
      EXPECT_LT(InformationOf(sums, p).LargestDifference(expected.Information()),
                kRounding * expected.Information().Largest())
          << p << " values, " << nDifferent << " different rows";
      EXPECT_EQ(InformationOf(sums, p).Largest(), 0.0) << "sums start again";
    }
  }
}

TEST(QvPairSums, ForgetsWhatIsCleared) {
  std::mt19937 random(2);
  const MultinomialSums model(2, kCategories, RandomEstimates(2, random));
  QvPairSums sums;
  sums.SetUp(2, kCategories);
  for (const int nDifferent : {3, 500}) {
    Add(RandomRows(200, 2, nDifferent, random), model, sums);
    sums.Clear();
    EXPECT_EQ(InformationOf(sums, 2).Largest(), 0.0);
  }
}

/// Statistics of many categories, through all their operations.
class ManyCategoriesTest : public ::testing::Test {
 protected:
  static void AddTo(QvAccumStatsLogistic& stats, const Row& row) {
    // A row without its zeros now and then.
    std::vector<int> indices;
    Doubles values;
    for (std::size_t j = 0; j < row.values.size(); ++j) {
      if (row.category % 2 == 0 && row.values[j] == 0.0) continue;
      indices.push_back(static_cast<int>(j));
      values.push_back(row.values[j]);
    }
    EXPECT_EQ(stats.UpdateForRow(indices, values, row.category, row.weight, false), 0);
  }
  void ExpectSums(const QvAccumStatsLogistic& stats, const MultinomialSums& expected) {
    QvSymMatrix information;
    stats.GetHessian(information);
    EXPECT_LT(DenseMatrix(information).LargestDifference(expected.Information()),
              kRounding * expected.Information().Largest());
    EXPECT_NEAR(stats.GetLL(), static_cast<double>(expected.LogLikelihood()), 1e-9);
  }

  std::mt19937 random_{3};
  QvLogRegSettings settings_;
};

TEST_F(ManyCategoriesTest, StatisticsAreTheDefinitions) {
  for (const int p : {1, 3}) {
    const Doubles estimates = RandomEstimates(p, random_);
    QvAccumStatsLogistic stats(settings_, p, kCategories, estimates);
    QvAccumStatsLogistic other(settings_, p, kCategories, estimates);
    ASSERT_TRUE(stats.IsValid() && other.IsValid());
    stats.Reset(QvConst::QvMethodNewtonRaphson, false);
    other.Reset(QvConst::QvMethodNewtonRaphson, false);
    MultinomialSums expected(p, kCategories, estimates);
    std::vector<Row> rows = RandomRows(500, p, 200, random_);
    for (std::size_t r = 0; r < rows.size(); ++r) {
      if (r % 3 == 0) rows[r].values.back() = 0.0;
      expected.Add(rows[r].values, rows[r].category, rows[r].weight);
      AddTo(r < 290 ? stats : other, rows[r]);
      // What waits is shown, and counts once.
      if (r == 100) ExpectSums(stats, expected);
    }
    ASSERT_TRUE(stats.Merge(other));
    ExpectSums(stats, expected);
    stats.Reset(QvConst::QvMethodNewtonRaphson, false);
    QvSymMatrix information;
    stats.GetHessian(information);
    EXPECT_EQ(DenseMatrix(information).Largest(), 0.0);
  }
}

TEST_F(ManyCategoriesTest, AResetForgetsWhatWaits) {
  const Doubles estimates = RandomEstimates(1, random_);
  QvAccumStatsLogistic stats(settings_, 1, kCategories, estimates);
  stats.Reset(QvConst::QvMethodNewtonRaphson, false);
  for (const Row& row : RandomRows(200, 1, 1, random_)) AddTo(stats, row);
  stats.Reset(QvConst::QvMethodNewtonRaphson, false);
  MultinomialSums expected(1, kCategories, estimates);
  for (const Row& row : RandomRows(70, 1, 1, random_)) {
    expected.Add(row.values, row.category, row.weight);
    AddTo(stats, row);
  }
  ExpectSums(stats, expected);
}

TEST_F(ManyCategoriesTest, RowsThatAreAlikeAreAddedAtOnce) {
  const Doubles estimates = RandomEstimates(2, random_);
  QvAccumStatsLogistic stats(settings_, 2, kCategories, estimates);
  stats.Reset(QvConst::QvMethodNewtonRaphson, false);
  MultinomialSums expected(2, kCategories, estimates);
  for (const Row& row : RandomRows(40, 2, 5, random_)) {
    expected.Add(row.values, row.category, row.weight);
    EXPECT_EQ(stats.UpdateForAlikeRows({0, 1}, row.values, row.category, row.weight, 3, false), 0);
  }
  ExpectSums(stats, expected);
}

TEST(QvPairSums, TellsAtLeastTheSizeOfItsSums) {
  // Of every product of two of 10 values, the lower triangle of 20 categories.
  EXPECT_GE(QvPairSums::GetSize(10, 20), 55 * 210 * sizeof(double));
  EXPECT_LE(QvPairSums::GetSize(10, 20), 4 * 55 * 210 * sizeof(double));
}

}  // namespace
