// Each option of a logistic model, by what it changes in the fit.

#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

Json FitSql(const std::string& sql, const std::string& formula, const Strings& more = {}) {
  Strings arguments = {"--sql", sql, "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return FitJson(arguments);
}

/// 480 made-up records; `three` is agree, deny or doubt.
Json FitMade(const Strings& more, const std::string& formula = "three ~ g + x") {
  Strings arguments = {"--data", QVREG_TEST_DATA "/logistic/data/made.csv", "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return FitJson(arguments);
}

/// A rare level that half of a small group has: from the start, where everybody has the same small
/// probability, the first step goes some 500 where log 9979 is right.
Json FitRare(const Strings& more) {
  Strings options = {"--model", "logistic", "--reference", "0", "--freq-weight", "n"};
  options.insert(options.end(), more.begin(), more.end());
  return FitSql(
      "SELECT * FROM (VALUES (1, 1, 10), (0, 1, 10), (1, 0, 1), (0, 0, 9979)) AS t(y, x, n)",
      "y ~ x", options);
}

Strings Categories(const Json& fit) { return fit.at("classification").at("categories"); }

std::vector<double> Estimates(const Json& fit) {
  std::vector<double> estimates;
  for (const Json& parameter : fit.at("parameters")) estimates.push_back(parameter.at("estimate"));
  return estimates;
}

// ---- The model --------------------------------------------------------------

TEST(CommandLogisticOptions, ACategoryAsDependentIsTheDefault) {
  EXPECT_EQ(FitMade({}), FitMade({"--model", "logistic"}));
  EXPECT_EQ(FitMade({}).at("model"), "logistic");
}

TEST(CommandLogisticOptions, ANumberAsDependentNeedsTheModel) {
  const std::string rows = "SELECT range % 3 AS y, range * 5 % 7 AS x FROM range(60)";
  EXPECT_EQ(FitSql(rows, "y ~ x").at("model"), "linear");
  const Json asked = FitSql(rows, "y ~ x", {"--model", "logistic"});
  EXPECT_EQ(asked.at("model"), "logistic");
  EXPECT_EQ(asked.at("dependent"), "y");
  EXPECT_EQ(Categories(asked), (Strings{"0", "1", "2"}));
  const Json made = FitSql(rows, "C(y) ~ x");
  EXPECT_EQ(made.at("dependent"), "C(y)");
  EXPECT_EQ(made.at("parameters"), asked.at("parameters"));
  EXPECT_EQ(made.at("fit"), asked.at("fit"));
}

TEST(CommandLogisticOptions, NumbersStandInTheOrderOfTheirValues) {
  const std::string rows = "SELECT 5 * (range % 4) AS y, range * 5 % 7 AS x FROM range(60)";
  EXPECT_EQ(Categories(FitSql(rows, "C(y) ~ x")), (Strings{"0", "5", "10", "15"}));
  EXPECT_EQ(FitSql(rows, "C(y) ~ x", {"--reference", "10"}).at("reference"), "10");
}

TEST(CommandLogisticOptions, EveryKindOfCategory) {
  const std::string rows =
      "SELECT range % 3 = 0 AS flag, ['small', 'big'][1 + range % 2]::ENUM('small', 'big') AS "
      "size, "
      "DATE '2024-01-30' + (range % 3)::INT AS day, range * 5 % 7 AS x FROM range(60)";
  EXPECT_EQ(Categories(FitSql(rows, "flag ~ x")), (Strings{"true", "false"}));
  EXPECT_EQ(Categories(FitSql(rows, "size ~ x")), (Strings{"big", "small"})) << "as listed";
  EXPECT_EQ(Categories(FitSql(rows, "C(day) ~ x")),
            (Strings{"2024-01-30", "2024-01-31", "2024-02-01"}));
}

// ---- The reference ----------------------------------------------------------

TEST(CommandLogisticOptions, ReferenceStandsLast) {
  EXPECT_EQ(Categories(FitMade({})), (Strings{"agree", "deny", "doubt"}));
  EXPECT_EQ(Categories(FitMade({"--reference", "last"})), (Strings{"agree", "deny", "doubt"}));
  EXPECT_EQ(Categories(FitMade({"--reference", "first"})), (Strings{"deny", "doubt", "agree"}));
  EXPECT_EQ(Categories(FitMade({"--reference", "deny"})), (Strings{"agree", "doubt", "deny"}));
  EXPECT_EQ(FitMade({"--reference", "deny"}).at("reference"), "deny");
}

TEST(CommandLogisticOptions, ALevelNamedFirstOrLastGoesBefore) {
  const std::string rows =
      "SELECT ['alpha', 'first', 'last', 'zeta'][1 + range % 4] AS y, range * 5 % 7 AS x "
      "FROM range(80)";
  EXPECT_EQ(FitSql(rows, "y ~ x").at("reference"), "zeta");
  EXPECT_EQ(FitSql(rows, "y ~ x", {"--reference", "first"}).at("reference"), "first");
  EXPECT_EQ(FitSql(rows, "y ~ x", {"--reference", "last"}).at("reference"), "last");
}

/// Every record of the levels a and z lacks x.
constexpr const char* kLeftOut =
    "SELECT y, CASE WHEN y IN ('a', 'z') THEN NULL ELSE i * 5 % 7 END AS x FROM (SELECT ['a', 'b', "
    "'c', 'd', 'z'][1 + range % 5] AS y, range AS i FROM range(100))";

TEST(CommandLogisticOptions, FirstAndLastAreOfTheLevelsThatOccur) {
  EXPECT_EQ(Categories(FitSql(kLeftOut, "y ~ x", {"--reference", "first"})),
            (Strings{"c", "d", "b"}));
  EXPECT_EQ(Categories(FitSql(kLeftOut, "y ~ x", {"--reference", "last"})),
            (Strings{"b", "c", "d"}));
}

TEST(CommandLogisticOptions, AReferenceThatOccursInLeftOutRecordsOnlyGivesWay) {
  const std::string unseen =
      "2 of the 5 levels of the dependent do not occur in the records used and are left out of the "
      "model: 'a', 'z'.";
  const std::string givesWay =
      "The reference category does not occur in the records used; the last one that occurs takes "
      "its place.";
  const Json fit = FitSql(kLeftOut, "y ~ x", {"--reference", "a"});
  EXPECT_EQ(fit.at("reference"), "d");
  EXPECT_EQ(fit.at("warnings"), (Json{unseen, givesWay}));
  EXPECT_EQ(fit.at("status").at("message"), givesWay);
  EXPECT_NE(fit.at("status").at("code"), 0);
  const Json plain = FitSql(kLeftOut, "y ~ x");
  EXPECT_EQ(plain.at("warnings"), Json::array({unseen}));
  EXPECT_EQ(plain.at("status").at("code"), 0);
  EXPECT_EQ(plain.at("parameters"), fit.at("parameters"));
}

// ---- Memory -----------------------------------------------------------------

TEST(CommandLogisticOptions, InMemoryOrNot) {
  const Json byDefault = FitMade({});
  const Json inMemory = FitMade({"--in-memory"});
  const Json anew = FitMade({"--no-in-memory"});
  EXPECT_EQ(byDefault, inMemory) << "a small table";
  EXPECT_EQ(inMemory.at("fit").at("in_memory"), true);
  EXPECT_EQ(anew.at("fit").at("in_memory"), false);
  const std::vector<double> expected = Estimates(inMemory);
  const std::vector<double> got = Estimates(anew);
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t i = 0; i < got.size(); ++i) {
    EXPECT_NEAR(got[i], expected[i], 1e-10 * std::abs(expected[i]));
  }
  EXPECT_EQ(anew.at("classification"), inMemory.at("classification"));
}

// ---- Iterations -------------------------------------------------------------

TEST(CommandLogisticOptions, MaxIterations) {
  double before = FitMade({"--max-iterations", "0"}).at("fit").at("loglik");
  for (int most = 1; most <= 3; ++most) {
    const Json fit = FitMade({"--max-iterations", std::to_string(most)}).at("fit");
    EXPECT_EQ(fit.at("iterations"), most);
    EXPECT_EQ(fit.at("outcome"), "max_iterations");
    EXPECT_EQ(fit.at("converged"), false);
    EXPECT_GT(fit.at("loglik"), before);
    before = fit.at("loglik");
  }
  EXPECT_EQ(FitMade({"--max-iterations", "50"}), FitMade({}));
}

TEST(CommandLogisticOptions, NoIterationLeavesTheStart) {
  const Json fit = FitMade({"--max-iterations", "0"});
  EXPECT_EQ(fit.at("fit").at("outcome"), "no_iterations");
  EXPECT_EQ(fit.at("fit").at("converged"), false);
  EXPECT_EQ(fit.at("fit").at("loglik"), fit.at("fit").at("loglik_initial"));
  // The log odds of 216 agree and 125 deny to 139 doubt.
  EXPECT_NEAR(ParameterOf(fit, "(Intercept)", "agree").at("estimate"), std::log(216.0 / 139.0),
              1e-14);
  EXPECT_NEAR(ParameterOf(fit, "(Intercept)", "deny").at("estimate"), std::log(125.0 / 139.0),
              1e-14);
  EXPECT_EQ(ParameterOf(fit, "x", "agree").at("estimate"), 0.0);
}

TEST(CommandLogisticOptions, AnInterceptAloneNeedsNoIteration) {
  const Json fit = FitMade({}, "three ~ 1");
  EXPECT_EQ(fit.at("fit").at("outcome"), "no_iterations");
  EXPECT_EQ(fit.at("fit").at("converged"), true);
  EXPECT_EQ(fit.at("warnings"), Json::array());
  EXPECT_TRUE(fit.at("fit").at("p_value").is_null()) << "nothing to test on 0 degrees of freedom";
  EXPECT_EQ(fit.at("fit").at("chi_square_df"), 0);
}

TEST(CommandLogisticOptions, MaxStepHalving) {
  const Json short5 = FitRare({"--max-step-halving", "5"}).at("fit");
  EXPECT_EQ(short5.at("outcome"), "step_halving_failed");
  EXPECT_EQ(short5.at("step_halvings"), 5);
  EXPECT_EQ(short5.at("iterations"), 1);
  EXPECT_EQ(short5.at("loglik"), short5.at("loglik_initial"));
  EXPECT_EQ(FitRare({"--max-step-halving", "2"}).at("fit").at("step_halvings"), 2);

  const Json enough = FitRare({"--max-step-halving", "20"});
  EXPECT_EQ(enough.at("fit").at("outcome"), "parameters_converged");
  EXPECT_GE(enough.at("fit").at("step_halvings"), 6);
  EXPECT_EQ(FitRare({}), enough) << "10 by default";
  EXPECT_EQ(FitRare({}), FitRare({"--max-step-halving", "10"}));
  // One of 9980 where x is 0, ten of 20 where it is 1.
  EXPECT_NEAR(ParameterOf(enough, "(Intercept)", "1").at("estimate"), -std::log(9979.0), 1e-7);
  EXPECT_NEAR(ParameterOf(enough, "x", "1").at("estimate"), std::log(9979.0), 1e-7);
  EXPECT_NEAR(ParameterOf(enough, "x", "1").at("std_error"),
              std::sqrt(1.0 / 10 + 1.0 / 10 + 1.0 + 1.0 / 9979), 1e-7);
}

// 30 of 1,000 against 70 of 999,000: log odds and sums of 1 / count.
TEST(CommandLogisticOptions, RareEventsConvergeByDefault) {
  const Json fit = FitSql(
      "SELECT * FROM (VALUES (1, 1, 30), (0, 1, 970), (1, 0, 70), (0, 0, 998930)) AS t(y, x, n)",
      "y ~ x", {"--model", "logistic", "--reference", "first", "--freq-weight", "n"});
  EXPECT_EQ(fit.at("fit").at("outcome"), "parameters_converged");
  EXPECT_EQ(fit.at("warnings"), Json::array());
  EXPECT_NEAR(ParameterOf(fit, "(Intercept)", "1").at("estimate"), std::log(70.0 / 998930), 1e-9);
  EXPECT_NEAR(ParameterOf(fit, "x", "1").at("estimate"),
              std::log(30.0 / 970) - std::log(70.0 / 998930), 1e-9);
  EXPECT_NEAR(ParameterOf(fit, "x", "1").at("std_error"),
              std::sqrt(1.0 / 30 + 1.0 / 970 + 1.0 / 70 + 1.0 / 998930), 1e-9);
}

TEST(CommandLogisticOptions, SeparationFrom) {
  const Strings separated = {"--data", QVREG_TEST_DATA "/logistic/data/complete.csv", "--formula",
                             "answer ~ x"};
  const auto fit = [&](const std::string& from) {
    Strings arguments = separated;
    arguments.insert(arguments.end(), {"--separation-from", from});
    return FitJson(arguments).at("fit");
  };
  EXPECT_EQ(FitJson(separated).at("fit"), fit("20"));
  EXPECT_EQ(fit("20").at("iterations"), 20);
  EXPECT_EQ(fit("13").at("iterations"), 13);
  EXPECT_EQ(fit("13").at("outcome"), "complete_separation");
  EXPECT_GT(fit("0").at("iterations"), 20) << "not looked for";
  EXPECT_NE(fit("0").at("outcome"), "complete_separation");
}

// ---- Convergence ------------------------------------------------------------

/// The fit stopped after so many iterations.
Json Stopped(int iterations) { return FitMade({"--max-iterations", std::to_string(iterations)}); }

TEST(CommandLogisticOptions, LogLikelihoodCriterion) {
  const Json fit = FitMade({"--ll-criterion", "1e-3", "--parameter-criterion", "0"}).at("fit");
  EXPECT_EQ(fit.at("outcome"), "loglik_converged");
  EXPECT_LT(fit.at("iterations"), FitMade({}).at("fit").at("iterations"));
  const int last = fit.at("iterations");
  const double before = Stopped(last - 1).at("fit").at("loglik");
  const double change = std::abs(fit.at("loglik").get<double>() - before);
  EXPECT_NEAR(fit.at("loglik_change"), change / std::abs(before), 1e-12);
  EXPECT_LT(fit.at("loglik_change"), 1e-3);
}

TEST(CommandLogisticOptions, AbsoluteLogLikelihoodCriterion) {
  // The change of one iteration, some 0.98, lies between the two.
  const Json fit =
      FitMade({"--ll-criterion", "1", "--absolute-ll-criterion", "--parameter-criterion", "0"})
          .at("fit");
  EXPECT_EQ(fit.at("outcome"), "loglik_converged");
  const int last = fit.at("iterations");
  const double before = Stopped(last - 1).at("fit").at("loglik");
  EXPECT_NEAR(fit.at("loglik_change"), fit.at("loglik").get<double>() - before, 1e-9);
  EXPECT_LT(fit.at("loglik_change"), 1.0);
  EXPECT_EQ(
      FitMade({"--ll-criterion", "1", "--parameter-criterion", "0"}).at("fit").at("iterations"), 1)
      << "no change is as large as the log-likelihood itself";
  EXPECT_GT(last, 1);
}

TEST(CommandLogisticOptions, ParameterCriterion) {
  const Json fit = FitMade({"--parameter-criterion", "1e-3"});
  EXPECT_EQ(fit.at("fit").at("outcome"), "parameters_converged");
  const int last = fit.at("fit").at("iterations");
  const std::vector<double> now = Estimates(fit);
  const std::vector<double> before = Estimates(Stopped(last - 1));
  double largest = 0.0;
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i] == 0.0) continue;  // Redundant.
    largest = std::max(largest, std::abs(now[i] - before[i]) / std::abs(before[i]));
  }
  EXPECT_NEAR(fit.at("fit").at("parameter_change"), largest, 1e-10);
  EXPECT_LT(largest, 1e-3);
  EXPECT_GT(FitMade({"--parameter-criterion", "1e-9"}).at("fit").at("iterations"), last);
}

TEST(CommandLogisticOptions, AbsoluteParameterCriterion) {
  const Json fit = FitMade({"--parameter-criterion", "1e-3", "--absolute-parameter-criterion"});
  EXPECT_EQ(fit.at("fit").at("outcome"), "parameters_converged");
  const int last = fit.at("fit").at("iterations");
  const std::vector<double> now = Estimates(fit);
  const std::vector<double> before = Estimates(Stopped(last - 1));
  double sum = 0.0;
  for (std::size_t i = 0; i < now.size(); ++i) sum += std::abs(now[i] - before[i]);
  EXPECT_NEAR(fit.at("fit").at("parameter_change"), sum, 1e-10);
  EXPECT_LT(sum, 1e-3);
}

TEST(CommandLogisticOptions, BothCriteria) {
  const Json both = FitMade({"--ll-criterion", "1e-12", "--parameter-criterion", "1e-6"});
  EXPECT_EQ(both.at("fit").at("outcome"), "both_converged");
  EXPECT_EQ(both.at("fit").at("converged"), true);
}

TEST(CommandLogisticOptions, WithoutACriterionAllIterationsAreMade) {
  const Json fit =
      FitMade({"--parameter-criterion", "0", "--max-iterations", "12", "--separation-from", "0"});
  EXPECT_EQ(fit.at("fit").at("iterations"), 12);
  EXPECT_EQ(fit.at("fit").at("outcome"), "max_iterations");
}

// ---- Options of every model -------------------------------------------------

// R: X <- model.matrix(~ wt, mtcars); y <- mtcars$am; b <- c(0, 0); ten times
// p <- plogis(X %*% b); b <- b + solve(H <- crossprod(X, X * c(p * (1 - p))), crossprod(X, y - p));
// se <- sqrt(diag(solve(H))); 2 * pnorm(-abs(b / se)); b + qnorm(0.95) * se
TEST(CommandLogisticOptions, Confidence) {
  const Json fit = FitJson({"--data", QVREG_TEST_DATA "/r/mtcars.csv", "--formula", "am ~ wt",
                            "--model", "logistic", "--reference", "first", "--confidence", "0.9"});
  EXPECT_EQ(fit.at("confidence"), 0.9);
  const Json& wt = ParameterOf(fit, "wt", "1");
  EXPECT_NEAR(wt.at("estimate"), -4.0239699621732008, 1e-10);
  EXPECT_NEAR(wt.at("std_error"), 1.4365277526235662, 1e-10);
  EXPECT_NEAR(wt.at("statistic"), -2.8011780174967904, 1e-10);
  EXPECT_NEAR(wt.at("p_value"), 0.0050916423069716776, 1e-12);
  EXPECT_NEAR(wt.at("conf_low"), -6.38684784629252, 1e-10);
  EXPECT_NEAR(wt.at("conf_high"), -1.6610920780538816, 1e-10);
}

TEST(CommandLogisticOptions, Tolerance) {
  EXPECT_EQ(ParameterOf(FitMade({}, "three ~ x + z"), "x", "agree").at("redundant"), false);
  const Json loose = FitMade({"--tolerance", "0.9"}, "three ~ x + z");
  EXPECT_EQ(ParameterOf(loose, "x", "agree").at("redundant"), true);
  EXPECT_EQ(ParameterOf(loose, "x", "deny").at("redundant"), true);
}

TEST(CommandLogisticOptions, NoIntercept) {
  const Json byOption = FitMade({"--no-intercept"});
  const Json byFormula = FitMade({}, "three ~ 0 + g + x");
  EXPECT_EQ(byOption.at("parameters"), byFormula.at("parameters"));
  EXPECT_EQ(byOption.at("fit"), byFormula.at("fit"));
  EXPECT_NEAR(FitMade({}, "three ~ 0 + x").at("fit").at("loglik_initial"), 480 * std::log(1.0 / 3),
              1e-10)
      << "equal probabilities";
}

}  // namespace
}  // namespace qvhost
