#include "host/inference/EffectSums.h"

#include <gtest/gtest.h>

#include "host/inference/OrthonormalBasis.h"

namespace qvhost {
namespace {

using QvCommon::QvSymMatrix;

/// Four estimates with V = diag(1, 4, 1/4, 1), but for the correlation of the last two.
QvSymMatrix Covariance() {
  QvSymMatrix covariance(4);
  covariance.SetElem(0, 0, 1.0);
  covariance.SetElem(1, 1, 4.0);
  covariance.SetElem(2, 2, 0.25);
  covariance.SetElem(3, 3, 1.0);
  covariance.SetElem(3, 2, 0.25);
  return covariance;
}

class EffectSumsTest : public ::testing::Test {
 protected:
  /// An intercept and three terms of one column each.
  [[nodiscard]] EffectSums Sums(std::vector<RedundantColumn> redundant = {}) const {
    return EffectSums({estimates_,
                       covariance_,
                       {true, true, true, true},
                       {-1, 0, 1, 2},
                       std::move(redundant),
                       {}});
  }

  std::vector<double> estimates_ = {5.0, 2.0, 1.0, 3.0};
  QvSymMatrix covariance_ = Covariance();
  static constexpr auto kWithout = EffectSums::Adjustment::kWithoutContaining;
  static constexpr auto kEqual = EffectSums::Adjustment::kEqualWeights;
};

TEST_F(EffectSumsTest, OfOneColumnIsTheSquareOverTheVariance) {
  const EffectSum sum = Sums().Of(0, {false, false, false}, kWithout).value();
  EXPECT_EQ(sum.degrees, 1);
  EXPECT_NEAR(sum.sum, 1.0, 1e-15);
}

TEST_F(EffectSumsTest, KeepsTheColumnsOfATerm) {
  EXPECT_EQ(Sums().KeptOf(1), 1);
  EXPECT_EQ(Sums().KeptOf(7), 0);
  const EffectSums some(
      {estimates_, covariance_, {true, true, false, true}, {-1, 0, 1, 1}, {}, {}});
  EXPECT_EQ(some.KeptOf(1), 1);
}

// V of the last two has the inverse (4/3) (4, -1; -1, 1): b' V^-1 b = (4/3) (4 - 6 + 9) = 28 / 3;
// 9 of it is the last one's own.
TEST_F(EffectSumsTest, LeavesOutWhatContainsTheTerm) {
  const EffectSum sum = Sums().Of(1, {false, false, true}, kWithout).value();
  EXPECT_EQ(sum.degrees, 1);
  EXPECT_NEAR(sum.sum, 28.0 / 3.0 - 9.0, 1e-14);
}

TEST_F(EffectSumsTest, SequentialSumsAddUpToThatOfAll) {
  const std::vector<EffectSum> sums = Sums().Sequential(3).value();
  ASSERT_EQ(sums.size(), 3U);
  EXPECT_EQ(sums[2].degrees, 1);
  EXPECT_NEAR(sums[2].sum, 9.0, 1e-14);
  EXPECT_NEAR(sums[1].sum, 1.0 / 3.0, 1e-14);
  EXPECT_NEAR(sums[0].sum, 1.0, 1e-15);
}

TEST_F(EffectSumsTest, AColumnThatTakesThePlaceOfATermLeavesNothingToTest) {
  // A redundant column of the second term is twice the column of the first.
  std::vector<double> estimates = estimates_;
  estimates.push_back(0.0);
  QvSymMatrix covariance(5);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j <= i; ++j) covariance.SetElem(i, j, covariance_.GetElem(i, j));
  }
  const EffectSums sums({estimates,
                         covariance,
                         {true, true, true, true, false},
                         {-1, 0, 1, 2, 1},
                         {{4, {1}, {2.0}}},
                         {}});
  EXPECT_EQ(sums.Of(0, {false, false, false}, kWithout).value().degrees, 0);
  EXPECT_EQ(sums.Of(0, {false, false, false}, kWithout).value().sum, 0.0);
  // Unless the second term goes first, as it contains the first one.
  EXPECT_EQ(sums.Of(0, {false, true, false}, kWithout).value().degrees, 1);
  EXPECT_EQ(sums.Of(1, {false, false, false}, kWithout).value().degrees, 1);
}

// A term of one column and one that contains it, whose column is kept, too, and whose redundant one
// is the difference (1, -1): the hypothesis with equal weights is b1 + b2 / 2.
TEST_F(EffectSumsTest, WeighsLevelsEqually) {
  const std::vector<double> estimates = {2.0, 1.0, 0.0};
  QvSymMatrix covariance(3);
  covariance.SetElem(0, 0, 1.0);
  covariance.SetElem(1, 1, 4.0);
  const EffectSums sums(
      {estimates, covariance, {true, true, false}, {0, 1, 1}, {{2, {0, 1}, {1.0, -1.0}}}, {}});
  const EffectSum sum = sums.Of(0, {false, true}, kEqual).value();
  EXPECT_EQ(sum.degrees, 1);
  EXPECT_NEAR(sum.sum, 2.5 * 2.5 / 2.0, 1e-14);
}

TEST_F(EffectSumsTest, IsNoneForASingularMatrixAndWhenStopped) {
  QvSymMatrix covariance = covariance_;
  covariance.SetElem(1, 1, 0.0);
  const EffectSums singular(
      {estimates_, covariance, {true, true, true, true}, {-1, 0, 1, 2}, {}, {}});
  EXPECT_FALSE(singular.Of(0, {false, false, false}, kWithout).has_value());
  EXPECT_TRUE(singular.Of(1, {false, false, false}, kWithout).has_value());
  EXPECT_FALSE(singular.Sequential(3).has_value());
}

TEST(OrthonormalBasis, TellsDependentVectors) {
  OrthonormalBasis basis;
  EXPECT_TRUE(basis.Add({1.0, 1.0, 0.0}));
  EXPECT_TRUE(basis.Add({1.0, 0.0, 0.0}));
  EXPECT_FALSE(basis.Add({3.0, -2.0, 0.0}));
  EXPECT_FALSE(basis.Add({0.0, 0.0, 0.0}));
  std::vector<double> vector = {1.0, 2.0, 3.0};
  basis.RemoveFrom(vector);
  EXPECT_NEAR(vector[0], 0.0, 1e-15);
  EXPECT_NEAR(vector[1], 0.0, 1e-15);
  EXPECT_EQ(vector[2], 3.0);
}

TEST(OrthogonalComplement, HasTheVectorsThatRemain) {
  const auto complement = OrthogonalComplement(3, {{1.0, 1.0, 1.0}, {2.0, 2.0, 2.0}});
  ASSERT_EQ(complement.size(), 2U);
  for (const std::vector<double>& vector : complement) {
    EXPECT_NEAR(vector[0] + vector[1] + vector[2], 0.0, 1e-15);
  }
  EXPECT_EQ(OrthogonalComplement(2, {}).size(), 2U);
  EXPECT_TRUE(OrthogonalComplement(1, {{3.0}}).empty());
}

}  // namespace
}  // namespace qvhost
