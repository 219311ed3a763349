// The diagnosis of separated data, on made-up log-likelihoods.
#include <limits>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::ScriptedObjective;

constexpr double kHuge = std::numeric_limits<double>::max();

/// The extreme probabilities and the second pivot of an information matrix whose first is 1.
struct Diagnosis {
  double minObserved;
  double maxObserved;
  double minComputed;
  double secondPivot;
  QvOptimizationOutcome outcome;
};

void PrintTo(const Diagnosis& d, std::ostream* out) {
  *out << "observed " << d.minObserved << " to " << d.maxObserved << ", computed from "
       << d.minComputed << ", pivot " << d.secondPivot << ": outcome " << d.outcome;
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
    objective_.information = [pivot = diagnosis.secondPivot](const std::vector<double>&) {
      QvSymMatrix matrix(2);
      matrix.SetElem(0, 0, 1.0);
      matrix.SetElem(1, 1, pivot);
      return matrix;
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

TEST_P(OptimizerSeparationTest, FollowsFromExtremesAndPivots) {
  Script(GetParam());
  const int iterations = Run();
  EXPECT_EQ(outcome_, GetParam().outcome);
  EXPECT_EQ(iterations, GetParam().outcome == kOptMaxIterations ? 3 : 1);
}

TEST_P(OptimizerSeparationTest, WithoutTheTestOnlyASingularMatrixIsNoticed) {
  EXPECT_TRUE(settings_.SetStartingIteration(0));
  Script(GetParam());
  Run();
  EXPECT_EQ(outcome_, GetParam().secondPivot > 0.0 ? kOptMaxIterations : kOptHessianSingular);
}

// The certainty is 0.99; pivots are close to singular up to a ratio of 0.000316.
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
