#include "host/fit/IterationListener.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"

namespace qvhost {
namespace {

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
  listener.GoOnFrom(20);
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
  listener.GoOnFrom(2);
  for (int i = 0; i <= 1; ++i) {
    VectorReport report(i, 2.0 + i);
    listener.ReportProgress(&report);
  }
  EXPECT_EQ(listener.History().LastStep(), std::vector<double>{1.0});
  EXPECT_TRUE(listener.History().IsGrowing()) << "three steps, two of them before";
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
