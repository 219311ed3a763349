// What becomes of a logistic model that the library left without a maximum.
#include "host/fit/Continuation.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

constexpr double kHalf = 5e11;
constexpr double kMost = 1e12;

/// Of 1e12 + 1 with x = 1, one is 'a'; half of the others are. The probabilities and the
/// information matrix look like separation long before the maximum, at a log odds of -27.6.
FitOptions FarMaximum() {
  FitOptions options = OptionsFor(
      "SELECT * FROM (VALUES ('b', 1, 1e12), ('a', 1, 1), ('b', 0, 5e11), ('a', 0, 5e11)) AS t(y, "
      "x, n)",
      "y ~ x");
  options.binding.freqWeight = "n";
  return options;
}

/// Level c has one answer only.
FitOptions OneAnswer() {
  return OptionsFor(
      "SELECT ['a', 'b', 'c'][1 + i % 3] AS g, i % 7 AS x, CASE WHEN i % 3 = 2 THEN 'yes' WHEN "
      "(i * 7919) % 11 < 5 THEN 'no' ELSE 'yes' END AS answer FROM (SELECT range AS i FROM "
      "range(90))",
      "answer ~ g + x");
}

/// Two answers overlap at 3, and nowhere else.
FitOptions Tie() {
  return OptionsFor(
      "SELECT range / 10.0 AS x, range >= 30 AS y FROM range(60) UNION ALL SELECT 3.0, false",
      "y ~ x");
}

FitOptions Shuttle() {
  FitOptions options;
  options.source.data = QVREG_TEST_DATA "/logistic/data/shuttle_part.csv";
  options.formula = "Class ~ V1 + V2";
  options.binding.freqWeight = "n";
  return options;
}

double Share(double part, double whole) { return part * std::log(part / whole); }

TEST(Continuation, ReachesAMaximumThatIsFarAway) {
  FitOptions options = FarMaximum();
  for (const bool inMemory : {true, false}) {
    options.logistic.inMemory = inMemory;
    const FitResult fit = Fit(options);
    const LogisticFit& logistic = fit.logistic.value();
    EXPECT_EQ(logistic.outcome, "parameters_converged");
    EXPECT_TRUE(logistic.converged);
    EXPECT_EQ(fit.warnings, Names{});
    EXPECT_NEAR(*fit.parameters[1].estimate, std::log(kMost), 1e-6);
    // Those of the model without terms and of the counts.
    const double all = 2 * kMost + 1;
    const double initial = Share(kHalf + 1, all) + Share(kHalf + kMost, all);
    const double final = Share(1, kMost + 1) + Share(kMost, kMost + 1) - kMost * std::log(2.0);
    EXPECT_NEAR(*logistic.initialLogLikelihood / initial, 1.0, 1e-14);
    EXPECT_NEAR(*logistic.logLikelihood / final, 1.0, 1e-14);
    EXPECT_NEAR(*logistic.chiSquare / (2 * (final - initial)), 1.0, 1e-13);
    EXPECT_NEAR(*logistic.mcFadden, 1 - final / initial, 1e-13);
    EXPECT_NEAR(*logistic.coxSnell, 1 - std::exp(2 * (initial - final) / all), 1e-13);
  }
}

TEST(Continuation, IsTheSameAsARunThatWasNotStopped) {
  FitOptions options = Shuttle();
  options.logistic.separationFrom = 15;
  const FitResult stopped = Fit(options);
  options.logistic.separationFrom = 0;
  const FitResult whole = Fit(options);
  ASSERT_GT(whole.logistic->iterations, 15) << "or the library did not stop";
  EXPECT_EQ(stopped.logistic->outcome, "parameters_converged");
  EXPECT_EQ(stopped.logistic->iterations, whole.logistic->iterations);
  EXPECT_EQ(stopped.logistic->stepHalvings, whole.logistic->stepHalvings);
  EXPECT_GT(whole.logistic->stepHalvings, 0);
  EXPECT_EQ(stopped.logistic->parameterChange, whole.logistic->parameterChange);
  EXPECT_EQ(stopped.logistic->initialLogLikelihood, whole.logistic->initialLogLikelihood);
  EXPECT_EQ(stopped.logistic->nagelkerke, whole.logistic->nagelkerke);
  EXPECT_EQ(stopped.logistic->ending, whole.logistic->ending);
  for (std::size_t i = 0; i < whole.parameters.size(); ++i) {
    EXPECT_EQ(stopped.parameters[i].estimate, whole.parameters[i].estimate) << i;
    EXPECT_EQ(stopped.parameters[i].statistics.stdError, whole.parameters[i].statistics.stdError);
  }
}

// Newton's method in long double over the standardised covariates, to a step of 1e-15. R's
// nnet::multinom comes to -14.5626470387.
TEST(Continuation, PartOfARealTableIsNotSeparated) {
  const FitResult fit = Fit(Shuttle());
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_TRUE(fit.warnings[0].starts_with("The terms tell the levels of ")) << fit.warnings[0];
  EXPECT_NEAR(*fit.logistic->logLikelihood, -14.562647011818837, 1e-12);
  EXPECT_NEAR(*fit.logistic->initialLogLikelihood, -748.2580575972052, 1e-10);
  const std::vector<double> expected{40.384988775898506, -0.17036067199385077, 1.4315218095798408,
                                     21.669579618897714, 0.17300775417954808,  1.427217267452881};
  ASSERT_EQ(fit.parameters.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(*fit.parameters[i].estimate / expected[i], 1.0, 1e-7) << fit.parameters[i].label;
  }
}

TEST(Continuation, AllIterationsTogetherKeepTheLimit) {
  FitOptions options = FarMaximum();
  for (const int most : {20, 21, 25}) {
    options.logistic.maxIterations = most;
    const FitResult fit = Fit(options);
    EXPECT_EQ(fit.logistic->outcome, "max_iterations") << most;
    EXPECT_EQ(fit.logistic->iterations, most);
    ASSERT_EQ(fit.warnings.size(), 1U);
    EXPECT_TRUE(fit.warnings[0].starts_with("The estimates had not settled after " +
                                            std::to_string(most) + " iterations, the most allowed"))
        << fit.warnings[0];
  }
}

TEST(Continuation, GoesOnUntilSeparationIsSeen) {
  const FitResult fit = Fit(Tie());
  EXPECT_EQ(fit.logistic->outcome, "quasi_complete_separation");
  EXPECT_EQ(fit.logistic->outcomeCode, kOptQuasiSeparation);
  EXPECT_FALSE(fit.logistic->converged);
  EXPECT_GT(fit.logistic->iterations, 20);
  EXPECT_NEAR(*fit.logistic->logLikelihood, -2 * std::log(2.0), 1e-7) << "of the two at 3";
  ASSERT_EQ(fit.warnings.size(), 1U);
  EXPECT_NE(fit.warnings[0].find("The estimate that keeps growing is 'true: x' ("),
            std::string::npos)
      << fit.warnings[0];
  // Records at 2.9 and 3.1 gain 1 each.
  EXPECT_NEAR(fit.parameters[0].growth, -30.0, 0.1);
  EXPECT_NEAR(fit.parameters[1].growth, 10.0, 0.05);
  EXPECT_FALSE(fit.parameters[1].statistics.stdError.has_value() &&
               *fit.parameters[1].statistics.stdError < 1000)
      << "no small error of an estimate that does not exist";
}

TEST(Continuation, OnlyWhatGrowsIsNamed) {
  const FitResult fit = Fit(OneAnswer());
  EXPECT_EQ(fit.logistic->outcome, "quasi_complete_separation");
  ASSERT_EQ(fit.parameters.size(), 5U);
  EXPECT_NEAR(fit.parameters[0].growth, 1.0, 1e-6);
  EXPECT_NEAR(fit.parameters[1].growth, -1.0, 1e-6);
  EXPECT_NEAR(fit.parameters[2].growth, -1.0, 1e-6);
  EXPECT_EQ(fit.parameters[3].growth, 0.0) << "redundant";
  EXPECT_EQ(fit.parameters[4].growth, 0.0) << "x";
  ASSERT_TRUE(fit.parameters[4].statistics.stdError.has_value());
  EXPECT_NEAR(*fit.parameters[4].statistics.stdError, 0.13285, 1e-5);
}

TEST(Continuation, CompleteSeparationIsSeenBeforeTheLibraryLooksForIt) {
  FitOptions options =
      OptionsFor("SELECT range / 10.0 AS x, range >= 30 AS y FROM range(60)", "y ~ x");
  options.logistic.separationFrom = 90;
  options.logistic.maxIterations = 60;
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "complete_separation");
  EXPECT_EQ(fit.logistic->iterations, 60);
}

/// What the run of separated data fails with.
std::string FailureOf(const char* query, const char* formula) {
  FitOptions options = OptionsFor(query, formula);
  options.binding.model = ModelKind::kLogistic;
  try {
    static_cast<void>(Fit(options));
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing";
}

TEST(Continuation, EndsWhereEstimatesLeaveTheRangeOfADouble) {
  const std::string tiny = FailureOf(
      "SELECT (1 + range % 9) * 1e-310 AS x, range % 9 > 4 OR range = 4 AS y FROM range(90)",
      "y ~ x");
  EXPECT_NE(tiny.find("The estimate of 'x'"), std::string::npos) << tiny;
  const std::string huge = FailureOf(
      "SELECT (range % 9 + 1) * (CASE WHEN range % 2 = 0 THEN -1e200 ELSE 1e200 END) AS x, "
      "(range % 5 + 1) * 1e200 AS z, range % 2 = 0 AS y FROM range(90)",
      "y ~ 0 + x:z");
  EXPECT_NE(huge.find("The estimate of 'x:z'"), std::string::npos) << huge;
}

TEST(Continuation, ARareBaseLevelIsSeparated) {
  FitOptions options = OptionsFor(
      "SELECT * FROM (VALUES ('a', 'no', 40000), ('a', 'yes', 59997), ('b', 'yes', 3)) AS t(g, y, "
      "n)",
      "y ~ g");
  options.binding.freqWeight = "n";
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "quasi_complete_separation");
  EXPECT_NEAR(fit.parameters[1].growth, -1.0, 1e-3);
  // A singular matrix leaves the intercept the error that it would have beside a known level.
  for (const ParameterResult& parameter : {fit.parameters[0], fit.parameters[1]}) {
    EXPECT_GT(parameter.statistics.stdError.value_or(1e9), 100.0) << parameter.label;
  }
}

TEST(Continuation, NothingIsClaimedThatWasNotLookedFor) {
  FitOptions options = OneAnswer();
  options.logistic.separationFrom = 0;
  const FitResult fit = Fit(options);
  EXPECT_NE(fit.logistic->outcome, "quasi_complete_separation");
  EXPECT_FALSE(fit.logistic->converged);
  EXPECT_EQ(fit.parameters[1].growth, 0.0);
}

TEST(Continuation, ASettledLogLikelihoodIsNoMaximumWhileEstimatesGrow) {
  FitOptions options = Tie();
  options.logistic.logLikelihoodCriterion = 1e-7;
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "quasi_complete_separation");
}

TEST(Continuation, ASingularMatrixOnTheWayIsPassed) {
  // The test starts where the intercept's and the income's columns still look alike.
  FitOptions options = OptionsFor(
      "SELECT 40000 + 11700 * sin(i * 1.7) AS x, (i * 7919) % 11 < 4 + 2 * sin(i * 1.7) AS y FROM "
      "(SELECT range AS i FROM range(300))",
      "y ~ x");
  const FitResult usual = Fit(options);
  for (const int from : {1, 3}) {
    options.logistic.separationFrom = from;
    const FitResult fit = Fit(options);
    EXPECT_EQ(fit.logistic->outcome, "parameters_converged") << from;
    EXPECT_EQ(fit.parameters[1].estimate, usual.parameters[1].estimate) << from;
  }
}

TEST(Continuation, AFailedStepIsNotRepeated) {
  FitOptions options = Shuttle();
  options.logistic.maxStepHalving = 5;
  const FitResult fit = Fit(options);
  EXPECT_EQ(fit.logistic->outcome, "step_halving_failed");
  EXPECT_LT(fit.logistic->iterations, 20);
  EXPECT_EQ(fit.warnings.size(), 1U);
}

}  // namespace
}  // namespace qvhost
