// What the command makes of missing strings in text files, and of columns that are text because of
// one.

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

class CommandMissing : public ::testing::Test {
 protected:
  /// 200 records: y, x and g, and s, which has `text` in place of one of its 200 numbers.
  std::string Rows(const std::string& text) const {
    std::string lines = "y,x,g,s,id\n";
    for (int i = 0; i < 200; ++i) {
      const std::string number = std::to_string(i * 37 % 200) + ".5";
      lines += std::to_string(i * 7 % 31) + "," + (i == 3 ? "NA" : std::to_string(i)) + "," +
               (i % 10 == 4  ? "?"
                : i % 2 == 0 ? "a"
                             : "b") +
               "," + (i == 9 ? text : number) + ",k" + std::to_string(i) + "\n";
    }
    return folder_.Write("rows.csv", lines);
  }

  static void ExpectHas(const std::string& report, const std::string& line) {
    EXPECT_NE(report.find(line), std::string::npos) << line << "\n" << report;
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandMissing, TheSummaryCountsWhatWasReadAsMissing) {
  const CommandResult run = RunQvreg({"fit", "--data", Rows("1"), "--formula", "y ~ x + g"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  ExpectHas(run.out,
            "Records    200 read, 179 used\n"
            "           21 left out for a missing value (g 20, x 1)\n"
            "           20 values '?' in g read as missing\n"
            "           1 value 'NA' in x read as missing\n");
}

TEST_F(CommandMissing, JsonCountsThemToo) {
  const json fit = FitJson({"--data", Rows("1"), "--formula", "y ~ x + g"});
  EXPECT_EQ(fit["records"]["missing_strings"],
            json::parse(R"([{"column": "x", "string": "NA", "count": 1},
                            {"column": "g", "string": "?", "count": 20}])"));
}

TEST_F(CommandMissing, InTheDependentOfEitherModel) {
  const std::string rows = Rows("N/A");
  const json linear = FitJson({"--data", rows, "--formula", "s ~ y"});
  EXPECT_EQ(linear["model"], "linear");
  EXPECT_EQ(linear["records"]["used"], 199);
  const json logistic = FitJson({"--data", rows, "--formula", "g ~ y"});
  EXPECT_EQ(logistic["model"], "logistic");
  EXPECT_EQ(logistic["records"]["used"], 180);
  EXPECT_EQ(logistic["classification"]["categories"], json({"b", "a"}));
}

TEST_F(CommandMissing, RecordsWithThemHaveNoPrediction) {
  const std::string file = folder_.File("p.csv");
  const CommandResult run =
      RunQvreg({"fit", "--data", Rows("1"), "--formula", "y ~ x", "--predictions", file});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  std::ifstream predictions(file);
  std::string line;
  for (int row = -1; std::getline(predictions, line); ++row) {
    EXPECT_EQ(line.ends_with(",,,"), row == 3) << row << ": " << line;
  }
}

TEST_F(CommandMissing, TheListMayBeReplaced) {
  const std::string rows = Rows("none");
  const json named =
      FitJson({"--data", rows, "--formula", "y ~ s + g", "--na", "none", "--na", "?"});
  EXPECT_EQ(named["records"]["used"], 179);
  EXPECT_EQ(named["records"]["missing_strings"],
            json::parse(R"([{"column": "g", "string": "?", "count": 20},
                            {"column": "s", "string": "none", "count": 1}])"));
  const json none = FitJson({"--data", rows, "--formula", "y ~ g", "--na", ""});
  EXPECT_EQ(none["records"]["used"], 200);
  EXPECT_EQ(ParameterOf(none, "g=?")["levels"]["g"], "?");
}

TEST_F(CommandMissing, ADependentOfManyTextsIsRefused) {
  const std::string rows = Rows("none");
  const CommandResult numbers = RunQvreg({"fit", "--data", rows, "--formula", "s ~ y"});
  EXPECT_EQ(numbers.exitCode, 2);
  EXPECT_EQ(numbers.out, "");
  ExpectHas(numbers.err, "The dependent 's' is text with more than 50 different values, such as '");
  ExpectHas(numbers.err,
            ", so it is hardly meant as a category. 99 % of its values read as numbers, though not "
            "'none': if that stands for a missing value, add --na 'none' --types s=double, and the "
            "column is a number. To take it as one nevertheless, write --model logistic or C(s); "
            "for another model, name another dependent.\n");
  const CommandResult texts = RunQvreg({"fit", "--data", rows, "--formula", "id ~ y"});
  EXPECT_EQ(texts.exitCode, 2);
  ExpectHas(texts.err, "hardly meant as a category. To take it as one");
}

TEST_F(CommandMissing, AManyLevelledDependentMayBeAskedFor) {
  std::string lines = "x,g\n";
  for (int i = 0; i < 600; ++i) {
    lines += std::to_string(i * 7 % 13) + ",l" + std::to_string(i % 51) + "\n";
  }
  const std::string rows = folder_.Write("levels.csv", lines);
  EXPECT_EQ(RunQvreg({"fit", "--data", rows, "--formula", "g ~ 1"}).exitCode, 2);
  for (const char* formula : {"g ~ 1", "C(g) ~ 1"}) {
    std::vector<std::string> arguments = {"--data", rows, "--formula", formula};
    if (formula[0] == 'g') arguments.insert(arguments.end(), {"--model", "logistic"});
    EXPECT_EQ(FitJson(arguments)["dependent_levels"].size(), 51U);
  }
}

TEST_F(CommandMissing, AFactorOfNearlyAsManyLevelsAsRecordsIsNamed) {
  const std::string rows = Rows("none");
  const json ids = FitJson({"--data", rows, "--formula", "y ~ id"});
  EXPECT_EQ(ids["warnings"][0],
            "'id' has 200 levels in 200 records, fewer than two records for a level. Leave it out, "
            "or group its values with --sql.");
  const json numbers = FitJson({"--data", rows, "--formula", "y ~ s"});
  ExpectHas(numbers["warnings"].dump(),
            "'s' is text and so a factor, but 99 % of its values read as numbers, though not "
            "'none': if that stands for a missing value, add --na 'none' --types s=double, and the "
            "column is a number.");
}

/// 400 records of y and of x, which has `text` in place of one of its 400 numbers from 0 to 19;
/// some of the other column are missing.
std::string CountsWith(const std::string& text) {
  std::string lines = "y,x\n";
  for (int i = 0; i < 400; ++i) {
    lines += (i % 50 == 7 ? "NA" : std::to_string(i * 7 % 31)) + "," +
             (i == 300 ? text : std::to_string(i * 37 % 20)) + "\n";
  }
  return lines;
}

TEST_F(CommandMissing, OneBadCellAmongFewNumbersIsNamed) {
  const std::string rows = folder_.Write("counts.csv", CountsWith("Total"));
  const json text = FitJson({"--data", rows, "--formula", "y ~ x"});
  const std::string note =
      "'x' is text and so a factor, but 99 % of its values read as numbers, though not 'Total': if "
      "that stands for a missing value, add --na 'NA' --na 'Total' --types x=double, and the "
      "column is a number.";
  ExpectHas(text["warnings"].dump(), note);
  const json number = FitJson(
      {"--data", rows, "--formula", "y ~ x", "--na", "NA", "--na", "Total", "--types", "x=double"});
  EXPECT_EQ(number["parameters"].size(), 2U);
  for (const json& fit : {FitJson({"--data", rows, "--formula", "y ~ C(x)"}),
                          FitJson({"--data", rows, "--formula", "y ~ x", "--types", "x=text"})}) {
    EXPECT_EQ(fit["warnings"].dump().find("read as numbers"), std::string::npos);
  }
}

TEST_F(CommandMissing, ADependentOfNumbersWithOneBadCellIsRefused) {
  const std::string rows = folder_.Write("counts.csv", CountsWith("missing"));
  const std::string why =
      "99 % of its values read as numbers, though not 'missing': if that stands for a missing "
      "value, add --na 'NA' --na 'missing' --types x=double, and the column is a number.";
  const CommandResult category = RunQvreg({"fit", "--data", rows, "--formula", "x ~ y"});
  EXPECT_EQ(category.exitCode, 2);
  ExpectHas(category.err, "The dependent 'x' is text, but " + why +
                              " For a logistic model of its values write C(x).\n");
  const CommandResult linear =
      RunQvreg({"fit", "--data", rows, "--formula", "x ~ y", "--model", "linear"});
  EXPECT_EQ(linear.exitCode, 2);
  ExpectHas(linear.err, "The dependent 'x' is text, but a linear model needs a number. 99 % of");
  EXPECT_EQ(FitJson({"--data", rows, "--formula", "x ~ 1", "--types", "x=text"})["model"],
            "logistic");
}

TEST_F(CommandMissing, BlanksBesideNumbersAreNamed) {
  std::string lines = "y,x\n";
  for (int i = 0; i < 60; ++i) {
    lines +=
        std::to_string(i * 7 % 31) + (i % 2 == 0 ? ", " : ",") + std::to_string(i % 9) + ".5 \n";
  }
  const std::string rows = folder_.Write("blanks.csv", lines);
  ExpectHas(FitJson({"--data", rows, "--formula", "y ~ x"})["warnings"].dump(),
            "100 % of its values read as numbers: for a number, add --types x=double.");
  EXPECT_EQ(
      FitJson({"--data", rows, "--formula", "y ~ x", "--types", "x=double"})["parameters"].size(),
      2U);
}

TEST_F(CommandMissing, NumbersMadeTextByAMissingStringAreNamed) {
  const std::string query =
      "SELECT range % 7 AS y, CASE WHEN range % 9 = 0 THEN 'NA' ELSE (range % 4)::VARCHAR END AS x "
      "FROM range(100)";
  const json text = FitJson({"--sql", query, "--formula", "y ~ x"});
  EXPECT_EQ(text["warnings"][0],
            "'x' is text and so a factor, but 88 % of its values read as numbers, though not 'NA': "
            "if that stands for a missing value, add --na 'NA', and the column is a number.");
  const json number = FitJson({"--sql", query, "--formula", "y ~ x", "--na", "NA"});
  EXPECT_EQ(number["parameters"].size(), 2U);
  EXPECT_EQ(number["records"]["missing"], 12);
  EXPECT_TRUE(number["warnings"].empty());
}

TEST_F(CommandMissing, AMissingStringThatMayBeALevelIsNoted) {
  const std::string rows = Rows("1");
  const json fit = FitJson({"--data", rows, "--formula", "y ~ x + g"});
  EXPECT_EQ(fit["warnings"],
            json::array({"20 values '?' of 'g' were read as missing; if it is a level, list the "
                         "missing texts yourself, as --na NA."}));
  const json chosen =
      FitJson({"--data", rows, "--formula", "y ~ x + g", "--na", "NA", "--na", "?"});
  EXPECT_TRUE(chosen["warnings"].empty());
}

TEST_F(CommandMissing, AColumnMayBeNamedAsAMissingString) {
  for (const std::string name : {"NA", "None", "null", "nan", ".", "?", "-", "N/A"}) {
    std::string lines = "y," + name + ",s\n";
    for (int i = 0; i < 20; ++i) {
      lines += std::to_string(3 * i + 1) + "," + std::to_string(i) + (i % 2 == 0 ? ",a\n" : ",b\n");
    }
    const json fit = FitJson(
        {"--data", folder_.Write("names.csv", lines), "--formula", "y ~ `" + name + "` + s"});
    EXPECT_NEAR(ParameterOf(fit, name)["estimate"].get<double>(), 3.0, 1e-12) << name;
  }
}

TEST_F(CommandMissing, AListOfMissingStringsIsNotOne) {
  const CommandResult run =
      RunQvreg({"fit", "--data", Rows("1"), "--formula", "y ~ x", "--na", "NA,-99"});
  EXPECT_EQ(run.exitCode, 2);
  ExpectHas(run.err, "repeat --na for each: --na NA --na -99.");
}

}  // namespace
}  // namespace qvhost
