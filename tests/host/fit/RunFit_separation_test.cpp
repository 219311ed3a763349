// What fits without a maximum warn of: which parameters are named, on tables made to deserve it.

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

/// The parameters that the warnings name as drivers, in their order.
Names DriversOf(const FitResult& fit) {
  Names names;
  for (const std::string& warning : fit.warnings) {
    // A driver stands in quotes, with its numbers in brackets behind: 'level: label' (….
    const std::string behind = "' (";
    for (std::size_t end = warning.find(behind); end != std::string::npos;
         end = warning.find(behind, end + behind.size())) {
      const std::size_t begin = warning.rfind('\'', end - 1) + 1;
      names.push_back(warning.substr(begin, end - begin));
    }
  }
  return names;
}

/// The weight tells the levels apart at 3 kilograms; `noise` does nothing.
std::string Weighed(const std::string& weight) {
  return "SELECT " + weight +
         " AS weight, kilos >= 3 AS heavy, noise FROM (SELECT range / 10.0 AS kilos, (range * "
         "7919) "
         "% 23 AS noise FROM range(60))";
}

TEST(RunFitSeparation, CompleteByACovariate) {
  const FitResult fit = Fit(Weighed("kilos"), "heavy ~ weight");
  EXPECT_EQ(fit.logistic->outcome, "complete_separation");
  EXPECT_FALSE(fit.logistic->converged);
  EXPECT_EQ(DriversOf(fit), Names{"true: weight"});
}

TEST(RunFitSeparation, GramsOrKilogramsNameTheSameDrivers) {
  for (const char* formula : {"heavy ~ weight", "heavy ~ weight + noise", "heavy ~ weight*noise",
                              "heavy ~ weight + I(weight^2)"}) {
    const FitResult kilos = Fit(Weighed("kilos"), formula);
    const FitResult grams = Fit(Weighed("1000 * kilos"), formula);
    const FitResult tons = Fit(Weighed("kilos / 1000"), formula);
    const Names expected = DriversOf(kilos);
    EXPECT_FALSE(expected.empty()) << formula;
    EXPECT_EQ(DriversOf(grams), expected) << formula;
    EXPECT_EQ(DriversOf(tons), expected) << formula;
    EXPECT_EQ(grams.logistic->outcome, kilos.logistic->outcome) << formula;
  }
}

TEST(RunFitSeparation, ACentredCovariateIsNamedToo) {
  const FitResult fit = Fit(Weighed("kilos - 2.95"), "heavy ~ weight");
  EXPECT_EQ(fit.logistic->outcome, "complete_separation");
  EXPECT_EQ(DriversOf(fit), Names{"true: weight"});
  EXPECT_EQ(DriversOf(Fit(Weighed("kilos - 2.95 + 1e-9"), "heavy ~ weight")), Names{"true: weight"})
      << "all but centred";
}

TEST(RunFitSeparation, ALevelWithOneAnswerOnly) {
  const std::string rows =
      "SELECT ['a', 'b', 'c'][1 + i % 3] AS g, i % 7 AS x, CASE WHEN i % 3 = 2 THEN 'yes' WHEN "
      "(i * 7919) % 11 < 5 THEN 'no' ELSE 'yes' END AS answer FROM (SELECT range AS i FROM "
      "range(90))";
  const FitResult fit = Fit(rows, "answer ~ g + x");
  EXPECT_EQ(fit.logistic->outcome, "quasi_complete_separation");
  const Names drivers = DriversOf(fit);
  ASSERT_EQ(drivers.size(), 2U) << "both are compared with c";
  EXPECT_NE(std::ranges::find(drivers, "yes: g=a"), drivers.end());
  EXPECT_NE(std::ranges::find(drivers, "yes: g=b"), drivers.end());
}

TEST(RunFitSeparation, ACovariateFarFromZeroIsNotNamedForItsMean) {
  const std::string rows =
      "SELECT ['a', 'b', 'c'][1 + i % 3] AS g, 2000 + i * 3 % 20 AS year, CASE WHEN i % 3 = 2 THEN "
      "'yes' WHEN (i * 7919) % 11 < 5 THEN 'no' ELSE 'yes' END AS answer FROM (SELECT range AS i "
      "FROM range(90))";
  const Names drivers = DriversOf(Fit(rows, "answer ~ g + year"));
  EXPECT_EQ(drivers.size(), 2U);
  for (const std::string& driver : drivers) EXPECT_TRUE(driver.starts_with("yes: g=")) << driver;
}

TEST(RunFitSeparation, OnlyTheLevelThatLiesApartIsNamed) {
  DataSource iris;
  iris.data = QVREG_TEST_DATA "/logistic/data/iris.csv";
  FitOptions options;
  options.source = iris;
  options.formula = "species ~ sepal_length + sepal_width + petal_length + petal_width";
  const Names drivers = DriversOf(Fit(options));
  EXPECT_EQ(drivers.size(), 4U);
  for (const std::string& driver : drivers) EXPECT_TRUE(driver.starts_with("setosa: ")) << driver;
}

TEST(RunFitSeparation, ACopyThatAllButRepeatsAnother) {
  FitOptions options;
  options.source.data = QVREG_TEST_DATA "/logistic/data/near_copy.csv";
  options.formula = "answer ~ x + y";
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "singular_information");
  EXPECT_EQ(DriversOf(fit), Names{"yes: y"});
  ASSERT_EQ(fit.parameters.size(), 3U);
  EXPECT_FALSE(fit.parameters[2].statistics.stdError.has_value());
  EXPECT_FALSE(fit.parameters[2].statistics.confLow.has_value());
}

TEST(RunFitSeparation, AnOrdinaryFitWarnsOfNothing) {
  FitOptions options;
  options.source.data = QVREG_TEST_DATA "/logistic/data/made.csv";
  options.formula = "three ~ g + x";
  EXPECT_EQ(Fit(options).warnings, Names{});
}

TEST(RunFitSeparation, EarlyStopsSayWhatWasNotReached) {
  FitOptions options;
  options.source.data = QVREG_TEST_DATA "/logistic/data/made.csv";
  options.formula = "three ~ g + x";
  options.logistic.maxIterations = 2;
  FitResult fit = Fit(options);
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_TRUE(fit.warnings[0].starts_with(
      "The estimates had not settled after 2 iterations, the most allowed: they still changed by "))
      << fit.warnings[0];
  options.logistic.maxIterations = 0;
  fit = Fit(options);
  EXPECT_EQ(fit.warnings, Names{"No iteration was allowed, so the estimates are nothing but the "
                                "starting values. Allow some with --max-iterations."});
}

TEST(RunFitSeparation, OfTheBaseOfAFactor) {
  const std::string sql =
      "SELECT 'g' || (range % 3) AS g, CASE WHEN range % 3 <> 2 AND range % 5 = 0 THEN 'y' ELSE "
      "'n' END AS y FROM range(300)";
  FitOptions options = OptionsFor(sql, "y ~ g");
  const std::string base = "It is the base 'g2' of 'g' that is separated; choose another --base.";
  FitResult fit = Fit(options);
  ASSERT_EQ(fit.logistic->outcome, "quasi_complete_separation");
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_NE(fit.warnings[0].find(base), std::string::npos) << fit.warnings[0];
  options.binding.bases = {"g=g1"};
  fit = Fit(options);
  EXPECT_EQ(fit.warnings.at(0).find("It is the base"), std::string::npos) << fit.warnings[0];
  EXPECT_EQ(DriversOf(fit), Names{"y: g=g2"});
}

TEST(RunFitSeparation, AStepHalvedUntilItIsShortIsNoConvergence) {
  // The maximum of this model, which has a parameter for each cell, is -6244.2347.
  FitOptions options = OptionsFor(
      "SELECT 'c'||y AS y, 'g'||g AS g, n FROM (VALUES (2, 0, 7), (0, 1, 3), (1, 1, 1), "
      "(3, 1, 804), (2, 2, 1069), (3, 2, 369), (0, 3, 48), (2, 3, 616), (3, 3, 2756), (0, 4, 12), "
      "(1, 4, 20), (2, 4, 6704), (3, 4, 1170), (0, 5, 1), (2, 5, 15)) AS t(y, g, n)",
      "y ~ g");
  options.binding.freqWeight = "n";
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->converged, fit.logistic->logLikelihood.value_or(0.0) > -6245.0);
}

TEST(RunFitSeparation, TooFewStepHalvings) {
  // A rare level that half of a small group has: the first step goes far too far.
  FitOptions options = OptionsFor(
      "SELECT * FROM (VALUES ('b', 1, 10), ('a', 1, 10), ('b', 0, 1), ('a', 0, 9979)) AS t(y, x, "
      "n)",
      "y ~ x");
  options.binding.freqWeight = "n";
  options.logistic.maxStepHalving = 5;
  EXPECT_EQ(Fit(options).warnings,
            Names{"Iteration 1 found no step of use in up to 5 step-halvings, so the estimates may "
                  "not be the best. Merge rare levels, centre and rescale covariates, or allow "
                  "more with --max-step-halving."});
  options.logistic.maxStepHalving = 6;
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "parameters_converged");
  EXPECT_EQ(fit.logistic->stepHalvings, 6);
  EXPECT_EQ(fit.warnings, Names{});
}

}  // namespace
}  // namespace qvhost
