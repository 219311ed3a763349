// What a listener is told, and how a run is stopped, on made-up log-likelihoods.
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"
#include "qvreg/logistic/QvRegOptimizer.h"
#include "tests/qvreg/support/Cancellation.h"
#include "tests/qvreg/support/ScriptedObjective.h"

namespace {

using QvCommon::QvStatus;
using qvtest::CancelAtPoll;
using qvtest::ScriptedObjective;
using Doubles = std::vector<double>;

struct Report {
  int iteration;
  int stepHalvings;
  double logLikelihood;
  Doubles estimates;

  bool operator==(const Report&) const = default;
};

class JournalListener final : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* report) override {
    auto* vectors = dynamic_cast<ProgressReportVect*>(report);
    ASSERT_NE(vectors, nullptr);
    const Doubles* estimates = vectors->VectorMeasure("paramEstim");
    ASSERT_NE(estimates, nullptr);
    reports.push_back({report->DiscreteMeasure("iterNum"), report->DiscreteMeasure("stepHalving"),
                       report->ScaleMeasure("loglik"), *estimates});
    times.push_back(report->ScaleMeasure("time"));
    storage = estimates;
  }
  [[nodiscard]] std::vector<int> Iterations() const {
    std::vector<int> numbers;
    for (const Report& report : reports) numbers.push_back(report.iteration);
    return numbers;
  }

  std::vector<Report> reports;
  Doubles times;
  const Doubles* storage = nullptr;
};

/// The objective -1 - sum (beta - 2)^2 / 2 from (0, 4), which the first step solves.
class OptimizerReportTest : public ::testing::Test {
 protected:
  OptimizerReportTest() {
    EXPECT_TRUE(settings_.SetLLConCriterion(0.0));
    EXPECT_TRUE(settings_.SetParamEstConCriterion(0.0));
    EXPECT_TRUE(settings_.SetMaxIterations(5));
  }

  QvStatus Run(int frequency) {
    QvRegOptimizer optimizer(settings_, &objective_.model, &objective_.Handler(),
                             &objective_.Stats(), objective_.beta, cancel_, &listener_, frequency);
    return optimizer.Estimate();
  }

  QvLogRegSettings settings_;
  QvCancelInfo cancel_;
  ScriptedObjective objective_{{0, 4}, 2};
  JournalListener listener_;
};

TEST_F(OptimizerReportTest, TheFirstReportIsOfTheStartingEstimates) {
  EXPECT_TRUE(Run(1).IsOK());
  ASSERT_FALSE(listener_.reports.empty());
  EXPECT_EQ(listener_.reports[0], (Report{0, 0, -5.0, {0, 4}}));
  EXPECT_EQ(listener_.reports[1], (Report{1, 0, -1.0, {2, 2}}));
  EXPECT_EQ(listener_.storage, &objective_.beta);
}

TEST_F(OptimizerReportTest, AtFrequency1EveryIterationIsReportedAndNoneTwice) {
  EXPECT_TRUE(Run(1).IsOK());
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST_F(OptimizerReportTest, AtAnotherFrequencyTheLastIterationIsReportedToo) {
  EXPECT_TRUE(Run(2).IsOK());
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0, 2, 4, 5}));
}

TEST_F(OptimizerReportTest, ALastIterationThatWasDueIsNotReportedTwice) {
  EXPECT_TRUE(settings_.SetMaxIterations(4));
  EXPECT_TRUE(Run(2).IsOK());
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0, 2, 4}));
}

TEST_F(OptimizerReportTest, ARareReportIsOfTheStartAndTheEnd) {
  EXPECT_TRUE(Run(1000).IsOK());
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0, 5}));
}

TEST_F(OptimizerReportTest, WithoutIterationsOnlyTheStartIsReported) {
  EXPECT_TRUE(settings_.SetMaxIterations(0));
  EXPECT_TRUE(Run(1).IsOK());
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0}));
}

TEST_F(OptimizerReportTest, ReportsTheStepHalvingsOfTheIteration) {
  objective_.trialLL = [](const Doubles& b) { return b[0] > 0.6 ? -100.0 : -5.0 + b[0]; };
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  EXPECT_TRUE(Run(1).IsOK());
  EXPECT_EQ(listener_.reports.back(), (Report{1, 2, -4.5, {0.5, 3.5}}));
}

TEST_F(OptimizerReportTest, TheExtraReportAtTheEndKeepsTheStepHalvings) {
  objective_.trialLL = [](const Doubles& b) { return b[0] > 0.6 ? -100.0 : -5.0 + b[0]; };
  EXPECT_TRUE(settings_.SetMaxIterations(1));
  EXPECT_TRUE(Run(10).IsOK());
  EXPECT_EQ(listener_.reports.back(), (Report{1, 2, -4.5, {0.5, 3.5}}));
}

TEST_F(OptimizerReportTest, AStepThatFailedIsReportedWithAllItsHalvings) {
  EXPECT_TRUE(settings_.SetMaxStepHalvingValue(4));
  objective_.trialLL = [](const Doubles& b) { return b[0] == 0.0 ? -5.0 : -6.0; };
  EXPECT_TRUE(Run(1).IsOK());
  EXPECT_EQ(listener_.reports.back(), (Report{1, 4, -5.0, {0, 4}}));
}

TEST_F(OptimizerReportTest, AFailedPassIsNotReported) {
  objective_.failingPass = 4;  // the trial of iteration 2
  EXPECT_TRUE(Run(1) == QvStatus(303, false));
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0, 1}));
  listener_.reports.clear();
  objective_.failingPass = objective_.Passes() + 1;
  EXPECT_TRUE(Run(1) == QvStatus(303, false));
  EXPECT_TRUE(listener_.reports.empty()) << "not even the start";
}

TEST_F(OptimizerReportTest, AfterAnErrorThereIsNoExtraReport) {
  objective_.failingPass = 6;  // the trial of iteration 3
  EXPECT_TRUE(Run(100) == QvStatus(303, false));
  EXPECT_EQ(listener_.Iterations(), (std::vector<int>{0}));
}

TEST_F(OptimizerReportTest, TimeIsInSecondsAndDoesNotGoBack) {
  const std::clock_t start = std::clock();
  objective_.afterPass = [](int) {
    // A fiftieth of a second of work per pass.
    const std::clock_t until = std::clock() + CLOCKS_PER_SEC / 50;
    while (std::clock() < until) {
    }
  };
  EXPECT_TRUE(settings_.SetMaxIterations(2));
  EXPECT_TRUE(Run(1).IsOK());
  const double total = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  ASSERT_EQ(listener_.times.size(), 3U);
  EXPECT_GE(listener_.times[0], 0.02 - 1e-9);
  EXPECT_GE(listener_.times[1], listener_.times[0] + 0.04 - 1e-9);
  EXPECT_GE(listener_.times[2], listener_.times[1] + 0.04 - 1e-9);
  EXPECT_LE(listener_.times[2], total);
}

class OptimizerCancelTest : public OptimizerReportTest {
 protected:
  OptimizerCancelTest() { EXPECT_TRUE(settings_.SetMaxIterations(3)); }

  /// A run whose host says yes at one question; the optimizer's status.
  QvStatus RunUntil(int poll, int& polls) {
    CancelAtPoll query(poll);
    cancel_.SetCancelPtr(&query);
    const QvStatus status = Run(1);
    polls = query.Polls();
    return status;
  }
};

TEST_F(OptimizerCancelTest, TheHostIsAskedBeforeAnIterationBeforeATrialAndAfterIt) {
  int polls = 0;
  EXPECT_TRUE(RunUntil(0, polls).IsOK());
  EXPECT_GE(polls, 3 * 3);
}

TEST_F(OptimizerCancelTest, AYesToAnyQuestionEndsTheRunWithStatus1) {
  int total = 0;
  ASSERT_TRUE(RunUntil(0, total).IsOK());
  for (int poll = 1; poll <= total; ++poll) {
    SCOPED_TRACE(poll);
    ScriptedObjective objective({0, 4}, 2);
    objective.information = [](const Doubles&) {
      QvCommon::QvSymMatrix matrix(2);
      matrix.SetElem(0, 0, 4.0);
      matrix.SetElem(1, 1, 4.0);
      return matrix;
    };
    CancelAtPoll query(poll);
    QvCancelInfo cancel(&query);
    QvRegOptimizer optimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                             objective.beta, cancel, nullptr, 1);
    EXPECT_TRUE(optimizer.Estimate() == QvStatus(1, false));
    EXPECT_EQ(query.Polls(), poll) << "nobody is asked after a yes";
    EXPECT_EQ(objective.calls.back(), "clean");
    EXPECT_NE(optimizer.GetMatrix()->GetElem(0, 0), 0.25) << "nothing is inverted";
  }
}

TEST_F(OptimizerCancelTest, ACancelFlagEndsTheRunAfterTheFirstPass) {
  cancel_.SetCancel();
  EXPECT_TRUE(Run(1) == QvStatus(1, false));
  EXPECT_EQ(objective_.Passes(), 1);
}

TEST_F(OptimizerCancelTest, ACancelWithinAnyPassEndsTheRunWithStatus1) {
  for (int pass = 1; pass <= 7; ++pass) {
    SCOPED_TRACE(pass);
    ScriptedObjective objective({0, 4}, 2);
    QvCancelInfo cancel;
    objective.afterPass = [&](int done) {
      if (done == pass) cancel.SetCancel();
    };
    QvRegOptimizer optimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                             objective.beta, cancel, nullptr, 1);
    EXPECT_TRUE(optimizer.Estimate() == QvStatus(1, false));
    EXPECT_LE(objective.Passes(), pass);
  }
}

TEST_F(OptimizerCancelTest, WithoutIterationsACancelCountsAllTheSame) {
  EXPECT_TRUE(settings_.SetMaxIterations(0));
  int polls = 0;
  EXPECT_TRUE(RunUntil(1, polls) == QvStatus(1, false));
}

TEST_F(OptimizerCancelTest, AYesWhileALargeMatrixIsFactoredOrInvertedEndsTheRun) {
  constexpr int kOrder = 300;
  int total = 0;
  for (int poll = 0; poll == 0 || poll <= total; ++poll) {
    SCOPED_TRACE(poll);
    ScriptedObjective objective(Doubles(kOrder, 0.0), 2);
    CancelAtPoll query(poll);
    QvCancelInfo cancel(&query);
    QvRegOptimizer optimizer(settings_, &objective.model, &objective.Handler(), &objective.Stats(),
                             objective.beta, cancel, nullptr, 1);
    const QvStatus status = optimizer.Estimate();
    EXPECT_EQ(status.IsOK(), poll == 0);
    if (poll == 0) {
      total = query.Polls();
    } else {
      EXPECT_TRUE(status == QvStatus(1, false));
    }
  }
  int ofSmall = 0;
  ASSERT_TRUE(RunUntil(0, ofSmall).IsOK());
  EXPECT_GT(total, ofSmall) << "nobody was asked within the matrix";
}

}  // namespace
