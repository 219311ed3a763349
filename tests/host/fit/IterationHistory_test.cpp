#include "host/fit/IterationHistory.h"

#include <cmath>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Doubles = std::vector<double>;

constexpr double kFirst = -1000.0;  // Log-likelihood; a change of 1e-5 is nothing beside it.

/// The history of some iterations, from a start on.
IterationHistory After(int iterations, const std::function<double(int)>& logLikelihood,
                       const std::function<Doubles(int)>& estimates) {
  IterationHistory history;
  for (int i = 0; i <= iterations; ++i) {
    history.Add(i == 0 ? kFirst : logLikelihood(i), estimates(i));
  }
  return history;
}

double Still(int /*iteration*/) { return -10.0; }
Doubles Growing(int iteration) { return {1.0 * iteration}; }

TEST(IterationHistory, IsEmptyAtFirst) {
  const IterationHistory history;
  EXPECT_TRUE(history.IsEmpty());
  EXPECT_FALSE(history.IsStill());
  EXPECT_FALSE(history.IsGrowing());
  EXPECT_EQ(history.LastStep(), Doubles{});
}

TEST(IterationHistory, StandsStillAfterThreeSmallChanges) {
  const auto rising = [](double gain) {
    return [gain](int iteration) { return -10.0 + gain * iteration; };
  };
  EXPECT_TRUE(After(5, rising(0.99e-5), Growing).IsStill());
  EXPECT_FALSE(After(5, rising(1.01e-5), Growing).IsStill());
  EXPECT_FALSE(After(5, rising(-1.01e-5), Growing).IsStill());
  EXPECT_TRUE(After(4, Still, Growing).IsStill());
  EXPECT_FALSE(After(3, Still, Growing).IsStill()) << "the first step was a long one";
}

TEST(IterationHistory, MeasuresAGainByTheFirstLogLikelihood) {
  const IterationHistory history = After(1, Still, Growing);
  EXPECT_TRUE(history.IsNothing(0.99e-5));
  EXPECT_FALSE(history.IsNothing(1.01e-5));
  EXPECT_FALSE(history.IsNothing(-1.01e-5));
}

TEST(IterationHistory, GrowsByWhatIsGainedAgainAndAgain) {
  const IterationHistory history = After(6, Still, [](int i) {
    const double t = i;
    return Doubles{2.0 * t,                       // grows
                   -0.5 * t - 0.1 * std::cos(t),  // about the same
                   3.0 - std::exp(-t),            // settles
                   i % 2 == 0 ? 1.0 : -1.0,       // to and fro
                   1e9 + 100.0 * t,               // no more than rounding
                   7.0};
  });
  const Doubles growth = history.Growth();
  EXPECT_EQ(growth[0], 2.0);
  EXPECT_LT(growth[1], -0.3);
  EXPECT_EQ((Doubles{growth.begin() + 2, growth.end()}), (Doubles{0.0, 0.0, 0.0, 0.0}));
  EXPECT_EQ(history.LastStep()[3], 2.0);
  EXPECT_TRUE(history.IsGrowing());
}

TEST(IterationHistory, NeedsThreeStepsToSeeGrowth) {
  EXPECT_FALSE(After(2, Still, Growing).IsGrowing());
  EXPECT_TRUE(After(3, Still, Growing).IsGrowing());
}

TEST(IterationHistory, AnIterationThatChangesNothingIsNone) {
  IterationHistory history = After(4, Still, Growing);
  history.Add(-10.0, {4.0});
  EXPECT_EQ(history.LastStep(), Doubles{1.0});
  EXPECT_TRUE(history.IsGrowing());
}

TEST(IterationHistory, KeepsTheFirstAndTheLatestSight) {
  const auto faster = [](int i) { return Doubles{i + 0.01 * i * i}; };
  IterationHistory history = After(9, Still, faster);
  ASSERT_EQ(history.Sights().size(), 2U);
  EXPECT_NEAR(history.Sights()[0].step[0], 1.07, 1e-12) << "iteration 4, the first still one";
  EXPECT_NEAR(history.Sights()[1].step[0], 1.17, 1e-12);
  EXPECT_EQ(history.Sights()[1].growth, history.Growth());
  history.Forget();
  EXPECT_TRUE(history.Sights().empty());
  history.Add(-10.0, faster(10));
  ASSERT_EQ(history.Sights().size(), 1U);
  EXPECT_NEAR(history.Sights()[0].step[0], 1.19, 1e-12);
}

TEST(IterationHistory, SeesNothingWhileTheLogLikelihoodRises) {
  EXPECT_TRUE(After(
                  9, [](int i) { return -10.0 + i; }, Growing)
                  .Sights()
                  .empty());
  EXPECT_TRUE(After(9, Still, [](int i) { return Doubles{std::exp(-i)}; }).Sights().empty());
}

}  // namespace
}  // namespace qvhost
