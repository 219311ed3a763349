// What `.` becomes over a table: weights, types without a role, and texts of many values.
#include "host/fit/DotColumns.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

/// Ten rows with a column of each kind.
constexpr const char* kTable =
    "SELECT i * i AS y, i AS x, i % 3 AS w, 'g' || i % 2 AS g, i % 4 < 2 AS flag, "
    "DATE '2024-01-01' + i AS day, [i] AS list, ('u' || i % 5 // 3) AS \"odd name\" "
    "FROM (SELECT range::INTEGER AS i FROM range(10))";

std::vector<std::string> LabelsOf(const FitResult& fit) {
  std::vector<std::string> labels;
  for (const ParameterResult& parameter : fit.parameters) labels.push_back(parameter.label);
  return labels;
}

using Strings = std::vector<std::string>;

bool Warns(const FitResult& fit, const std::string& sentence) {
  return std::ranges::find(fit.warnings, sentence) != fit.warnings.end();
}

const std::string kWithoutRole =
    "'.' leaves out day (DATE), list (LIST), as dates, times, lists and structures are "
    "neither "
    "numbers nor categories; write C(day) to take its values as the levels of a factor.";

TEST(DotColumns, AreAllOthersThatMayBeTerms) {
  const FitResult fit = Fit(kTable, "y ~ .");
  EXPECT_EQ(LabelsOf(fit), (Strings{"(Intercept)", "x", "w", "g=g0", "g=g1", "flag=false",
                                    "flag=true", "odd name=u0", "odd name=u1"}));
  EXPECT_TRUE(Warns(fit, kWithoutRole));
}

TEST(DotColumns, AColumnWithoutARoleThatIsTakenOutIsNotNoted) {
  const FitResult fit = Fit(kTable, "y ~ . - day - list - flag");
  EXPECT_EQ(LabelsOf(fit),
            (Strings{"(Intercept)", "x", "w", "g=g0", "g=g1", "odd name=u0", "odd name=u1"}));
  EXPECT_FALSE(Warns(fit, kWithoutRole));
}

TEST(DotColumns, CrossingsWithAColumnWithoutARoleAreLeftOut) {
  EXPECT_EQ(LabelsOf(Fit(kTable, "y ~ (. - w - g - flag - `odd name`)^2")),
            (Strings{"(Intercept)", "x"}));
}

TEST(DotColumns, AColumnWithoutARoleThatIsUsedOtherwiseIsNotNoted) {
  const FitResult fit = Fit(kTable, "y ~ . - list - w - g - flag - `odd name` + epoch(day)");
  EXPECT_EQ(LabelsOf(fit), (Strings{"(Intercept)", "x", "epoch(day)"}));
  for (const std::string& warning : fit.warnings) EXPECT_NE(warning.substr(0, 3), "'.'");
}

TEST(DotColumns, AColumnWithoutARoleThatIsNamedIsRefused) {
  EXPECT_EQ(FailureOf(OptionsFor(kTable, "y ~ . + day")).message,
            "'day' is a date or time (DATE); write C(day) to take its values as the levels of a "
            "factor, I(day - date '2020-01-01') for "
            "days, or epoch(day) for seconds.\n  y ~ . + day\n      ^");
}

TEST(DotColumns, NothingIsLeft) {
  EXPECT_EQ(FailureOf(OptionsFor("SELECT 1 AS y, DATE '2024-01-01' AS day", "y ~ 0 + .")).message,
            "'.' leaves out day (DATE), as dates, times, lists and structures are neither numbers "
            "nor categories; write C(day) to take its values as the levels of a factor.\n"
            "  y ~ 0 + .\n          ^");
}

TEST(DotColumns, WeightsAreNoTerms) {
  FitOptions options = OptionsFor(kTable, "y ~ . - day - list - w");
  options.binding.freqWeight = "W";
  EXPECT_EQ(LabelsOf(Fit(options)), (Strings{"(Intercept)", "x", "g=g0", "g=g1", "flag=false",
                                             "flag=true", "odd name=u0", "odd name=u1"}));
  options.binding.freqWeight.clear();
  options.binding.regressionWeight = "x";
  EXPECT_EQ(LabelsOf(Fit(options)).at(1), "g=g0");
}

TEST(DotColumns, AColumnThatOnlyTheConditionReadsIsATerm) {
  FitOptions options = OptionsFor(kTable, "y ~ . - day - list");
  options.where = "x > 1";
  EXPECT_EQ(LabelsOf(Fit(options)).at(1), "x");
}

std::string Identified(int values) {
  return "SELECT range AS y, range % 7 AS x, 'k' || range % " + std::to_string(values) +
         " AS \"the id\" FROM range(3000)";
}

TEST(DotColumns, ATextOfManyValuesEndsTheRun) {
  EXPECT_EQ(LabelsOf(Fit(Identified(1000), "y ~ .")).size(), 1002U);
  const std::string message = FailureOf(OptionsFor(Identified(1001), "y ~ .")).message;
  EXPECT_EQ(message,
            "'.' stands for `the id`, too, a text with more than 1000 different values, as an "
            "identifier has. Take it out with '. - `the id`', or write '. + `the id`' if it is "
            "meant as a factor.\n  y ~ .\n      ^");
  const std::string numbers = "SELECT range AS y, range || ',5' AS preis FROM range(1001)";
  EXPECT_EQ(FailureOf(OptionsFor(numbers, "y ~ .")).message,
            "'.' stands for preis, too, a text with more than 1000 different values. 100 % of its "
            "values read as numbers with a decimal comma, such as '0,5': make numbers of them in "
            "--sql, such as CAST(replace(regexp_replace(replace(\"preis\", '\u2212', '-'), "
            "'[^-0-9eE,]', '', 'g'), ',', '.') AS DOUBLE). Take it out with '. - "
            "preis', or write '. + preis' if it is meant as a factor.\n  y ~ .\n      ^");
  EXPECT_EQ(LabelsOf(Fit(Identified(1001), "y ~ . - `the id`")), (Strings{"(Intercept)", "x"}));
  EXPECT_EQ(LabelsOf(Fit(Identified(1001), "y ~ . + `the id`")).size(), 1003U);
}

}  // namespace
}  // namespace qvhost
