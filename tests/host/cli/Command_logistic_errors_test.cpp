// What the command says of a logistic model that it cannot fit, word by word.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

constexpr int kRunFailed = 1;
constexpr int kBadInput = 2;
constexpr const char* kRows =
    "SELECT ['agree', 'deny', 'doubt'][1 + range * 7 % 11 % 3] AS answer, range % 4 AS x, "
    "range * 5 % 7 AS y, 'same' AS one, NULL::VARCHAR AS none, DATE '2020-02-02' + range::INT AS "
    "day, range AS id, 0 AS zero FROM range(40)";

CommandResult Fit(const std::string& formula, const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"fit", "--sql", kRows, "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunQvreg(arguments);
}

TEST(CommandLogisticErrors, UnknownReferenceWithANearOne) {
  ExpectFailure(
      Fit("answer ~ x", {"--reference", "dney"}), kBadInput,
      "'answer' has no level 'dney' to be the --reference; give one of its levels, first or "
      "last. Did you mean 'deny'? Its levels are 'agree', 'deny', 'doubt'.");
}

TEST(CommandLogisticErrors, UnknownReferenceWithNoneNear) {
  ExpectFailure(
      Fit("answer ~ x", {"--reference", "whatever"}), kBadInput,
      "'answer' has no level 'whatever' to be the --reference; give one of its levels, first or "
      "last. Its levels are 'agree', 'deny', 'doubt'.");
}

TEST(CommandLogisticErrors, UnknownReferenceOfANumber) {
  ExpectFailure(
      Fit("C(x) ~ y", {"--reference", "4"}), kBadInput,
      "'x' has no level '4' to be the --reference; give one of its levels, first or last. Its "
      "levels are '0', '1', '2', '3'.");
}

TEST(CommandLogisticErrors, OptionsOfALinearModel) {
  for (const std::vector<std::string>& option :
       {std::vector<std::string>{"--df", "3"}, std::vector<std::string>{"--no-refine"}}) {
    ExpectFailure(
        Fit("answer ~ x", option), kBadInput,
        option.front() +
            " belongs to a linear model, but this one is logistic; leave it out, or choose the "
            "model with --model.");
  }
}

TEST(CommandLogisticErrors, OptionsOfALogisticModelForALinearOne) {
  for (const std::vector<std::string>& option :
       {std::vector<std::string>{"--reference", "first"}, std::vector<std::string>{"--in-memory"},
        std::vector<std::string>{"--no-in-memory"},
        std::vector<std::string>{"--max-iterations", "5"},
        std::vector<std::string>{"--max-step-halving", "5"},
        std::vector<std::string>{"--separation-from", "5"},
        std::vector<std::string>{"--parameter-criterion", "1e-6"},
        std::vector<std::string>{"--absolute-parameter-criterion"},
        std::vector<std::string>{"--ll-criterion", "1e-6"},
        std::vector<std::string>{"--absolute-ll-criterion"}}) {
    ExpectFailure(
        Fit("y ~ x", option), kBadInput,
        option.front() +
            " belongs to a logistic model, but this one is linear; leave it out, or choose the "
            "model with --model.");
  }
}

TEST(CommandLogisticErrors, ValuesOutOfRange) {
  struct Case {
    std::vector<std::string> options;
    std::string message;
  };
  const std::string iterations = "--max-iterations must be a whole number from 0 on.";
  const std::string halving = "--max-step-halving must be a whole number from 1 on.";
  const std::string separation = "--separation-from must be a whole number from 0 on.";
  const std::string ll =
      "--ll-criterion must be a number from 0 on, such as 1e-8; 0 switches it off.";
  const std::string parameter =
      "--parameter-criterion must be a number from 0 on, such as 1e-8; 0 switches it off.";
  for (const Case& c :
       {Case{{"--max-iterations", "-1"}, iterations},
        Case{{"--max-iterations", "1.5"}, "--max-iterations takes a whole number, not '1.5'."},
        Case{{"--max-iterations", "99999999999"},
             "--max-iterations takes a smaller number than 99999999999."},
        Case{{"--max-step-halving", "0"}, halving}, Case{{"--max-step-halving", "-2"}, halving},
        Case{{"--separation-from", "-1"}, separation}, Case{{"--ll-criterion", "-1e-9"}, ll},
        Case{{"--ll-criterion", "nan"}, ll}, Case{{"--ll-criterion", "inf"}, ll},
        Case{{"--parameter-criterion", "-1"}, parameter},
        Case{{"--parameter-criterion", "nan"}, parameter},
        Case{{"--parameter-criterion", "inf"}, parameter},
        Case{{"--parameter-criterion", "small"},
             "--parameter-criterion takes a number, not 'small'."}}) {
    ExpectFailure(Fit("answer ~ x", c.options), kBadInput, c.message + "\nTry 'qvreg fit --help'.");
  }
}

TEST(CommandLogisticErrors, ReferenceWithoutALevel) {
  ExpectFailure(Fit("answer ~ x", {"--reference"}), kBadInput,
                "--reference has no value; write --reference LEVEL.\nTry 'qvreg fit --help'.");
}

TEST(CommandLogisticErrors, InMemoryAndNot) {
  const CommandResult result = Fit("answer ~ x", {"--in-memory", "--no-in-memory"});
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("--in-memory and --no-in-memory exclude one another"),
            std::string::npos)
      << result.err;
}

TEST(CommandLogisticErrors, ANumberOfTooManyValues) {
  const std::vector<std::string> arguments = {
      "fit", "--sql", "SELECT range AS id, range % 3 AS x FROM range(1001)", "--formula", "id ~ x"};
  std::vector<std::string> logistic = arguments;
  logistic.insert(logistic.end(), {"--model", "logistic"});
  const CommandResult result = RunQvreg(logistic);
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_TRUE(result.err.starts_with("qvreg: 'id' has more than 1000 different values"))
      << result.err;
  EXPECT_EQ(RunQvreg(arguments).exitCode, 0) << "a linear model has no such bound";
}

TEST(CommandLogisticErrors, ADependentOfOneLevel) {
  ExpectFailure(
      Fit("one ~ x"), kRunFailed,
      "The dependent has fewer than two categories in the records used; there is nothing to "
      "tell apart.");
  ExpectFailure(
      RunQvreg({"fit", "--sql", "SELECT * FROM (VALUES ('a', 1), ('a', 2), ('b', NULL)) AS t(y, x)",
                "--formula", "y ~ x"}),
      kRunFailed,
      "The dependent has fewer than two categories in the records used; there is nothing to "
      "tell apart.");
}

TEST(CommandLogisticErrors, ADependentWithoutAnyValue) {
  ExpectFailure(
      Fit("none ~ x"), kRunFailed,
      "None of the 40 records can be used. In 40 a value is missing ('none' in 40); fill the "
      "dependent 'none', or choose another.");
}

TEST(CommandLogisticErrors, WeightsOfZero) {
  ExpectFailure(
      Fit("answer ~ x", {"--freq-weight", "zero"}), kRunFailed,
      "None of the 40 records can be used. In 40 a weight is missing or not above 0; check "
      "'zero'.");
}

TEST(CommandLogisticErrors, ADateAsDependent) {
  ExpectFailure(
      Fit("day ~ x", {"--model", "logistic"}), kBadInput,
      "The dependent 'day' is a date or time (DATE); a linear model needs a number, and for a "
      "logistic model write C(day).\n"
      "  day ~ x\n"
      "  ^");
}

TEST(CommandLogisticErrors, AnEmptyModel) {
  ExpectFailure(
      Fit("answer ~ 1", {"--no-intercept"}), kBadInput,
      "The model is empty: it has neither an intercept nor a term. Add a term to the formula or "
      "keep the intercept.");
}

TEST(CommandLogisticErrors, NoRecords) {
  ExpectFailure(
      RunQvreg({"fit", "--sql", "SELECT 'a' AS y, 1 AS x WHERE false", "--formula", "y ~ x"}),
      kRunFailed,
      "The data hold no record. Check that the file, the pattern or the query gives rows.");
}

}  // namespace
}  // namespace qvhost
