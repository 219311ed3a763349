// `qvreg fit --save`: what is written, and when nothing is.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/model/Pmml.h"
#include "host/report/Report.h"
#include "tests/host/cli/CommandOnTable.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

/// `qvreg fit --save` on a table of thirty rows.
class CommandSave : public CommandOnTable {
 protected:
  CommandSave() {
    std::string text = "y,x,g\n";
    for (int i = 0; i < 30; ++i) {
      text += std::to_string(i * i % 17) + "," + std::to_string(i % 7 + 1) + "," +
              (i % 3 == 0 ? "a" : "b") + "\n";
    }
    folder_.Write("in.csv", text);
  }

  [[nodiscard]] std::string Text(const std::string& name) const {
    return qvtest::ReadFile(folder_.File(name));
  }
  [[nodiscard]] bool Exists(const std::string& name) const {
    return std::filesystem::exists(folder_.File(name));
  }
};

TEST_F(CommandSave, WritesAModelThatIsReadAgain) {
  const CommandResult result = Run("y ~ log(x) + g", {"--save", "m.pmml", "--json", "fit.json"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const SavedModel model = ReadSavedModel(folder_.File("m.pmml"));
  EXPECT_EQ(JsonReport(model.fit), Text("fit.json"));
  EXPECT_FALSE(model.component.empty());
  EXPECT_EQ(model.variables.size(), 3U);
}

TEST_F(CommandSave, WritesTheSameBytesAgain) {
  for (const char* const name : {"one.pmml", "two.xml", "three.PMML"}) {
    ASSERT_EQ(Run("g ~ x + scale(y)", {"--save", name, "-q"}).exitCode, 0);
  }
  EXPECT_EQ(Text("one.pmml"), Text("two.xml"));
  EXPECT_EQ(Text("one.pmml"), Text("three.PMML"));
}

// Sets of records are told apart by their digest, as in the JSON.
TEST_F(CommandSave, KnowsTheRecords) {
  ASSERT_EQ(Run("y ~ x", {"--save", "m.pmml", "-q"}).exitCode, 0);
  const std::string digest = Json("y ~ x", {}).at("records").at("digest");
  EXPECT_FALSE(digest.empty());
  EXPECT_EQ(ReadSavedModel(folder_.File("m.pmml")).fit.records.digest, digest);
}

TEST_F(CommandSave, ChangesNothingElse) {
  const CommandResult saved = Run("y ~ x*g", {"--save", "m.pmml"});
  const CommandResult plain = Run("y ~ x*g", {});
  EXPECT_EQ(saved.exitCode, 0);
  EXPECT_EQ(saved.out, plain.out);
}

TEST_F(CommandSave, RefusesAnotherEnding) {
  const std::string end = "' must end in .pmml or .xml.\nTry 'qvreg fit --help'.";
  for (const char* const name : {"m.json", "m", "m.csv", "-"}) {
    ExpectFailure(Run("y ~ x", {"--save", name}), 2,
                  "--save writes the model as PMML; '" + std::string(name) + end);
    EXPECT_FALSE(Exists(name));
  }
}

TEST_F(CommandSave, WritesNothingWhenTheRunFails) {
  const CommandResult failed = Run("y ~ x + none", {"--save", "m.pmml", "-o", "p.csv"});
  EXPECT_EQ(failed.exitCode, 2);
  EXPECT_FALSE(Exists("m.pmml"));
  EXPECT_FALSE(Exists("p.csv"));
  folder_.Write("kept.pmml", "as it was");
  EXPECT_EQ(Run("y ~ x", {"--save", "kept.pmml", "--where", "x > 99"}).exitCode, 1);
  EXPECT_EQ(Text("kept.pmml"), "as it was");
}

TEST_F(CommandSave, ReplacesNoInputAndNoOtherOutput) {
  folder_.Write("data.xml", Text("in.csv"));
  const CommandResult input = CommandRun({"fit", "--data", "data.xml", "--format", "csv", "-f",
                                          "y ~ x", "--save", "data.xml"})
                                  .In(folder_.Path())
                                  .Run();
  EXPECT_EQ(input.exitCode, 2);
  EXPECT_EQ(Text("data.xml"), Text("in.csv"));
  const CommandResult same = Run("y ~ x", {"--save", "m.xml", "--json", "m.xml"});
  EXPECT_EQ(same.exitCode, 2);
  EXPECT_FALSE(Exists("m.xml"));
}

TEST_F(CommandSave, SaysWhichLevelCannotBeSaved) {
  folder_.Write("in.csv", "y,g\n1,a\n2,b\x01\n3,a\n5,b\x01\n");
  const CommandResult result = Run("y ~ g", {"--save", "m.pmml"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("The level 'b ' holds a control character"), std::string::npos)
      << result.err;
  EXPECT_FALSE(Exists("m.pmml"));
}

}  // namespace
}  // namespace qvhost
