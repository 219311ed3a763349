#include "host/fit/MarginalMeans.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using PValues = std::vector<std::optional<double>>;

void ExpectNear(std::optional<double> value, double expected) {
  ASSERT_TRUE(value.has_value());
  EXPECT_NEAR(*value, expected, 1e-10 * std::abs(expected));
}

// R: p.adjust(c(0.01, 0.04, 0.03, 0.005), "holm")
TEST(MarginalMeans, HolmAdjustsForWhatIsLeft) {
  const PValues adjusted = HolmAdjusted({0.01, 0.04, 0.03, 0.005});
  ExpectNear(adjusted[0], 0.03);
  ExpectNear(adjusted[1], 0.06);
  ExpectNear(adjusted[2], 0.06);
  ExpectNear(adjusted[3], 0.02);
}

TEST(MarginalMeans, HolmCountsTestsWithoutAValue) {
  const PValues adjusted = HolmAdjusted({0.01, {}, 0.9});
  ExpectNear(adjusted[0], 0.03);
  EXPECT_FALSE(adjusted[1].has_value());
  ExpectNear(adjusted[2], 1.0);
  EXPECT_TRUE(HolmAdjusted({}).empty());
}

constexpr const char* kRows =
    "SELECT (i * 7) % 11 * 1.5 + i % 3 AS y, ['a', 'b', 'c'][1 + i % 3] AS g, 2.0 + i % 8 AS x, "
    "(i * i) % 5 < 2 AS k FROM range(50) t(i)";

FitResult MeansOf(const std::string& sql, const std::string& formula) {
  FitOptions options = OptionsFor(sql, formula);
  options.means = {"g"};
  options.contrasts = {"x=3 & g=a - x=2 & g=a"};
  return Fit(options);
}

TEST(MarginalMeans, NumbersOfExtremeSizeGiveTheSame) {
  const FitResult plain = MeansOf(kRows, "y ~ g + x + I(x^3)");
  const std::string extreme =
      std::string("SELECT y * 1e-60 AS y, g, x * 1e60 AS x FROM (") + kRows + ")";
  FitOptions options = OptionsFor(extreme, "y ~ g + x + I(x^3)");
  options.means = {"g"};
  options.contrasts = {"x=3e60 & g=a - x=2e60 & g=a"};
  const FitResult scaled = Fit(options);
  const auto expect = [](const MeanEstimate& found, const MeanEstimate& expected) {
    ExpectNear(*found.estimate * 1e60, *expected.estimate);
    ExpectNear(*found.statistics.stdError * 1e60, *expected.statistics.stdError);
    ExpectNear(found.statistics.pValue, *expected.statistics.pValue);
  };
  expect(scaled.means->contrasts[0].estimate, plain.means->contrasts[0].estimate);
  for (std::size_t i = 0; i < 3; ++i) {
    expect(scaled.means->tables[0].rows[i].estimate, plain.means->tables[0].rows[i].estimate);
    expect(scaled.means->tables[0].differences[i].estimate,
           plain.means->tables[0].differences[i].estimate);
  }
}

TEST(MarginalMeans, WithoutResidualsThereAreEstimatesOnly) {
  FitOptions options = OptionsFor("SELECT * FROM (VALUES (1.0, 'a'), (3.0, 'b')) t(y, g)", "y ~ g");
  options.means = {"g"};
  const FitResult fit = Fit(options);
  const MeanTable& table = fit.means->tables[0];
  ExpectNear(table.rows[1].estimate.estimate, 3.0);
  EXPECT_TRUE(table.rows[1].estimate.isEstimable);
  EXPECT_FALSE(table.rows[1].estimate.statistics.stdError.has_value());
  ExpectNear(table.differences[0].estimate.estimate, -2.0);
  EXPECT_FALSE(table.differences[0].adjustedP.has_value());
}

TEST(MarginalMeans, ProbabilitiesOfAllLevelsAddUpAndChangeAlike) {
  const FitResult fit = MeansOf(kRows, "k ~ g + log(x)");
  const std::vector<MeanTable>& tables = fit.means->tables;
  ASSERT_EQ(tables.size(), 3U);
  EXPECT_EQ(tables[0].scale, MeanScale::kLink);
  for (std::size_t i = 0; i < 3; ++i) {
    const MeanEstimate& one = tables[1].rows[i].estimate;
    const MeanEstimate& other = tables[2].rows[i].estimate;
    ExpectNear(*one.estimate + *other.estimate, 1.0);
    ExpectNear(one.statistics.stdError, *other.statistics.stdError);
    // The grid has one row for each level: its probability is that of the link.
    ExpectNear(one.estimate, 1.0 / (1.0 + std::exp(-*tables[0].rows[i].estimate.estimate)));
    ExpectNear(one.statistics.stdError,
               *one.estimate * *other.estimate * *tables[0].rows[i].estimate.statistics.stdError);
  }
}

TEST(MarginalMeans, TooManyDifferencesAreLeftOutWithAWord) {
  FitOptions options =
      OptionsFor("SELECT i % 13 AS y, i % 450 AS g FROM range(2000) t(i)", "y ~ C(g)");
  options.means = {"g"};
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.means->tables[0].rows.size(), 450U);
  EXPECT_TRUE(fit.means->tables[0].differences.empty());
  EXPECT_NE(std::ranges::find(fit.warnings,
                              "The 101025 differences of the means of g are left out, as they are "
                              "more than 100000; --contrast gives single ones."),
            fit.warnings.end());
}

TEST(MarginalMeans, MoreColumnsForTheGridChangeNothingElse) {
  const FitResult with = MeansOf(kRows, "y ~ g + log(x)");
  const FitResult without = Fit(kRows, "y ~ g + log(x)");
  EXPECT_EQ(with.warnings, without.warnings);
  EXPECT_EQ(with.records.missingByColumn.size(), without.records.missingByColumn.size());
  for (std::size_t i = 0; i < without.parameters.size(); ++i) {
    EXPECT_EQ(with.parameters[i].estimate, without.parameters[i].estimate);
    EXPECT_EQ(with.parameters[i].statistics.stdError, without.parameters[i].statistics.stdError);
  }
}

}  // namespace
}  // namespace qvhost
