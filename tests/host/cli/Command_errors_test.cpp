// What the command says and answers when something is wrong, word by word.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;

class CommandErrors : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_.Write("rows.csv",
                  "y,x,g,one,none,zero,minus,text\n"
                  "1,1,a,k,,0,-1,p\n"
                  "2,2,b,k,,0,-2,q\n"
                  "4,3,a,k,,0,0,r\n"
                  "5,4.5,b,k,,0,,s\n");
  }

  CommandResult Fit(const std::string& formula, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"fit", "--data", "rows.csv", "--formula", formula};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }

  CommandResult Run(const std::vector<std::string>& arguments) const {
    return CommandRun(arguments).In(folder_.Path()).Run();
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandErrors, MissingFile) {
  ExpectFailure(Run({"fit", "--data", "nowhere.csv", "--formula", "y ~ x"}), kBadInput,
                "The file 'nowhere.csv' does not exist.");
}

TEST_F(CommandErrors, LongNamesAreCut) {
  // What stands behind the name is there, and the mark in the formula.
  const CommandResult result = Fit("y ~ " + std::string(100000, 'z'));
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_TRUE(result.err.starts_with("qvreg: There is no column 'zzz")) << result.err;
  EXPECT_NE(result.err.find("zzz…zzz"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("zzz' in rows.csv. Its columns are"), std::string::npos) << result.err;
  EXPECT_LT(result.err.size(), 2100U);
}

TEST_F(CommandErrors, EmptyFile) {
  folder_.Write("empty.csv", "");
  ExpectFailure(Run({"fit", "--data", "empty.csv", "--formula", "y ~ x"}), kBadInput,
                "The file 'empty.csv' is empty.");
}

TEST_F(CommandErrors, FileOfAHeaderOnly) {
  folder_.Write("head.csv", "y,x\n");
  ExpectFailure(
      Run({"fit", "--data", "head.csv", "--formula", "y ~ x"}), kRunFailed,
      "The data hold no record. Check that the file, the pattern or the query gives rows.");
}

TEST_F(CommandErrors, QueryWithoutRows) {
  ExpectFailure(
      Run({"fit", "--sql", "SELECT 1 AS y, 2 AS x WHERE false", "--formula", "y ~ x"}), kRunFailed,
      "The data hold no record. Check that the file, the pattern or the query gives rows.");
}

TEST_F(CommandErrors, NoSuchColumn) {
  ExpectFailure(
      Fit("y ~ x + txt"), kBadInput,
      "There is no column 'txt' in rows.csv; did you mean 'text'? Its columns are y, x, g, "
      "one, none, zero, minus, text.\n"
      "  y ~ x + txt\n"
      "          ^");
}

TEST_F(CommandErrors, NoSuchColumnAndNoneNear) {
  ExpectFailure(
      Fit("somethingelse ~ x"), kBadInput,
      "There is no column 'somethingelse' in rows.csv. Its columns are y, x, g, one, none, "
      "zero, minus, text.\n"
      "  somethingelse ~ x\n"
      "  ^");
}

TEST_F(CommandErrors, TextWhereANumberIsNeeded) {
  ExpectFailure(
      Fit("y ~ x + log(text)"), kBadInput,
      "log() takes a number here, but 'text' is text; if it holds numbers, write cast(text as "
      "double).\n"
      "  y ~ x + log(text)\n"
      "              ^");
}

TEST_F(CommandErrors, PowerOfAFactor) {
  ExpectFailure(Fit("y ~ x + I(g^2)"), kBadInput,
                "'g' is a factor and has no powers; write 'g' alone.\n"
                "  y ~ x + I(g^2)\n"
                "          ^");
}

TEST_F(CommandErrors, FactorAsDependent) {
  ExpectFailure(
      Fit("text ~ x", {"--model", "linear"}), kBadInput,
      "The dependent 'text' is text, but a linear model needs a number; name a numeric column.\n"
      "  text ~ x\n"
      "  ^");
}

TEST_F(CommandErrors, NumberMadeAFactorAsDependent) {
  ExpectFailure(
      Fit("C(y) ~ x", {"--model", "linear"}), kBadInput,
      "The dependent 'C(y)' is made a factor by C(...), but a linear model needs a number; name a "
      "numeric column.\n"
      "  C(y) ~ x\n"
      "  ^");
}

TEST_F(CommandErrors, DateAsACovariate) {
  ExpectFailure(
      Run({"fit", "--sql", "SELECT 1 AS y, DATE '2020-02-02' AS day", "--formula", "y ~ day"}),
      kBadInput,
      "'day' is a date or time (DATE); write C(day) to take its values as the levels of a "
      "factor, I(day - date '2020-01-01') for "
      "days, or epoch(day) for seconds.\n"
      "  y ~ day\n"
      "      ^");
}

TEST_F(CommandErrors, DateAsDependent) {
  ExpectFailure(
      Run({"fit", "--sql", "SELECT 1 AS x, DATE '2020-02-02' AS day", "--formula", "day ~ x"}),
      kBadInput,
      "The dependent 'day' is a date or time (DATE); a linear model needs a number, and for a "
      "logistic model write C(day).\n"
      "  day ~ x\n"
      "  ^");
}

TEST_F(CommandErrors, ErrorInTheMiddleOfAFormula) {
  ExpectFailure(Fit("y ~ x +* g + one"), kBadInput,
                "'*' has no term before it; write one there.\n"
                "  y ~ x +* g + one\n"
                "         ^");
}

TEST_F(CommandErrors, EmptyModel) {
  ExpectFailure(
      Fit("y ~ 1", {"--no-intercept"}), kBadInput,
      "The model is empty: it has neither an intercept nor a term. Add a term to the formula or "
      "keep the intercept.");
}

TEST_F(CommandErrors, AllRecordsMissing) {
  ExpectFailure(
      Fit("y ~ x + none"), kRunFailed,
      "None of the 4 records can be used. In 4 a value is missing ('none' in 4); leave 'none' "
      "out of the model, or fill it.");
}

TEST_F(CommandErrors, Infinity) {
  folder_.Write("inf.csv", "y,x\n1,2\n2,inf\n3,4\n");
  ExpectFailure(
      Run({"fit", "--data", "inf.csv", "--formula", "y ~ x"}), kBadInput,
      "The value of 'x' in row 2 is infinite; leave such rows out, or make the values NULL, with "
      "--sql.");
}

TEST_F(CommandErrors, WeightColumnAllZero) {
  ExpectFailure(Fit("y ~ x", {"--freq-weight", "zero"}), kRunFailed,
                "None of the 4 records can be used. In 4 a weight is missing or not above 0; check "
                "'zero'.");
  ExpectFailure(Fit("y ~ x", {"--regression-weight", "minus"}), kRunFailed,
                "None of the 4 records can be used. In 4 a weight is missing or not above 0; check "
                "'minus'.");
}

TEST_F(CommandErrors, WeightThatIsNoColumn) {
  ExpectFailure(Fit("y ~ x", {"--freq-weight", "zeros"}), kBadInput,
                "There is no column 'zeros' for --freq-weight in rows.csv; did you mean 'zero'?");
}

TEST_F(CommandErrors, WeightThatIsText) {
  ExpectFailure(
      Fit("y ~ x", {"--regression-weight", "text"}), kBadInput,
      "'text' must be a number, but it is text (VARCHAR), such as 'p'; use another column, or make "
      "a number of it with --sql.");
}

TEST_F(CommandErrors, NoSuchTable) {
  ExpectFailure(
      Fit("y ~ x", {"--table", "orders"}), kBadInput,
      "--table is for a database file (.duckdb, .sqlite or .db), which 'rows.csv' is not.");
  RunSql("ATTACH '" + folder_.File("shop.duckdb") +
         "' AS made; CREATE TABLE made.orders AS SELECT 1 AS y; CREATE TABLE made.users AS SELECT "
         "2 AS "
         "y; DETACH made");
  const CommandResult result =
      Run({"fit", "--data", "shop.duckdb", "--table", "order", "--formula", "y ~ 1"});
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_NE(result.err.find("Did you mean 'orders'?"), std::string::npos) << result.err;
}

TEST_F(CommandErrors, BrokenQuery) {
  ExpectFailure(Run({"fit", "--sql", "SELEC 1", "--formula", "y ~ x"}), kBadInput,
                "--sql: syntax error at or near \"SELEC\".");
}

// ---- The command line -------------------------------------------------------

TEST_F(CommandErrors, NoData) {
  ExpectFailure(Run({"fit", "--formula", "y ~ x"}), kBadInput,
                "No data are named; give a file with --data or a query with --sql.\n"
                "Try 'qvreg fit --help'.");
}

TEST_F(CommandErrors, ValuesOutOfRange) {
  struct Case {
    std::vector<std::string> options;
    std::string message;
  };
  const std::string confidence = "--confidence must be at least 0 and below 1, such as 0.95.";
  const std::string tolerance = "--tolerance must be at least 0 and below 1, such as 1e-12.";
  const std::string df = "--df must be a number above 0.";
  for (const Case& c :
       {Case{{"--confidence", "1"}, confidence}, Case{{"--confidence", "-0.1"}, confidence},
        Case{{"--confidence", "nan"}, confidence}, Case{{"--tolerance", "-1e-9"}, tolerance},
        Case{{"--tolerance", "nan"}, tolerance}, Case{{"--tolerance", "inf"}, tolerance},
        Case{{"--tolerance", "1"}, tolerance}, Case{{"--tolerance", "1.5"}, tolerance},
        Case{{"--df", "0"}, df}, Case{{"--df", "-3"}, df}, Case{{"--df", "inf"}, df},
        Case{{"--df", "nan"}, df},
        Case{{"--digits", "0"}, "--digits must be a whole number from 1 to 17."},
        Case{{"--digits", "18"}, "--digits must be a whole number from 1 to 17."}}) {
    ExpectFailure(Fit("y ~ x", c.options), kBadInput, c.message + "\nTry 'qvreg fit --help'.");
  }
}

TEST_F(CommandErrors, EmptyFormula) {
  const CommandResult result = Fit("");
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_NE(result.err.find("--formula has no value; write --formula 'dependent ~ terms'."),
            std::string::npos)
      << result.err;
}

}  // namespace
}  // namespace qvhost
