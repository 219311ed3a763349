#include "host/fit/OptimizationEnding.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

struct Ending {
  QvOptimizationOutcome outcome;
  const char* name;
  const char* afterOne;
  const char* afterTwelve;
};

class OptimizationEnding : public ::testing::TestWithParam<Ending> {};

TEST_P(OptimizationEnding, HasAWordAndASentence) {
  EXPECT_EQ(OutcomeName(GetParam().outcome), GetParam().name);
  EXPECT_EQ(EndingText(GetParam().outcome, 1), GetParam().afterOne);
  EXPECT_EQ(EndingText(GetParam().outcome, 12), GetParam().afterTwelve);
}

constexpr Ending kEndings[] = {
    {kOptContinue, "not_finished", "Stopped after 1 iteration, not finished.",
     "Stopped after 12 iterations, not finished."},
    {kOptLLConverged, "loglik_converged",
     "Converged after 1 iteration: the log-likelihood settled.",
     "Converged after 12 iterations: the log-likelihood settled."},
    {kOptParamConverged, "parameters_converged",
     "Converged after 1 iteration: the estimates settled.",
     "Converged after 12 iterations: the estimates settled."},
    {kOptBothConverged, "both_converged",
     "Converged after 1 iteration: the log-likelihood and the estimates settled.",
     "Converged after 12 iterations: the log-likelihood and the estimates settled."},
    {kOptHessianSingular, "singular_information",
     "Stopped after 1 iteration: the information matrix is singular.",
     "Stopped after 12 iterations: the information matrix is singular."},
    {kOptStepHalvingFailed, "step_halving_failed",
     "Stopped after 1 iteration: no shorter step raised the log-likelihood.",
     "Stopped after 12 iterations: no shorter step raised the log-likelihood."},
    {kOptMaxIterations, "max_iterations",
     "Stopped after 1 iteration, the most allowed, before the estimates settled.",
     "Stopped after 12 iterations, the most allowed, before the estimates settled."},
    {kOptCompleteSeparation, "complete_separation",
     "Stopped after 1 iteration: the levels are completely separated.",
     "Stopped after 12 iterations: the levels are completely separated."},
    {kOptQuasiSeparation, "quasi_complete_separation",
     "Stopped after 1 iteration: the levels are quasi-completely separated.",
     "Stopped after 12 iterations: the levels are quasi-completely separated."},
    {kOptNoIterations, "no_iterations",
     "Nothing was iterated: the starting values are the estimates.",
     "Nothing was iterated: the starting values are the estimates."},
};

INSTANTIATE_TEST_SUITE_P(Outcomes, OptimizationEnding, ::testing::ValuesIn(kEndings),
                         [](const auto& ending) { return std::string(ending.param.name); });

TEST(OptimizationEndings, AreAllDifferent) {
  std::set<std::string> names;
  std::set<std::string> sentences;
  for (int outcome = kOptContinue; outcome <= kOptNoIterations; ++outcome) {
    names.insert(OutcomeName(static_cast<QvOptimizationOutcome>(outcome)));
    sentences.insert(EndingText(static_cast<QvOptimizationOutcome>(outcome), 3));
  }
  EXPECT_EQ(names.size(), 10U);
  EXPECT_EQ(sentences.size(), 10U);
}

}  // namespace
}  // namespace qvhost
