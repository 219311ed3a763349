#include "host/fit/StatusText.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"

namespace qvhost {
namespace {

using QvCommon::QvStatus;

TEST(StatusText, HasASentenceForEveryCode) {
  std::set<std::string> texts;
  std::size_t codes = 0;
  for (const long code : {QvStatusCode::kOK,
                          QvStatusCode::kCancelled,
                          QvStatusCode::kNoDependent,
                          QvStatusCode::kEmptyModel,
                          QvStatusCode::kStageMissing,
                          QvStatusCode::kNoFurtherPass,
                          QvStatusCode::kTooManyParameters,
                          QvStatusCode::kDataProcessed,
                          QvStatusCode::kNoRecords,
                          QvStatusCode::kNothingToFit,
                          QvStatusCode::kNoParameters,
                          QvStatusCode::kAlreadyBuilt,
                          QvStatusCode::kNotBuilt,
                          QvStatusCode::kRecordMissing,
                          QvStatusCode::kDataNotProcessed,
                          QvStatusCode::kUnreadableRecord,
                          QvStatusCode::kShortRecord,
                          QvStatusCode::kBadCategory,
                          QvStatusCode::kOneCategory,
                          QvStatusCode::kReferenceNotObserved}) {
    const std::string text = StatusText(QvStatus(code, false));
    EXPECT_TRUE(text.ends_with('.')) << text;
    EXPECT_EQ(text.find("unknown"), std::string::npos) << code;
    texts.insert(text);
    ++codes;
  }
  EXPECT_EQ(texts.size(), codes) << "each says something of its own";
}

TEST(StatusText, TellsTheNumberOfParameters) {
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 50000);
  status.SetDiscreteDatum(1, 46339);
  EXPECT_EQ(
      StatusText(status),
      "The model has 50000 parameters, and 46339 is the most it may have. Leave out factors or "
      "crossings with many levels.");
  EXPECT_EQ(StatusText(QvStatus(QvStatusCode::kTooManyParameters, false)),
            "The model needs more memory than there is. Leave out factors or crossings with many "
            "levels.");
}

TEST(StatusText, NamesACodeItDoesNotKnow) {
  EXPECT_EQ(StatusText(QvStatus(999, false)),
            "The run stopped with the unknown status 999. This is a defect of qvreg; please report "
            "it.");
}

TEST(StatusText, MemoryThatRanOutWithinTheBoundIsNoMatterOfTheBound) {
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 46339);
  status.SetDiscreteDatum(1, 46339);
  EXPECT_EQ(StatusText(status), StatusText(QvStatus(QvStatusCode::kTooManyParameters, false)));
}

struct Ending {
  QvOptimizationOutcome outcome;
  const char* name;
  const char* afterOne;
  const char* afterTwelve;
};

class OutcomeText : public ::testing::TestWithParam<Ending> {};

TEST_P(OutcomeText, HasAWordAndASentence) {
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
     "Stopped after 1 iteration: no shorter step raised the log-likelihood enough.",
     "Stopped after 12 iterations: no shorter step raised the log-likelihood enough."},
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

INSTANTIATE_TEST_SUITE_P(Outcomes, OutcomeText, ::testing::ValuesIn(kEndings),
                         [](const auto& ending) { return std::string(ending.param.name); });

TEST(OutcomeTexts, AreAllDifferent) {
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
