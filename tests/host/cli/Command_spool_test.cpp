// The command `qvreg spool`: its records, its JSON, and what it refuses.

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

using Value = nlohmann::json;
using Numbers = std::vector<double>;

constexpr double kMissing = QvMV::gMissingValue;

class CommandSpool : public CommandOnTable {
 protected:
  void SetUp() override {
    folder_.Write("in.csv", "y,x,g,w\n1,2.5,b,1\n2,,a,2\n3,4,,1\n4,1,b,3\n");
  }

  [[nodiscard]] static Strings Words(const std::string& formula, const Strings& more) {
    Strings arguments = {"spool", "--data", "in.csv", "--formula", formula};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  [[nodiscard]] CommandResult Spool(const std::string& formula, const Strings& more) const {
    return CommandRun(Words(formula, more)).In(folder_.Path()).Run();
  }

  /// The JSON of a run that has to succeed.
  [[nodiscard]] Value SpoolJson(const std::string& formula, Strings more) const {
    more.insert(more.end(), {"--json", "-"});
    const CommandResult result = Spool(formula, more);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Value::parse(result.out);
  }

  [[nodiscard]] Numbers Records(const std::string& name = "out.records") const {
    const std::string bytes = qvtest::ReadFile(folder_.File(name));
    Numbers numbers(bytes.size() / sizeof(double));
    std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(double));
    return numbers;
  }

  [[nodiscard]] bool Has(const std::string& name) const {
    return std::filesystem::exists(folder_.File(name));
  }
};

TEST_F(CommandSpool, WritesTheRecordsOfTheTable) {
  const Value json = SpoolJson("y ~ x + g", {"--out", "out.records", "--freq-weight", "w"});
  EXPECT_EQ(Records(), (Numbers{1, 1, 2.5, 1, 2, 0, kMissing, 2, 3, -1, 4, 1, 4, 1, 1, 3}));
  EXPECT_EQ(json["records"], 4);
  EXPECT_EQ(json["record_size"], 4);
  EXPECT_EQ(json["out"], "out.records");
  EXPECT_EQ(json["model"], "linear");
  EXPECT_EQ(json["missing_number"].get<double>(), kMissing);
  EXPECT_EQ(json["freq_weight"], 3);
  EXPECT_TRUE(json["regression_weight"].is_null());
  const Value expected = Value::parse(R"([
      {"name": "y", "role": "dependent", "kind": "number", "type": "BIGINT", "levels": null,
       "missing": 0, "minimum": 1.0, "maximum": 4.0},
      {"name": "g", "role": "factor", "kind": "text", "type": "VARCHAR", "levels": ["a", "b"],
       "missing": 1, "minimum": null, "maximum": null},
      {"name": "x", "role": "covariate", "kind": "number", "type": "DOUBLE", "levels": null,
       "missing": 1, "minimum": 1.0, "maximum": 4.0},
      {"name": "w", "role": "freq_weight", "kind": "number", "type": "BIGINT", "levels": null,
       "missing": 0, "minimum": 1.0, "maximum": 3.0}])");
  EXPECT_EQ(json["columns"], expected);
}

TEST_F(CommandSpool, TellsTheEffects) {
  const Value json = SpoolJson("y ~ g/C(w) + x:I(x^2) - 1", {"--out", "out.records"});
  EXPECT_FALSE(json["intercept"].get<bool>());
  EXPECT_EQ(json["effects"], Value::parse(R"j([
      {"term": "g", "factors": [{"column": 1, "nested": false}], "covariates": []},
      {"term": "g:C(w)", "factors": [{"column": 1, "nested": false}, {"column": 2, "nested": true}],
       "covariates": []
},
      {"term": "x:I(x^2)", "factors": [], "covariates": [{"column": 3, "power": 3}]}])j"));
}

TEST_F(CommandSpool, CodesADependentOfCategories) {
  const Value json = SpoolJson("g ~ x", {"--out", "out.records", "--where", "y > 1"});
  EXPECT_EQ(Records(), (Numbers{0, kMissing, -1, 4, 1, 1}));
  EXPECT_EQ(json["model"], "logistic");
  EXPECT_EQ(json["left_out"], 1);
  EXPECT_EQ(json["columns"][0]["levels"], Value::parse(R"(["a", "b"])"));
}

TEST_F(CommandSpool, FindsLevelsAlone) {
  const Value json = SpoolJson("y ~ x + g + C(w)", {"--only-levels"});
  EXPECT_TRUE(json["out"].is_null());
  EXPECT_EQ(json["records"], 4);
  EXPECT_TRUE(json["columns"][0]["missing"].is_null());
  EXPECT_EQ(json["columns"][1]["levels"], Value::parse(R"(["a", "b"])"));
  EXPECT_EQ(json["columns"][1]["missing"], 1);
  EXPECT_EQ(json["columns"][2]["levels"], Value::parse(R"(["1", "2", "3"])"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

TEST_F(CommandSpool, CountsRecordsWithoutAnyLevels) {
  EXPECT_EQ(SpoolJson("y ~ x", {"--only-levels"})["records"], 4);
}

TEST_F(CommandSpool, TakesLevelsInTheOrderListed) {
  folder_.Write("levels.json",
                R"({"columns": [{"name": "g", "levels": ["c", "b", "a"]},
                    {"name": "w", "kind": "number", "levels": ["3.0", "2", "1"]},
                    {"name": "x", "levels": null}]})");
  const Value json =
      SpoolJson("y ~ g + C(w)", {"--levels-from", "levels.json", "--out", "out.records"});
  EXPECT_EQ(Records(), (Numbers{1, 1, 2, 2, 2, 1, 3, -1, 2, 4, 1, 0}));
  EXPECT_EQ(json["columns"][1]["levels"], Value::parse(R"(["c", "b", "a"])"));
}

TEST_F(CommandSpool, TakesItsOwnJsonForLevels) {
  ASSERT_EQ(Spool("y ~ g", {"--only-levels", "--json", "all.json", "-q"}).exitCode, 0);
  folder_.Write("in.csv", "y,g\n1,b\n");
  ASSERT_EQ(Spool("y ~ g", {"--levels-from", "all.json", "-o", "out.records", "-q"}).exitCode, 0);
  EXPECT_EQ(Records(), (Numbers{1, 1}));
}

TEST_F(CommandSpool, RefusesAValueThatIsNoLevel) {
  folder_.Write("levels.json", R"({"columns": [{"name": "g", "levels": ["a"]}]})");
  folder_.Write("out.records", "old");
  const Strings more = {"--levels-from", "levels.json", "--out", "out.records"};
  ExpectFailure(Spool("y ~ g", more), 2,
                "'g' has the value 'b' in row 1 of in.csv, which is none of its levels in "
                "'levels.json'.");
  Strings some = more;
  some.insert(some.end(), {"--where", "y > 1"});
  ExpectFailure(Spool("y ~ g", some), 2,
                "'g' has the value 'b' in row 3 of in.csv (of the rows that --where keeps), which "
                "is none of its levels in 'levels.json'.");
  EXPECT_EQ(qvtest::ReadFile(folder_.File("out.records")), "old");
}

TEST_F(CommandSpool, RefusesANumberThatIsNoLevel) {
  folder_.Write("levels.json", R"({"columns": [{"name": "x", "levels": ["2.5", "1"]}]})");
  ExpectFailure(Spool("y ~ C(x)", {"--levels-from", "levels.json", "--out", "out.records"}), 2,
                "'x' has the value '4' in row 3 of in.csv, which is none of its levels in "
                "'levels.json'.");
}

TEST_F(CommandSpool, RefusesLevelsThatAreNone) {
  const auto refuse = [this](const std::string& levels, const std::string& message) {
    folder_.Write("levels.json", levels);
    ExpectFailure(Spool("y ~ g", {"--levels-from", "levels.json", "--only-levels"}), 2, message);
  };
  refuse("", "'levels.json' is empty; 'qvreg spool --json' writes levels.");
  refuse("[]", "'levels.json' is not the JSON of levels; name what 'qvreg spool --json' wrote.");
  refuse("{}",
         "'levels.json' does not have 'columns' as this version of qvreg writes it; write it anew "
         "with 'qvreg spool --json'.");
  refuse(R"({"columns": []})", "'levels.json' has no levels of 'g'.");
  refuse(R"({"columns": [{"name": "g", "levels": ["a", "b", "a"]}]})",
         "'levels.json' has the level 'a' of 'g' twice.");
  refuse(R"({"columns": [{"name": "g", "levels": ["a"]}, {"name": "g", "levels": ["b"]}]})",
         "'levels.json' has the column 'g' twice.");
  refuse(R"({"columns": [{"name": "g", "kind": "word", "levels": ["a"]}]})",
         "'levels.json' does not have 'columns/0/kind' as this version of qvreg writes it; write "
         "it anew with 'qvreg spool --json'.");
}

TEST_F(CommandSpool, RefusesWhatOneRecordDoesNotHave) {
  const CommandResult result = Spool("y ~ scale(x)", {"--out", "out.records"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("'scale(x)' needs the mean of all records"), std::string::npos)
      << result.err;
  EXPECT_FALSE(Has("out.records"));
}

TEST_F(CommandSpool, RefusesOptionsThatDoNotGoTogether) {
  const CommandResult none = Spool("y ~ x", {});
  EXPECT_EQ(none.exitCode, 2);
  EXPECT_NE(none.err.find("Give the file for the records with --out"), std::string::npos);
  EXPECT_EQ(Spool("y ~ x", {"--only-levels", "--out", "out.records"}).exitCode, 2);
  folder_.Write("levels.json", R"({"columns": [{"name": "g", "levels": ["a", "b"]}]})");
  const Strings given = {"--levels-from", "levels.json", "--only-levels"};
  for (const char* const option : {"--base", "--levels"}) {
    Strings more = given;
    more.insert(more.end(), {option, "g=b"});
    EXPECT_EQ(Spool("y ~ g", more).exitCode, 2) << option;
  }
  EXPECT_FALSE(Has("out.records"));
}

TEST_F(CommandSpool, ReplacesNoFileThatItReads) {
  const std::string before = qvtest::ReadFile(folder_.File("in.csv"));
  EXPECT_EQ(Spool("y ~ x", {"--out", "in.csv"}).exitCode, 2);
  EXPECT_EQ(qvtest::ReadFile(folder_.File("in.csv")), before);
  const std::string levels = R"({"columns": [{"name": "g", "levels": ["a", "b"]}]})";
  folder_.Write("levels.json", levels);
  EXPECT_EQ(Spool("y ~ g", {"--levels-from", "levels.json", "--out", "levels.json"}).exitCode, 2);
  EXPECT_EQ(qvtest::ReadFile(folder_.File("levels.json")), levels);
  EXPECT_EQ(Spool("y ~ x", {"--out", "one", "--json", "one"}).exitCode, 2);
  EXPECT_FALSE(Has("one"));
}

TEST_F(CommandSpool, PrintsWhatItWrote) {
  const CommandResult result = Spool("y ~ x + g", {"--out", "out.records"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Records  4 of 3 numbers\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Written  out.records\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("g              1     factor       2        1\n"), std::string::npos)
      << result.out;
}

TEST_F(CommandSpool, FailsOnAFullDisk) {
  std::string table = "y,x\n";
  for (int i = 0; i < 20000; ++i) table += "1,2\n";
  folder_.Write("in.csv", table);
  const CommandResult result = CommandRun(Words("y ~ x", {"--out", "out.records"}))
                                   .In(folder_.Path())
                                   .FileSizeLimit(300000)
                                   .Run();
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_FALSE(Has("out.records"));
}

TEST_F(CommandSpool, LeavesNothingWhenItIsInterrupted) {
  constexpr std::chrono::milliseconds kAfter(100);
  const CommandResult result =
      CommandRun({"spool", "--sql", "SELECT range AS x, range % 7 AS y FROM range(200000000)",
                  "--formula", "y ~ x", "--out", "out.records", "--json", "out.json", "--spool-dir",
                  "."})
          .In(folder_.Path())
          .SignalAfter(kAfter, SIGTERM)
          .Run();
  EXPECT_EQ(result.exitCode, 128 + SIGTERM) << result.err;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 1);
}

}  // namespace
}  // namespace qvhost
