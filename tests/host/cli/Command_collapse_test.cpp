// Identical records are fitted once: a fit says and predicts the same as of the records one by one.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Words = std::vector<std::string>;

/// 30,000 records. The outcomes `two` and `five` depend on g and x, but overlap everywhere; some
/// values of each kind are missing; `sure` is yes wherever h is 5.
constexpr const char* kRows =
    "SELECT i, ['no', 'yes'][1 + (r % 7 < 3 + g % 2 + x // 2)::INT] AS two, "
    "['a', 'b', 'c', 'd', 'e'][1 + (r // 3 + g * (r % 2)) % 5] AS five, "
    "['no', 'yes'][1 + (h = 5 OR r % 3 = 0)::INT] AS sure, 'g' || g AS g, h, x, 1 + h % 3 AS z, "
    "1 + i % 3 AS n, 0.25 * (1 + i % 4) AS w, "
    "CASE WHEN i % 23 = 0 THEN NULL ELSE 'g' || g END AS holes, "
    "CASE WHEN i % 19 = 0 THEN NULL ELSE x END AS gaps, "
    "CASE WHEN i % 17 = 0 THEN NULL ELSE ['no', 'maybe', 'yes'][1 + r % 3] END AS answer, "
    "CASE WHEN i % 13 = 0 THEN NULL WHEN i % 11 = 0 THEN 0 ELSE 1 + i % 3 END AS sparse "
    "FROM (SELECT i, i * 7919 % 1009 AS r, i * 31 % 4 AS g, i * 17 // 5 % 6 AS h, "
    "i * 13 // 7 % 5 - 2 AS x FROM range(30000) t(i))";

/// Both weigh 20,000; there are twice as many records of the second.
constexpr const char* kTies =
    "SELECT CASE WHEN i % 3 = 0 THEN 'one' ELSE 'two' END AS y, CASE WHEN i % 3 = 0 THEN 2 ELSE 1 "
    "END AS n FROM range(30000) t(i)";

/// The numbers of two reports to rounding, everything else to the letter.
void ExpectSame(const Json& got, const Json& expected, const std::string& at) {
  constexpr double kRounding = 1e-8;
  if (at == "/fit/distinct_records") return;
  if (expected.is_number_float() && got.is_number()) {
    const double wanted = expected.get<double>();
    EXPECT_NEAR(got.get<double>(), wanted, kRounding * (1.0 + std::fabs(wanted))) << at;
    return;
  }
  if (!expected.is_structured() || got.type() != expected.type() || got.size() != expected.size()) {
    EXPECT_EQ(got, expected) << at;
    return;
  }
  for (const auto& [key, value] : expected.items()) {
    const bool isMember = expected.is_array() || got.contains(key);
    ASSERT_TRUE(isMember) << at << "/" << key;
    ExpectSame(expected.is_array() ? got.at(std::stoul(key)) : got.at(key), value, at + "/" + key);
  }
}

/// Cells of two tables of text: numbers to rounding, others to the letter.
void ExpectSameCells(std::string got, std::string expected) {
  for (std::string* const text : {&got, &expected}) std::ranges::replace(*text, '\n', ',');
  std::istringstream one(got);
  std::istringstream other(expected);
  std::string cell;
  std::string wanted;
  while (std::getline(other, wanted, ',')) {
    ASSERT_TRUE(std::getline(one, cell, ','));
    if (cell == wanted) continue;
    ASSERT_LT(std::fabs(std::stod(cell) - std::stod(wanted)), 1e-9) << cell << " and " << wanted;
  }
  EXPECT_FALSE(std::getline(one, cell, ','));
}

struct Fit {
  std::string name;
  Words words;
  std::string rows = kRows;
};

void PrintTo(const Fit& fit, std::ostream* out) { *out << fit.name; }

class CommandCollapse : public ::testing::TestWithParam<Fit> {
 protected:
  static Words With(const Words& more) {
    Words words = {"--sql", GetParam().rows};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  static std::string Output(const Words& more) {
    Words words = With(more);
    words.insert(words.begin(), "fit");
    const CommandResult result = RunQvreg(words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  }
};

TEST_P(CommandCollapse, ChangesNoNumber) {
  const Json one = FitJson(With({"--no-collapse"}));
  const Json distinct = FitJson(With({}));
  EXPECT_TRUE(one.at("fit").at("distinct_records").is_null());
  ASSERT_TRUE(distinct.at("fit").at("distinct_records").is_number());
  EXPECT_LT(distinct.at("fit").at("distinct_records").get<int>(), 10000);
  EXPECT_EQ(distinct.at("records"), one.at("records"));
  EXPECT_EQ(distinct.at("classification"), one.at("classification"));
  ExpectSame(distinct, one, "");
}

TEST_P(CommandCollapse, GivesTheSameSummary) {
  EXPECT_EQ(Output({"--digits", "6"}), Output({"--digits", "6", "--no-collapse"}));
}

TEST_P(CommandCollapse, ChangesNoByteWithThreads) {
  const std::string one = Output({"--json", "-", "--threads", "1"});
  EXPECT_EQ(Output({"--json", "-", "--threads", "2"}), one);
  EXPECT_EQ(Output({"--json", "-", "--threads", "5"}), one);
}

TEST_P(CommandCollapse, PredictsEveryRow) {
  const qvtest::TempFolder folder;
  const auto predictionsOf = [&](const std::string& name, Words more) {
    const std::string file = folder.File(name);
    more.insert(more.end(), {"--predictions", file});
    Output(more);
    return qvtest::ReadFile(file);
  };
  const std::string expected = predictionsOf("one.csv", {"--no-collapse"});
  ExpectSameCells(predictionsOf("distinct.csv", {}), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fits, CommandCollapse,
    ::testing::Values(
        Fit{"TwoClasses", {"--formula", "two ~ g + C(h)"}},
        Fit{"FiveClasses", {"--formula", "five ~ g + x"}},
        Fit{"FromDisk", {"--formula", "five ~ g * x", "--no-in-memory"}},
        Fit{"TheInterceptAlone", {"--formula", "five ~ 1"}},
        Fit{"Ties", {"--formula", "y ~ 1", "--freq-weight", "n"}, kTies},
        Fit{"TiesFromDisk", {"--formula", "y ~ 1", "--freq-weight", "n", "--no-in-memory"}, kTies},
        Fit{"FrequencyWeights", {"--formula", "two ~ g + x", "--freq-weight", "n"}},
        Fit{"RegressionWeights", {"--formula", "two ~ g + x", "--regression-weight", "w"}},
        Fit{"BothWeights",
            {"--formula", "five ~ g", "--freq-weight", "n", "--regression-weight", "w"}},
        Fit{"WeightsThatLeaveRecordsOut", {"--formula", "two ~ g + x", "--freq-weight", "sparse"}},
        Fit{"MissingValues", {"--formula", "answer ~ holes + gaps"}},
        Fit{"CovariatesOfFewValues", {"--formula", "two ~ x + h + z"}},
        Fit{"RowsOfACondition", {"--formula", "two ~ g + x", "--where", "i % 5 <> 0 and z < 3"}},
        Fit{"Expressions", {"--formula", "two ~ I(x^2) + log(z) + g"}},
        Fit{"StandardizedVariables", {"--formula", "two ~ scale(x) + center(h) + g"}}),
    [](const auto& fit) { return fit.param.name; });

// Estimates that grow for ever have few digits in common, whatever the order of the sums.
TEST(CommandCollapseOptions, SeparationIsFoundAllTheSame) {
  const auto fit = [](const Words& more) {
    Words words = {"--sql", kRows, "--formula", "sure ~ C(h) + x"};
    words.insert(words.end(), more.begin(), more.end());
    return FitJson(words);
  };
  const Json one = fit({"--no-collapse"});
  const Json distinct = fit({});
  EXPECT_EQ(distinct.at("fit").at("distinct_records"), 55);
  for (const char* const name : {"outcome", "separation", "iterations"}) {
    EXPECT_EQ(distinct.at("fit").at(name), one.at("fit").at(name));
  }
  ExpectSame(distinct.at("fit").at("loglik"), one.at("fit").at("loglik"), "loglik");
  EXPECT_EQ(one.at("fit").at("separation"), "quasi");
  EXPECT_EQ(distinct.at("classification"), one.at("classification"));
  EXPECT_EQ(distinct.at("warnings"), one.at("warnings"));
  for (const char* const label : {"h=0", "h=4", "x"}) {
    EXPECT_NEAR(ParameterOf(distinct, label).at("estimate").get<double>(),
                ParameterOf(one, label).at("estimate").get<double>(), 1e-3);
  }
}

TEST(CommandCollapseOptions, ALinearModelHasNoSuchOption) {
  const CommandResult result =
      RunQvreg({"fit", "--sql", kRows, "--formula", "x ~ g", "--no-collapse"});
  ExpectFailure(result, 2,
                "--no-collapse belongs to a logistic model, but this one is linear; leave it out, "
                "or choose the model with --model.");
}

TEST(CommandCollapseOptions, DistinctRecordsAreFittedOneByOne) {
  const Json fit = FitJson({"--sql",
                            "SELECT ['no', 'yes'][1 + (sin(i) + sin(i * i) > 0)::INT] AS y, sin(i) "
                            "AS x FROM range(20000) t(i)",
                            "--formula", "y ~ x"});
  EXPECT_TRUE(fit.at("fit").at("distinct_records").is_null());
}

TEST(CommandCollapseOptions, FewRecordsAreFittedOneByOne) {
  const Json fit = FitJson({"--sql", std::string(kRows) + " LIMIT 9999", "--formula", "two ~ g"});
  EXPECT_TRUE(fit.at("fit").at("distinct_records").is_null());
}

}  // namespace
}  // namespace qvhost
