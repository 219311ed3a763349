#include "host/fit/OutputFiles.h"

#include <filesystem>
#include <string>

#include "host/WholeFile.h"
#include "host/table/TableWriter.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

class OutputFilesTest : public TableTest {
 protected:
  [[nodiscard]] InputFiles Inputs() const {
    InputFiles inputs;
    inputs.Add(data_);
    return inputs;
  }

  void ExpectRefusal(const std::function<void()>& action, const std::string& text) const {
    const Refusal refusal = RefusalOf(action);
    EXPECT_EQ(refusal.code, ExitCode::kBadInput);
    EXPECT_EQ(refusal.text, text);
  }

  const std::string data_ = WriteText("data.csv", "x\n1\n");
  OutputFiles outputs_;
};

TEST_F(OutputFilesTest, AnOutputThatIsAnInput) {
  fs::create_hard_link(data_, Path("hard.csv"));
  outputs_.Add("--json", Path("new.json"));
  outputs_.Add("--predictions", Path("hard.csv"));
  ExpectRefusal([this] { outputs_.SetInputs(Inputs()); }, "--predictions '" + Path("hard.csv") +
                                                              "' would replace the input '" +
                                                              data_ + "'; name another file.");
}

TEST_F(OutputFilesTest, AnOutputThatBecomesAnInput) {
  outputs_.Add("--json", Path("fit.json"));
  EXPECT_NO_THROW(outputs_.SetInputs(Inputs()));
  EXPECT_NO_THROW(outputs_.Check());
  fs::create_hard_link(data_, Path("fit.json"));
  ExpectRefusal([this] { outputs_.Check(); }, "--json '" + Path("fit.json") +
                                                  "' would replace the input '" + data_ +
                                                  "'; name another file.");
}

TEST_F(OutputFilesTest, TwoOutputsThatAreOneFile) {
  outputs_.Add("--json", Path("new.csv"));
  fs::create_symlink("new.csv", Path("link.csv"));
  ExpectRefusal([this] { outputs_.Add("--predictions", Path("link.csv")); },
                "--json '" + Path("new.csv") + "' and --predictions '" + Path("link.csv") +
                    "' are the same file; name two.");
}

TEST_F(OutputFilesTest, TwoOutputsThatBecomeOneFile) {
  outputs_.Add("--json", Path("a.csv"));
  outputs_.Add("--predictions", Path("b.csv"));
  EXPECT_NO_THROW(outputs_.Check());
  fs::create_symlink("a.csv", Path("b.csv"));
  ExpectRefusal([this] { outputs_.Check(); }, "--json '" + Path("a.csv") + "' and --predictions '" +
                                                  Path("b.csv") + "' are the same file; name two.");
}

TEST_F(OutputFilesTest, AFileThatIsNotReadMayBeReplaced) {
  outputs_.Add("--json", WriteText("old.json", "old"));
  outputs_.Add("--predictions", Path("new.csv"));
  EXPECT_NO_THROW(outputs_.SetInputs(Inputs()));
}

TEST_F(OutputFilesTest, TheCheckBeforeTheRenameLeavesTheFileAsItWas) {
  const std::string text = WriteText("old.json", "old");
  const std::string table = WriteText("old.csv", "old");
  const auto refuse = [] { throw Error(ExitCode::kBadInput, "refused"); };
  EXPECT_EQ(RefusalOf([&] { WriteWholeFile(text, "new", refuse); }).text, "refused");
  const auto noRow = [](RowCells&) { return false; };
  const WrittenColumn column{"x", WrittenColumn::Type::kNumber};
  EXPECT_EQ(RefusalOf([&] { WriteTableFile(table, {column}, noRow, refuse); }).text, "refused");
  for (const std::string& file : {text, table}) {
    std::ifstream stream(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "old");
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 3) << "a temporary file is left";
}

}  // namespace
}  // namespace qvhost
