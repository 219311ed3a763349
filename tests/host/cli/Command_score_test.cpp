// The command `qvreg score`: its options, its summary and its JSON.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

class CommandScore : public CommandOnTable {
 protected:
  /// Saves a fit of y to g and x: y is 10 + x for g = 'a', 20 + x for 'b'.
  void Save(const Strings& more = {}) const {
    folder_.Write("in.csv", "y,x,g\n11,1,a\n12,2,a\n21,1,b\n23,3,b\n13,3,a\n22.5,2,b\n");
    Strings options = {"--save", "model.pmml", "-q"};
    options.insert(options.end(), more.begin(), more.end());
    const CommandResult result = Run("y ~ g + x", options);
    ASSERT_EQ(result.exitCode, 0) << result.err;
  }

  [[nodiscard]] CommandResult Score(const Strings& more) const {
    Strings arguments = {"score"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(std::move(arguments)).In(folder_.Path()).Run();
  }

  [[nodiscard]] std::size_t Files() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder_.Path()), {}));
  }
};

TEST_F(CommandScore, GivesTheNumbersOfTheFit) {
  Save({"--predictions", "fit.csv"});
  const CommandResult result = Score({"--model", "model.pmml", "--data", "in.csv", "--out",
                                      "scores.csv", "--keep", "y", "--interval", "-q"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "");
  const std::string scores = qvtest::ReadFile(folder_.File("scores.csv"));
  EXPECT_TRUE(scores.starts_with("y,predicted,std_error,conf_low,conf_high,pred_low,pred_high\n"))
      << scores;
  EXPECT_EQ(
      Connection().Rows("SELECT count(*) FROM " + QuoteText(folder_.File("fit.csv")) +
                        " a POSITIONAL JOIN " + QuoteText(folder_.File("scores.csv")) +
                        " b WHERE a.predicted = b.predicted AND a.std_error = b.std_error")[0][0],
      "6");
}

TEST_F(CommandScore, PrintsWhatWasScored) {
  Save();
  folder_.Write("new.csv", "g,x\na,4\nc,1\nb,\nq,\nb,5\n");
  const CommandResult result =
      Score({"--model", "model.pmml", "-d", "new.csv", "-o", "scores.csv", "--where", "x <> 5"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Model    model.pmml (linear)\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Where    x <> 5 (3 rows left out)\n"), std::string::npos)
      << result.out;
  EXPECT_NE(
      result.out.find("Rows     2 read, 1 scored, 1 without: a value is missing or unknown\n"),
      std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("Written  scores.csv\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("g             0              1              c\n"), std::string::npos)
      << result.out;
}

TEST_F(CommandScore, HasJson) {
  Save();
  folder_.Write("new.csv", "g,x\na,4\nc,1\nb,\nq,\nb,5\n");
  const CommandResult result = Score({"--model", "model.pmml", "-d", "new.csv", "-o", "scores.csv",
                                      "--interval", "--confidence", "0.5", "--json", "-"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const auto json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json["model"], "model.pmml");
  EXPECT_EQ(json["kind"], "linear");
  EXPECT_EQ(json["formula"], "y ~ g + x");
  EXPECT_EQ(json["rows"], 5);
  EXPECT_EQ(json["scored"], 2);
  EXPECT_EQ(json["incomplete"], 3);
  EXPECT_EQ(json["confidence"], 0.5);
  EXPECT_EQ(json["columns"],
            nlohmann::json::parse(
                R"([{"name": "g", "missing": 0, "unknown": 2, "first_unknown": "c"},
                    {"name": "x", "missing": 2, "unknown": 0, "first_unknown": null}])"));
}

TEST_F(CommandScore, RefusesWrongUse) {
  Save();
  const std::string help = "\nTry 'qvreg score --help'.";
  const auto expect = [&](const Strings& arguments, const std::string& message) {
    const std::size_t before = Files();
    ExpectFailure(Score(arguments), 2, message);
    EXPECT_EQ(Files(), before) << "nothing is left";
  };
  expect({"-d", "in.csv", "-o", "s.csv"}, "--model is missing; write --model FILE." + help);
  expect({"--model", "model.pmml", "-d", "in.csv"}, "--out is missing; write --out FILE." + help);
  expect({"--model", "model.pmml", "-o", "s.csv"},
         "No data are named; give a file with --data or a query with --sql." + help);
  expect({"--model", "model.pmml", "-d", "in.csv", "-o", "s.xlsx"},
         "A table cannot be written to 's.xlsx': the format follows from the ending of the name, "
         "which must be .csv, .tsv or .parquet.");
  expect({"--model", "model.pmml", "-d", "in.csv", "-o", "in.csv"},
         "--out 'in.csv' would replace the input 'in.csv'; name another file.");
  expect({"--model", "in.csv", "-d", "model.pmml", "-o", "s.csv", "--confidence", "0.5"},
         "--confidence is that of the limits of --interval; give both." + help);
  expect({"--model", "model.pmml", "-d", "in.csv", "--output", "s.csv"},
         "There is no option --output; --out FILE names the file for the scores." + help);
  expect({"--model", "model.pmml", "--newdata", "in.csv", "-o", "s.csv"},
         "There is no option --newdata; --data FILE names the data." + help);
  expect({"--model", "model.pmml", "-d", "in.csv", "-o", "s.csv", "--keep", "z"},
         "There is no column 'z' for --keep in in.csv.");
  const CommandResult none = Score({"--model", "none.pmml", "-d", "in.csv", "-o", "s.csv"});
  EXPECT_EQ(none.exitCode, 2);
  EXPECT_NE(none.err.find("none.pmml"), std::string::npos) << none.err;
  const CommandResult foreign = Score({"--model", "in.csv", "-d", "in.csv", "-o", "s.csv"});
  EXPECT_EQ(foreign.exitCode, 2);
  EXPECT_NE(foreign.err.find("in.csv"), std::string::npos) << foreign.err;
  EXPECT_FALSE(std::filesystem::exists(folder_.File("s.csv")));
}

TEST_F(CommandScore, DoesNotReplaceItsModel) {
  Save();
  std::filesystem::copy_file(folder_.File("model.pmml"), folder_.File("model.csv"));
  const CommandResult result = Score({"--model", "model.csv", "-d", "in.csv", "-o", "model.csv"});
  ExpectFailure(result, 2,
                "--out 'model.csv' would replace the input 'model.csv'; name another file.");
}

}  // namespace
}  // namespace qvhost
