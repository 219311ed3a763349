// How the iterations go and end, on made-up log-likelihoods; the acceptance of steps, pseudo R
// squares, separation, reports, cancellation and display have files of their own.
#include "qvreg/logistic/QvRegOptimizer.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using QvCommon::QvStatus;
using QvCommon::QvSymMatrix;
using qvtest::ScriptedObjective;
using Doubles = std::vector<double>;
using Calls = std::vector<std::string>;

constexpr double kMissing = QvMV::gMissingValue;
constexpr double kHuge = std::numeric_limits<double>::max();

QvSymMatrix Diagonal(const Doubles& elements) {
  QvSymMatrix matrix(static_cast<int>(elements.size()));
  for (std::size_t i = 0; i < elements.size(); ++i) {
    matrix.SetElem(static_cast<int>(i), static_cast<int>(i), elements[i]);
  }
  return matrix;
}

// Hosts keep the outcomes by number.
static_assert(kOptContinue == 0 && kOptLLConverged == 1 && kOptParamConverged == 2 &&
              kOptBothConverged == 3 && kOptHessianSingular == 4 && kOptStepHalvingFailed == 5 &&
              kOptMaxIterations == 6 && kOptCompleteSeparation == 7 && kOptQuasiSeparation == 8 &&
              kOptNoIterations == 9);

/// Two parameters and two categories, criteria of 0 and two iterations unless a test says more.
/// The objective is -1 - sum (beta - 2)^2 / 2, which the first step solves.
class QvRegOptimizerTest : public ::testing::Test {
 protected:
  QvRegOptimizerTest() {
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetMaxIterations(2));
    EXPECT_TRUE(settings_.SetStartingIteration(0));
  }

  QvRegOptimizer Make(ScriptedObjective& objective) {
    return QvRegOptimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                          objective.beta, cancel_, nullptr, 1);
  }
  QvOptimizationOutcome OutcomeOf(ScriptedObjective& objective) {
    QvRegOptimizer optimizer = Make(objective);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    return optimizer.GetOutcome();
  }
  /// Criteria as wide as the change of the first step, which goes from (0, 4) to (2, 2): the
  /// log-likelihood from -5 to -1, the estimates by 4 in all.
  void Criteria(double logLikelihood, double parameters, bool areAbsolute) {
    EXPECT_TRUE(settings_.SetLLConCriterion(logLikelihood));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(parameters));
    settings_.SetLLFuncChange(areAbsolute);
    settings_.SetParamEstChange(areAbsolute);
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
  ScriptedObjective objective_{{0, 4}, 2};
};

TEST_F(QvRegOptimizerTest, StartsWithOutcome9AndNothingMeasured) {
  const QvRegOptimizer optimizer = Make(objective_);
  EXPECT_EQ(optimizer.GetOutcome(), kOptNoIterations);
  EXPECT_EQ(optimizer.GetLastIteration(), 0);
  EXPECT_EQ(optimizer.GetInitialLL(), kMissing);
  EXPECT_EQ(optimizer.GetCurrentLL(), kMissing);
  EXPECT_EQ(optimizer.GetLLChange(), 0.0);
  EXPECT_EQ(optimizer.GetParameterChange(), 0.0);
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 0);
  ASSERT_NE(optimizer.GetMatrix(), nullptr);
  EXPECT_EQ(optimizer.GetMatrix()->GetOrder(), 2);
}

TEST_F(QvRegOptimizerTest, MakesTheEstimatesAsLongAsThereAreParameters) {
  ScriptedObjective longer({1, 2, 3}, 2);
  longer.model.nAllNonRedundant = 5;
  Make(longer);
  EXPECT_EQ(longer.beta, (Doubles{1, 2, 3, 0, 0}));
  ScriptedObjective shorter({1, 2, 3}, 2);
  shorter.model.nAllNonRedundant = 1;
  Make(shorter);
  EXPECT_EQ(shorter.beta, Doubles{1});
}

TEST_F(QvRegOptimizerTest, ANegativeNumberOfParametersIsNone) {
  objective_.model.nAllNonRedundant = -3;
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(objective_.beta.empty());
  EXPECT_EQ(optimizer.GetMatrix()->GetOrder(), 0);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptNoIterations);
}

TEST_F(QvRegOptimizerTest, MakesItsPassesInOrder) {
  OutcomeOf(objective_);
  EXPECT_EQ(objective_.calls, (Calls{"set", "reset 0 0", "full",              // the starting values
                                     "reset 0 0", "ll", "reset 0 0", "full",  // iteration 1
                                     "reset 0 0", "ll", "reset 0 0", "full",  // iteration 2
                                     "clean"}));
  EXPECT_EQ(objective_.visited, (std::vector<Doubles>{{0, 4}, {2, 2}, {2, 2}, {2, 2}, {2, 2}}));
}

TEST_F(QvRegOptimizerTest, LeavesEstimatesLogLikelihoodsAndTheInverse) {
  objective_.information = [](const Doubles&) { return Diagonal({4, 0.5}); };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetInitialLL(), -5.0);
  EXPECT_EQ(optimizer.GetLastIteration(), 2);
  ASSERT_NE(optimizer.GetMatrix(), nullptr);
  EXPECT_NEAR(optimizer.GetMatrix()->GetElem(0, 0), 0.25, 1e-15);
  EXPECT_NEAR(optimizer.GetMatrix()->GetElem(1, 1), 2.0, 1e-15);
  EXPECT_EQ(optimizer.GetMatrix()->GetElem(1, 0), 0.0);
  // The scores 2 and -2 over 4 and 0.5.
  EXPECT_NEAR(objective_.visited[1][0], 0.5, 1e-15);
  EXPECT_NEAR(objective_.visited[1][1], 0.0, 1e-14);
  optimizer.DeleteMatrix();
  EXPECT_EQ(optimizer.GetMatrix(), nullptr);
}

TEST_F(QvRegOptimizerTest, OutcomeLLConvergedByTheAbsoluteChange) {
  Criteria(4.0000001, 0.0, true);
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptLLConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
  EXPECT_EQ(optimizer.GetLLChange(), 4.0);
  EXPECT_EQ(optimizer.GetParameterChange(), 4.0);
  EXPECT_EQ(optimizer.GetCurrentLL(), -1.0);
}

TEST_F(QvRegOptimizerTest, OutcomeLLConvergedByTheRelativeChange) {
  Criteria(0.8000001, 0.0, false);
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptLLConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
  EXPECT_DOUBLE_EQ(optimizer.GetLLChange(), 0.8);  // 4 / 5
}

TEST_F(QvRegOptimizerTest, AChangeEqualToItsCriterionDoesNotConverge) {
  Criteria(4.0, 0.0, true);
  QvRegOptimizer byLL = Make(objective_);
  EXPECT_TRUE(byLL.Estimate().IsOK());
  EXPECT_EQ(byLL.GetLastIteration(), 2);
  EXPECT_EQ(byLL.GetOutcome(), kOptLLConverged) << "no change at all in the second";

  ScriptedObjective again({0, 4}, 2);
  Criteria(0.0, 4.0, true);
  QvRegOptimizer byEstimates = Make(again);
  EXPECT_TRUE(byEstimates.Estimate().IsOK());
  EXPECT_EQ(byEstimates.GetLastIteration(), 2);
  EXPECT_EQ(byEstimates.GetOutcome(), kOptParamConverged);
}

TEST_F(QvRegOptimizerTest, OutcomeParamConvergedByTheAbsoluteChange) {
  Criteria(0.0, 4.0000001, true);
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptParamConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
}

TEST_F(QvRegOptimizerTest, OutcomeParamConvergedByTheRelativeChange) {
  // 1000 to 1001 is a change of about 1e-3, whichever of the two it is measured against.
  ScriptedObjective far({1000}, 1);
  settings_.SetInterceptUse(false);
  far.trialLL = [](const Doubles& b) { return -1.0 - (b[0] - 1001) * (b[0] - 1001) / 2; };
  far.scores = [](const Doubles& b) { return Doubles{1001 - b[0]}; };
  Criteria(0.0, 1.1e-3, false);
  QvRegOptimizer optimizer = Make(far);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptParamConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
  EXPECT_NEAR(optimizer.GetParameterChange(), 1e-3, 2e-6);
}

TEST_F(QvRegOptimizerTest, OutcomeBothConverged) {
  Criteria(4.1, 4.1, true);
  EXPECT_EQ(OutcomeOf(objective_), kOptBothConverged);
}

TEST_F(QvRegOptimizerTest, OutcomeHessianSingularAtTheFirstTest) {
  objective_.information = [](const Doubles& b) { return Diagonal({1, b[1] == 2.0 ? 0.0 : 1.0}); };
  Criteria(kHuge, kHuge, true);
  EXPECT_EQ(OutcomeOf(objective_), kOptHessianSingular) << "before any convergence";
}

TEST_F(QvRegOptimizerTest, ASingularMatrixAtTheStartLeavesThatParameterInPlace) {
  objective_.information = [](const Doubles& b) { return Diagonal({1, b[0] == 0.0 ? 0.0 : 1.0}); };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.visited[1], (Doubles{2, 4})) << "the first step is finite";
  EXPECT_EQ(objective_.beta, (Doubles{2, 2})) << "and the second goes on";
  EXPECT_EQ(optimizer.GetOutcome(), kOptMaxIterations);
}

TEST_F(QvRegOptimizerTest, OutcomeStepHalvingFailedRestoresTheEstimates) {
  EXPECT_TRUE(settings_.SetMaxStepHalvingValue(3));
  objective_.trialLL = [](const Doubles& b) { return b == Doubles{0, 4} ? -5.0 : -6.0; };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptStepHalvingFailed);
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 3);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
  EXPECT_EQ(optimizer.GetLLChange(), 0.0);
  EXPECT_EQ(optimizer.GetParameterChange(), 0.0);
  EXPECT_EQ(optimizer.GetCurrentLL(), -5.0);
  EXPECT_EQ(objective_.beta, (Doubles{0, 4}));
  // The step (2, -2) whole, halved three times, and the final full pass at the saved estimates.
  EXPECT_EQ(objective_.visited,
            (std::vector<Doubles>{{0, 4}, {2, 2}, {1, 3}, {0.5, 3.5}, {0.25, 3.75}, {0, 4}}));
}

TEST_F(QvRegOptimizerTest, ASmallerStepIsAcceptedOnceItIsNotWorse) {
  objective_.trialLL = [](const Doubles& b) { return b[0] > 0.6 ? -100.0 : -5.0 + b[0]; };
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.beta, (Doubles{0.5, 3.5}));
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 2);
  EXPECT_EQ(optimizer.GetCurrentLL(), -4.5);
  EXPECT_EQ(optimizer.GetOutcome(), kOptMaxIterations);
}

TEST_F(QvRegOptimizerTest, HalvingsOfAllIterationsAddUp) {
  objective_.trialLL = [](const Doubles& b) {
    if (b[0] > 1.9) return -100.0;
    return b[0] > 1.1 && b[0] < 1.6 ? -4.0 : -5.0 + b[0];
  };
  EXPECT_TRUE(settings_.SetMaxIterations(3));
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  // Iteration 1 goes from 0 by 2 and by 1; iteration 2 from 1 by 1 (to 2) and by 0.5, which has
  // -4 as has 1; iteration 3 from 1.5 by 0.5 and by 0.25.
  EXPECT_EQ(objective_.beta[0], 1.75);
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 3);
}

TEST_F(QvRegOptimizerTest, EqualLogLikelihoodsAreAcceptedAsAnImprovement) {
  objective_.trialLL = [](const Doubles&) { return -3.0; };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 0);
  EXPECT_EQ(objective_.beta, (Doubles{2, 2}));
}

TEST_F(QvRegOptimizerTest, OneStepHalvingIsTheLeastThatSettingsAllow) {
  // Without any, a step that lowers the log-likelihood would end the iterations at once; with one
  // it is tried halved, and the previous estimates come back.
  ASSERT_FALSE(settings_.SetMaxStepHalvingValue(0));
  ASSERT_TRUE(settings_.SetMaxStepHalvingValue(1));
  objective_.trialLL = [](const Doubles& b) { return b == Doubles{0, 4} ? -5.0 : -6.0; };
  EXPECT_EQ(OutcomeOf(objective_), kOptStepHalvingFailed);
  EXPECT_EQ(objective_.visited, (std::vector<Doubles>{{0, 4}, {2, 2}, {1, 3}, {0, 4}}));
  EXPECT_EQ(objective_.beta, (Doubles{0, 4}));
}

TEST_F(QvRegOptimizerTest, TheStatisticsSayHowFastAStepShrinks) {
  objective_.stepAdjustment = 2.0;
  objective_.trialLL = [](const Doubles& b) { return b[0] > 0.3 ? -100.0 : -5.0; };
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  OutcomeOf(objective_);
  EXPECT_EQ(objective_.visited[2], (Doubles{0.5, 3.5})) << "a quarter of the step";
  EXPECT_EQ(objective_.visited[3], (Doubles{0.125, 3.875}));
}

TEST_F(QvRegOptimizerTest, OutcomeMaxIterations) {
  EXPECT_TRUE(settings_.SetMaxIterations(7));
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptMaxIterations);
  EXPECT_EQ(optimizer.GetLastIteration(), 7);
}

TEST_F(QvRegOptimizerTest, ConvergingInTheLastAllowedIterationIsConvergence) {
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  Criteria(4.1, 0.0, true);
  EXPECT_EQ(OutcomeOf(objective_), kOptLLConverged);
}

TEST_F(QvRegOptimizerTest, WithoutIterationsOutcome9KeepsTheStartAndInvertsItsInformation) {
  EXPECT_TRUE(settings_.SetMaxIterations(0));
  objective_.information = [](const Doubles&) { return Diagonal({4, 2}); };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptNoIterations);
  EXPECT_EQ(optimizer.GetLastIteration(), 0);
  EXPECT_EQ(optimizer.GetInitialLL(), -5.0);
  EXPECT_EQ(optimizer.GetCurrentLL(), kMissing) << "no step was made";
  EXPECT_EQ(objective_.beta, (Doubles{0, 4}));
  EXPECT_EQ(objective_.calls, (Calls{"set", "reset 0 0", "full", "clean"}));
  EXPECT_NEAR(optimizer.GetMatrix()->GetElem(0, 0), 0.25, 1e-15);
  EXPECT_NEAR(optimizer.GetMatrix()->GetElem(1, 1), 0.5, 1e-15);
}

TEST_F(QvRegOptimizerTest, AnInterceptOnlyModelHasNothingToIterate) {
  ScriptedObjective intercepts({0, 4}, 3);
  EXPECT_EQ(OutcomeOf(intercepts), kOptNoIterations);
  EXPECT_EQ(intercepts.Passes(), 1);
  ScriptedObjective slope({0, 4}, 2);
  EXPECT_EQ(OutcomeOf(slope), kOptMaxIterations) << "as many parameters as categories iterate";
}

TEST_F(QvRegOptimizerTest, WithoutAnInterceptAsFewParametersIterate) {
  settings_.SetInterceptUse(false);
  ScriptedObjective slopes({0, 4}, 3);
  EXPECT_EQ(OutcomeOf(slopes), kOptMaxIterations);
}

TEST_F(QvRegOptimizerTest, WithoutParametersThereIsOnePassAndNoInverse) {
  ScriptedObjective none({}, 2);
  settings_.SetInterceptUse(false);
  QvRegOptimizer optimizer = Make(none);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptNoIterations);
  EXPECT_EQ(none.Passes(), 1);
  EXPECT_EQ(optimizer.GetInitialLL(), -1.0);
  ASSERT_NE(optimizer.GetMatrix(), nullptr);
  EXPECT_EQ(optimizer.GetMatrix()->GetOrder(), 0);
}

TEST_F(QvRegOptimizerTest, AMissingNewLogLikelihoodIsNeverAccepted) {
  EXPECT_TRUE(settings_.SetMaxStepHalvingValue(2));
  objective_.trialLL = [](const Doubles& b) { return b == Doubles{0, 4} ? -5.0 : kMissing; };
  EXPECT_EQ(OutcomeOf(objective_), kOptStepHalvingFailed);
  EXPECT_EQ(objective_.beta, (Doubles{0, 4}));
}

TEST_F(QvRegOptimizerTest, AfterAMissingOneAnyNewLogLikelihoodIsAccepted) {
  objective_.trialLL = [](const Doubles& b) { return b == Doubles{0, 4} ? kMissing : -1e300; };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetInitialLL(), kMissing);
  EXPECT_EQ(optimizer.GetCurrentLL(), -1e300);
  EXPECT_EQ(objective_.beta, (Doubles{2, 2}));
}

TEST_F(QvRegOptimizerTest, ALogLikelihoodAbove0IsTakenAs0) {
  objective_.trialLL = [](const Doubles& b) { return b == Doubles{0, 4} ? 3.0 : 1.0; };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetInitialLL(), 0.0);
  EXPECT_EQ(optimizer.GetCurrentLL(), 0.0);
  EXPECT_EQ(optimizer.GetTotalStepHalvings(), 0) << "0 is not below 0";
}

TEST_F(QvRegOptimizerTest, ARelativeChangeFromALogLikelihoodOf0IsNeverBelowItsCriterion) {
  objective_.trialLL = [](const Doubles&) { return 0.0; };
  Criteria(kHuge, 0.0, false);
  EXPECT_EQ(OutcomeOf(objective_), kOptMaxIterations);
}

TEST_F(QvRegOptimizerTest, APassThatFailsEndsTheRunWithItsStatusAndNoInverse) {
  for (int pass = 1; pass <= 5; ++pass) {
    SCOPED_TRACE(pass);
    ScriptedObjective objective({0, 4}, 2);
    objective.information = [](const Doubles&) { return Diagonal({4, 4}); };
    objective.failingPass = pass;
    QvRegOptimizer optimizer = Make(objective);
    EXPECT_TRUE(optimizer.Estimate() == QvStatus(303, false));
    EXPECT_EQ(objective.Passes(), pass);
    EXPECT_EQ(objective.calls.back(), "clean");
    EXPECT_NE(optimizer.GetMatrix()->GetElem(0, 0), 0.25) << "nothing is inverted";
  }
}

TEST_F(QvRegOptimizerTest, WithScoresOfAnotherLengthThereIsNoStep) {
  objective_.scores = [](const Doubles&) { return Doubles{1}; };
  QvRegOptimizer optimizer = Make(objective_);
  EXPECT_TRUE(optimizer.Estimate() == QvStatus(305, false));
  EXPECT_EQ(objective_.beta, (Doubles{0, 4}));
}

TEST_F(QvRegOptimizerTest, AnotherMethodIsForTheFullPassesOnly) {
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodFisherScoring, 0);
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.calls,
            (Calls{"set", "reset 1 0", "full", "reset 0 0", "ll", "reset 1 0", "full", "clean"}));
}

TEST_F(QvRegOptimizerTest, AHybridSwitchesAtItsIteration) {
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodHybrid, 2);
  EXPECT_TRUE(settings_.SetMaxIterations(3));
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.calls,
            (Calls{"set", "reset 0 0", "full",                                   //
                   "reset 0 0", "ll", "reset 0 0", "full",                       // 1
                   "reset 0 0", "ll", "reset 0 0", "full", "reset 1 0", "full",  // 2
                   "reset 0 0", "ll", "reset 1 0", "full",                       // 3
                   "clean"}));
  EXPECT_EQ(optimizer.GetOutcome(), kOptMaxIterations);
  EXPECT_EQ(optimizer.GetLastIteration(), 3);
}

TEST_F(QvRegOptimizerTest, AHybridThatConvergesGoesOnWithTheOtherMethod) {
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodHybrid, 50);
  EXPECT_TRUE(settings_.SetMaxIterations(60));
  Criteria(4.1, 4.1, true);
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.calls,
            (Calls{"set", "reset 0 0", "full",                                   //
                   "reset 0 0", "ll", "reset 0 0", "full", "reset 1 0", "full",  // converged
                   "reset 0 0", "ll", "reset 1 0", "full",                       // converged again
                   "clean"}));
  EXPECT_EQ(optimizer.GetOutcome(), kOptBothConverged);
  EXPECT_EQ(optimizer.GetLastIteration(), 2);
}

TEST_F(QvRegOptimizerTest, AHybridWhoseOtherMatrixIsSingularEndsWithOutcome4) {
  int fullPasses = 0;
  objective_.information = [&fullPasses](const Doubles&) {
    return Diagonal({1, ++fullPasses == 3 ? 0.0 : 1.0});  // the pass after the switch
  };
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodHybrid, 1);
  EXPECT_TRUE(settings_.SetMaxIterations(9));
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(optimizer.GetOutcome(), kOptHessianSingular);
  EXPECT_EQ(optimizer.GetLastIteration(), 1);
}

TEST_F(QvRegOptimizerTest, AHybridStopsOnAnyOtherOutcome) {
  objective_.information = [](const Doubles& b) { return Diagonal({1, b[1] == 2.0 ? 0.0 : 1.0}); };
  for (const int switchIteration : {1, 50}) {
    ScriptedObjective objective({0, 4}, 2);
    objective.information = objective_.information;
    QvRegOptimizer optimizer = Make(objective);
    optimizer.SetMethod(QvConst::QvMethodHybrid, switchIteration);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    EXPECT_EQ(optimizer.GetOutcome(), kOptHessianSingular);
    EXPECT_EQ(objective.Passes(), 3) << "no pass with the other method";
  }
}

TEST_F(QvRegOptimizerTest, APassThatFailsAtTheSwitchEndsTheRun) {
  objective_.failingPass = 4;
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodHybrid, 1);
  EXPECT_TRUE(optimizer.Estimate() == QvStatus(303, false));
  EXPECT_EQ(objective_.Passes(), 4);
}

TEST_F(QvRegOptimizerTest, AHybridWithoutASwitchIterationKeepsItsMethod) {
  QvRegOptimizer optimizer = Make(objective_);
  optimizer.SetMethod(QvConst::QvMethodHybrid, 0);
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  EXPECT_TRUE(optimizer.Estimate().IsOK());
  EXPECT_EQ(objective_.calls,
            (Calls{"set", "reset 2 0", "full", "reset 0 0", "ll", "reset 2 0", "full", "clean"}));
}

}  // namespace
