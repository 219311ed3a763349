// Which steps are accepted, by the log-likelihood that they lead to, on made-up log-likelihoods.
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using qvtest::ScriptedObjective;
using Doubles = std::vector<double>;

constexpr double kMissing = QvMV::gMissingValue;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
/// The allowance for rounding of a log-likelihood of -1.
constexpr double kAllowance = 0x1p-44;

/// Each iteration moves the estimate from its whole number to the next; half a step stands between.
class OptimizerAcceptanceTest : public ::testing::Test {
 protected:
  OptimizerAcceptanceTest() {
    settings_.SetInterceptUse(false);
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetStartingIteration(0));
    EXPECT_TRUE(settings_.SetMaxStepHalvingValue(1));
    objective_.scores = [](const Doubles&) { return Doubles{1}; };
  }

  /// Runs to the end, with log-likelihood k where the estimate is k, and `between` elsewhere.
  QvRegOptimizer& Run(const Doubles& logLikelihoods, double between = kMissing) {
    objective_.trialLL = [=](const Doubles& b) {
      const double whole = std::floor(b[0]);
      return b[0] == whole ? logLikelihoods.at(static_cast<std::size_t>(whole)) : between;
    };
    EXPECT_TRUE(settings_.SetMaxIterations(static_cast<int>(logLikelihoods.size()) - 1));
    optimizer_ =
        std::make_unique<QvRegOptimizer>(settings_, &objective_.model, &objective_.Handler(),
                                         &objective_.Stats(), objective_.beta, cancel_, nullptr, 1);
    EXPECT_TRUE(optimizer_->Estimate().IsOK());
    return *optimizer_;
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
  ScriptedObjective objective_{{0}, 2};
  std::unique_ptr<QvRegOptimizer> optimizer_;
};

TEST_F(OptimizerAcceptanceTest, NoLogLikelihoodThatIsNotANumberIsAccepted) {
  for (const double previous : {-1.0, kMissing, -kInfinity}) {
    SCOPED_TRACE(previous);
    objective_.beta = {0};
    EXPECT_EQ(Run({previous, kNaN}, kNaN).GetOutcome(), kOptStepHalvingFailed);
    EXPECT_EQ(objective_.beta, Doubles{0});
    EXPECT_EQ(optimizer_->GetTotalStepHalvings(), 1);
  }
}

TEST_F(OptimizerAcceptanceTest, AfterOneThatIsNotANumberNoneIsAccepted) {
  EXPECT_EQ(Run({kNaN, -1.0}, -1.0).GetOutcome(), kOptStepHalvingFailed);
  EXPECT_EQ(objective_.beta, Doubles{0});
}

TEST_F(OptimizerAcceptanceTest, AStepIsHalvedUntilItsLogLikelihoodIsANumber) {
  EXPECT_EQ(Run({-1.0, kNaN}, -0.5).GetOutcome(), kOptMaxIterations);
  EXPECT_EQ(objective_.beta, Doubles{0.5});
  EXPECT_EQ(optimizer_->GetCurrentLL(), -0.5);
}

TEST_F(OptimizerAcceptanceTest, MinusInfinityIsAFallAndANumberAfterItAnImprovement) {
  EXPECT_EQ(Run({-1.0, -kInfinity}).GetOutcome(), kOptStepHalvingFailed);
  objective_.beta = {0};
  EXPECT_EQ(Run({-kInfinity, -1e300}).GetOutcome(), kOptMaxIterations);
  EXPECT_EQ(objective_.beta, Doubles{1});
}

TEST_F(OptimizerAcceptanceTest, AFallByRoundingIsAccepted) {
  // Sums of the same terms in another order differ by as much.
  for (const double scale : {1.0, 1e6, 1e-6}) {
    SCOPED_TRACE(scale);
    objective_.beta = {0};
    EXPECT_EQ(Run({-scale, -scale * (1 + kAllowance)}).GetOutcome(), kOptMaxIterations);
    EXPECT_EQ(objective_.beta, Doubles{1});
    EXPECT_EQ(optimizer_->GetTotalStepHalvings(), 0);
  }
}

TEST_F(OptimizerAcceptanceTest, AnyLargerFallIsNot) {
  for (const double share : {1.01 * kAllowance, 0x1p-40, 0x1p-31, 0x1p-20}) {
    SCOPED_TRACE(share);
    objective_.beta = {0};
    EXPECT_EQ(Run({-1.0, -1.0 - share}).GetOutcome(), kOptStepHalvingFailed);
    EXPECT_EQ(objective_.beta, Doubles{0});
  }
}

/// With a unit matrix of information a step is its score, and promises the square of it.
class OptimizerLastStepTest : public OptimizerAcceptanceTest {
 protected:
  QvOptimizationOutcome Run(double score, double fall) {
    objective_.beta = {0};
    objective_.scores = [=](const Doubles&) { return Doubles{score}; };
    objective_.trialLL = [=](const Doubles& b) { return b[0] == 0.0 ? -1.0 : -1.0 - fall; };
    EXPECT_TRUE(settings_.SetMaxIterations(1));
    QvRegOptimizer optimizer(settings_, &objective_.model, &objective_.Handler(),
                             &objective_.Stats(), objective_.beta, cancel_, nullptr, 1);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    return optimizer.GetOutcome();
  }
};

TEST_F(OptimizerLastStepTest, MayFallByTheRoundingOfPredictors) {
  for (const double fall : {0x1p-43, 0x1p-36, 0x1p-28}) {
    SCOPED_TRACE(fall);
    EXPECT_EQ(Run(0x1p-18, fall), kOptMaxIterations);
    EXPECT_EQ(objective_.beta, Doubles{0x1p-18});
  }
}

TEST_F(OptimizerLastStepTest, NotByMore) {
  for (const double fall : {1.01 * 0x1p-28, 1.0, kInfinity, kNaN}) {
    SCOPED_TRACE(fall);
    EXPECT_EQ(Run(0x1p-18, fall), kOptStepHalvingFailed);
    EXPECT_EQ(objective_.beta, Doubles{0});
  }
}

TEST_F(OptimizerLastStepTest, AStepThatPromisesMoreMayNot) {
  EXPECT_EQ(Run(1.01 * 0x1p-18, 0x1p-43), kOptStepHalvingFailed);
}

TEST_F(OptimizerAcceptanceTest, SmallFallsDoNotAddUp) {
  const double fall = 0.75 * kAllowance;
  QvRegOptimizer& optimizer = Run({-1.0, -1.0 - fall, -1.0 - 2 * fall, -1.0 - 3 * fall});
  EXPECT_EQ(optimizer.GetOutcome(), kOptStepHalvingFailed);
  EXPECT_EQ(optimizer.GetLastIteration(), 2);
  EXPECT_EQ(objective_.beta, Doubles{1});
}

TEST_F(OptimizerAcceptanceTest, FallsAreMeasuredFromTheHighestOfAllIterations) {
  // Up, down and up again by less than the highest allows, then down by a little too much.
  const double highest = -0.5;
  const double floor = highest * (1 + kAllowance);
  EXPECT_EQ(Run({-1.0, highest, floor, highest * (1 + kAllowance / 2), floor}).GetOutcome(),
            kOptMaxIterations);
  objective_.beta = {0};
  EXPECT_EQ(Run({-1.0, highest, floor, highest * (1 + 1.5 * kAllowance)}).GetOutcome(),
            kOptStepHalvingFailed);
  EXPECT_EQ(optimizer_->GetLastIteration(), 3);
}

TEST_F(OptimizerAcceptanceTest, TheFirstIterationChangesFromTheInitialLogLikelihood) {
  EXPECT_TRUE(settings_.SetLLConCriterion(0.5000001));
  settings_.SetLLFuncChange(false);
  QvRegOptimizer& optimizer = Run({-8.0, -4.0, -1.0});
  EXPECT_EQ(optimizer.GetOutcome(), kOptLLConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
  EXPECT_EQ(optimizer.GetLLChange(), 0.5);
}

TEST_F(OptimizerAcceptanceTest, LaterOnesChangeFromTheIterationBefore) {
  settings_.SetLLFuncChange(true);
  QvRegOptimizer& optimizer = Run({-8.0, -4.0, -1.0});
  EXPECT_EQ(optimizer.GetLastIteration(), 2);
  EXPECT_EQ(optimizer.GetLLChange(), 3.0);
  EXPECT_EQ(optimizer.GetInitialLL(), -8.0);
  EXPECT_EQ(optimizer.GetCurrentLL(), -1.0);
}

TEST_F(OptimizerAcceptanceTest, AStepGivenUpInALaterIterationHasChangedNothing) {
  settings_.SetLLFuncChange(true);
  settings_.SetParamEstChange(true);
  QvRegOptimizer& optimizer = Run({-8.0, -4.0, -9.0, -9.0}, -9.0);
  EXPECT_EQ(optimizer.GetOutcome(), kOptStepHalvingFailed);
  EXPECT_EQ(optimizer.GetLastIteration(), 2);
  EXPECT_EQ(optimizer.GetLLChange(), 0.0) << "4 in the first iteration";
  EXPECT_EQ(optimizer.GetParameterChange(), 0.0) << "1 in the first iteration";
  EXPECT_EQ(optimizer.GetCurrentLL(), -4.0);
  EXPECT_EQ(objective_.beta, Doubles{1});
}

/// A relative change of the estimates from 0 is measured against the guard.
TEST_F(OptimizerAcceptanceTest, AChangeFrom0IsRelativeToOneMillionth) {
  objective_.scores = [](const Doubles&) { return Doubles{1e-9}; };
  objective_.trialLL = [](const Doubles&) { return -1.0; };
  settings_.SetParamEstChange(false);
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  for (const bool isAbove : {true, false}) {
    objective_.beta = {0};
    EXPECT_TRUE(settings_.SetParamEstConCriterion(isAbove ? 1.001e-3 : 0.999e-3));
    QvRegOptimizer optimizer(settings_, &objective_.model, &objective_.Handler(),
                             &objective_.Stats(), objective_.beta, cancel_, nullptr, 1);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    EXPECT_DOUBLE_EQ(optimizer.GetParameterChange(), 1e-3);
    EXPECT_EQ(optimizer.GetOutcome(), isAbove ? kOptParamConverged : kOptMaxIterations);
  }
}

}  // namespace
