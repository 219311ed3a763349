// The rows that --where leaves, and conditions that are none.

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using nlohmann::json;
using Strings = std::vector<std::string>;

constexpr const char* kRows =
    "y,x,g,z\n1,2,a,1\n2,3,b,\n3,5.5,a,3\n4,6,b,nan\n5,8,a,5\n6,8,c,6\n8,9,NA,7\n";

class CommandWhere : public ::testing::Test {
 protected:
  [[nodiscard]] json Fit(const std::string& condition, const std::string& formula = "y ~ x") const {
    return FitJson(
        {"--data", folder_.Write("r.csv", kRows), "--formula", formula, "--where", condition});
  }

  [[nodiscard]] std::string Refused(const std::string& condition, int code = 2) const {
    folder_.Write("r.csv", kRows);
    const CommandResult result =
        CommandRun({"fit", "--data", "r.csv", "--formula", "y ~ x", "--where", condition})
            .In(folder_.Path())
            .Run();
    EXPECT_EQ(result.exitCode, code) << result.err;
    EXPECT_EQ(result.out, "");
    return result.err;
  }

  void ExpectRows(const std::string& condition, int used) const {
    const json fit = Fit(condition);
    EXPECT_EQ(fit["records"]["used"], used) << condition;
    EXPECT_EQ(fit["records"]["left_out"], 7 - used) << condition;
    EXPECT_EQ(fit["where"], condition);
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandWhere, RowsForWhichItIsTrueAreUsed) {
  ExpectRows("x > 2.5", 6);
  ExpectRows("g in ('a', 'b') and not x = 8", 4);
  ExpectRows("G = 'a' or x > 8", 4);
  ExpectRows("upper(g) like 'A%'", 3);
  ExpectRows("case when g = 'a' then x else 0 end > 2", 2);
}

TEST_F(CommandWhere, AMissingValueIsNeitherTrueNorFalse) {
  ExpectRows("g <> 'a'", 3);
  ExpectRows("not g <> 'a'", 3);
  ExpectRows("z > 0", 5);
  ExpectRows("z > 0 or x > 2.5", 7);
  ExpectRows("z is null", 2);
  ExpectRows("z is not null and g is not null", 4);
}

TEST_F(CommandWhere, LevelsOfOtherRowsAreNoLevels) {
  const json fit = Fit("g <> 'c'", "y ~ x + g");
  EXPECT_EQ(fit["parameters"].size(), 4U);
  EXPECT_TRUE(fit["warnings"].empty()) << fit["warnings"];
}

TEST_F(CommandWhere, TheSummarySaysHowManyItLeftOut) {
  const CommandResult result = RunQvreg(
      {"fit", "--data", folder_.Write("r.csv", kRows), "--formula", "y ~ x", "--where", "x <> 2"});
  EXPECT_NE(result.out.find("Where      x <> 2 (1 row left out)\nDependent"), std::string::npos)
      << result.out;
}

TEST_F(CommandWhere, PredictionsAreOfTheRowsUsed) {
  const std::string file = folder_.File("p.csv");
  const CommandResult result =
      RunQvreg({"fit", "--data", folder_.Write("r.csv", kRows), "--formula", "y ~ x", "--where",
                "x > 5", "--predictions", file});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  std::ifstream predictions(file);
  int lines = 0;
  for (std::string line; std::getline(predictions, line);) ++lines;
  EXPECT_EQ(lines, 1 + 5);
}

TEST_F(CommandWhere, OfAQueryAndOfAColumnThatIsABoolean) {
  const json fit =
      FitJson({"--sql", "SELECT i AS y, i * i AS x, i % 3 = 0 AS third FROM range(9) t(i)",
               "--formula", "y ~ x", "--where", "third"});
  EXPECT_EQ(fit["records"]["used"], 3);
}

TEST_F(CommandWhere, ABooleanIsComparedWithTheWordsOfItsFile) {
  const std::string file =
      folder_.Write("b.csv", "y,x,smoker\n1,1,Yes\n3,2,No\n2,3,Yes\n5,4,No\n4,6,Yes\n6,5,\n");
  for (const char* condition : {"smoker = 'Yes'", "smoker != 'no'", "smoker in ('Yes')"}) {
    const json fit = FitJson({"--data", file, "--formula", "y ~ x", "--where", condition});
    EXPECT_EQ(fit["records"]["used"], 3) << condition;
  }
  EXPECT_EQ(FitJson({"--data", file, "--formula", "y ~ I(smoker == 'Yes')"})["records"]["used"], 5);
}

TEST_F(CommandWhere, NoRowIsLeft) {
  EXPECT_EQ(Refused("x > 100", 1),
            "qvreg: The condition of --where is true for none of the 7 rows.\n");
}

TEST_F(CommandWhere, WhatIsNoCondition) {
  EXPECT_EQ(Refused("x + 1"),
            "qvreg: --where: This is a number; a condition is true or false, as in x > 5.\n"
            "  x + 1\n  ^\n");
  EXPECT_EQ(Refused("x >"),
            "qvreg: --where: '>' has no operand after it; write one there.\n  x >\n    ^\n");
  EXPECT_EQ(
      Refused("x > 1) or (1 = 1"),
      "qvreg: --where: This ')' closes nothing; take it out.\n  x > 1) or (1 = 1\n       ^\n");
  EXPECT_EQ(Refused(""),
            "qvreg: --where has no value; write --where CONDITION.\nTry 'qvreg fit --help'.\n");
  EXPECT_EQ(Refused(" "),
            "qvreg: --where: The condition is empty; write one such as x > 5.\n   \n   ^\n");
  EXPECT_EQ(Refused("w > 1"),
            "qvreg: --where: There is no column 'w' in r.csv. Its columns are y, x, g, z.\n  w > "
            "1\n  ^\n");
}

TEST_F(CommandWhere, FunctionsThatReadFilesAreRefused) {
  for (const char* condition :
       {"read_text('r.csv') = ''", "x in (select x from 'r.csv')", "exists (select 1)",
        "glob('*') = ''", "x > (select 1)", "getenv('HOME') = ''", "x > 1; select 1"}) {
    const std::string text = Refused(condition);
    EXPECT_TRUE(text.starts_with("qvreg: --where: ")) << text;
    EXPECT_TRUE(text.ends_with("^\n")) << text;
  }
}

TEST_F(CommandWhere, WhatCannotBeComputedEndsTheRun) {
  const std::string text = Refused("ln(x - 3) > 1");
  EXPECT_EQ(text.find("qvreg: r.csv: 'ln(x - 3) > 1' cannot be computed where x is "), 0U) << text;
}

TEST_F(CommandWhere, AFormulaStillHasNoTestForMissingValues) {
  const CommandResult result =
      RunQvreg({"fit", "--data", folder_.Write("r.csv", kRows), "--formula", "y ~ I(z is null)"});
  EXPECT_EQ(result.exitCode, 2);
}

}  // namespace
}  // namespace qvhost
