#include "host/fit/IterationListener.h"

#include <gtest/gtest.h>

#include "qvreg/component/ProgressReport.h"

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
