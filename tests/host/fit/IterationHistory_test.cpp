#include "host/fit/IterationHistory.h"

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"

namespace qvhost {
namespace {

using Doubles = std::vector<double>;

constexpr double kFirst = -1000.0;  // Log-likelihood; a change of 1e-5 is negligible beside it.

/// The history of some iterations, from a start on.
IterationHistory After(int iterations, const std::function<double(int)>& logLikelihood,
                       const std::function<Doubles(int)>& estimates) {
  IterationHistory history;
  for (int i = 0; i <= iterations; ++i) {
    history.Add(i == 0 ? kFirst : logLikelihood(i), estimates(i));
  }
  return history;
}

double Constant(int /*iteration*/) { return -10.0; }
Doubles Growing(int iteration) { return {1.0 * iteration}; }

TEST(IterationHistory, IsEmptyAtFirst) {
  const IterationHistory history;
  EXPECT_TRUE(history.IsEmpty());
  EXPECT_FALSE(history.IsStationary());
  EXPECT_FALSE(history.IsGrowing());
  EXPECT_EQ(history.LastStep(), Doubles{});
}

TEST(IterationHistory, IsStationaryAfterThreeSmallChanges) {
  const auto rising = [](double gain) {
    return [gain](int iteration) { return -10.0 + gain * iteration; };
  };
  EXPECT_TRUE(After(5, rising(0.99e-5), Growing).IsStationary());
  EXPECT_FALSE(After(5, rising(1.01e-5), Growing).IsStationary());
  EXPECT_FALSE(After(5, rising(-1.01e-5), Growing).IsStationary());
  EXPECT_TRUE(After(4, Constant, Growing).IsStationary());
  EXPECT_FALSE(After(3, Constant, Growing).IsStationary()) << "the first step was a long one";
}

TEST(IterationHistory, MeasuresAChangeByTheFirstLogLikelihood) {
  const IterationHistory history = After(1, Constant, Growing);
  EXPECT_TRUE(history.IsNegligible(0.99e-5));
  EXPECT_FALSE(history.IsNegligible(1.01e-5));
  EXPECT_FALSE(history.IsNegligible(-1.01e-5));
}

TEST(IterationHistory, GrowsBySimilarSteps) {
  const IterationHistory history = After(6, Constant, [](int i) {
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
  EXPECT_FALSE(After(2, Constant, Growing).IsGrowing());
  EXPECT_TRUE(After(3, Constant, Growing).IsGrowing());
}

TEST(IterationHistory, AnIterationThatChangesNothingIsNone) {
  IterationHistory history = After(4, Constant, Growing);
  history.Add(-10.0, {4.0});
  EXPECT_EQ(history.LastStep(), Doubles{1.0});
  EXPECT_TRUE(history.IsGrowing());
}

TEST(IterationHistory, KeepsTheFirstAndTheLatestCandidate) {
  const auto faster = [](int i) { return Doubles{i + 0.01 * i * i}; };
  IterationHistory history = After(9, Constant, faster);
  ASSERT_EQ(history.Candidates().size(), 2U);
  EXPECT_NEAR(history.Candidates()[0].step[0], 1.07, 1e-12)
      << "iteration 4, the first stationary one";
  EXPECT_NEAR(history.Candidates()[1].step[0], 1.17, 1e-12);
  EXPECT_EQ(history.Candidates()[1].growth, history.Growth());
  history.ClearCandidates();
  EXPECT_TRUE(history.Candidates().empty());
  history.Add(-10.0, faster(10));
  ASSERT_EQ(history.Candidates().size(), 1U);
  EXPECT_NEAR(history.Candidates()[0].step[0], 1.19, 1e-12);
}

TEST(IterationHistory, HasNoCandidateWhileTheLogLikelihoodRises) {
  EXPECT_TRUE(After(
                  9, [](int i) { return -10.0 + i; }, Growing)
                  .Candidates()
                  .empty());
  EXPECT_TRUE(After(9, Constant, [](int i) { return Doubles{std::exp(-i)}; }).Candidates().empty());
}

/// A report of the library's measures with these values.
class FixedReport : public ProgressReport {
 public:
  FixedReport(int iteration, int halvings, double logLikelihood)
      : iteration_(iteration), halvings_(halvings), logLikelihood_(logLikelihood) {}

  int DiscreteMeasure(const std::string& name) override {
    if (name == "iterNum") return iteration_;
    return name == "stepHalving" ? halvings_ : 0;
  }
  double ScaleMeasure(const std::string& name) override {
    return name == "loglik" ? logLikelihood_ : 0.0;
  }

 private:
  int iteration_;
  int halvings_;
  double logLikelihood_;
};

/// The same with an estimate.
class VectorReport : public ProgressReportVect {
 public:
  VectorReport(int iteration, double estimate) : iteration_(iteration), estimates_{estimate} {}

  int DiscreteMeasure(const std::string& name) override {
    return name == "iterNum" ? iteration_ : 0;
  }
  double ScaleMeasure(const std::string& name) override { return name == "loglik" ? -2.5 : 0.0; }
  const std::vector<double>* VectorMeasure(const std::string& name) override {
    return name == "paramEstim" ? &estimates_ : nullptr;
  }

 private:
  int iteration_;
  std::vector<double> estimates_;
};

std::string StageAfter(FixedReport report) {
  IterationListener listener([] {});
  listener.ReportProgress(&report);
  return listener.Stage();
}

TEST(IterationListener, EstimatesBeforeTheFirstReport) {
  EXPECT_EQ(IterationListener([] {}).Stage(), "estimating");
}

TEST(IterationListener, NamesTheIterationThatBegins) {
  EXPECT_EQ(StageAfter({0, 0, -123.456789}), "iteration 1, log-likelihood -123.457");
  EXPECT_EQ(StageAfter({7, 0, -1234567.0}), "iteration 8, log-likelihood -1.23457e+06");
}

TEST(IterationListener, CountsTheStepHalvings) {
  EXPECT_EQ(StageAfter({3, 1, -2.5}), "iteration 4, log-likelihood -2.5, 1 step-halving");
  EXPECT_EQ(StageAfter({3, 4, -2.5}), "iteration 4, log-likelihood -2.5, 4 step-halvings");
}

TEST(IterationListener, CountsOnWhereAnotherBuildEnded) {
  IterationListener listener([] {});
  listener.ContinueFrom(20);
  FixedReport start(0, 0, -2.5);
  listener.ReportProgress(&start);
  EXPECT_EQ(listener.Stage(), "iteration 21, log-likelihood -2.5");
  FixedReport next(3, 0, -2.5);
  listener.ReportProgress(&next);
  EXPECT_EQ(listener.Stage(), "iteration 24, log-likelihood -2.5");
}

TEST(IterationListener, KeepsTheIterationsOfAllBuilds) {
  IterationListener listener([] {});
  EXPECT_TRUE(listener.History().IsEmpty());
  for (int i = 0; i <= 2; ++i) {
    VectorReport report(i, 1.0 * i);
    listener.ReportProgress(&report);
  }
  EXPECT_FALSE(listener.History().IsGrowing());
  listener.ContinueFrom(2);
  for (int i = 0; i <= 1; ++i) {
    VectorReport report(i, 2.0 + i);
    listener.ReportProgress(&report);
  }
  EXPECT_EQ(listener.History().LastStep(), std::vector<double>{1.0});
  EXPECT_TRUE(listener.History().IsGrowing()) << "three steps, two of them before";
}

TEST(IterationListener, PointsGoOnOverBuildsAndCountWhereTheyMeetOnce) {
  IterationListener listener([] {});
  const auto report = [&](int iteration, int halvings, double logLikelihood) {
    FixedReport fixed(iteration, halvings, logLikelihood);
    listener.ReportProgress(&fixed);
  };
  report(0, 0, -10.0);
  report(1, 3, -5.0);
  listener.ContinueFrom(1);
  report(0, 0, -5.0);
  report(1, 0, -4.0);
  report(2, 1, -std::numeric_limits<double>::infinity());
  std::vector<std::array<double, 3>> points;
  for (const IterationPoint& point : listener.Points()) {
    points.push_back({static_cast<double>(point.iteration), point.logLikelihood,
                      static_cast<double>(point.halvings)});
  }
  const std::vector<std::array<double, 3>> expected = {
      {0.0, -10.0, 0.0}, {1.0, -5.0, 3.0}, {2.0, -4.0, 0.0}};
  EXPECT_EQ(points, expected);
}

TEST(IterationListener, TellsThatTheStageChanged) {
  int changes = 0;
  std::string seen;
  IterationListener listener([&] {
    ++changes;
    seen = listener.Stage();
  });
  FixedReport report(0, 0, -10.0);
  listener.ReportProgress(&report);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(seen, "iteration 1, log-likelihood -10");
}

}  // namespace
}  // namespace qvhost
