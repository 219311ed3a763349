// What the command prints of a logistic model, and what it shows on the way.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

constexpr int kCancelled = 130;
const fs::path kData = fs::path(QVREG_TEST_DATA) / "logistic" / "data";

/// The summary of a fit to one of the reference tables.
std::string Summary(const Strings& more) {
  Strings arguments = {"fit"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const CommandResult result = CommandRun(arguments).In(kData).With("COLUMNS", "110").Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return result.out;
}

std::string SummaryOf(const std::string& sql, const std::string& formula,
                      const Strings& more = {}) {
  Strings arguments = {"--sql", sql, "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Summary(arguments);
}

// R: f <- glm(low ~ age + lwt + race, binomial, b, contrasts = list(race = "contr.SAS"),
// epsilon = 1e-15); summary(f)$coefficients; confint.default(f, level = 0.9); logLik(f); AIC(f);
// BIC(f); table(b$low, fitted(f) > 0.5)
TEST(CommandLogisticOutput, SummaryOfABinaryModel) {
  EXPECT_EQ(Summary({"--data", "birthwt.csv", "--formula", "low ~ age + lwt + C(race)", "--model",
                     "logistic", "--reference", "first", "--confidence", "0.9"}),
            R"(Binary logistic model

Formula    low ~ age + lwt + C(race)
Data       birthwt.csv
Dependent  low
Records    189 read, 189 used

low  Records  Percent
--------------------------------
1         59    31.2%
0        130    68.8%  reference

low = 1 against 0

Parameter     Estimate  Std. error      z       p     90% low    90% high  exp(est.)  90% low  90% high
-------------------------------------------------------------------------------------------------------
(Intercept)   1.750202   1.0031657   1.74  0.0810   0.1001413   3.4002627      5.756    1.105     29.97
age          -0.025524   0.0332521  -0.77  0.4427  -0.0802187   0.0291711     0.9748   0.9229      1.03
lwt          -0.014353   0.0065228  -2.20  0.0278  -0.0250824  -0.0036241     0.9857   0.9752    0.9964
race=1       -0.443461   0.3602574  -1.23  0.2183  -1.0360315   0.1491099     0.6418   0.3549     1.161
race=2        0.560361   0.5128296   1.09  0.2745  -0.2831686   1.4038908      1.751   0.7534     4.071
race=3               0   redundant

Log-likelihood -111.3303187, of the starting values -117.3359981
Likelihood-ratio chi-square 12.0114 on 4 degrees of freedom, p 0.0173
Pseudo R square: Cox and Snell 0.0615748, Nagelkerke 0.0865918, McFadden 0.0511836
AIC 232.661, BIC 248.869
Converged after 5 iterations: the estimates settled. The records were kept in memory.

Classification: rows observed, columns predicted

Observed     1      0  Correct
------------------------------
1            6     53    10.2%
0            5    125    96.2%
Overall   5.8%  94.2%    69.3%

Notes
- 1 of 6 parameters is redundant and set to 0, because its column depends on the columns before. The other
  levels of a factor are compared with its redundant ones.
)");
}

// R: m <- xtabs(Freq ~ Cont + Sat, MASS::housing): the estimates are log odds ratios, the squares
// of their standard errors sums of 1 / count, the log-likelihood sum(m * log(m / rowSums(m))).
TEST(CommandLogisticOutput, SummaryOfThreeLevelsWithWeights) {
  EXPECT_EQ(Summary({"--data", "housing.csv", "--formula", "Sat ~ Cont", "--freq-weight", "Freq",
                     "--reference", "Low", "--no-in-memory"}),
            R"(Multinomial logistic model

Formula    Sat ~ Cont
Data       housing.csv
Dependent  Sat
Weights    frequency Freq
Records    72 read, 72 used

Sat     Weight  Percent
----------------------------------
High       668    39.7%
Medium     446    26.5%
Low        567    33.7%  reference

Sat = High against Low

Parameter    Estimate  Std. error     z       p     95% low   95% high  exp(est.)  95% low  95% high
----------------------------------------------------------------------------------------------------
(Intercept)  0.041127    0.086486  0.48  0.6344  -0.1283818  0.2106364      1.042   0.8795     1.234
Cont=High    0.217447    0.115283  1.89  0.0593  -0.0085035  0.4433969      1.243   0.9915     1.558
Cont=Low            0   redundant

Sat = Medium against Low

Parameter    Estimate  Std. error      z        p     95% low    95% high  exp(est.)  95% low  95% high
-------------------------------------------------------------------------------------------------------
(Intercept)  -0.38656    0.097133  -3.98  6.9e-05  -0.5769376  -0.1961843     0.6794   0.5616    0.8219
Cont=High     0.25724    0.128237   2.01   0.0449   0.0058957   0.5085766      1.293    1.006     1.663
Cont=Low            0   redundant

Log-likelihood -1821.875901, of the starting values -1824.438811
Likelihood-ratio chi-square 5.12582 on 2 degrees of freedom, p 0.0771
Pseudo R square: Cox and Snell 0.00304462, Nagelkerke 0.00343677, McFadden 0.00140477
AIC 3651.75, BIC 3673.46
Converged after 4 iterations: the estimates settled. The records were read anew for each.

Classification: rows observed, columns predicted

Observed    High  Medium   Low  Correct
---------------------------------------
High         668       0     0   100.0%
Medium       446       0     0     0.0%
Low          567       0     0     0.0%
Overall   100.0%    0.0%  0.0%    39.7%

Notes
- 2 of 6 parameters are redundant and set to 0, because their columns depend on the columns before. The other
  levels of a factor are compared with its redundant ones.
)");
}

// Each level has 25 records and nothing tells them apart: the last sorted one is the reference, and
// the ties go to one of them.
TEST(CommandLogisticOutput, ManyLevelsHaveNoFullTable) {
  const std::string summary = SummaryOf("SELECT range % 11 AS y FROM range(275)", "C(y) ~ 1");
  const std::size_t from = summary.find("\nClassification\n");
  ASSERT_NE(from, std::string::npos) << summary;
  const std::string table = summary.substr(from);
  EXPECT_TRUE(
      table.starts_with("\nClassification\n\n"
                        "Observed  Correct\n"
                        "-----------------\n"
                        "0 "))
      << table;
  EXPECT_NE(table.find("\n10 "), std::string::npos) << table;
  EXPECT_TRUE(table.ends_with("\nOverall      9.1%\n")) << table;
  const std::string ten = SummaryOf("SELECT range % 10 AS y FROM range(250)", "C(y) ~ 1");
  EXPECT_NE(ten.find("     8     9  Correct\n"), std::string::npos) << "all ten are there: " << ten;
}

TEST(CommandLogisticOutput, StepHalvingsAreTold) {
  const std::string rows =
      "SELECT * FROM (VALUES (1, 1, 10), (0, 1, 10), (1, 0, 1), (0, 0, 9979)) AS t(y, x, n)";
  const Strings options = {"--model", "logistic", "--freq-weight", "n", "--max-step-halving"};
  Strings enough = options;
  enough.emplace_back("20");
  EXPECT_NE(SummaryOf(rows, "y ~ x", enough).find("the estimates settled. 6 step-halvings. The"),
            std::string::npos);
  Strings one = options;
  one.emplace_back("1");
  EXPECT_NE(SummaryOf(rows, "y ~ x", one)
                .find("no shorter step raised the log-likelihood enough. 1 step-halving. The"),
            std::string::npos);
  EXPECT_EQ(Summary({"--data", "made.csv", "--formula", "three ~ x"}).find("step-halving"),
            std::string::npos);
}

TEST(CommandLogisticOutput, AnInterceptAloneHasNoTestOfTheModel) {
  const std::string summary = Summary({"--data", "made.csv", "--formula", "three ~ 1"});
  EXPECT_EQ(summary.find("chi-square"), std::string::npos);
  EXPECT_NE(summary.find("Nothing was iterated: the starting values are the estimates."),
            std::string::npos);
}

TEST(CommandLogisticOutput, OneDegreeOfFreedomIsSingular) {
  EXPECT_NE(
      Summary({"--data", "made.csv", "--formula", "two ~ x"}).find(" on 1 degree of freedom, "),
      std::string::npos);
}

/// Every way to end, and then some: a run that must end well with finite numbers only.
class CommandLogisticEndings : public ::testing::TestWithParam<Strings> {};

TEST_P(CommandLogisticEndings, ExitWithFiniteNumbers) {
  const qvtest::TempFolder folder;
  Strings arguments = {"--json", folder.File("fit.json")};
  arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
  EXPECT_EQ(NonFiniteWords(Summary(arguments)), Strings{});
  EXPECT_EQ(NonFiniteWords(qvtest::ReadFile(folder.File("fit.json"))), Strings{});
}

INSTANTIATE_TEST_SUITE_P(
    , CommandLogisticEndings,
    ::testing::Values(
        Strings{"--data", "complete.csv", "--formula", "answer ~ x", "--separation-from", "0"},
        Strings{"--data", "complete.csv", "--formula", "answer ~ x", "--separation-from", "0",
                "--max-iterations", "10000", "--tolerance", "0", "--no-in-memory"},
        Strings{"--data", "complete.csv", "--formula", "answer ~ x", "--separation-from", "0",
                "--max-iterations", "10000", "--tolerance", "0"},
        Strings{"--data", "iris.csv", "--formula", "species ~ petal_length", "--separation-from",
                "0", "--parameter-criterion", "0", "--max-iterations", "300"},
        Strings{"--data", "complete.csv", "--formula", "answer ~ x", "--max-iterations", "0"},
        Strings{"--data", "near_copy.csv", "--formula", "answer ~ x + y", "--tolerance", "0"},
        Strings{"--data", "complete.csv", "--formula", "level ~ 0 + C(x)"},
        Strings{"--sql", "SELECT range % 2 = 0 AS y, range * 1e150 AS x FROM range(10)",
                "--formula", "y ~ x"},
        Strings{"--sql", "SELECT range % 2 = 0 AS y, range * 1e-200 AS x FROM range(10)",
                "--formula", "y ~ x"},
        Strings{"--sql", "SELECT range % 2 = 0 AS y, 1e200 AS w FROM range(10)", "--formula",
                "y ~ 1", "--freq-weight", "w"},
        Strings{"--sql",
                "SELECT range % 2 = 0 AS y, 1e-300 AS w, range * 3 % 7 AS x FROM range(10)",
                "--formula", "y ~ x", "--freq-weight", "w"},
        Strings{"--sql", "SELECT range % 2 = 0 AS y, range * 3 % 7 AS x FROM range(10)",
                "--formula", "y ~ x", "--confidence", "0"}));

// ---- On the way -------------------------------------------------------------

// Enough records to still be at work when a test looks.
constexpr const char* kLongQuery =
    "SELECT ['a', 'b', 'c'][1 + (hash(range) % 3)::INT] AS y, sin(range) AS x, range % 5 AS g FROM "
    "range(1000000)";

class CommandLogisticProgress : public ::testing::TestWithParam<const char*> {
 protected:
  CommandRun Run(const Strings& more = {}) const {
    Strings arguments = {"fit", "--sql", kLongQuery, "--formula", "y ~ x + C(g)", GetParam()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(arguments);
  }

  qvtest::TempFolder folder_;
};

TEST_P(CommandLogisticProgress, NamesEachIterationAndTheLogLikelihood) {
  const CommandResult result = Run().OnTerminal().Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  // Three levels by chance: the start is close to 1000000 log 3.
  for (const char* stage : {"reading", "counting", "iteration 1, log-likelihood -1.0986",
                            "iteration 2, log-likelihood -1.0986"}) {
    EXPECT_NE(result.err.find(stage), std::string::npos) << stage;
  }
  EXPECT_EQ(result.err.find("pass 1"), std::string::npos) << "that is a linear model's";
  EXPECT_TRUE(result.err.ends_with("\r\x1b[2K")) << "the line is left empty";
}

TEST_P(CommandLogisticProgress, FitsATerminalOfEightyColumns) {
  const std::string shown = Run().OnTerminal().Run().err;
  const std::string erase = "\r\x1b[2K";
  ASSERT_NE(shown.find("iteration 2"), std::string::npos);
  std::size_t from = 0;
  while ((from = shown.find(erase, from)) != std::string::npos) {
    from += erase.size();
    const std::string line = shown.substr(from, shown.find(erase, from) - from);
    EXPECT_LT(line.size(), 80U) << "it would wrap and could not be erased: " << line;
  }
}

TEST_P(CommandLogisticProgress, CtrlCCancels) {
  for (const char* stage : {"reading", "counting", "iteration 1", "iteration 2"}) {
    const qvtest::TempFolder folder;
    fs::create_directory(folder.Path() / "spool");
    const CommandResult result =
        Run({"--spool-dir", folder.File("spool"), "--json", folder.File("fit.json"),
             "--predictions", folder.File("out.csv")})
            .InterruptWhenShown(stage)
            .Run();
    EXPECT_EQ(result.exitCode, kCancelled) << stage << ": " << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.ends_with("qvreg: Cancelled.\r\n")) << result.err;
    EXPECT_TRUE(fs::is_empty(folder.Path() / "spool"));
    EXPECT_FALSE(fs::exists(folder.Path() / "fit.json"));
    EXPECT_FALSE(fs::exists(folder.Path() / "out.csv"));
  }
}

INSTANTIATE_TEST_SUITE_P(Memory, CommandLogisticProgress,
                         ::testing::Values("--in-memory", "--no-in-memory"),
                         [](const auto& option) {
                           return std::string(option.param) == "--in-memory" ? "kept" : "anew";
                         });

TEST(CommandLogisticOutput, StepHalvingsShowOnTheWay) {
  const CommandResult result =
      CommandRun({"fit", "--sql",
                  "SELECT range < 20 AS x, range < 10 OR range = 20 AS y FROM range(10000)",
                  "--formula", "y ~ C(x)", "--max-step-halving", "20"})
          .OnTerminal()
          .Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("iteration 2, log-likelihood -"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(", 6 step-halvings"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace qvhost
