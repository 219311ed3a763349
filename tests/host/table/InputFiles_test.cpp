#include "host/table/InputFiles.h"

#include <filesystem>
#include <string>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

using InputFilesTest = TableTest;

TEST_F(InputFilesTest, AFileIsFoundByEachOfItsNames) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_symlink(file, Path("link.csv"));
  fs::create_symlink("link.csv", Path("link of a link.csv"));
  fs::create_hard_link(file, Path("hard.csv"));
  fs::create_directory_symlink(folder_, Path("folder"));
  InputFiles inputs;
  inputs.Add(file);
  for (const char* name :
       {"a.csv", "./a.csv", "link.csv", "link of a link.csv", "hard.csv", "folder/a.csv",
        "folder/../" /* of the link's target */ "none"}) {
    const bool exists = fs::exists(Path(name));
    EXPECT_EQ(inputs.Find(Path(name)), exists ? std::optional(file) : std::nullopt) << name;
  }
  EXPECT_EQ(inputs.Find(fs::relative(file).string()), file);
  EXPECT_EQ(inputs.Find("/proc/self/root" + file), file);
}

TEST_F(InputFilesTest, TheNameMetFirstIsKept) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_hard_link(file, Path("b.csv"));
  InputFiles inputs;
  inputs.Add(Path("b.csv"));
  inputs.Add(file);
  EXPECT_EQ(inputs.Find(file), Path("b.csv"));
}

TEST_F(InputFilesTest, AnotherFileOfTheSameContentIsNoInput) {
  InputFiles inputs;
  inputs.Add(WriteText("a.csv", "x\n1\n"));
  EXPECT_EQ(inputs.Find(WriteText("b.csv", "x\n1\n")), std::nullopt);
  EXPECT_EQ(inputs.Find(Path("new.csv")), std::nullopt);
  EXPECT_EQ(inputs.Find(""), std::nullopt);
}

TEST_F(InputFilesTest, AnAddressOfALocalFile) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  for (const char* beginning : {"file:", "file://", "file://localhost"}) {
    InputFiles inputs;
    inputs.Add(beginning + file);
    EXPECT_EQ(inputs.Find(file), file) << beginning;
  }
}

TEST_F(InputFilesTest, TheNameOfAFileThatDoesNotExist) {
  InputFiles inputs;
  inputs.Add(Path("shop.duckdb.wal"));
  fs::create_symlink("shop.duckdb.wal", Path("link"));
  EXPECT_EQ(inputs.Find(Path("./shop.duckdb.wal")), Path("shop.duckdb.wal"));
  EXPECT_EQ(inputs.Find(Path("link")), Path("shop.duckdb.wal"));
  EXPECT_EQ(inputs.Find(Path("other.wal")), std::nullopt);
}

TEST_F(InputFilesTest, ADeviceCannotBeReplaced) {
  InputFiles inputs;
  inputs.Add("/dev/null");
  EXPECT_EQ(inputs.Find("/dev/null"), std::nullopt);
}

TEST_F(InputFilesTest, PathsToOneFile) {
  const std::string file = WriteText("a.csv", "x\n1\n");
  fs::create_hard_link(file, Path("hard.csv"));
  fs::create_symlink("new.csv", Path("link.csv"));
  fs::create_symlink("link.csv", Path("link of a link.csv"));
  fs::create_symlink("round.csv", Path("round.csv"));
  fs::create_directory(Path("sub"));
  EXPECT_TRUE(IsSameFile(file, Path("hard.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("./new.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("sub/../new.csv")));
  EXPECT_TRUE(IsSameFile(Path("new.csv"), Path("link.csv")));
  EXPECT_TRUE(IsSameFile(Path("link of a link.csv"), Path("new.csv")));
  EXPECT_TRUE(IsSameFile("new.csv", fs::absolute("new.csv").string()));
  EXPECT_TRUE(IsSameFile("/dev/null", "/dev/null"));
  EXPECT_FALSE(IsSameFile(Path("new.csv"), Path("sub/new.csv")));
  EXPECT_FALSE(IsSameFile(file, Path("new.csv")));
  EXPECT_FALSE(IsSameFile(Path("round.csv"), Path("new.csv")));
}

}  // namespace
}  // namespace qvhost
