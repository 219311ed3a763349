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
#include "tests/qvreg/support/LogisticReferenceCase.h"
#include "tests/qvreg/support/LogisticReferenceRun.h"

namespace {

using qvtest::LogisticReferenceExtreme;
using qvtest::LogisticReferenceRun;
using qvtest::LogisticReferenceValues;

/// Fits to the maximum, by file name.
const std::vector<std::string> kMaxima = {
    "apart_mixed",       "cells_one_g",  "cells_one_h",    "cells_opposite_g",
    "cells_opposite_h",  "cells_rare_g", "cells_rare_h",   "cells_third_g",
    "cells_third_h",     "incomes",      "incomes_z",      "levels_last",
    "levels_steps",      "mean",         "mean_z",         "outlier_against",
    "outlier_against_z", "outlier_with", "outlier_with_z", "shuttle"};

/// Separated data.
const std::vector<std::string> kSeparated = {
    "apart_level_ape", "apart_level_bee",  "apart_level_cat",  "apart_one_ape",
    "apart_one_bee",   "apart_one_cat",    "apart_whole_ape",  "apart_whole_bee",
    "apart_whole_cat", "cells_all_g",      "cells_all_h",      "cells_few_g",
    "cells_few_h",     "cells_none_g",     "cells_none_h",     "shuttle_part",
    "touching_bytes",  "touching_bytes_z", "touching_shifted", "touching_shifted_z",
    "touching_small",  "touching_small_z", "touching_x",       "touching_x_z"};

/// A case, the iteration at which the test of separation starts, and whether with the tabulator.
using Fitted = std::tuple<std::string, int, bool>;

std::string NameOf(const testing::TestParamInfo<Fitted>& info) {
  return std::get<0>(info.param) + "_from_" + std::to_string(std::get<1>(info.param)) +
         (std::get<2>(info.param) ? "_in_memory" : "");
}

double DigitsOf(double got, double expected) {
  constexpr double kAllDigits = 16.0;
  const double error = std::fabs(got - expected) / (expected == 0.0 ? 1.0 : std::fabs(expected));
  return error == 0.0 ? kAllDigits : -std::log10(error);
}

/// As the library's settings are by default, but for ten step-halvings, which `shuttle` needs.
LogisticReferenceRun RunFrom(const LogisticReferenceExtreme& extreme, int start, bool inMemory) {
  return {extreme.task, inMemory, [start](QvLogRegSettings& settings) {
            EXPECT_TRUE(settings.SetParamEstConCriterion(1e-6));
            EXPECT_TRUE(settings.SetMaxStepHalvingValue(10));
            EXPECT_TRUE(settings.SetStartingIteration(start));
          }};
}

class LogisticMaximaTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticMaximaTest, AreReachedWheneverTheTestStarts) {
  const auto& [name, start, inMemory] = GetParam();
  const LogisticReferenceExtreme extreme = qvtest::LoadLogisticReferenceExtreme(name);
  ASSERT_TRUE(extreme.expected.has_value());
  const LogisticReferenceValues& expected = *extreme.expected;
  const LogisticReferenceRun run = RunFrom(extreme, start, inMemory);
  const LogisticReferenceValues got = run.Values();

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

INSTANTIATE_TEST_SUITE_P(Cases, LogisticMaximaTest,
                         testing::Combine(testing::ValuesIn(kMaxima), testing::Values(1, 3, 5, 20),
                                          testing::Bool()),
                         NameOf);

class LogisticSeparatedTest : public testing::TestWithParam<Fitted> {};

TEST_P(LogisticSeparatedTest, AreCalledSeparatedWheneverTheTestStarts) {
  const auto& [name, start, inMemory] = GetParam();
  const LogisticReferenceExtreme extreme = qvtest::LoadLogisticReferenceExtreme(name);
  ASSERT_FALSE(extreme.expected.has_value());
  const LogisticReferenceRun run = RunFrom(extreme, start, inMemory);

  EXPECT_EQ(static_cast<int>(run.Fit().Stats().GetOutcome()), extreme.outcome);
  EXPECT_GE(run.Fit().Stats().GetIterations(), start);
  for (const double number : run.Fit().AllNumbers()) EXPECT_TRUE(std::isfinite(number));
  // Nothing is known along the open direction: some standard error tells.
  const LogisticReferenceValues got = run.Values();
  double ratio = 0.0;
  for (std::size_t i = 0; i < got.estimates.size(); ++i) {
    if (got.redundant[i]) continue;
    ratio = std::max(ratio, got.standardErrors[i] / std::fabs(got.estimates[i]));
  }
  EXPECT_GT(ratio, 50.0);
}

INSTANTIATE_TEST_SUITE_P(Cases, LogisticSeparatedTest,
                         testing::Combine(testing::ValuesIn(kSeparated),
                                          testing::Values(1, 3, 5, 20), testing::Bool()),
                         NameOf);

TEST(LogisticExtremesTest, EveryCaseOnDiskIsFitted) {
  std::vector<std::string> names = kMaxima;
  names.insert(names.end(), kSeparated.begin(), kSeparated.end());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, qvtest::LogisticReferenceExtremeNames());
}

}  // namespace
