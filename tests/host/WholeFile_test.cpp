#include "host/WholeFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#ifdef __linux__
#include <future>

#include <sys/stat.h>

#include "tests/host/table/FileSizeLimit.h"
#include "tests/host/table/PlainUser.h"
#endif

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class WholeFileTest : public TableTest {
 protected:
  [[nodiscard]] long FilesInFolder() const {
    return std::distance(fs::directory_iterator(folder_), fs::directory_iterator());
  }

  static std::string FailureText(const std::string& path, const std::string& reason) {
    return "The file '" + path + "' could not be written: " + reason +
           ". Name a file in an existing folder that you may write to and that has room.";
  }
};

TEST_F(WholeFileTest, MakesAFileAndReplacesOne) {
  const std::string path = Path("a.txt");
  WriteWholeFile(path, "first, and longer");
  EXPECT_EQ(TextOf(path), "first, and longer");
  WriteWholeFile(path, "second");
  EXPECT_EQ(TextOf(path), "second");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, LeavesTheOldFileUntilTheNameIsTaken) {
  const std::string path = WriteText("a.txt", "old");
  {
    const WholeFile file(path);
    std::ofstream(file.WritePath()) << "half of the n";
    EXPECT_EQ(TextOf(path), "old");
    EXPECT_EQ(FilesInFolder(), 2);
  }
  EXPECT_EQ(TextOf(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);

  WholeFile file(path);
  std::ofstream(file.WritePath()) << "new";
  file.TakeName();
  EXPECT_EQ(TextOf(path), "new");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, CheckingLeavesEverythingAsItWas) {
  CheckFileWritable(Path("new.txt"));
  EXPECT_EQ(FilesInFolder(), 0);
  const std::string path = WriteText("old.txt", "old");
  CheckFileWritable(path);
  EXPECT_EQ(TextOf(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, RefusesAFolder) {
  for (const auto& write :
       {CheckFileWritable, +[](const std::string& path) { WriteWholeFile(path, "x"); }}) {
    const Refusal refusal = RefusalOf([&] { write(folder_.string()); });
    EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
    EXPECT_EQ(refusal.text, FailureText(folder_.string(), "it is a folder"));
  }
}

TEST_F(WholeFileTest, NamesAFolderThatIsMissing) {
  const std::string path = Path("missing/a.txt");
  const Refusal refusal = RefusalOf([&] { CheckFileWritable(path); });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, FailureText(path, std::strerror(ENOENT)));
}

#ifdef __linux__

TEST_F(WholeFileTest, ALinkKeepsPointingAtTheFile) {
  const std::string path = WriteText("file.txt", "old");
  fs::create_symlink("file.txt", Path("link.txt"));
  WriteWholeFile(Path("link.txt"), "new");
  EXPECT_TRUE(fs::is_symlink(Path("link.txt")));
  EXPECT_EQ(TextOf(path), "new");
}

TEST_F(WholeFileTest, NamesAFolderWithoutPermission) {
  const std::string path = Path("a.txt");
  fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec);
  Refusal refusal;
  {
    const PlainUser user;
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
    refusal = RefusalOf([&] { CheckFileWritable(path); });
  }
  fs::permissions(folder_, fs::perms::owner_all);
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, FailureText(path, std::strerror(EACCES)));
}

TEST_F(WholeFileTest, KeepsTheOldFileWhenThereIsNoRoom) {
  const std::string path = WriteText("a.txt", "old");
  Refusal refusal;
  {
    const FileSizeLimit limit(1000);
    refusal = RefusalOf([&] { WriteWholeFile(path, std::string(2000, 'x')); });
  }
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, FailureText(path, std::strerror(EFBIG)));
  EXPECT_EQ(TextOf(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, WritesADeviceDirectly) {
  EXPECT_TRUE(IsDeviceOrPipe("/dev/null"));
  EXPECT_FALSE(IsDeviceOrPipe(folder_.string()));
  EXPECT_FALSE(IsDeviceOrPipe(WriteText("plain", "")));
  EXPECT_FALSE(IsDeviceOrPipe(Path("missing")));
  WriteWholeFile("/dev/null", "gone");
  CheckFileWritable("/dev/full");
  const Refusal refusal = RefusalOf([] { WriteWholeFile("/dev/full", "x"); });
  EXPECT_EQ(refusal.text, FailureText("/dev/full", std::strerror(ENOSPC)));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(WholeFileTest, WritesAPipeDirectly) {
  const std::string path = Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::future<std::string> read = std::async(std::launch::async, TextOf, path);
  WriteWholeFile(path, "through");
  EXPECT_EQ(read.get(), "through");
  EXPECT_TRUE(fs::is_fifo(path));
}

#endif

}  // namespace
}  // namespace qvhost
