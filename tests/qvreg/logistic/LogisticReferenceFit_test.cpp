// The logistic model against values from outside: tests/reference/README.md says where they are
// from.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/qvreg.h"
#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceRun.h"

namespace {

using qvtest::DigitsOf;
using qvtest::kAllDigits;
using qvtest::LogisticReferenceRun;
using qvtest::ReferenceCase;
using qvtest::ReferenceNames;
using qvtest::ReferenceValues;

/// The least right digits asked of any value of any case.
constexpr double kLeastDigits = 8.0;

/// Right decimal digits of the worst value of each kind.
struct RightDigits {
  double estimates = kAllDigits;
  double errors = kAllDigits;  ///< Standard errors.
  double loglik = kAllDigits;  ///< Initial and final.
  double rSquares = kAllDigits;

  [[nodiscard]] double Worst() const { return std::min({estimates, errors, loglik, rSquares}); }
};

RightDigits Compare(const ReferenceValues& got, const ReferenceValues& expected) {
  RightDigits digits;
  for (std::size_t i = 0; i < expected.estimates.size(); ++i) {
    digits.estimates =
        std::min(digits.estimates, DigitsOf(got.estimates[i], expected.estimates[i]));
    digits.errors =
        std::min(digits.errors, DigitsOf(got.standardErrors[i], expected.standardErrors[i]));
  }
  digits.loglik = std::min(DigitsOf(got.loglikInitial, expected.loglikInitial),
                           DigitsOf(got.loglik, expected.loglik));
  digits.rSquares = std::min({DigitsOf(got.coxSnell, expected.coxSnell),
                              DigitsOf(got.nagelkerke, expected.nagelkerke),
                              DigitsOf(got.mcFadden, expected.mcFadden)});
  return digits;
}

/// Everything that has to be the same to the letter.
void ExpectSameLayout(const ReferenceValues& got, const ReferenceValues& expected) {
  EXPECT_EQ(got.categories, expected.categories);
  EXPECT_EQ(got.recordsUsed, expected.recordsUsed);
  EXPECT_EQ(got.redundant, expected.redundant);
  EXPECT_EQ(got.classification, expected.classification);
  ASSERT_EQ(got.labels.size(), expected.labels.size());
  for (std::size_t i = 0; i < expected.labels.size(); ++i) {
    EXPECT_EQ(got.labels[i], expected.labels[i]) << "parameter " << i;
  }
  ASSERT_EQ(got.estimates.size(), expected.estimates.size());
  for (std::size_t i = 0; i < expected.estimates.size(); ++i) {
    if (!expected.redundant[i]) continue;
    EXPECT_EQ(got.estimates[i], 0.0) << "redundant parameter " << i;
    EXPECT_EQ(got.standardErrors[i], 0.0) << "redundant parameter " << i;
  }
}

/// A case by name, with the tabulator or without.
using Fitted = std::tuple<std::string, bool>;

std::string NameOf(const testing::TestParamInfo<Fitted>& info) {
  return qvtest::NameInFolder(std::get<0>(info.param)) +
         (std::get<1>(info.param) ? "_in_memory" : "_record_by_record");
}

/// The table of right digits, printed worst first after the last case.
class DigitsTable {
 public:
  void Add(const std::string& name, const RightDigits& digits, int iterations) {
    lines_.push_back({name, digits, iterations});
  }

  void Print() {
    std::sort(lines_.begin(), lines_.end(),
              [](const Line& a, const Line& b) { return a.digits.Worst() < b.digits.Worst(); });
    std::printf("%-44s estimates  errors  loglik  R squares  iterations\n", "Right digits");
    for (const Line& line : lines_) {
      std::printf("%-44s      %4.1f    %4.1f    %4.1f       %4.1f  %10d\n", line.name.c_str(),
                  line.digits.estimates, line.digits.errors, line.digits.loglik,
                  line.digits.rSquares, line.iterations);
    }
  }

 private:
  struct Line {
    std::string name;
    RightDigits digits;
    int iterations;
  };
  std::vector<Line> lines_;
};

class LogisticReferenceFitTest : public testing::TestWithParam<Fitted> {
 protected:
  static void SetUpTestSuite() { table_ = DigitsTable(); }
  static void TearDownTestSuite() { table_.Print(); }

  static DigitsTable table_;
};

DigitsTable LogisticReferenceFitTest::table_;

TEST_P(LogisticReferenceFitTest, HasTheReferenceValues) {
  const auto& [name, inMemory] = GetParam();
  const ReferenceCase reference = qvtest::LoadReferenceCase(name);
  const LogisticReferenceRun run(reference, inMemory);
  const ReferenceValues got = run.Values();
  ExpectSameLayout(got, *reference.expected);
  if (HasFatalFailure()) return;

  const QvOptimizationOutcome outcome = run.Fit().Stats().GetOutcome();
  EXPECT_TRUE(outcome == kOptParamConverged || outcome == kOptNoIterations) << "ended " << outcome;
  const RightDigits digits = Compare(got, *reference.expected);
  table_.Add(qvtest::NameInFolder(name) + (inMemory ? ", in memory" : ""), digits,
             run.Fit().Stats().GetIterations());
  EXPECT_GE(digits.estimates, kLeastDigits) << "right digits of the worst estimate";
  EXPECT_GE(digits.errors, kLeastDigits) << "right digits of the worst standard error";
  EXPECT_GE(digits.loglik, kLeastDigits) << "right digits of the log-likelihoods";
  EXPECT_GE(digits.rSquares, kLeastDigits) << "right digits of the worst R square";
}

INSTANTIATE_TEST_SUITE_P(Cases, LogisticReferenceFitTest,
                         testing::Combine(testing::ValuesIn(ReferenceNames("logistic/fits")),
                                          testing::Bool()),
                         NameOf);

class LogisticReferenceNoFitTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticReferenceNoFitTest, EndsAsExpectedWithFiniteNumbersOnly) {
  const auto& [name, inMemory] = GetParam();
  const ReferenceCase reference = qvtest::LoadReferenceCase(name);
  ASSERT_FALSE(reference.expected.has_value());
  const LogisticReferenceRun run(reference, inMemory);

  EXPECT_EQ(static_cast<int>(run.Fit().Stats().GetOutcome()), reference.outcome);
  for (const double number : run.Fit().AllNumbers()) EXPECT_TRUE(std::isfinite(number));
}

INSTANTIATE_TEST_SUITE_P(Cases, LogisticReferenceNoFitTest,
                         testing::Combine(testing::ValuesIn(ReferenceNames("logistic/separation")),
                                          testing::Bool()),
                         NameOf);

TEST(LogisticReferenceCasesTest, NoCaseIsLost) {
  EXPECT_EQ(ReferenceNames("logistic/fits").size(), 60U);
  EXPECT_EQ(ReferenceNames("logistic/separation").size(), 5U);
}

}  // namespace
