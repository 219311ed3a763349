// The probabilities of a panel's rows, against those of each row alone.

#include "qvreg/logistic/QvLogitPanel.h"

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSparseVector.h"

namespace {

using Doubles = std::vector<double>;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class QvLogitPanelTest : public ::testing::TestWithParam<std::size_t> {
 protected:
  static constexpr std::size_t kP = 5;
  static constexpr std::size_t kCount = 50;

  QvLogitPanelTest() {
    std::iota(indices_.begin(), indices_.end(), 0);
    panel_.SetUp(kP, K_);
  }

  double Draw(double size) { return size * std::uniform_real_distribution<>(-1.0, 1.0)(random_); }

  void Fill(double size) {
    for (double& estimate : estimates_) estimate = Draw(size);
    for (std::size_t r = 0; r < kCount; ++r) {
      Doubles row(kP);
      for (double& value : row) value = Draw(2.0);
      ASSERT_TRUE(panel_.Add(row.data(), r % K_, 0.5 + static_cast<double>(r % 3), estimates_));
      rows_.push_back(row);
    }
    panel_.Compute();
  }

  /// Its probabilities as computed alone.
  [[nodiscard]] Doubles Alone(std::size_t row) const {
    const QvCommon::QvSparseVector vector(indices_, rows_[row]);
    Doubles probabilities;
    double logReference = 0.0;
    EXPECT_TRUE(vector.ComputeProbabilities(estimates_, static_cast<int>(K_), static_cast<int>(kP),
                                            probabilities, logReference));
    return probabilities;
  }

  void ExpectRowsAsAlone() const {
    for (std::size_t r = 0; r < kCount; ++r) {
      const Doubles expected = Alone(r);
      double rest = 0.0;
      for (std::size_t c = 0; c < K_; ++c) {
        // A predictor of some hundreds, rounded, changes its exponential by as many units.
        EXPECT_NEAR(panel_.GetProbability(c, r), expected[c], 1e-12 * expected[c]) << r << ' ' << c;
        if (c != r % K_) rest += expected[c];
      }
      EXPECT_NEAR(panel_.GetRest(r), rest, 1e-10 * rest);
      const double observed = std::log(expected[r % K_]);
      if (expected[r % K_] > 0.0) {
        EXPECT_NEAR(panel_.GetShifted(r) - std::log(panel_.GetSum(r)), observed,
                    1e-12 * (1.0 + std::fabs(observed)));
      }
    }
  }

  std::size_t K_ = GetParam();
  std::mt19937 random_{11};
  std::vector<int> indices_ = std::vector<int>(kP);
  Doubles estimates_ = Doubles((K_ - 1) * kP);
  std::vector<Doubles> rows_;
  QvLogitPanel panel_;
};

TEST_P(QvLogitPanelTest, GivesEachRowItsProbabilities) {
  Fill(1.0);
  ExpectRowsAsAlone();
}

TEST_P(QvLogitPanelTest, GivesThemWithExponentialsThatVanish) {
  Fill(300.0);
  ExpectRowsAsAlone();
}

TEST_P(QvLogitPanelTest, UsesTheEstimatesOfItsFirstRow) {
  Fill(1.0);
  const double before = panel_.GetProbability(0, 7);
  Doubles others(estimates_.size(), 100.0);
  ASSERT_TRUE(panel_.Add(rows_[0].data(), 0, 1.0, others));
  panel_.Compute();
  EXPECT_EQ(panel_.GetProbability(0, 7), before);
  EXPECT_EQ(panel_.GetProbability(0, kCount), panel_.GetProbability(0, 0));
  panel_.Clear();
  ASSERT_TRUE(panel_.Add(rows_[7].data(), 0, 1.0, others));
  panel_.Compute();
  EXPECT_NE(panel_.GetProbability(0, 0), before);
}

TEST_P(QvLogitPanelTest, RefusesARowWhosePredictorsMayNotBeFinite) {
  Fill(1.0);
  Doubles row(kP, 1.0);
  for (const double bad : {kInfinity, -kInfinity, std::nan(""), 1e305}) {
    row[3] = bad;
    EXPECT_FALSE(panel_.Add(row.data(), 0, 1.0, estimates_)) << bad;
  }
  EXPECT_EQ(panel_.GetCount(), kCount);
  panel_.Clear();
  row[3] = 1.0;
  for (const double bad : {kInfinity, std::nan(""), 1e305}) {
    estimates_[1] = bad;
    EXPECT_FALSE(panel_.Add(row.data(), 0, 1.0, estimates_)) << bad;
  }
  EXPECT_EQ(panel_.GetCount(), 0U);
}

TEST_P(QvLogitPanelTest, FindsProbabilitiesBelowBounds) {
  Fill(2.0);
  Doubles bounds(K_, 0.0);
  bounds[1] = 0.3;
  const auto isBelow = panel_.FindBelow(bounds);
  for (std::size_t r = 0; r < kCount; ++r) {
    EXPECT_EQ(isBelow[r], panel_.GetProbability(1, r) < 0.3) << r;
  }
}

TEST_P(QvLogitPanelTest, WidensARangeOfProbabilities) {
  Fill(2.0);
  double minObserved = 0.9;
  double maxObserved = 0.1;
  double minComputed = 0.9;
  double expectedMin = minObserved;
  double expectedMax = maxObserved;
  double expectedComputed = minComputed;
  for (std::size_t r = 0; r < kCount; ++r) {
    expectedMin = std::min(expectedMin, panel_.GetProbability(r % K_, r));
    expectedMax = std::max(expectedMax, panel_.GetProbability(r % K_, r));
    for (std::size_t c = 0; c < K_; ++c) {
      expectedComputed = std::min(expectedComputed, panel_.GetProbability(c, r));
    }
  }
  panel_.Widen(minObserved, maxObserved, minComputed);
  EXPECT_EQ(minObserved, expectedMin);
  EXPECT_EQ(maxObserved, expectedMax);
  EXPECT_EQ(minComputed, expectedComputed);
}

TEST_P(QvLogitPanelTest, ARowThatIsTakenOutHasNoInformation) {
  Fill(1.0);
  QvCommon::QvSymBlockMatrix whole;
  QvCommon::QvSymBlockMatrix without;
  ASSERT_TRUE(whole.SetNRows(static_cast<int>(K_ - 1), static_cast<int>(kP)));
  without = whole;
  panel_.AddInformation(whole);
  const Doubles p = Alone(9);
  const double weight = panel_.GetWeight(9);
  panel_.TakeOut(9);
  panel_.AddInformation(without);
  const double lost =
      whole.GetElemSSRef(0, 0).GetElem(2, 1) - without.GetElemSSRef(0, 0).GetElem(2, 1);
  EXPECT_NEAR(lost, weight * p[0] * (1.0 - p[0]) * rows_[9][2] * rows_[9][1], 1e-13);
}

INSTANTIATE_TEST_SUITE_P(Classes, QvLogitPanelTest, ::testing::Values(2U, 3U, 7U));

TEST_P(QvLogitPanelTest, AddsTheWeightsOfTheRowsFromAnyOneOn) {
  Fill(1.0);
  for (std::size_t first = 0; first <= kCount; ++first) {
    Doubles sums(K_, 100.0);
    double total = 200.0;
    panel_.AddWeights(first, sums, total);
    Doubles expected(K_, 100.0);
    for (std::size_t r = first; r < kCount; ++r) {
      expected[r % K_] += 0.5 + static_cast<double>(r % 3);
    }
    // Halves are added without rounding.
    EXPECT_EQ(sums, expected) << first;
    EXPECT_EQ(total, 200.0 + std::accumulate(expected.begin(), expected.end(),
                                             -100.0 * static_cast<double>(K_)))
        << first;
  }
}

}  // namespace
