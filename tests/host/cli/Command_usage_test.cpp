// What the command answers to a command line that it cannot take, and to a call for help.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Words = std::vector<std::string>;

constexpr int kBadInput = 2;

struct Mistake {
  Words words;
  std::string message;
};

class CommandUsage : public ::testing::Test {
 protected:
  CommandUsage() { folder_.Write("rows.csv", "y,x,g\n1,1,a\n2,2,b\n4,3,a\n5,4.5,b\n"); }

  [[nodiscard]] CommandResult Run(const Words& words) const {
    return CommandRun(words).In(folder_.Path()).Run();
  }

  /// Refused with the message, and a hint that help is there.
  void ExpectRefused(const Mistake& mistake, const std::string& help) const {
    ExpectFailure(Run(mistake.words), kBadInput, mistake.message + "\nTry '" + help + "'.");
  }

  /// The same behind `qvreg fit -d rows.csv -f 'y ~ x'`.
  void ExpectFitRefused(const Words& more, const std::string& message) const {
    Words words = {"fit", "-d", "rows.csv", "-f", "y ~ x"};
    words.insert(words.end(), more.begin(), more.end());
    ExpectRefused({words, message}, "qvreg fit --help");
  }

  qvtest::TempFolder folder_;
};

// ---- The command ------------------------------------------------------------

TEST_F(CommandUsage, AnUnknownCommand) {
  for (const Mistake& mistake :
       {Mistake{{"fti"}, "There is no command 'fti'. Did you mean 'fit'?"},
        Mistake{{"predict", "--data", "rows.csv"},
                "There is no command 'predict'. 'qvreg score' writes what a saved model predicts, "
                "'qvreg "
                "fit' with --predictions FILE what the new one does."},
        Mistake{{"rows.csv"},
                "There is no command 'rows.csv'. Write 'qvreg fit' and --data before "
                "it."},
        Mistake{{"y ~ x"},
                "There is no command 'y ~ x'. Write 'qvreg fit' and --formula before "
                "it."},
        Mistake{{"version"}, "There is no command 'version'. Write 'qvreg --version'."},
        Mistake{{"regress"}, "There is no command 'regress'. Write 'qvreg fit' to fit a model."},
        Mistake{{"summary", "-d", "x.csv"},
                "There is no command 'summary'. 'qvreg describe' tells what is in a table."},
        Mistake{{"print", "fit.json"},
                "There is no command 'print'. 'qvreg show' prints a saved model."},
        Mistake{{"ANOVA"},
                "There is no command 'ANOVA'. 'qvreg compare' tests nested fits, 'qvreg fit "
                "--anova' the terms of one."},
        Mistake{{"help", "fti"}, "There is no command 'fti'. Did you mean 'fit'?"}}) {
    ExpectRefused(mistake, "qvreg --help");
  }
}

TEST_F(CommandUsage, AMissingCommand) {
  for (const Mistake& mistake :
       {Mistake{{"--formula", "y ~ x"},
                "The command is missing: write 'qvreg fit' before --formula."},
        Mistake{{"-d", "rows.csv"}, "The command is missing: write 'qvreg fit' before -d."},
        Mistake{{"--json=-"}, "The command is missing: write 'qvreg fit' before --json."},
        Mistake{{"--versoin"}, "There is no option --versoin. Did you mean --version?"},
        Mistake{{"--nonsense"}, "There is no option --nonsense."}}) {
    ExpectRefused(mistake, "qvreg --help");
  }
}

// ---- Names of options -------------------------------------------------------

TEST_F(CommandUsage, AnUnknownOptionWithANearOne) {
  ExpectFitRefused({"--formulla", "y ~ x"},
                   "There is no option --formulla. Did you mean --formula?");
  ExpectFitRefused({"--prediction", "p.csv"},
                   "There is no option --prediction. Did you mean --predictions?");
  ExpectFitRefused({"--freqweight", "x"},
                   "There is no option --freqweight. Did you mean --freq-weight?");
  ExpectFitRefused({"--delimiter", ";"}, "There is no option --delimiter. Did you mean --delim?");
}

TEST_F(CommandUsage, AnOptionOfOtherPrograms) {
  ExpectFitRefused(
      {"--output", "p.csv"},
      "There is no option --output; --predictions FILE writes what the model predicts, "
      "--json FILE the fit, --save FILE the model.");
  ExpectFitRefused({"--model-out", "m.pmml"},
                   "There is no option --model-out; --save FILE saves the model as PMML, --json "
                   "FILE writes the fit alone.");
  ExpectFitRefused({"--weights", "x"},
                   "There is no option --weights; --freq-weight COLUMN says how many records each "
                   "stands for, --regression-weight COLUMN how precise each is, as the weights of "
                   "lm in R do.");
  ExpectFitRefused({"--family", "binomial"},
                   "There is no option --family; for binomial write --model logistic, for gaussian "
                   "--model linear.");
  ExpectFitRefused({"--subset", "x > 1"},
                   "There is no option --subset; --where CONDITION chooses rows.");
  const std::string confidence = "--confidence LEVEL sets that of the limits.";
  ExpectFitRefused({"--level", "0.9"}, "There is no option --level; " + confidence);
  ExpectFitRefused({"--conf.level", "0.9"}, "There is no option --conf.level; " + confidence);
  ExpectFitRefused({"--na.strings", "-"},
                   "There is no option --na.strings; --na STRING names a text that is a missing "
                   "value, again for each.");
  ExpectFitRefused({"--maxit", "9"},
                   "There is no option --maxit; --max-iterations N sets the most iterations of a "
                   "logistic model.");
  ExpectFitRefused({"--nrows", "9"},
                   "There is no option --nrows; --sql \"SELECT * FROM data LIMIT 1000\" takes the "
                   "first 1000 rows of --data.");
  for (const std::string kind : {"logit", "binomial", "GLM"}) {
    ExpectFitRefused({"--model", kind}, "--model takes 'linear' or 'logistic', not '" + kind +
                                            "'. Write --model logistic.");
  }
  ExpectFitRefused({"--model", "ols"},
                   "--model takes 'linear' or 'logistic', not 'ols'. Write --model linear.");
  ExpectFitRefused({"--sep", ";"},
                   "There is no option --sep; --delim CHARACTER names what separates columns.");
}

// --predictions would overwrite the file that such an option names.
TEST_F(CommandUsage, AFileOfNewRows) {
  for (const std::string name :
       {"--predict", "--predict-on", "--pred", "--score", "--test", "--newdata", "--new-data"}) {
    ExpectFitRefused(
        {name, "n.csv"},
        "There is no option " + name +
            "; --save FILE saves the model, with which 'qvreg score' predicts any rows; or give "
            "new "
            "rows without the dependent as a second --data, and --predictions FILE has them, too.");
  }
}

TEST_F(CommandUsage, RowsOfWeightZeroArePredictedOnly) {
  folder_.Write("train.csv", "y,x\n1,1\n2,2\n3,3\n");
  folder_.Write("test.csv", "y,x\n50,4\n");
  const CommandResult result =
      Run({"fit", "--sql",
           "SELECT *, 1 AS w FROM 'train.csv' UNION ALL BY NAME SELECT *, 0 AS w FROM 'test.csv'",
           "--freq-weight", "w", "-f", "y ~ x", "-o", "p.csv"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\nRecords      4 read, 3 used\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\nPredictions  p.csv, 4 rows\n"), std::string::npos) << result.out;
  EXPECT_NE(qvtest::ReadFile(folder_.File("p.csv")).find("\n50.0,4"), std::string::npos);
}

TEST_F(CommandUsage, AnUnknownOptionWithoutANearOne) {
  ExpectFitRefused({"--xyzzy"}, "There is no option --xyzzy.");
  ExpectFitRefused({"-x"}, "There is no option -x; the short ones are -h, -d, -f, -o, -q.");
  ExpectFitRefused({"-qx"}, "There is no option -x; the short ones are -h, -d, -f, -o, -q.");
}

TEST_F(CommandUsage, OneDashForTwo) {
  ExpectFitRefused({"-model", "linear"}, "'-model' needs two dashes: --model.");
  ExpectFitRefused({"--q"}, "'--q' needs one dash: -q.");
  ExpectRefused(
      {{"fit", "-formula=y ~ x"}, "'-formula=y ~ x' needs two dashes: '--formula=y ~ x'."},
      "qvreg fit --help");
  ExpectRefused({{"fit", "--f=y ~ x"}, "'--f=y ~ x' needs one dash: -f 'y ~ x'."},
                "qvreg fit --help");
}

TEST_F(CommandUsage, AnOptionOfTheProgram) {
  ExpectFitRefused({"--version"}, "--version goes without a command: qvreg --version.");
}

// ---- Values -----------------------------------------------------------------

TEST_F(CommandUsage, AMissingValue) {
  ExpectFitRefused({"--json"}, "--json has no value; write --json FILE, or --json - to print it.");
  ExpectFitRefused({"-o"}, "--predictions has no value; write --predictions FILE.");
  ExpectFitRefused({"--na="}, "--na has no value; write --na STRING, or --na '' for an empty one.");
  ExpectRefused({{"fit", "--formula", "--data", "rows.csv"},
                 "--formula has no value; write --formula 'dependent ~ terms'."},
                "qvreg fit --help");
  ExpectRefused({{"fit", "-f", "-d", "rows.csv"},
                 "--formula has no value; write --formula 'dependent ~ terms'."},
                "qvreg fit --help");
  ExpectRefused({{"fit", "-f", "y ~ x", "-d"}, "--data has no value; write --data FILE."},
                "qvreg fit --help");
}

// As of a variable of a shell that is not set.
TEST_F(CommandUsage, AnEmptyValue) {
  ExpectFitRefused({"--json", ""},
                   "--json has no value; write --json FILE, or --json - to print it.");
  ExpectFitRefused({"-o", ""}, "--predictions has no value; write --predictions FILE.");
  ExpectFitRefused({"--spool-dir", ""}, "--spool-dir has no value; write --spool-dir DIR.");
  ExpectFitRefused({"--table", ""}, "--table has no value; write --table NAME.");
  ExpectFitRefused({"--data", "rows.csv", ""}, "--data has no value; write --data FILE.");
  ExpectFitRefused({"--freq-weight", ""},
                   "--freq-weight has no value; write --freq-weight COLUMN.");
}

TEST_F(CommandUsage, AValueOfAFlag) {
  ExpectFitRefused({"--no-intercept=yes"}, "--no-intercept takes no value; leave '=yes' out.");
  ExpectRefused({{"fit", "-f=y ~ x"}, "Write -f without '=': -f 'y ~ x'."}, "qvreg fit --help");
}

TEST_F(CommandUsage, AnOptionGivenTwice) {
  ExpectFitRefused({"--confidence", "0.9", "--confidence=0.8"},
                   "--confidence is given twice; give it once.");
  ExpectFitRefused({"--formula", "y ~ g"}, "--formula is given twice; give it once.");
}

TEST_F(CommandUsage, WhatMayBeRepeated) {
  const CommandResult result = Run({"fit", "-d", "rows.csv", "-d", "rows.csv", "-f", "y ~ x",
                                    "--na", "?", "--na", "-9", "--types", "x=double", "--types",
                                    "g=varchar", "-q", "-q", "--no-intercept", "--no-intercept"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(CommandUsage, AValueOfTheWrongKind) {
  ExpectFitRefused({"--confidence", "abc"}, "--confidence takes a number, not 'abc'.");
  ExpectFitRefused({"--confidence", "0,9"}, "--confidence takes a number, not '0,9'; write 0.9.");
  ExpectFitRefused({"--confidence", "a,b"}, "--confidence takes a number, not 'a,b'.");
  ExpectFitRefused({"--confidence", "90"},
                   "--confidence must be at least 0 and below 1; for 90 percent write 0.9.");
  ExpectFitRefused({"--digits", "2.5"}, "--digits takes a whole number, not '2.5'.");
  ExpectFitRefused({"--digits", "99999999999"},
                   "--digits takes a smaller number than 99999999999.");
  ExpectFitRefused({"--model", "cubic"}, "--model takes 'linear' or 'logistic', not 'cubic'.");
  ExpectFitRefused(
      {"--model", "logistik"},
      "--model takes 'linear' or 'logistic', not 'logistik'. Did you mean 'logistic'?");
  ExpectFitRefused({"--color", "yes"}, "--color takes 'auto', 'always' or 'never', not 'yes'.");
}

TEST_F(CommandUsage, ANumberOfThreadsOutOfRange) {
  for (const char* const threads : {"-1", "1025", "5000"}) {
    ExpectFitRefused({"--threads", threads},
                     "--threads must be a whole number from 0 to 1024; 0 is one per core.");
  }
  ExpectFitRefused({"--threads", "2.5"}, "--threads takes a whole number, not '2.5'.");
  const std::string help = Run({"fit", "--help"}).out;
  EXPECT_NE(help.find("at most 1024"), std::string::npos) << help;
}

TEST_F(CommandUsage, AWeightInBackQuotes) {
  for (const char* const option : {"--freq-weight", "--regression-weight"}) {
    EXPECT_EQ(Run({"fit", "-d", "rows.csv", "-f", "y ~ g", "-q", option, "`x`"}).exitCode, 0);
  }
  ExpectFitRefused({"--freq-weight", "`x`,g"}, "--freq-weight takes one column, not 'x', 'g'.");
}

TEST_F(CommandUsage, AComputedWeight) {
  const std::string sql = "SELECT *, 1/x AS w FROM data";
  ExpectFailure(Run({"fit", "-d", "rows.csv", "-f", "y ~ x", "--regression-weight", "1/x"}),
                kBadInput,
                "There is no column '1/x' for --regression-weight in rows.csv; compute it as a "
                "column: --sql \"" +
                    sql + "\" --regression-weight w.");
  EXPECT_EQ(
      Run({"fit", "-d", "rows.csv", "-f", "y ~ x", "-q", "--sql", sql, "--regression-weight", "w"})
          .exitCode,
      0);
}

TEST_F(CommandUsage, AQueryOfATableThatThereIsNot) {
  ExpectFailure(Run({"fit", "-d", "rows.csv", "-f", "y ~ x", "--sql", "SELECT * FROM mt"}),
                kBadInput, "--sql: There is no table 'mt'; the table of --data is called data.");
  ExpectFailure(Run({"fit", "-f", "y ~ x", "--sql", "SELECT * FROM mt"}), kBadInput,
                "--sql: There is no table 'mt'; name a file in single quotes, as in FROM "
                "'file.csv'.");
}

TEST_F(CommandUsage, CountsOfTwoOutcomes) {
  folder_.Write("dead.csv", "dose,dead,n\n1,2,10\n2,4,10\n3,7,11\n4,9,10\n");
  const CommandResult result =
      Run({"fit", "-d", "dead.csv", "--sql",
           "SELECT *, 1 AS y, dead AS w FROM data UNION ALL SELECT *, 0, n - dead FROM data",
           "--formula", "y ~ dose", "--freq-weight", "w", "--model", "logistic"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  // glm(cbind(dead, n - dead) ~ dose, binomial) in R gives the same.
  EXPECT_NE(result.out.find("dose           1.1291     0.37549"), std::string::npos) << result.out;
}

TEST_F(CommandUsage, MoreParametersThanAllowed) {
  std::string rows = "y,x,g,h\n";
  for (int i = 0; i < 40; ++i) {
    rows += std::to_string(i * 7 % 11) + "," + std::to_string(i) + ",g" + std::to_string(i % 10) +
            ",h" + std::to_string(i % 5) + "\n";
  }
  folder_.Write("many.csv", rows);
  const auto fit = [this](const std::string& formula, const std::string& most) {
    return Run({"fit", "-d", "many.csv", "-q", "-f", formula, "--max-parameters", most});
  };
  ExpectFailure(fit("y ~ x + g", "11"), kBadInput,
                "The model would have at least 12 parameters, more than the 11 that "
                "--max-parameters allows; 'g' has most of them, 10 levels. Its matrices would take "
                "0 MB: leave the term out, group its levels with --sql, or raise "
                "--max-parameters.");
  EXPECT_EQ(fit("y ~ x + g", "12").exitCode, 0);
  // Of the 50 cells, 10 occur.
  EXPECT_EQ(fit("y ~ g:h", "11").exitCode, 0);
  EXPECT_EQ(fit("y ~ g:h", "10").exitCode, kBadInput);
  EXPECT_EQ(fit("y ~ g:h + h", "15").exitCode, kBadInput);
  EXPECT_EQ(fit("h ~ x", "8").exitCode, 0) << "two parameters for each of four levels";
  EXPECT_EQ(fit("h ~ x", "7").exitCode, kBadInput);
  ExpectFitRefused({"--max-parameters", "0"}, "--max-parameters must be a whole number from 1 on.");
}

TEST_F(CommandUsage, OptionsThatExcludeOneAnother) {
  ExpectFitRefused({"--in-memory", "--no-in-memory"},
                   "--in-memory and --no-in-memory exclude one another; give one of them.");
  // Of three the first two, in the order of the help and of their names, whichever come first here.
  ExpectFitRefused({"--folds", "3", "--holdout", "0.2", "--split", "part"},
                   "--split and --folds exclude one another; give one of them.");
}

TEST_F(CommandUsage, CompletionExcludesInTheSameOrderInEachRun) {
  const CommandResult result = Run({"completion", "zsh"});
  EXPECT_EQ(result.exitCode, 0);
  for (const char* const names : {"'(--split --folds --holdout)'", "'(--holdout --folds --split)'",
                                  "'(--folds --holdout --split)'"}) {
    EXPECT_NE(result.out.find(names), std::string::npos) << names;
  }
}

TEST_F(CommandUsage, HelpIsGivenBesideAValueThatIsWrong) {
  const CommandResult result = Run({"fit", "--folds", "many", "--help"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, Run({"fit", "--help"}).out);
  EXPECT_EQ(Run({"fit", "--model", "none", "-h", "--in-memory", "--no-in-memory"}).out, result.out);
}

// ---- Words that belong to no option -----------------------------------------

TEST_F(CommandUsage, AWordThatBelongsToNothing) {
  ExpectRefused({{"fit", "rows.csv", "-f", "y ~ x"},
                 "'rows.csv' belongs to no option; write --data rows.csv."},
                "qvreg fit --help");
  ExpectRefused(
      {{"fit", "my rows.csv"}, "'my rows.csv' belongs to no option; write --data 'my rows.csv'."},
      "qvreg fit --help");
  ExpectRefused({{"fit", "y ~ `odd name`", "-d", "rows.csv"},
                 "'y ~ `odd name`' belongs to no option; write --formula 'y ~ `odd name`'."},
                "qvreg fit --help");
}

TEST_F(CommandUsage, AValueSplitAtBlanks) {
  ExpectRefused({{"fit", "-d", "rows.csv", "-f", "y", "~", "x"},
                 "'~' follows the value of --formula and belongs to no option; write a value that "
                 "has blanks in single quotes."},
                "qvreg fit --help");
  ExpectRefused({{"fit", "-d", "rows.csv", "-fy", "~", "x"},
                 "'~' follows the value of --formula and belongs to no option; write a value that "
                 "has blanks in single quotes."},
                "qvreg fit --help");
  ExpectFitRefused({"--where=x", ">", "2"},
                   "'>' follows the value of --where and belongs to no option; write a value that "
                   "has blanks in single quotes.");
}

TEST_F(CommandUsage, NoFormula) {
  ExpectRefused(
      {{"fit", "--data", "rows.csv"}, "--formula is missing; write --formula 'dependent ~ terms'."},
      "qvreg fit --help");
  ExpectRefused({{"fit", "--data", "rows.csv", "y ~ x"},
                 "--formula is missing, and 'y ~ x' is no file; write --formula 'y ~ x'."},
                "qvreg fit --help");
  ExpectRefused({{"fit", "-drows.csv", "y ~ x"},
                 "--formula is missing, and 'y ~ x' is no file; write --formula 'y ~ x'."},
                "qvreg fit --help");
}

// ---- What works -------------------------------------------------------------

TEST_F(CommandUsage, ShortOptions) {
  const CommandResult result = Run({"fit", "-drows.csv", "-fy ~ x", "-qo", "p.csv"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("p.csv")).starts_with("observed,predicted,"));
}

TEST_F(CommandUsage, MoreValuesFollowAnOptionJoinedToItsFirst) {
  folder_.Write("more.csv", "y,x,g\n6,5,a\n8,6.5,b\n");
  for (const Words& data :
       {Words{"--data=rows.csv", "more.csv"}, Words{"-drows.csv", "more.csv"},
        Words{"-qdrows.csv", "more.csv"}, Words{"--data", "rows.csv", "more.csv"}}) {
    Words words = {"fit", "-f", "y ~ x", "--json=fit.json"};
    words.insert(words.end(), data.begin(), data.end());
    const CommandResult result = Run(words);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(nlohmann::json::parse(qvtest::ReadFile(folder_.File("fit.json")))["records"]["read"],
              6)
        << data.front();
  }
}

TEST_F(CommandUsage, ValuesThatBeginWithADash) {
  const CommandResult result = Run({"fit", "-f", "-1 * y ~ x", "-d", "rows.csv"});
  EXPECT_NE(result.err.find("-1 * y ~ x"), std::string::npos) << result.err;
  EXPECT_EQ(CommandRun({"fit", "-f", "y ~ x", "-d", "-", "--na", "-9"})
                .InputFrom(folder_.File("rows.csv"))
                .Run()
                .exitCode,
            0);
}

TEST_F(CommandUsage, HelpIsPrintedWhateverElseIsThere) {
  const std::string fit = Run({"fit", "--help"}).out;
  EXPECT_TRUE(fit.starts_with("Fit a regression model")) << fit;
  for (const Words& words :
       {Words{"help", "fit"}, Words{"fit", "-h"}, Words{"fit", "--formulla", "y ~ x", "--help"}}) {
    const CommandResult result = Run(words);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, fit);
  }
  const std::string program = Run({"--help"}).out;
  EXPECT_TRUE(program.starts_with("qvreg fits regression models")) << program;
  EXPECT_EQ(Run({"help"}).out, program);
  EXPECT_EQ(Run({"-h"}).out, program);
}

TEST_F(CommandUsage, WithoutAWordTheHelpIsAnError) {
  const CommandResult result = Run({});
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, Run({"--help"}).out);
}

TEST_F(CommandUsage, ExamplesOfTheHelpUseSingleQuotes) {
  const std::string help = Run({"fit", "--help"}).out;
  EXPECT_NE(help.find("\n  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight + origin'\n"),
            std::string::npos)
      << help;
  EXPECT_EQ(help.find("-f \""), std::string::npos);
  EXPECT_EQ(help.find("--formula \""), std::string::npos);
  EXPECT_EQ(help.find("Excludes"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
