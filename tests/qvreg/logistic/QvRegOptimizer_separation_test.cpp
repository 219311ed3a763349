// The diagnosis of separated data, on made-up log-likelihoods.
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::ScriptedObjective;

constexpr double kHuge = std::numeric_limits<double>::max();

/// The extreme probabilities, and the measure of an information matrix of two columns.
struct Diagnosis {
  double minObserved;
  double maxObserved;
  double minComputed;
  double measure;
  QvOptimizationOutcome outcome;
};

/// Two columns in units of their own; what is left of the second without the first is `measure` of
/// its length.
QvSymMatrix InformationOf(double measure, double firstUnit = 1.0, double secondUnit = 1.0) {
  QvSymMatrix matrix(2);
  matrix.SetElem(0, 0, firstUnit * firstUnit);
  matrix.SetElem(1, 0, std::sqrt(1.0 - measure * measure) * firstUnit * secondUnit);
  matrix.SetElem(1, 1, secondUnit * secondUnit);
  return matrix;
}

void PrintTo(const Diagnosis& d, std::ostream* out) {
  *out << "observed " << d.minObserved << " to " << d.maxObserved << ", computed from "
       << d.minComputed << ", measure " << d.measure << ": outcome " << d.outcome;
}

class OptimizerSeparationTest : public ::testing::TestWithParam<Diagnosis> {
 protected:
  OptimizerSeparationTest() {
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetMaxIterations(3));
    EXPECT_TRUE(settings_.SetStartingIteration(1));
  }

  void Script(const Diagnosis& diagnosis) {
    objective_.minObserved = diagnosis.minObserved;
    objective_.maxObserved = diagnosis.maxObserved;
    objective_.minComputed = diagnosis.minComputed;
    objective_.information = [measure = diagnosis.measure](const std::vector<double>&) {
      return InformationOf(measure);
    };
    // Flat, so that every step is accepted.
    objective_.trialLL = [](const std::vector<double>&) { return -1.0; };
    objective_.scores = [](const std::vector<double>&) { return std::vector<double>{1e-3, 0}; };
  }
  int Run() {
    QvRegOptimizer optimizer(settings_, &objective_.model, &objective_.Handler(),
                             &objective_.Stats(), objective_.beta, cancel_, nullptr, 1);
    EXPECT_TRUE(optimizer.Estimate().IsOK());
    outcome_ = optimizer.GetOutcome();
    return optimizer.GetLastIteration();
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
  ScriptedObjective objective_{{0, 0}, 2};
  QvOptimizationOutcome outcome_ = kOptContinue;
};

TEST_P(OptimizerSeparationTest, FollowsFromExtremesAndMeasure) {
  Script(GetParam());
  const int iterations = Run();
  EXPECT_EQ(outcome_, GetParam().outcome);
  EXPECT_EQ(iterations, GetParam().outcome == kOptMaxIterations ? 3 : 1);
}

TEST_P(OptimizerSeparationTest, DoesNotDependOnUnits) {
  for (const double unit : {1e-9, 1e-3, 1e3, 1e9}) {
    SCOPED_TRACE(unit);
    for (const bool isFirst : {true, false}) {
      objective_.beta = {0, 0};
      Script(GetParam());
      objective_.information = [unit, isFirst](const std::vector<double>&) {
        return InformationOf(GetParam().measure, isFirst ? unit : 1.0, isFirst ? 1.0 : unit);
      };
      Run();
      EXPECT_EQ(outcome_, GetParam().outcome);
    }
  }
}

TEST_P(OptimizerSeparationTest, WithoutTheTestOnlyASingularMatrixIsNoticed) {
  EXPECT_TRUE(settings_.SetStartingIteration(0));
  Script(GetParam());
  Run();
  EXPECT_EQ(outcome_, GetParam().measure > 0.0 ? kOptMaxIterations : kOptHessianSingular);
}

// The certainty is 0.99; a matrix is close to singular up to a measure of 0.000316.
INSTANTIATE_TEST_SUITE_P(Diagnoses, OptimizerSeparationTest,
                         ::testing::Values(
                             // Every observed response is as good as certain, whatever the matrix.
                             Diagnosis{0.9901, 0.9999, 0.0001, 1.0, kOptCompleteSeparation},
                             Diagnosis{0.9901, 1.0, 0.0, 1e-5, kOptCompleteSeparation},
                             Diagnosis{1.0, 1.0, 0.0, 0.0, kOptCompleteSeparation},
                             // Nearly so.
                             Diagnosis{0.9899, 1.0, 0.0, 1.0, kOptMaxIterations},
                             // Certain responses alone do not matter while the matrix is sound.
                             Diagnosis{0.2, 0.9999, 0.0001, 0.00032, kOptMaxIterations},
                             // Close to singular, and some response certain or impossible.
                             Diagnosis{0.2, 0.9901, 0.3, 0.00031, kOptQuasiSeparation},
                             Diagnosis{0.2, 0.7, 0.0009, 0.00031, kOptQuasiSeparation},
                             Diagnosis{0.2, 0.9901, 0.3, 0.0, kOptQuasiSeparation},
                             // Close to singular, and nothing to blame.
                             Diagnosis{0.2, 0.9899, 0.0011, 0.00031, kOptHessianSingular},
                             Diagnosis{0.2, 0.5, 0.5, 0.0, kOptHessianSingular}));

/// With an intercept and a slope whose column is `mean` plus something of deviation 1.
class OptimizerCentringTest : public OptimizerSeparationTest {
 protected:
  void ScriptMean(double mean) {
    Script({0.2, 0.9999, 0.0001, 1.0, kOptMaxIterations});
    objective_.model.nBasicNonRedundant = 2;
    objective_.information = [mean](const std::vector<double>&) {
      QvSymMatrix matrix(2);
      matrix.SetElem(0, 0, 1.0);
      matrix.SetElem(1, 0, mean);
      matrix.SetElem(1, 1, mean * mean + 1.0);
      return matrix;
    };
  }
};

TEST_F(OptimizerCentringTest, AMeanIsNotNearlySingular) {
  for (const double mean : {1.0, 1e4, 1e5, -2e6}) {
    SCOPED_TRACE(mean);
    ScriptMean(mean);
    Run();
    EXPECT_EQ(outcome_, kOptMaxIterations);
  }
}

TEST_F(OptimizerCentringTest, WithoutAnInterceptItIs) {
  settings_.SetInterceptUse(false);
  ScriptMean(1e4);
  Run();
  EXPECT_EQ(outcome_, kOptQuasiSeparation);
}

TEST_F(OptimizerCentringTest, AMeanThatHidesTheRestInRoundingIsSingular) {
  ScriptMean(1e8);
  Run();
  EXPECT_EQ(outcome_, kOptQuasiSeparation);
}

class OptimizerSeparationStartTest : public OptimizerSeparationTest {};

TEST_P(OptimizerSeparationStartTest, StartsAtItsIteration) {
  EXPECT_TRUE(settings_.SetMaxIterations(9));
  EXPECT_TRUE(settings_.SetStartingIteration(4));
  Script(GetParam());
  EXPECT_EQ(Run(), 4);
  EXPECT_EQ(outcome_, kOptCompleteSeparation);
  // Full passes of iterations 0 to 3 without, of iteration 4 with the extremes.
  std::vector<bool> flags;
  for (const std::string& call : objective_.calls) {
    if (call == "reset 0 1") flags.push_back(true);
  }
  EXPECT_EQ(flags.size(), 1U);
  EXPECT_EQ(objective_.calls[objective_.calls.size() - 3], "reset 0 1");
}

TEST_P(OptimizerSeparationStartTest, TakesPrecedenceOverConvergence) {
  EXPECT_TRUE(settings_.SetLLConCriterion(kHuge));
  EXPECT_TRUE(settings_.SetParamEstConCriterion(kHuge));
  Script(GetParam());
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(outcome_, kOptCompleteSeparation);
}

TEST_P(OptimizerSeparationStartTest, TakesPrecedenceOverTheLastIteration) {
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  Script(GetParam());
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(outcome_, kOptCompleteSeparation);
}

TEST_P(OptimizerSeparationStartTest, DoesNotHideAStepThatFailed) {
  EXPECT_TRUE(settings_.SetMaxStepHalvingValue(1));
  Script(GetParam());
  objective_.trialLL = [](const std::vector<double>& b) { return b[0] == 0.0 ? -1.0 : -2.0; };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(outcome_, kOptStepHalvingFailed);
}

INSTANTIATE_TEST_SUITE_P(Complete, OptimizerSeparationStartTest,
                         ::testing::Values(Diagnosis{0.999, 1.0, 0.0, 1.0,
                                                     kOptCompleteSeparation}));

}  // namespace
