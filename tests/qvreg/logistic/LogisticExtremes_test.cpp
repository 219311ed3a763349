// Data that a test of separation or singularity must let alone, and separated data that it must
// not, whenever it starts: tests/reference/README.md says where they are from.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/qvreg.h"
#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceRun.h"

namespace {

using qvtest::DigitsOf;
using qvtest::LogisticReferenceRun;
using qvtest::ReferenceCase;
using qvtest::ReferenceNames;
using qvtest::ReferenceValues;

/// A case, the iteration at which the test of separation starts, and whether with the tabulator.
using Fitted = std::tuple<std::string, int, bool>;

std::string NameOf(const testing::TestParamInfo<Fitted>& info) {
  return qvtest::NameInFolder(std::get<0>(info.param)) + "_from_" +
         std::to_string(std::get<1>(info.param)) + (std::get<2>(info.param) ? "_in_memory" : "");
}

/// As the library's settings are by default, but for ten step-halvings, which `shuttle` needs.
LogisticReferenceRun RunFrom(const ReferenceCase& extreme, int start, bool inMemory) {
  return {extreme, inMemory, [start](QvLogRegSettings& settings) {
            EXPECT_TRUE(settings.SetParamEstConCriterion(1e-6));
            EXPECT_TRUE(settings.SetMaxStepHalvingValue(10));
            EXPECT_TRUE(settings.SetStartingIteration(start));
          }};
}

class LogisticMaximaTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticMaximaTest, AreReachedWheneverTheTestStarts) {
  const auto& [name, start, inMemory] = GetParam();
  const ReferenceCase extreme = qvtest::LoadReferenceCase(name);
  ASSERT_TRUE(extreme.expected.has_value());
  const ReferenceValues& expected = *extreme.expected;
  const LogisticReferenceRun run = RunFrom(extreme, start, inMemory);
  const ReferenceValues got = run.Values();

  EXPECT_EQ(run.Fit().Stats().GetOutcome(), kOptParamConverged);
  ASSERT_EQ(got.redundant, expected.redundant);
  EXPECT_GE(DigitsOf(got.loglik, expected.loglik), 11.0) << got.loglik;
  for (std::size_t i = 0; i < expected.estimates.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_GE(DigitsOf(got.estimates[i], expected.estimates[i]), 6.0) << got.estimates[i];
    EXPECT_GE(DigitsOf(got.standardErrors[i], expected.standardErrors[i]), 3.0)
        << got.standardErrors[i];
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LogisticMaximaTest,
    testing::Combine(testing::ValuesIn(ReferenceNames("logistic/extremes/maxima")),
                     testing::Values(1, 3, 5, 20), testing::Bool()),
    NameOf);

class LogisticSeparatedTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticSeparatedTest, AreCalledSeparatedWheneverTheTestStarts) {
  const auto& [name, start, inMemory] = GetParam();
  const ReferenceCase extreme = qvtest::LoadReferenceCase(name);
  ASSERT_FALSE(extreme.expected.has_value());
  const LogisticReferenceRun run = RunFrom(extreme, start, inMemory);

  EXPECT_EQ(static_cast<int>(run.Fit().Stats().GetOutcome()), extreme.outcome);
  EXPECT_GE(run.Fit().Stats().GetIterations(), start);
  for (const double number : run.Fit().AllNumbers()) EXPECT_TRUE(std::isfinite(number));
  // Nothing is known along the open direction: some standard error tells.
  const ReferenceValues got = run.Values();
  double ratio = 0.0;
  for (std::size_t i = 0; i < got.estimates.size(); ++i) {
    if (got.redundant[i]) continue;
    ratio = std::max(ratio, got.standardErrors[i] / std::fabs(got.estimates[i]));
  }
  EXPECT_GT(ratio, 50.0);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LogisticSeparatedTest,
    testing::Combine(testing::ValuesIn(ReferenceNames("logistic/extremes/separated")),
                     testing::Values(1, 3, 5, 20), testing::Bool()),
    NameOf);

TEST(LogisticExtremesTest, NoCaseIsLost) {
  EXPECT_EQ(ReferenceNames("logistic/extremes/maxima").size(), 20U);
  EXPECT_EQ(ReferenceNames("logistic/extremes/separated").size(), 24U);
}

}  // namespace
