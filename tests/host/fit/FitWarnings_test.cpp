// What a fit warns of, on tables made to deserve it. RunFit brings every part together.

#include "host/fit/FitWarnings.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Sentences = std::vector<std::string>;

// y is no function of the rest: 1, 0, 3, 2, 0, 4, ... with a residual left.
constexpr const char* kPlain =
    "SELECT (range * 7 + range // 3) % 5 AS y, range AS x, range % 3 AS a, range % 4 AS b "
    "FROM range(24)";

std::string From(const std::string& columns) {
  return "SELECT *, " + columns + " FROM (" + kPlain + ")";
}

TEST(FitWarnings, AreNoneForAnOrdinaryFit) {
  EXPECT_EQ(Fit(kPlain, "y ~ x + C(a)*C(b)").warnings, Sentences{});
}

TEST(FitWarnings, FactorOfOneLevel) {
  EXPECT_EQ(Fit(From("'only' AS g"), "y ~ x + g").warnings,
            Sentences{"The factor 'g' has only one level ('only') in the records used, so it "
                      "explains nothing."});
}

TEST(FitWarnings, LevelsThatFallOutWithTheirRecords) {
  const FitResult fit =
      Fit(From("CASE a WHEN 0 THEN 'p' WHEN 1 THEN 'q' ELSE 'r' END AS g, nullif(a, 1) AS z"),
          "y ~ x + z + g");
  ASSERT_FALSE(fit.warnings.empty());
  EXPECT_EQ(
      fit.warnings[0],
      "1 of the 3 levels of 'g' does not occur in the records used and has no parameter: 'q'.");
  EXPECT_EQ(fit.records.missing, 8);
  EXPECT_EQ(fit.records.used, 16);
}

TEST(FitWarnings, EmptyCellsOfACrossing) {
  const FitResult fit = Fit(
      From("1 AS w") + " WHERE NOT (a = 0 AND b = 0) AND NOT (a = 1 AND b = 2)", "y ~ C(a)*C(b)");
  EXPECT_EQ(fit.warnings,
            Sentences{"2 of the 12 combinations of levels in 'C(a):C(b)' do not occur "
                      "in the records used and have no parameter."});
}

TEST(FitWarnings, NestedFactorsHaveNoEmptyCells) {
  EXPECT_EQ(Fit(From("a * 10 + b // 2 AS inner_"), "y ~ C(a)/C(inner_)").warnings, Sentences{});
}

TEST(FitWarnings, ColumnsThatWereNotFinite) {
  const BuiltModel model(From("x % 5 AS z"), "y ~ x + z");
  FitResult result = Fit(From("x % 5 AS z"), "y ~ x + z");
  ASSERT_EQ(result.parameters.size(), 3U);
  result.parameters[2].redundant = result.parameters[2].nonFinite = true;
  EXPECT_EQ(model.WarningsOf(result),
            Sentences{"'z' is left out of the model, because its values, the products of its "
                      "values or the weights are too large for a number. Rescale the columns."});
  result.parameters[1].redundant = result.parameters[1].nonFinite = true;
  EXPECT_EQ(
      model.WarningsOf(result),
      Sentences{"'x', 'z' are left out of the model, because their values, the products of their "
                "values or the weights are too large for a number. Rescale the columns."});
}

TEST(FitWarnings, CovariateOfOneValue) {
  EXPECT_EQ(Fit(From("5 AS c"), "y ~ x + c").warnings,
            Sentences{"'c' has one value, 5, in all records, so it explains nothing; leave it "
                      "out."});
}

TEST(FitWarnings, RedundantCovariates) {
  const FitResult one = Fit(From("2 * x + 1 AS x2"), "y ~ x + x2");
  EXPECT_EQ(
      one.warnings,
      Sentences{"'x2' depends on the terms before: they leave no more of it than the share of "
                "--tolerance (1e-14). Unless this is exact, centre the variables, as "
                "center(x), or lower --tolerance."});
  ASSERT_EQ(one.parameters.size(), 3U);
  EXPECT_TRUE(one.parameters[2].redundant);
  EXPECT_EQ(one.parameters[2].estimate, 0.0);
  EXPECT_FALSE(one.parameters[2].statistics.stdError.has_value());

  const FitResult two = Fit(From("2 * x AS x2, 3 * x AS x3"), "y ~ x + x2 + x3");
  EXPECT_EQ(two.warnings, Sentences{"'x2', 'x3' depend on the terms before: they leave no more "
                                    "of each than the share of --tolerance (1e-14). Unless this is "
                                    "exact, centre the variables, as center(x), or lower "
                                    "--tolerance."});
}

TEST(FitWarnings, ACovariateThatDependsExactly) {
  FitOptions options = OptionsFor(From("2 * x + 1 AS x2"), "y ~ x + x2");
  options.tolerance = 0.0;
  EXPECT_EQ(Fit(options).warnings,
            Sentences{"'x2' depends on the terms before, and the model is the same without it."});
  options = OptionsFor(From("2 * x AS x2, 3 * x AS x3"), "y ~ x + x2 + x3");
  options.tolerance = 0.0;
  EXPECT_EQ(Fit(options).warnings,
            Sentences{"'x2', 'x3' depend on the terms before, and the model is the same without "
                      "them."});
}

// The terms before leave 2e-13 of the squares.
TEST(FitWarnings, AYearAndItsSquare) {
  const std::string years = From("2018 + x % 5 AS year");
  const FitResult fit = Fit(years, "y ~ year + I(year^2)");
  ASSERT_EQ(fit.parameters.size(), 3U);
  EXPECT_FALSE(fit.parameters[2].redundant);
  const FitResult centred = Fit(years, "y ~ center(year) + I(center(year)^2)");
  EXPECT_NEAR(*fit.parameters[2].estimate / *centred.parameters[2].estimate, 1.0, 1e-9);

  FitOptions options = OptionsFor(years, "y ~ year + I(year^2)");
  options.tolerance = 1e-12;
  EXPECT_EQ(Fit(options).warnings,
            Sentences{"'I(year^2)' depends on the terms before: they leave no more of it than the "
                      "share of --tolerance (1e-12). Unless this is exact, centre the variables, "
                      "as center(x), or lower --tolerance."});
}

TEST(FitWarnings, SaturatedModel) {
  const FitResult fit = Fit(kPlain, "y ~ C(x)");
  ASSERT_EQ(fit.warnings.size(), 2U);
  EXPECT_TRUE(
      fit.warnings[0].ends_with(", fewer than two records for a level. Leave it out, or "
                                "group its values with --sql."))
      << fit.warnings[0];
  EXPECT_TRUE(fit.warnings[1].starts_with("The model has as many parameters as the data"));
  EXPECT_EQ(fit.degreesOfFreedom, 0.0);
  EXPECT_FALSE(fit.residualStdError.has_value());
  for (const ParameterResult& parameter : fit.parameters) {
    EXPECT_FALSE(parameter.statistics.stdError || parameter.statistics.confLow);
  }
}

TEST(FitWarnings, PerfectFit) {
  const FitResult fit = Fit("SELECT range AS x, 2 * range AS y FROM range(8)", "y ~ 0 + x");
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_NE(fit.warnings[0].find("perfect"), std::string::npos) << fit.warnings[0];
}

TEST(FitWarnings, ConstantDependent) {
  const FitResult fit = Fit("SELECT range AS x, 4 AS y FROM range(9)", "y ~ 1");
  EXPECT_EQ(fit.warnings, Sentences{"The dependent is the same in all records used; there is "
                                    "nothing to explain."});
}

TEST(FitWarnings, ConstantDependentWithoutDegreesOfFreedom) {
  const FitResult fit = Fit("SELECT range AS x, 4 AS y FROM range(2)", "y ~ x");
  ASSERT_EQ(fit.warnings.size(), 2U);
  EXPECT_TRUE(fit.warnings[0].starts_with("The dependent is the same in all records used;"));
  EXPECT_TRUE(fit.warnings[1].starts_with("The model has as many parameters as the data"));
  const FitResult one = Fit("SELECT 3 AS x, 4 AS y", "y ~ 1");
  ASSERT_EQ(one.warnings.size(), 1U) << "one record tells nothing of the dependent";
  EXPECT_TRUE(one.warnings[0].starts_with("The model has as many parameters as the data"));
}

TEST(FitWarnings, NearlyDependentColumns) {
  const FitResult fit = Fit(From("x + 1e-4 * b AS near"), "y ~ x + near");
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_TRUE(fit.warnings[0].starts_with("Some columns of the design are nearly dependent"));
}

TEST(FitWarnings, MostRecordsLeftOut) {
  const FitResult fit = Fit(From("CASE WHEN x < 6 THEN x END AS z"), "y ~ z");
  ASSERT_FALSE(fit.warnings.empty());
  EXPECT_EQ(fit.warnings[0],
            "More than half of the records were left out; the fit speaks only for the rest.");
}

TEST(FitWarnings, AnErrorOutsideTheRangeOfNumbers) {
  FitOptions options = OptionsFor(
      "SELECT range AS x, (range * 3 % 7) * 1e305 AS y, 1e10 AS w FROM range(12)", "y ~ x");
  options.binding.regressionWeight = "w";
  const FitResult fit = Fit(options);
  EXPECT_EQ(std::ranges::count(fit.warnings,
                               "The root mean square error is outside the range of floating-point "
                               "numbers; rescale the dependent."),
            1);
  EXPECT_FALSE(fit.rmse.has_value());
  EXPECT_TRUE(fit.rSquare.has_value());
  EXPECT_TRUE(fit.parameters[1].statistics.stdError.has_value());
}

// ---- A logistic model -------------------------------------------------------

std::string WithAnswer(const std::string& columns = "1 AS w") {
  return From("['u', 'v', 'w'][1 + (x * 11 % 24) // 8] AS answer, " + columns);
}

TEST(FitWarnings, AreNoneForAnOrdinaryLogisticFit) {
  EXPECT_EQ(Fit(WithAnswer(), "answer ~ x + C(a)").warnings, Sentences{});
}

TEST(FitWarnings, LevelsOfTheDependentThatDoNotOccur) {
  const FitResult fit =
      Fit(WithAnswer("CASE WHEN (x * 11 % 24) // 8 <> 1 THEN x END AS z"), "answer ~ z");
  ASSERT_FALSE(fit.warnings.empty());
  EXPECT_EQ(fit.warnings[0],
            "1 of the 3 levels of the dependent does not occur in the records used and is left out "
            "of the model: 'v'.");
  EXPECT_EQ(fit.logistic->levels.size(), 2U);
}

TEST(FitWarnings, AParameterOfEachLevelIsWarnedOfOnce) {
  const FitResult fit = Fit(WithAnswer("2 * x + 1 AS x2, 'only' AS g"), "answer ~ x + x2 + g");
  EXPECT_EQ(fit.warnings,
            (Sentences{"The factor 'g' has only one level ('only') in the records used, so it "
                       "explains nothing.",
                       "'x2' depends on the terms before: they leave no more of it than the share "
                       "of --tolerance (1e-12). Unless this is exact, centre the variables, as "
                       "center(x), or lower --tolerance."}));
}

TEST(FitWarnings, EmptyCellsOfALogisticModelCountCells) {
  const FitResult fit = Fit(
      "SELECT ['u', 'v', 'w'][1 + (range * 7919) % 23 % 3] AS answer, range % 2 AS a, range % 3 "
      "AS b FROM range(200) WHERE NOT (range % 2 = 0 AND range % 3 = 0)",
      "answer ~ C(a)*C(b)");
  EXPECT_EQ(fit.warnings,
            Sentences{"1 of the 6 combinations of levels in 'C(a):C(b)' does not occur "
                      "in the records used and has no parameter."});
}

TEST(FitWarnings, NearlyDependentColumnsOfALogisticModel) {
  const FitResult fit = Fit(WithAnswer("x + 1e-4 * b AS near"), "answer ~ x + near");
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_TRUE(fit.warnings[0].starts_with("Some columns of the design are nearly dependent"));
}

TEST(FitWarnings, ASaturatedLogisticModelHasNoResidualToMiss) {
  EXPECT_EQ(Fit("SELECT * FROM (VALUES ('u', 'k'), ('v', 'k'), ('u', 'l'), ('v', 'l')) AS "
                "t(answer, g)",
                "answer ~ g")
                .warnings,
            Sentences{});
}

}  // namespace
}  // namespace qvhost
