// Statistics that are computed whole in a pass for the log-likelihood alone.

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using QvCommon::QvSymMatrix;
using Doubles = std::vector<double>;

constexpr int kP = 3;
constexpr int kK = 3;
constexpr int kOrder = kP * (kK - 1);
constexpr auto kNewton = QvConst::QvMethodNewtonRaphson;

/// All that statistics show, bit by bit.
std::vector<std::uint64_t> Shown(const QvAccumStatsLogistic& stats) {
  Doubles numbers{stats.GetLL()};
  const auto add = [&numbers](const Doubles& more) {
    numbers.insert(numbers.end(), more.begin(), more.end());
  };
  add(stats.GetScores());
  add(stats.GetDecidedScores());
  QvSymMatrix matrix(kOrder);
  for (int kind = 0; kind < 3; ++kind) {
    if (kind == 0) stats.GetHessian(matrix);
    if (kind == 1) stats.GetUndecidedInformation(matrix);
    if (kind == 2) stats.GetDecidedInformation(matrix);
    for (int i = 0; i < kOrder; ++i) {
      for (int j = 0; j <= i; ++j) numbers.push_back(matrix.GetElem(i, j));
    }
  }
  Doubles rest(4);
  int rows = 0;
  int invalid = 0;
  stats.GetCounts(rows, invalid, rest[0]);
  stats.GetMinMaxProbabilities(rest[1], rest[2], rest[3]);
  add(rest);
  std::vector<std::uint64_t> bits{static_cast<std::uint64_t>(rows),
                                  static_cast<std::uint64_t>(invalid)};
  for (const double number : numbers) bits.push_back(std::bit_cast<std::uint64_t>(number + 0.0));
  return bits;
}

class AheadStatsTest : public ::testing::Test {
 protected:
  AheadStatsTest() {
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    for (int i = 0; i < 60; ++i) {
      rows_.push_back({{1.0, normal(random), 3.0 * normal(random)}, i % 7 == 0 ? 2 : i % 2});
    }
    // The shares of the categories are those of a first pass, and the last predictor of some rows
    // is far away: pairs are decided there.
    for (QvAccumStatsLogistic* stats : {&plain_, &ahead_}) {
      beta_.assign(kOrder, 0.0);
      stats->Reset(kNewton, false);
      Add(*stats, false);
    }
    beta_ = {0.5, -1.0, 8.0, -0.25, 0.75, -9.0};
  }

  void Add(QvAccumStatsLogistic& stats, bool llOnly) const {
    for (const Row& row : rows_) {
      EXPECT_EQ(stats.UpdateForRow({0, 1, 2}, row.values, row.category, 1.5, llOnly), 0);
    }
  }
  /// What a pass shows that computes nothing ahead.
  std::vector<std::uint64_t> PlainPass(bool separationCheck, bool llOnly) {
    plain_.Reset(kNewton, separationCheck);
    Add(plain_, llOnly);
    return Shown(plain_);
  }
  void PassAhead(bool isWhole = true) {
    ahead_.Reset(kNewton, false);
    ahead_.BeginAhead();
    Add(ahead_, true);
    ahead_.EndAhead(isWhole);
  }

  struct Row {
    Doubles values;
    int category;
  };
  std::vector<Row> rows_;
  QvLogRegSettings settings_;
  Doubles beta_ = Doubles(kOrder, 0.0);
  QvAccumStatsLogistic plain_{settings_, kP, kK, beta_};
  QvAccumStatsLogistic ahead_{settings_, kP, kK, beta_};
};

TEST_F(AheadStatsTest, ShowTheLogLikelihoodAlone) {
  PassAhead();
  EXPECT_EQ(Shown(ahead_), PlainPass(false, true));
}

TEST_F(AheadStatsTest, AreTakenWholeAtTheSameEstimates) {
  for (const bool separationCheck : {false, true}) {
    PassAhead();
    ahead_.Reset(kNewton, separationCheck);
    ASSERT_TRUE(ahead_.TakeAhead());
    const std::vector<std::uint64_t> expected = PlainPass(separationCheck, false);
    EXPECT_EQ(Shown(ahead_), expected);
    QvSymMatrix decided(kOrder);
    ahead_.GetDecidedInformation(decided);
    EXPECT_GT(decided.GetElem(0, 0), 0.0) << "no pair is decided";
    // Once.
    ahead_.Reset(kNewton, separationCheck);
    EXPECT_FALSE(ahead_.TakeAhead());
    Add(ahead_, false);
    EXPECT_EQ(Shown(ahead_), expected);
  }
}

TEST_F(AheadStatsTest, AreNotTakenAtOthers) {
  PassAhead();
  beta_[2] = std::nextafter(beta_[2], 9.0);
  ahead_.Reset(kNewton, true);
  EXPECT_FALSE(ahead_.TakeAhead());
  Add(ahead_, false);
  EXPECT_EQ(Shown(ahead_), PlainPass(true, false));
}

TEST_F(AheadStatsTest, OfAPassThatWasNotWholeAreForgotten) {
  PassAhead(false);
  EXPECT_EQ(Shown(ahead_), PlainPass(false, true));
  ahead_.Reset(kNewton, false);
  EXPECT_FALSE(ahead_.TakeAhead());
  Add(ahead_, false);
  EXPECT_EQ(Shown(ahead_), PlainPass(false, false));
}

TEST_F(AheadStatsTest, AreReplacedByThoseOfTheNextPass) {
  PassAhead();
  beta_[1] = 0.125;
  PassAhead();
  ahead_.Reset(kNewton, true);
  ASSERT_TRUE(ahead_.TakeAhead());
  EXPECT_EQ(Shown(ahead_), PlainPass(true, false));
}

TEST_F(AheadStatsTest, DoNotCountForRowsThatAreAddedNext) {
  PassAhead();
  plain_.Reset(kNewton, false);
  Add(plain_, true);
  for (QvAccumStatsLogistic* stats : {&plain_, &ahead_}) {
    ASSERT_EQ(stats->UpdateForRow({0, 1}, {1.0, 2.0}, 1, 1.0, false), 0);
  }
  EXPECT_EQ(Shown(ahead_), Shown(plain_));
}

TEST_F(AheadStatsTest, DoNotTravelNorMerge) {
  PassAhead();
  const std::vector<std::uint64_t> likelihood = PlainPass(false, true);
  const auto written = [](const QvAccumStatsLogistic& stats) {
    QvCommon::QvByteWriter writer;
    stats.Write(writer);
    return writer.TakeBytes();
  };
  EXPECT_EQ(written(ahead_), written(plain_));
  ASSERT_TRUE(plain_.Merge(ahead_));
  const std::vector<std::uint64_t> twice = Shown(plain_);
  PlainPass(false, true);
  ASSERT_TRUE(ahead_.Merge(plain_));
  EXPECT_EQ(Shown(ahead_), twice);
}

TEST_F(AheadStatsTest, AreDisplayedAsZeros) {
  PassAhead();
  PlainPass(false, true);
  const auto displayed = [](const QvAccumStatsLogistic& stats) {
    return qvtest::OutputOf([&] { stats.Display(false); });
  };
  EXPECT_EQ(displayed(ahead_), displayed(plain_));
}

TEST_F(AheadStatsTest, AllocateNothing) {
  // The matrix of decided pairs is made by the first of them.
  PassAhead();
  const long long before = qvtest::AllocationCount();
  ahead_.Reset(kNewton, false);
  ahead_.BeginAhead();
  ahead_.EndAhead(true);
  ahead_.Reset(kNewton, true);
  EXPECT_TRUE(ahead_.TakeAhead());
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

}  // namespace
