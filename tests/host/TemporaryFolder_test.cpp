#include "host/TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

#ifdef __linux__
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/host/ProcessLimits.h"
#endif

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr const char* kAbandoned = ".qvreg-0123456789abcdef.tmp";

class TemporaryFolderTest : public ::testing::Test {
 protected:
  /// What a killed run leaves.
  std::string Abandon(const std::string& name = kAbandoned) const {
    fs::create_directory(folder_.Path() / name);
    std::ofstream(folder_.Path() / name / "records") << "left";
    return folder_.File(name);
  }

  [[nodiscard]] std::optional<TemporaryFolder> Make() const {
    std::error_code error;
    std::optional<TemporaryFolder> made = TemporaryFolder::Make(folder_.Path(), error);
    EXPECT_EQ(made.has_value(), !error) << error.message();
    return made;
  }

  const qvtest::TempFolder folder_;
};

TEST_F(TemporaryFolderTest, IsGoneWithItsFiles) {
  fs::path path;
  {
    const std::optional<TemporaryFolder> made = Make();
    path = made->Path();
    EXPECT_EQ(path.parent_path(), folder_.Path());
    EXPECT_TRUE(IsTemporaryName(path.filename().string())) << path;
    std::ofstream(path / "a") << "a";
    std::ofstream(path / "b") << "b";
  }
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(TemporaryFolderTest, GoesWithWhatItIsMovedTo) {
  std::optional<TemporaryFolder> first = Make();
  {
    const TemporaryFolder second = std::move(*first);
    first.reset();
    EXPECT_TRUE(fs::is_directory(second.Path()));
  }
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(TemporaryFolderTest, KeepsAFolderThatIsNotItsOwn) {
  std::optional<TemporaryFolder> made = Make();
  fs::create_directories(made->Path() / "inner");
  std::ofstream(made->Path() / "inner" / "file") << "kept";
  const fs::path file = made->Path() / "inner" / "file";
  made.reset();
  EXPECT_TRUE(fs::exists(file));
}

TEST_F(TemporaryFolderTest, TellsWhyThereIsNone) {
  std::error_code error;
  EXPECT_FALSE(TemporaryFolder::Make(folder_.Path() / "missing", error));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
  EXPECT_FALSE(TemporaryFolder::Make(folder_.Write("plain", ""), error));
  EXPECT_EQ(error, std::errc::not_a_directory);
}

TEST_F(TemporaryFolderTest, KnowsItsNames) {
  EXPECT_TRUE(IsTemporaryName(kAbandoned));
  for (const char* other :
       {"", ".qvreg-.tmp", ".qvreg-0123456789abcde.tmp", ".qvreg-0123456789abcdef0.tmp",
        ".qvreg-0123456789abcdeF.tmp", ".qvreg-0123456789abcdeg.tmp", ".qvreg-0123456789abcdef.tm",
        ".qvreg-0123456789abcdef.tmpx", "qvreg-0123456789abcdef.tmp", "x.qvreg-0123456789abcde.tmp",
        ".qvreg-0123456789abcdef.csv"}) {
    EXPECT_FALSE(IsTemporaryName(other)) << other;
  }
}

TEST_F(TemporaryFolderTest, RemovesWhatAKilledRunLeft) {
  Abandon();
  Abandon(".qvreg-fedcba9876543210.tmp");
  { const std::optional<TemporaryFolder> made = Make(); }
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(TemporaryFolderTest, LeavesWhatIsOfAnotherKind) {
  Abandon(".qvreg-0123456789abcdeX.tmp");
  Abandon("qvreg-0123456789abcdef.tmp");
  folder_.Write(kAbandoned, "a file");
  RemoveAbandoned(folder_.Path());
  EXPECT_TRUE(fs::exists(folder_.Path() / ".qvreg-0123456789abcdeX.tmp" / "records"));
  EXPECT_TRUE(fs::exists(folder_.Path() / "qvreg-0123456789abcdef.tmp" / "records"));
  EXPECT_TRUE(fs::exists(folder_.Path() / kAbandoned));
}

#ifdef __linux__

TEST_F(TemporaryFolderTest, IsForNobodyElseWhateverTheUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{S_IRWXU | S_IRWXG}}) {
    const mode_t before = umask(mask);
    const std::optional<TemporaryFolder> made = Make();
    umask(before);
    EXPECT_EQ(fs::status(made->Path()).permissions(), fs::perms::owner_all);
  }
}

TEST_F(TemporaryFolderTest, IsForNobodyElseWhateverTheUmaskOfAPlainUser) {
  fs::permissions(folder_.Path(), fs::perms::all);
  const PlainUser user;
  const mode_t before = umask(S_IRWXU);
  std::optional<TemporaryFolder> made = Make();
  umask(before);
  ASSERT_TRUE(made);
  EXPECT_EQ(fs::status(made->Path()).permissions(), fs::perms::owner_all);
}

TEST_F(TemporaryFolderTest, FollowsNoLink) {
  const qvtest::TempFolder elsewhere;
  const std::string kept = elsewhere.Write("kept", "kept");
  fs::create_directory_symlink(elsewhere.Path(), folder_.Path() / kAbandoned);
  const std::string other = Abandon(".qvreg-fedcba9876543210.tmp");
  fs::create_symlink(kept, fs::path(other) / "link");
  RemoveAbandoned(folder_.Path());
  EXPECT_TRUE(fs::exists(kept));
  EXPECT_TRUE(fs::is_symlink(folder_.Path() / kAbandoned));
  EXPECT_FALSE(fs::exists(other));
}

TEST_F(TemporaryFolderTest, LeavesAnotherUsersAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's folder";
  const std::string path = Abandon();
  ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
  RemoveAbandoned(folder_.Path());
  EXPECT_TRUE(fs::exists(path));
  fs::permissions(folder_.Path(), fs::perms::all);
  const std::string roots = Abandon(".qvreg-fedcba9876543210.tmp");
  fs::permissions(roots, fs::perms::all);
  {
    const PlainUser user;
    RemoveAbandoned(folder_.Path());
  }
  EXPECT_TRUE(fs::exists(roots)) << "its rights would have allowed it";
  EXPECT_FALSE(fs::exists(path)) << "it was the plain user's own";
}

/// Waits for a child; whether it answered yes.
bool Answer(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_F(TemporaryFolderTest, LeavesALivingProcessesAlone) {
  const std::optional<TemporaryFolder> made = Make();
  std::ofstream(made->Path() / "records") << "in use";
  RemoveAbandoned(folder_.Path());
  EXPECT_TRUE(fs::exists(made->Path() / "records")) << "this process's own";
  const pid_t child = fork();
  if (child == 0) {
    RemoveAbandoned(folder_.Path());
    _exit(fs::exists(made->Path() / "records") ? 0 : 1);
  }
  EXPECT_TRUE(Answer(child));
}

TEST_F(TemporaryFolderTest, RunsThatSweepWhileOthersMakeTheirsDoNotMeet) {
  constexpr int kProcesses = 4;
  constexpr int kFolders = 200;
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      bool isSound = true;
      for (int made = 0; made < kFolders; ++made) {
        std::error_code error;
        const auto own = TemporaryFolder::Make(folder_.Path(), error);
        isSound = isSound && own && std::ofstream(own->Path() / "records").is_open();
        RemoveAbandoned(folder_.Path());
        isSound = isSound && own && fs::exists(own->Path() / "records");
      }
      _exit(isSound ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) EXPECT_TRUE(Answer(child));
  EXPECT_TRUE(folder_.IsEmpty());
}

TEST_F(TemporaryFolderTest, AnEndWithoutDestructorsRemovesThem) {
  const std::string other = folder_.Write("other", "kept");
  const pid_t child = fork();
  if (child == 0) {
    const std::optional<TemporaryFolder> first = Make();
    const std::optional<TemporaryFolder> second = Make();
    std::ofstream(first->Path() / "records") << "left";
    ExitWithoutTemporaries(first && second ? 0 : 1);
  }
  EXPECT_TRUE(Answer(child));
  EXPECT_TRUE(fs::exists(other));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 1);
}

#endif

}  // namespace
}  // namespace qvhost
