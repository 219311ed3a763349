#include "host/OutputFiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class OutputFilesTest : public TableTest {};

TEST_F(OutputFilesTest, AreCommittedTogether) {
  const std::string a = WriteText("a", "old a");
  const std::string b = Path("b");
  OutputFiles outputs;
  outputs.Open(a);
  outputs.Open(b).Write("new b");
  outputs.Open(a).Write("new a");
  outputs.Finish();
  EXPECT_EQ(TextOf(a), "old a");
  EXPECT_FALSE(fs::exists(b));
  outputs.Commit();
  EXPECT_EQ(TextOf(a), "new a");
  EXPECT_EQ(TextOf(b), "new b");
}

TEST_F(OutputFilesTest, LeaveEveryFileAsItWasUnlessCommitted) {
  const std::string a = WriteText("a", "old a");
  {
    OutputFiles outputs;
    outputs.Open(a).Write("new a");
    outputs.Open(Path("b")).Write("new b");
    outputs.Finish();
  }
  EXPECT_EQ(TextOf(a), "old a");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
}

TEST_F(OutputFilesTest, OneFileIsNotTwoOutputs) {
  fs::create_directory(Path("folder"));
  fs::create_symlink("a", Path("link"));
  for (const std::string& other : {Path("link"), Path("folder/../a"), Path("./a")}) {
    OutputFiles outputs;
    outputs.Open(Path("a"));
    const Refusal refusal = RefusalOf([&] { outputs.Open(other); });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput);
    EXPECT_EQ(refusal.text,
              "The outputs '" + Path("a") + "' and '" + other + "' are one file; name two.");
  }
  OutputFiles outputs;
  outputs.Open("/dev/null");
  outputs.Open("/dev/../dev/null");
}

}  // namespace
}  // namespace qvhost
