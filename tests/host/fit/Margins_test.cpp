// Average marginal effects, against numerical derivatives in 60 digits: see
// tests/reference/margins.

#include "host/fit/Margins.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Key = std::tuple<std::string, std::string, std::string>;

struct Expected {
  std::optional<double> effect;
  std::optional<double> error;
};

std::map<Key, Expected> ExpectedOf(const std::string& model) {
  std::ifstream file(std::filesystem::path(QVREG_TEST_DATA) / "margins/effects.csv");
  std::map<Key, Expected> expected;
  for (std::string line; std::getline(file, line);) {
    std::vector<std::string> cells;
    std::istringstream text(line);
    for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
    if (cells.at(0) != model) continue;
    Expected& entry = expected[{cells.at(1), cells.at(2), cells.at(3)}];
    if (cells.size() < 6) continue;
    entry = {std::stod(cells[4]), std::stod(cells[5])};
  }
  return expected;
}

struct Case {
  std::string name;
  std::string formula;
  std::string base = "b=k";
  CovarianceKind covariance = CovarianceKind::kModel;
  /// R square of 1e-12 is left of some columns of functions, and so many digits of their errors.
  double tolerance = 1e-12;
};

FitOptions OptionsOf(const Case& one) {
  FitOptions options = Everything("y");
  options.formula = one.formula;
  if (!one.base.empty()) options.binding.bases = {one.base};
  options.covariance = one.covariance;
  options.margins.emplace();
  return options;
}

TEST(Margins, AgreeWithNumericalDerivatives) {
  const std::string everything = " ~ a*b + a/c + x + I(x^2) + x2";
  const std::string functions =
      " ~ a*b + a/c + a:x + I(x^2) + scale(x) + log(x2) + I(sqrt(x) * exp(-x2 / 9))";
  const std::string brief = " ~ 0 + a + x + b:x";
  const std::vector<Case> cases = {
      {"linear", "y" + everything},
      {"linear_hc1", "y" + everything, "b=k", CovarianceKind::kHc1},
      {"linear_functions", "y" + functions, "b=k", CovarianceKind::kModel, 1e-10},
      {"linear_short", "y" + brief, ""},
      {"binary", "yb" + everything},
      {"binary_functions", "yb" + functions, "b=k", CovarianceKind::kModel, 5e-9},
      {"three", "y3" + everything},
      {"three_functions", "y3" + functions, "b=k", CovarianceKind::kModel, 5e-9},
      {"three_short", "y3" + brief, ""}};
  for (const Case& one : cases) {
    const std::map<Key, Expected> expected = ExpectedOf(one.name);
    ASSERT_GE(expected.size(), 5U) << one.name;
    const FitResult fit = Fit(OptionsOf(one));
    std::size_t compared = 0;
    for (const MarginResult& margin : fit.margins.value()) {
      const auto found =
          expected.find({margin.variable, margin.level.value_or(""), margin.category.value_or("")});
      if (found == expected.end()) continue;
      const std::string text =
          fmt::format("{} {} {}", one.name, margin.variable, margin.level.value_or(""));
      ++compared;
      ASSERT_EQ(margin.effect.has_value(), found->second.effect.has_value()) << text;
      EXPECT_EQ(margin.statistics.stdError.has_value(), margin.effect.has_value()) << text;
      if (!margin.effect) continue;
      EXPECT_NEAR(*margin.effect / *found->second.effect, 1.0, one.tolerance) << text;
      EXPECT_NEAR(*margin.statistics.stdError / *found->second.error, 1.0, one.tolerance) << text;
    }
    EXPECT_EQ(compared, expected.size()) << one.name;
  }
}

TEST(Margins, TestAsTheParametersDo) {
  FitOptions options = OptionsFor("SELECT i, i % 7 + i * i % 5 AS y FROM range(30) r(i)", "y ~ i");
  options.margins.emplace();
  options.confidence = 0.9;
  for (const std::optional<double> df : {std::optional<double>(), std::optional<double>(5.0)}) {
    options.degreesOfFreedom = df;
    const FitResult fit = Fit(options);
    const CoefficientStatistics& slope = fit.parameters.at(1).statistics;
    const MarginResult& margin = fit.margins->at(0);
    EXPECT_NEAR(margin.effect.value() / *fit.parameters[1].estimate, 1.0, 1e-14);
    EXPECT_NEAR(margin.statistics.stdError.value() / *slope.stdError, 1.0, 1e-14);
    EXPECT_NEAR(margin.statistics.pValue.value() / *slope.pValue, 1.0, 1e-13);
    EXPECT_NEAR(margin.statistics.confLow.value() / *slope.confLow, 1.0, 1e-13);
    EXPECT_NEAR(margin.statistics.confHigh.value() / *slope.confHigh, 1.0, 1e-13);
  }
}

// Of one factor probabilities are shares, and the pass takes more than 16 MiB of sums.
TEST(Margins, ManyLevelsTakeSeveralPasses) {
  constexpr int kLevels = 1500;
  FitOptions options = OptionsFor(
      fmt::format("SELECT i % {0} AS g, hash(i) % 3 > 0 OR i < {0} AS y FROM range({0} * 5) r(i) "
                  "WHERE i >= {0} OR i % 2 = 0 UNION ALL SELECT i, false FROM range({0}) r(i)",
                  kLevels),
      "y ~ C(g)");
  options.margins.emplace();
  const FitResult fit = Fit(options);
  Connection connection;
  const auto shares = connection.Rows(fmt::format(
      "SELECT avg(y::INT), count(*) FROM ({}) GROUP BY g ORDER BY g", options.source.sql));
  ASSERT_EQ(shares.size(), kLevels);
  const auto share = [&](std::size_t level) { return std::stod(shares[level][0].value()); };
  const auto variance = [&](std::size_t level) {
    return share(level) * (1.0 - share(level)) / std::stod(shares[level][1].value());
  };
  std::size_t level = 0;
  for (const MarginResult& margin : fit.margins.value()) {
    if (margin.category != "true") continue;
    ASSERT_EQ(margin.level, std::to_string(level));
    ASSERT_EQ(margin.base, std::to_string(kLevels - 1));
    EXPECT_NEAR(margin.effect.value(), share(level) - share(kLevels - 1), 1e-9);
    EXPECT_NEAR(margin.statistics.stdError.value(),
                std::sqrt(variance(level) + variance(kLevels - 1)), 1e-9);
    ++level;
  }
  EXPECT_EQ(level, kLevels - 1U);
}

TEST(Margins, DoNotDependOnThreads) {
  for (const std::string dependent : {"y", "yb", "y3"}) {
    FitOptions options = Everything(dependent);
    options.formula = dependent + " ~ a*b + log(x + 1) + x";
    options.margins.emplace();
    options.threads = 1;
    const FitResult one = Fit(options);
    options.threads = 5;
    const FitResult five = Fit(options);
    for (std::size_t i = 0; i < one.margins->size(); ++i) {
      EXPECT_EQ(one.margins->at(i).effect, five.margins->at(i).effect);
      EXPECT_EQ(one.margins->at(i).statistics.stdError, five.margins->at(i).statistics.stdError);
    }
  }
}

TEST(Margins, OfGroupedRecordsAreThoseOfAll) {
  FitOptions options = OptionsFor(
      "SELECT i % 3 AS g, i % 5 AS x, 1 + i % 2 AS f, hash(i) % 4 > i % 3 AS y "
      "FROM range(20000) r(i)",
      "y ~ C(g) + sqrt(x + 1)");
  options.binding.freqWeight = "f";
  options.margins.emplace();
  const FitResult grouped = Fit(options);
  ASSERT_TRUE(grouped.logistic->distinctRecords);
  options.logistic.collapse = false;
  const FitResult all = Fit(options);
  ASSERT_FALSE(all.logistic->distinctRecords);
  for (std::size_t i = 0; i < all.margins->size(); ++i) {
    EXPECT_NEAR(*grouped.margins->at(i).effect / *all.margins->at(i).effect, 1.0, 1e-9);
    EXPECT_NEAR(
        *grouped.margins->at(i).statistics.stdError / *all.margins->at(i).statistics.stdError, 1.0,
        1e-9);
  }
}

TEST(Margins, OfExtremeUnitsAreThoseOfUsualOnes) {
  const auto fit = [](const std::string& scale, const std::string& dependent) {
    FitOptions options =
        OptionsFor(fmt::format("SELECT {} AS y, i * {} AS x, i % 3 AS g FROM range(1, 90) r(i)",
                               dependent, scale),
                   "y ~ C(g)*x + I(x^2)");
    options.margins.emplace();
    return Fit(options).margins.value();
  };
  for (const std::string dependent : {"(i * i) % 17", "(i * i) % 17 > 8"}) {
    const std::vector<MarginResult> usual = fit("1", dependent);
    for (const int exponent : {120, -120}) {
      const std::vector<MarginResult> extreme = fit(fmt::format("1e{}", exponent), dependent);
      ASSERT_EQ(extreme.size(), usual.size());
      for (std::size_t i = 0; i < usual.size(); ++i) {
        const double unit = usual[i].level ? 1.0 : std::pow(10.0, exponent);
        EXPECT_NEAR(extreme[i].effect.value() * unit / *usual[i].effect, 1.0, 1e-7);
        EXPECT_NEAR(extreme[i].statistics.stdError.value() * unit / *usual[i].statistics.stdError,
                    1.0, 1e-7);
        EXPECT_NEAR(extreme[i].statistics.pValue.value(), *usual[i].statistics.pValue, 1e-7);
      }
    }
  }
}

TEST(Margins, TellWhatIsNotEstimable) {
  FitOptions options = OptionsFor(
      "SELECT i % 5 AS x, i % 5 * 2 + 1 AS x2, sqrt(i % 5) AS r, i * i % 7 AS y FROM range(40) "
      "r(i)",
      "y ~ x + x2 + sqrt(r):x");
  options.margins.emplace();
  const FitResult fit = Fit(options);
  for (const MarginResult& margin : *fit.margins) {
    EXPECT_EQ(margin.effect, std::nullopt) << margin.variable;
    EXPECT_EQ(margin.statistics.stdError, std::nullopt);
  }
  const std::string notes = fmt::format("{}", fmt::join(fit.warnings, "\n"));
  EXPECT_NE(notes.find("The marginal effect of x is not estimable: the columns of terms depend on "
                       "each other."),
            std::string::npos)
      << notes;
  EXPECT_NE(notes.find("The marginal effect of r is not estimable: there are records for which a "
                       "function of it has no finite derivative."),
            std::string::npos)
      << notes;
}

TEST(Margins, CompareLevelsThatOccurWithTheBase) {
  FitOptions options = OptionsFor(
      "SELECT CASE WHEN i < 3 THEN 'zz' ELSE chr(97 + i::INT % 3) END AS g, "
      "CASE WHEN i >= 3 THEN i * i % 7 END AS y FROM range(40) r(i)",
      "y ~ g");
  options.margins.emplace();
  const FitResult last = Fit(options);
  // No record of zz has a dependent.
  ASSERT_EQ(last.margins->size(), 2U);
  EXPECT_EQ(last.margins->at(0).level, "a");
  EXPECT_EQ(last.margins->at(0).base, "c");
  options.binding.bases = {"g=a"};
  const FitResult first = Fit(options);
  EXPECT_EQ(first.margins->at(1).level, "c");
  EXPECT_EQ(first.margins->at(1).base, "a");
  EXPECT_NEAR(*first.margins->at(1).effect, -*last.margins->at(0).effect, 1e-14);
}

}  // namespace
}  // namespace qvhost
