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
#include "tests/qvreg/support/LogisticReferenceCase.h"
#include "tests/qvreg/support/LogisticReferenceRun.h"

namespace {

using qvtest::LogisticReferenceCase;
using qvtest::LogisticReferenceNoFit;
using qvtest::LogisticReferenceRun;
using qvtest::LogisticReferenceValues;

/// As many right digits as a double can show.
constexpr double kAllDigits = 16.0;
/// The least right digits asked of any value of any case.
constexpr double kLeastDigits = 8.0;

/// The cases with a fit, by file name.
const std::vector<std::string> kFits = {"binary",
                                        "binary_first",
                                        "binary_factor",
                                        "binary_crossing",
                                        "binary_freq",
                                        "binary_regr",
                                        "binary_both_weights",
                                        "binary_no_intercept",
                                        "binary_intercept_only",
                                        "binary_intercept_only_regr",
                                        "binary_missing",
                                        "three",
                                        "three_first",
                                        "three_middle",
                                        "three_crossing",
                                        "three_nested",
                                        "three_crossing_alone",
                                        "three_powers",
                                        "three_slopes",
                                        "three_slopes_only",
                                        "three_square_by_factor",
                                        "three_products",
                                        "three_redundant",
                                        "three_redundant_sum",
                                        "three_freq",
                                        "three_regr",
                                        "three_both_weights",
                                        "three_both_no_intercept",
                                        "three_no_intercept",
                                        "three_no_intercept_factors",
                                        "three_intercept_only",
                                        "three_intercept_only_freq",
                                        "three_intercept_only_both",
                                        "three_unobserved",
                                        "three_unobserved_reference",
                                        "seven",
                                        "seven_first",
                                        "seven_middle",
                                        "seven_slopes",
                                        "seven_freq",
                                        "seven_both_weights",
                                        "seven_no_intercept",
                                        "seven_redundant",
                                        "seven_intercept_only",
                                        "seven_unobserved",
                                        "seven_unobserved_middle",
                                        "birthwt",
                                        "birthwt_powers",
                                        "birthwt_race",
                                        "housing",
                                        "housing_crossings",
                                        "infert",
                                        "infert_factors",
                                        "infert_education",
                                        "esoph",
                                        "esoph_crossing",
                                        "iris_two",
                                        "flights",
                                        "flights_square",
                                        "flights_arrival"};

/// The cases without one.
const std::vector<std::string> kNoFits = {"complete", "complete_three", "iris", "near_copy",
                                          "one_group"};

/// Right decimal digits of the worst value of each kind.
struct RightDigits {
  double estimates = kAllDigits;
  double errors = kAllDigits;  ///< Standard errors.
  double loglik = kAllDigits;  ///< Initial and final.
  double rSquares = kAllDigits;

  [[nodiscard]] double Worst() const { return std::min({estimates, errors, loglik, rSquares}); }
};

/// -log10 of the relative error; of the error itself where the value should be 0.
double DigitsOf(double got, double expected) {
  if (!std::isfinite(got)) return 0.0;
  const double error = std::fabs(got - expected) / (expected == 0.0 ? 1.0 : std::fabs(expected));
  return error == 0.0 ? kAllDigits : std::min(kAllDigits, -std::log10(error));
}

RightDigits Compare(const LogisticReferenceValues& got, const LogisticReferenceValues& expected) {
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
void ExpectSameLayout(const LogisticReferenceValues& got, const LogisticReferenceValues& expected) {
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
  return std::get<0>(info.param) + (std::get<1>(info.param) ? "_in_memory" : "_record_by_record");
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
  const LogisticReferenceCase reference = qvtest::LoadLogisticReferenceCase(name);
  const LogisticReferenceRun run(reference.task, inMemory);
  const LogisticReferenceValues got = run.Values();
  ExpectSameLayout(got, reference.expected);
  if (HasFatalFailure()) return;

  const QvOptimizationOutcome outcome = run.Fit().Stats().GetOutcome();
  EXPECT_TRUE(outcome == kOptParamConverged || outcome == kOptNoIterations) << "ended " << outcome;
  const RightDigits digits = Compare(got, reference.expected);
  table_.Add(name + (inMemory ? ", in memory" : ""), digits, run.Fit().Stats().GetIterations());
  EXPECT_GE(digits.estimates, kLeastDigits) << "right digits of the worst estimate";
  EXPECT_GE(digits.errors, kLeastDigits) << "right digits of the worst standard error";
  EXPECT_GE(digits.loglik, kLeastDigits) << "right digits of the log-likelihoods";
  EXPECT_GE(digits.rSquares, kLeastDigits) << "right digits of the worst R square";
}

INSTANTIATE_TEST_SUITE_P(Cases, LogisticReferenceFitTest,
                         testing::Combine(testing::ValuesIn(kFits), testing::Bool()), NameOf);

class LogisticReferenceNoFitTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticReferenceNoFitTest, EndsAsExpectedWithFiniteNumbersOnly) {
  const auto& [name, inMemory] = GetParam();
  const LogisticReferenceNoFit reference = qvtest::LoadLogisticReferenceNoFit(name);
  const LogisticReferenceRun run(reference.task, inMemory);

  EXPECT_EQ(static_cast<int>(run.Fit().Stats().GetOutcome()), reference.outcome);
  for (const double number : run.Fit().AllNumbers()) EXPECT_TRUE(std::isfinite(number));
}

INSTANTIATE_TEST_SUITE_P(Cases, LogisticReferenceNoFitTest,
                         testing::Combine(testing::ValuesIn(kNoFits), testing::Bool()), NameOf);

TEST(LogisticReferenceCasesTest, EveryCaseOnDiskIsFitted) {
  std::vector<std::string> fits = kFits;
  std::sort(fits.begin(), fits.end());
  EXPECT_EQ(fits, qvtest::LogisticReferenceNames());
  EXPECT_EQ(kNoFits, qvtest::LogisticReferenceNoFitNames());
}

}  // namespace
