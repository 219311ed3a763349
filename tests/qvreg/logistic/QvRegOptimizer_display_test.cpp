// What an estimation prints of itself.
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using qvtest::ScriptedObjective;

std::size_t CountOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

class OptimizerDisplayTest : public ::testing::Test {
 protected:
  OptimizerDisplayTest() {
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetMaxIterations(1));
  }
  ~OptimizerDisplayTest() override { QvComponentDisplay::SetDiagnosticDisplay(false); }

  std::string Run(QvConst::QvEstimationMethod method = QvConst::QvMethodNewtonRaphson,
                  int switchIteration = 0) {
    ScriptedObjective objective({0, 4}, 2);
    QvRegOptimizer optimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                             objective.beta, cancel_, nullptr, 1);
    optimizer.SetMethod(method, switchIteration);
    return qvtest::OutputOf([&optimizer] { optimizer.Estimate(); });
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
};

TEST_F(OptimizerDisplayTest, PrintsNothingUnlessSwitchedOn) {
  EXPECT_FALSE(QvComponentDisplay::IsDiagnosticDisplay());
  EXPECT_EQ(Run(), "");
}

TEST_F(OptimizerDisplayTest, PrintsEveryStepWhenSwitchedOn) {
  QvComponentDisplay::SetDiagnosticDisplay(true);
  const std::string text = Run();
  EXPECT_TRUE(qvtest::HoldsInOrder(
      text, {"fLastIter", "stepHalvingCnt", "fvBeta", "newLL", "Computed Hessian:",
             "In QvRegOptimizer::Estimate() ...", "Cholesky factor of the Hessian:",
             "Inverse of Hessian for final parameter estimates:", "scripted statistics 0"}))
      << text;
}

TEST_F(OptimizerDisplayTest, TheSwitchIsForEveryEstimationAndBothWays) {
  QvComponentDisplay::SetDiagnosticDisplay(true);
  EXPECT_NE(Run(), "");
  EXPECT_NE(Run(), "");
  QvComponentDisplay::SetDiagnosticDisplay(false);
  EXPECT_EQ(Run(), "");
}

TEST_F(OptimizerDisplayTest, PrintsTheMatrixOfEveryIterationAndNoOther) {
  QvComponentDisplay::SetDiagnosticDisplay(true);
  EXPECT_TRUE(settings_.SetMaxIterations(3));
  EXPECT_EQ(CountOf("Computed Hessian:", Run()), 3U) << "not that of the starting values";
  EXPECT_EQ(CountOf("Computed Hessian:", Run(QvConst::QvMethodHybrid, 2)), 3U)
      << "not that of the method switched to";
  EXPECT_TRUE(settings_.SetMaxIterations(0));
  const std::string text = Run();
  EXPECT_EQ(CountOf("Computed Hessian:", text), 0U);
  EXPECT_EQ(CountOf("Cholesky factor of the Hessian:", text), 1U);
}

}  // namespace
