// The pseudo R squares of a run, on made-up log-likelihoods.
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using qvtest::ScriptedObjective;
using Doubles = std::vector<double>;

constexpr double kMissing = QvMV::gMissingValue;

/// Runs one iteration from one log-likelihood to another.
class PseudoRSquareTest : public ::testing::Test {
 protected:
  PseudoRSquareTest() {
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetMaxIterations(1));
  }

  QvRegOptimizer Make(ScriptedObjective& objective) {
    return QvRegOptimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                          objective.beta, cancel_, nullptr, 1);
  }

  bool Run(double initial, double current, double weight) {
    ScriptedObjective objective({0, 4}, 2);
    objective.weight = weight;
    // A trial is always accepted; what counts is the log-likelihood of the full passes.
    objective.trialLL = [](const Doubles&) { return 0.0; };
    objective.fullLL = [&](const Doubles&) { return objective.Passes() == 1 ? initial : current; };
    QvRegOptimizer optimizer = Make(objective);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    return optimizer.GetPseudoRSquares(coxSnell_, nagelkerke_, mcFadden_);
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
  double coxSnell_ = -7;
  double nagelkerke_ = -7;
  double mcFadden_ = -7;
};

TEST_F(PseudoRSquareTest, AreZeroBeforeTheRun) {
  ScriptedObjective objective({0, 4}, 2);
  const QvRegOptimizer optimizer = Make(objective);
  EXPECT_TRUE(optimizer.GetPseudoRSquares(coxSnell_, nagelkerke_, mcFadden_));
  EXPECT_EQ(coxSnell_, 0.0);
  EXPECT_EQ(nagelkerke_, 0.0);
  EXPECT_EQ(mcFadden_, 0.0);
}

TEST_F(PseudoRSquareTest, AreZeroWithoutIterations) {
  EXPECT_TRUE(settings_.SetMaxIterations(0));
  EXPECT_TRUE(Run(-20, -10, 50));
  EXPECT_EQ(coxSnell_ + nagelkerke_ + mcFadden_, 0.0);
}

TEST_F(PseudoRSquareTest, ByHand) {
  EXPECT_TRUE(Run(-20, -10, 50));
  // 1 - exp(-0.4), that over 1 - exp(-0.8), and 1 - 10 / 20.
  EXPECT_NEAR(coxSnell_, 0.32967995396436073, 1e-15);
  EXPECT_NEAR(nagelkerke_, 0.59868766011245201, 1e-15);
  EXPECT_NEAR(mcFadden_, 0.5, 1e-15);
}

TEST_F(PseudoRSquareTest, OfEqualLogLikelihoodsAreZero) {
  EXPECT_TRUE(Run(-20, -20, 50));
  EXPECT_EQ(coxSnell_, 0.0);
  EXPECT_EQ(nagelkerke_, 0.0);
  EXPECT_EQ(mcFadden_, 0.0);
}

TEST_F(PseudoRSquareTest, WithoutWeightOrALogLikelihoodAreZero) {
  EXPECT_TRUE(Run(-20, -10, 0));
  EXPECT_EQ(coxSnell_ + nagelkerke_ + mcFadden_, 0.0);
  EXPECT_TRUE(Run(kMissing, -10, 50));
  EXPECT_EQ(coxSnell_ + nagelkerke_ + mcFadden_, 0.0);
  EXPECT_TRUE(Run(-20, kMissing, 50));
  EXPECT_EQ(coxSnell_ + nagelkerke_ + mcFadden_, 0.0);
}

TEST_F(PseudoRSquareTest, OfPerfectStartHaveNoNagelkerke) {
  EXPECT_FALSE(Run(0, 0, 50));
  EXPECT_EQ(coxSnell_, 0.0);
  EXPECT_EQ(nagelkerke_, kMissing) << "0 / 0";
  EXPECT_EQ(mcFadden_, 0.0);
}

TEST_F(PseudoRSquareTest, McFaddenOfAFallFrom0IsMissing) {
  EXPECT_FALSE(Run(0, -10, 50));
  EXPECT_NEAR(coxSnell_, 1 - std::exp(0.4), 1e-15);
  EXPECT_EQ(nagelkerke_, kMissing);
  EXPECT_EQ(mcFadden_, kMissing);
}

TEST_F(PseudoRSquareTest, AFallBeyondWhatExpTakesHasNoCoxSnell) {
  EXPECT_FALSE(Run(-1, -1000, 1));
  EXPECT_EQ(coxSnell_, kMissing);
  EXPECT_EQ(nagelkerke_, kMissing);
  EXPECT_EQ(mcFadden_, -999.0);
}

}  // namespace
