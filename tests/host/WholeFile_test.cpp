#include "host/WholeFile.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#ifdef __linux__
#include <future>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/host/ProcessLimits.h"
#endif

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

/// Writes a text and commits it.
void WriteWholeFile(const std::string& path, const std::string& text) {
  WholeFile file(path);
  file.Write(text);
  file.Finish();
  file.Commit();
}

/// Begins a file and leaves it.
void BeginWholeFile(const std::string& path) { const WholeFile file(path); }

class WholeFileTest : public TableTest {
 protected:
  static std::string FailureText(const std::string& path, const std::string& reason) {
    return "The file '" + path + "' could not be written: " + reason +
           ". Name a file in an existing folder that you may write to and that has room.";
  }

  /// Expects that the file is refused before anything is written.
  static void ExpectRefused(const std::string& path, const std::string& reason) {
    const Refusal refusal = RefusalOf([&] { BeginWholeFile(path); });
    EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
    EXPECT_EQ(refusal.text, FailureText(path, reason));
  }
};

TEST_F(WholeFileTest, MakesAFileAndReplacesOne) {
  const std::string path = Path("a.txt");
  WriteWholeFile(path, "first, and longer");
  EXPECT_EQ(qvtest::ReadFile(path), "first, and longer");
  WriteWholeFile(path, "second");
  EXPECT_EQ(qvtest::ReadFile(path), "second");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, LeavesTheOldFileUntilItIsCommitted) {
  const std::string path = WriteText("a.txt", "old");
  {
    WholeFile file(path);
    std::ofstream(file.WritePath()) << "the new";
    file.Finish();
    EXPECT_EQ(qvtest::ReadFile(path), "old");
    EXPECT_EQ(FilesInFolder(), 2);
  }
  EXPECT_EQ(qvtest::ReadFile(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);

  WholeFile file(path);
  std::ofstream(file.WritePath()) << "new";
  file.Finish();
  file.Commit();
  EXPECT_EQ(qvtest::ReadFile(path), "new");
}

TEST_F(WholeFileTest, BeginningLeavesEverythingAsItWas) {
  BeginWholeFile(Path("new.txt"));
  EXPECT_EQ(FilesInFolder(), 0);
  const std::string path = WriteText("old.txt", "old");
  BeginWholeFile(path);
  EXPECT_EQ(qvtest::ReadFile(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, TakesANameOfAnyLength) {
  const std::string path = Path(std::string(255, 'n'));
  WriteWholeFile(path, "text");
  EXPECT_EQ(qvtest::ReadFile(path), "text");
}

TEST_F(WholeFileTest, RefusesAFolder) { ExpectRefused(folder_.string(), "it is a folder"); }

TEST_F(WholeFileTest, NamesAFolderThatIsMissing) {
  ExpectRefused(Path("missing/a.txt"), std::strerror(ENOENT));
}

TEST_F(WholeFileTest, NamesWhatTurnedIntoAFolder) {
  const std::string path = Path("a.txt");
  WholeFile file(path);
  fs::create_directory(path);
  file.Finish();
  const Refusal refusal = RefusalOf([&] { file.Commit(); });
  EXPECT_EQ(refusal.text, FailureText(path, std::strerror(EISDIR)));
}

#ifdef __linux__

// ---- Links ------------------------------------------------------------------

TEST_F(WholeFileTest, ALinkKeepsPointingAtTheFile) {
  const std::string path = WriteText("file.txt", "old");
  fs::create_symlink("file.txt", Path("link.txt"));
  WriteWholeFile(Path("link.txt"), "new");
  EXPECT_TRUE(fs::is_symlink(Path("link.txt")));
  EXPECT_EQ(qvtest::ReadFile(path), "new");
}

TEST_F(WholeFileTest, AChainOfLinksIsFollowedThroughFolders) {
  fs::create_directories(Path("a/b"));
  fs::create_directories(Path("c"));
  const std::string path = WriteText("c/file.txt", "old");
  fs::create_symlink("a/b/second.txt", Path("first.txt"));
  fs::create_symlink("../../c/third.txt", Path("a/b/second.txt"));
  fs::create_symlink(path, Path("c/third.txt"));
  WriteWholeFile(Path("first.txt"), "new");
  for (const char* link : {"first.txt", "a/b/second.txt", "c/third.txt"}) {
    EXPECT_TRUE(fs::is_symlink(Path(link))) << link;
  }
  EXPECT_FALSE(fs::is_symlink(path));
  EXPECT_EQ(qvtest::ReadFile(path), "new");
}

TEST_F(WholeFileTest, ALinkThatLeadsNowhereGetsItsFile) {
  fs::create_directory(Path("a"));
  fs::create_symlink("a/second.txt", Path("first.txt"));
  fs::create_symlink("file.txt", Path("a/second.txt"));
  WriteWholeFile(Path("first.txt"), "new");
  EXPECT_TRUE(fs::is_symlink(Path("first.txt")));
  EXPECT_TRUE(fs::is_symlink(Path("a/second.txt")));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(Path("a/file.txt"))));
  EXPECT_EQ(qvtest::ReadFile(Path("a/file.txt")), "new");

  fs::create_symlink("missing/file.txt", Path("lost.txt"));
  ExpectRefused(Path("lost.txt"), std::strerror(ENOENT));
}

TEST_F(WholeFileTest, RefusesLinksInACircle) {
  fs::create_symlink("b.txt", Path("a.txt"));
  fs::create_symlink("a.txt", Path("b.txt"));
  ExpectRefused(Path("a.txt"), std::strerror(ELOOP));
  EXPECT_EQ(FilesInFolder(), 2);
}

// ---- Owners and permissions -------------------------------------------------

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST_F(WholeFileTest, AReplacedFileKeepsItsPermissions) {
  for (const mode_t mode : {0600U, 0640U, 0644U, 0664U, 0755U}) {
    const std::string path = WriteText("a.txt", "old");
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    WriteWholeFile(path, "new");
    EXPECT_EQ(ModeOf(path), mode);
  }
}

TEST_F(WholeFileTest, ANewFileHasThePermissionsOfTheUmask) {
  for (const mode_t mask : {0022U, 0077U, 0002U, 0000U}) {
    const mode_t before = umask(mask);
    WriteWholeFile(Path("a.txt"), "new");
    umask(before);
    EXPECT_EQ(ModeOf(Path("a.txt")), 0666U & ~mask);
    fs::remove(Path("a.txt"));
  }
}

TEST_F(WholeFileTest, UntilThenItIsForTheOwnerAlone) {
  const mode_t before = umask(0);
  const std::string path = WriteText("a.txt", "old");
  const WholeFile replaced(path);
  const WholeFile made(Path("b.txt"));
  umask(before);
  for (const WholeFile* file : {&replaced, &made}) {
    EXPECT_EQ(ModeOf(file->WritePath().parent_path()), 0700U);
    EXPECT_EQ(ModeOf(file->WritePath()), 0600U);
  }
}

TEST_F(WholeFileTest, AReplacedFileKeepsOwnerAndGroup) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const std::string path = WriteText("a.txt", "old");
  ASSERT_EQ(chown(path.c_str(), 65534, 12345), 0);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  WriteWholeFile(path, "new");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 65534U);
  EXPECT_EQ(status.st_gid, 12345U);
  EXPECT_EQ(ModeOf(path), 0640U);
}

TEST_F(WholeFileTest, AReplacedFileKeepsItsAttributes) {
  const std::string path = WriteText("a.txt", "old");
  if (setxattr(path.c_str(), "user.origin", "here", 4, 0) != 0) {
    GTEST_SKIP() << "this file system has no attributes";
  }
  WriteWholeFile(path, "new");
  std::string value(4, ' ');
  EXPECT_EQ(getxattr(path.c_str(), "user.origin", value.data(), value.size()), 4);
  EXPECT_EQ(value, "here");
}

/// An access list as the system keeps it: version 2, then tag, permissions and user of each entry.
std::string AccessList() {
  const auto entry = [](unsigned tag, unsigned permissions, unsigned user) {
    std::string bytes;
    for (const unsigned value : {tag, permissions}) {
      bytes += static_cast<char>(value & 0xFFU);
      bytes += '\0';
    }
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>((user >> (8 * i)) & 0xFFU);
    return bytes;
  };
  constexpr unsigned kNone = 0xFFFFFFFF;
  return std::string("\2\0\0\0", 4) + entry(0x01, 6, kNone) + entry(0x02, 4, 12345) +
         entry(0x04, 0, kNone) + entry(0x10, 4, kNone) + entry(0x20, 0, kNone);
}

TEST_F(WholeFileTest, AReplacedFileKeepsItsAccessList) {
  constexpr const char* kName = "system.posix_acl_access";
  const std::string path = WriteText("a.txt", "old");
  const std::string list = AccessList();
  if (setxattr(path.c_str(), kName, list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "this file system has no access lists";
  }
  WriteWholeFile(path, "new");
  std::string found(100, ' ');
  const ssize_t size = getxattr(path.c_str(), kName, found.data(), found.size());
  ASSERT_GT(size, 0);
  found.resize(static_cast<std::size_t>(size));
  EXPECT_EQ(found, list);
  EXPECT_EQ(ModeOf(path), 0640U);
}

TEST_F(WholeFileTest, AFolderGivesAReplacedFileNoAccessList) {
  const std::string path = WriteText("a.txt", "old");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  const std::string list = AccessList();
  if (setxattr(folder_.c_str(), "system.posix_acl_default", list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "this file system has no access lists";
  }
  WriteWholeFile(path, "new");
  EXPECT_LT(getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0), 0);
  EXPECT_EQ(ModeOf(path), 0640U);
  WriteWholeFile(Path("b.txt"), "new");
  EXPECT_GT(getxattr(Path("b.txt").c_str(), "system.posix_acl_access", nullptr, 0), 0);
  EXPECT_EQ(ModeOf(Path("b.txt")), 0640U);
}

TEST_F(WholeFileTest, RefusesAFileThatMayNotBeWritten) {
  const std::string path = WriteText("a.txt", "old");
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  fs::permissions(folder_, fs::perms::all);
  {
    const PlainUser user;
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
    ExpectRefused(path, std::strerror(EACCES));
  }
  EXPECT_EQ(qvtest::ReadFile(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, RefusesAFileWhoseOwnerCouldNotBeKept) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  fs::permissions(folder_, fs::perms::all);
  const std::string others = WriteText("a.txt", "old");
  ASSERT_EQ(chmod(others.c_str(), 0666), 0);
  const std::string groups = WriteText("b.txt", "old");
  ASSERT_EQ(chown(groups.c_str(), 65534, 12345), 0);
  {
    const PlainUser user;
    for (const std::string& path : {others, groups}) {
      ExpectRefused(path, "it belongs to another user or group, and what replaces it would not");
    }
  }
  EXPECT_EQ(qvtest::ReadFile(others), "old");
  EXPECT_EQ(FilesInFolder(), 2);
}

TEST_F(WholeFileTest, NamesAFolderWithoutPermission) {
  const std::string path = Path("a.txt");
  fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec);
  {
    const PlainUser user;
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
    ExpectRefused(path, std::strerror(EACCES));
  }
  fs::permissions(folder_, fs::perms::owner_all);
}

// ---- Ends that come early ---------------------------------------------------

TEST_F(WholeFileTest, KeepsTheOldFileWhenThereIsNoRoom) {
  const std::string path = WriteText("a.txt", "old");
  Refusal refusal;
  {
    const FileSizeLimit limit(1000);
    refusal = RefusalOf([&] { WriteWholeFile(path, std::string(2000, 'x')); });
  }
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, FailureText(path, std::strerror(EFBIG)));
  EXPECT_EQ(qvtest::ReadFile(path), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(WholeFileTest, AKilledProcessLeavesTheOldFileAndTheNextOneCleansUp) {
  const std::string path = WriteText("a.txt", "old");
  const pid_t child = fork();
  if (child == 0) {
    WholeFile file(path);
    file.Write("half of the n");
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(qvtest::ReadFile(path), "old");
  EXPECT_EQ(FilesInFolder(), 2);
  WriteWholeFile(Path("b.txt"), "other");
  EXPECT_EQ(FilesInFolder(), 2) << "a.txt, b.txt";
}

TEST_F(WholeFileTest, AReaderSeesTheOldOrTheNewFileOnly) {
  const std::string path = WriteText("a.txt", std::string(100000, 'a'));
  std::atomic<bool> isOver{false};
  std::future<bool> sound = std::async(std::launch::async, [&] {
    bool isSound = true;
    while (!isOver) {
      const std::string text = qvtest::ReadFile(path);
      isSound = isSound && text == std::string(100000, text.empty() ? '?' : text.front());
    }
    return isSound;
  });
  for (char letter = 'a'; letter <= 'z'; ++letter)
    WriteWholeFile(path, std::string(100000, letter));
  isOver = true;
  EXPECT_TRUE(sound.get());
}

// ---- Devices and pipes ------------------------------------------------------

TEST_F(WholeFileTest, WritesADeviceDirectly) {
  EXPECT_TRUE(IsDeviceOrPipe("/dev/null"));
  EXPECT_FALSE(IsDeviceOrPipe(folder_.string()));
  EXPECT_FALSE(IsDeviceOrPipe(WriteText("plain", "")));
  EXPECT_FALSE(IsDeviceOrPipe(Path("missing")));
  WriteWholeFile("/dev/null", "gone");
  BeginWholeFile("/dev/full");
  const Refusal refusal = RefusalOf([] { WriteWholeFile("/dev/full", "x"); });
  EXPECT_EQ(refusal.text, FailureText("/dev/full", std::strerror(ENOSPC)));
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(WholeFileTest, WritesAPipeDirectly) {
  const std::string path = Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  fs::create_symlink("pipe", Path("link"));
  for (const std::string& name : {path, Path("link")}) {
    std::future<std::string> read = std::async(std::launch::async, qvtest::ReadFile, path);
    WriteWholeFile(name, "through");
    EXPECT_EQ(read.get(), "through");
    EXPECT_TRUE(fs::is_fifo(path));
  }
}

TEST_F(WholeFileTest, RefusesAPipeThatMayNotBeWritten) {
  const std::string path = Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  fs::permissions(folder_, fs::perms::all);
  const PlainUser user;
  if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
  ExpectRefused(path, std::strerror(EACCES));
}

#endif

}  // namespace
}  // namespace qvhost
