#include "host/fit/OutputFiles.h"

#include <filesystem>
#include <functional>
#include <string>

#include "host/Error.h"
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

TEST_F(OutputFilesTest, TheCheckBeforeTheRenameLeavesTheFilesAsTheyWere) {
  const std::string a = WriteText("a", "old a");
  const std::string b = WriteText("b", "old b");
  outputs_.Add("--json", a);
  outputs_.Add("--predictions", b);
  outputs_.SetInputs(Inputs());
  outputs_.Begin();
  outputs_.Get(a).Write("new a");
  outputs_.Get(b).Write("new b");
  outputs_.Finish();
  fs::remove(b);
  fs::create_hard_link(data_, b);
  ExpectRefusal(
      [this] { outputs_.Commit(); },
      "--predictions '" + b + "' would replace the input '" + data_ + "'; name another file.");
  EXPECT_EQ(qvtest::ReadFile(a), "old a");
  EXPECT_EQ(qvtest::ReadFile(data_), "x\n1\n");
}

TEST_F(OutputFilesTest, NothingStandsBesideTheDataBeforeTheyAreRead) {
  outputs_.Add("--json", Path("fit.json"));
  outputs_.SetInputs(Inputs());
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
  outputs_.Begin();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 2);
}

TEST_F(OutputFilesTest, AreCommittedTogether) {
  const std::string a = WriteText("a", "old a");
  const std::string b = Path("b");
  outputs_.Add("--json", a);
  outputs_.Add("--predictions", b);
  outputs_.Begin();
  outputs_.Get(b).Write("new b");
  outputs_.Get(a).Write("new a");
  outputs_.Finish();
  EXPECT_EQ(qvtest::ReadFile(a), "old a");
  EXPECT_FALSE(fs::exists(b));
  outputs_.Commit();
  EXPECT_EQ(qvtest::ReadFile(a), "new a");
  EXPECT_EQ(qvtest::ReadFile(b), "new b");
}

TEST_F(OutputFilesTest, LeaveEveryFileAsItWasUnlessCommitted) {
  const std::string a = WriteText("a", "old a");
  {
    OutputFiles outputs;
    outputs.Add("--json", a);
    outputs.Add("--predictions", Path("b"));
    outputs.Begin();
    outputs.Get(a).Write("new a");
    outputs.Get(Path("b")).Write("new b");
    outputs.Finish();
  }
  EXPECT_EQ(qvtest::ReadFile(a), "old a");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 2);
}

TEST_F(OutputFilesTest, OtherNamesOfOneFileAreNotTwoOutputs) {
  fs::create_directory(Path("folder"));
  fs::create_symlink("a", Path("link"));
  for (const std::string& other : {Path("a"), Path("link"), Path("folder/../a"), Path("./a")}) {
    OutputFiles outputs;
    outputs.Add("--json", Path("a"));
    ExpectRefusal([&] { outputs.Add("--predictions", other); },
                  "--json '" + Path("a") + "' and --predictions '" + other +
                      "' are the same file; name two.");
  }
}

TEST_F(OutputFilesTest, OneDeviceMayTakeTwoOutputs) {
  outputs_.Add("--json", "/dev/null");
  EXPECT_NO_THROW(outputs_.Add("--predictions", "/dev/null"));
}

}  // namespace
}  // namespace qvhost
