#include "host/table/SpoolFile.h"

#ifdef __linux__
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/host/ProcessLimits.h"
#endif

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

class SpoolFileTest : public TableTest {
 protected:
  /// A coding that fills `folder` with 80 MB of records.
  static Refusal FillFolder(const std::string& folder) {
    CodingOptions options;
    options.spoolDir = folder;
    const TableSource source = OpenSql("SELECT i FROM range(10000000) t(i)");
    return RefusalOf([&] { (void)CodeTable(source, {Ask("i")}, options); });
  }
};

TEST_F(SpoolFileTest, ReadsWhatWasWritten) {
  SpoolFile file(folder_.string());
  std::vector<double> values(100000);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  file.Append(values);
  file.Append(std::vector<double>{-1, -2});
  file.Flush();

  std::vector<double> some(4);
  file.ReadAt(49999, some);
  EXPECT_EQ(some, (std::vector<double>{49999, 50000, 50001, 50002}));
  file.ReadAt(99999, std::span(some).first(3));
  EXPECT_EQ(some, (std::vector<double>{99999, -1, -2, 50002}));
  file.Rewind();
  double first = 5;
  ASSERT_EQ(std::fread(&first, sizeof first, 1, file.Stream()), 1U);
  EXPECT_EQ(first, 0.0);
}

TEST_F(SpoolFileTest, ChangesEveryRecordOnceOnAnyNumberOfThreads) {
  constexpr std::size_t kRecords = 300001;
  std::vector<double> values(3 * kRecords);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
  for (const int threads : {1, 2, 5}) {
    SpoolFile file(folder_.string());
    file.Append(values);
    std::vector<std::int64_t> done;
    file.ChangeRecords(
        3, threads,
        [](std::int64_t first, std::span<double> records) {
          ASSERT_EQ(records[0], static_cast<double>(3 * first));
          ASSERT_EQ(records.size() % 3, 0U);
          for (std::size_t at = 1; at < records.size(); at += 3) records[at] = -records[at];
        },
        [&done](std::int64_t records) { done.push_back(records); });
    EXPECT_TRUE(std::ranges::is_sorted(done));
    EXPECT_EQ(done.back(), kRecords);
    std::vector<double> changed(values.size());
    ASSERT_EQ(std::fread(changed.data(), sizeof(double), changed.size(), file.Stream()),
              changed.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(changed[i], i % 3 == 1 ? -values[i] : values[i]) << i;
    }
  }
}

TEST_F(SpoolFileTest, RefusesToReadPastItsEnd) {
  SpoolFile file(folder_.string());
  file.Append(std::vector<double>{1, 2});
  std::vector<double> three(3);
  file.Flush();
  const Refusal refusal = RefusalOf([&] { file.ReadAt(0, three); });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "The temporary file in the folder '" + folder_.string() +
                              "' cannot be read back (it is too short).");
}

TEST_F(SpoolFileTest, NamesAFolderThatCannotHoldIt) {
  const std::string plain = WriteText("plain", "no folder");
  for (const std::string& folder : {Path("missing"), plain}) {
    const Refusal refusal = FillFolder(folder);
    EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
    const int reason = folder == plain ? ENOTDIR : ENOENT;
    EXPECT_EQ(refusal.text, "No temporary file can be made in the folder '" + folder + "' (" +
                                std::strerror(reason) + "); name another folder with --spool-dir.");
  }
}

TEST_F(SpoolFileTest, LeavesNothingBehindWhenCancelled) {
  CodingOptions options;
  options.spoolDir = folder_.string();
  int asked = 0;
  std::int64_t rows = 0;
  options.cancelled = [&asked] { return ++asked > 50; };
  options.progress = [&rows](const CodingProgress& progress) { rows = progress.rows; };
  {
    const TableSource source = OpenSql("SELECT i FROM range(10000000) t(i)");
    EXPECT_THROW((void)CodeTable(source, {Ask("i")}, options), Cancelled);
    EXPECT_GT(rows, 0);
    EXPECT_LT(rows, 1000000);
    // The source is as good as before.
    EXPECT_EQ(CodeTable(source, {Ask("i")}).RecordCount(), 10000000);
  }
  EXPECT_EQ(FilesInFolder(), 0);
}

TEST_F(SpoolFileTest, LeavesNothingBehindOfAQueryLargerThanMemory) {
  const std::string base = WriteDatabase(
      "t.duckdb", "CREATE TABLE t AS SELECT hash(i) AS h, i FROM range(6000000) t(i)");
  CodingOptions options;
  options.spoolDir = Path("spool");
  std::filesystem::create_directory(options.spoolDir);
  bool spilled = false;
  // Asked while the rows are sorted, when progress is not told yet.
  options.cancelled = [&] {
    for (const auto& entry : std::filesystem::directory_iterator(options.spoolDir)) {
      EXPECT_EQ(entry.status().permissions(), std::filesystem::perms::owner_all);
      spilled = spilled || !std::filesystem::is_empty(entry);
    }
    return false;
  };
  {
    const TableSource source({base, "", ""});
    const ColumnRequest rank = Ask("row_number() OVER (ORDER BY h, i)");
    EXPECT_EQ(CodeTable(source, {Ask("i"), rank}, options).RecordCount(), 6000000);
    EXPECT_EQ(CodeTable(source, {Ask("i")}, options).RecordCount(), 6000000);
  }
  EXPECT_TRUE(spilled);
  EXPECT_TRUE(std::filesystem::is_empty(options.spoolDir));
}

TEST_F(SpoolFileTest, CancelsWhileCodesAreSorted) {
  CodingOptions options;
  bool sorting = false;
  options.cancelled = [&sorting] { return sorting; };
  options.progress = [&sorting](const CodingProgress& progress) {
    sorting = progress.stage == CodingProgress::Stage::kCoding;
  };
  const TableSource source = OpenSql("SELECT (5 - i % 5)::VARCHAR AS g FROM range(1000000) t(i)");
  EXPECT_THROW((void)CodeTable(source, {Ask("g")}, options), Cancelled);
}

TEST_F(SpoolFileTest, CancelsAQueryBeforeItsFirstRow) {
  CodingOptions options;
  options.cancelled = [] { return true; };
  const TableSource source = OpenSql("SELECT i FROM range(10000000) t(i) ORDER BY hash(i)");
  EXPECT_THROW((void)CodeTable(source, {Ask("i")}, options), Cancelled);
}

#ifdef __linux__

TEST_F(SpoolFileTest, IsForNobodyElse) {
  const mode_t before = umask(0);
  const SpoolFile open(folder_.string());
  umask(S_IRWXU);
  const SpoolFile closed(folder_.string());
  umask(before);
  for (const SpoolFile* file : {&open, &closed}) {
    struct stat status {};
    ASSERT_EQ(fstat(fileno(file->Stream()), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(status.st_nlink, 0U);
  }
  EXPECT_EQ(FilesInFolder(), 0);
}

TEST_F(SpoolFileTest, GoesToTheFolderOfTheEnvironment) {
  const char* const before = std::getenv("TMPDIR");
  const std::string kept = before == nullptr ? "" : before;
  setenv("TMPDIR", folder_.c_str(), 1);
  const std::string folder = SpoolFile("").Folder();
  if (before == nullptr) {
    unsetenv("TMPDIR");
  } else {
    setenv("TMPDIR", kept.c_str(), 1);
  }
  EXPECT_EQ(folder, folder_.string());
}

TEST_F(SpoolFileTest, TellsWhenAFileMayNotGrow) {
  const FileSizeLimit limit(1 << 20);
  const Refusal refusal = FillFolder(folder_.string());
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "The temporary file in the folder '" + folder_.string() +
                              "' cannot be written (" + std::strerror(EFBIG) +
                              "); 1 MB were needed so far. Name a folder with more room with "
                              "--spool-dir.");
}

TEST_F(SpoolFileTest, NoticesAFullDiskWhenTheLastValuesAreFlushed) {
  SpoolFile file(folder_.string());
  const FileSizeLimit limit(4096);
  file.Append(std::vector<double>(1000, 1.0));  // still in the stream's buffer
  const Refusal refusal = RefusalOf([&] { file.Flush(); });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_NE(refusal.text.find("8 kB were needed so far"), std::string::npos) << refusal.text;
}

/// A file system of one megabyte on a folder, while it lives. Needs to be root.
class TinyDisk {
 public:
  explicit TinyDisk(const std::string& folder) : folder_(folder) {
    isMounted_ = mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  TinyDisk(const TinyDisk&) = delete;
  TinyDisk& operator=(const TinyDisk&) = delete;
  ~TinyDisk() {
    if (isMounted_) umount(folder_.c_str());
  }

  [[nodiscard]] bool IsMounted() const { return isMounted_; }

 private:
  std::string folder_;
  bool isMounted_ = false;
};

TEST_F(SpoolFileTest, TellsWhenTheDiskIsFull) {
  const TinyDisk disk(folder_.string());
  if (!disk.IsMounted()) GTEST_SKIP() << "a file system can be mounted only by root";
  const Refusal refusal = FillFolder(folder_.string());
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "The temporary file in the folder '" + folder_.string() +
                              "' cannot be written (" + std::strerror(ENOSPC) +
                              "); 1 MB were needed so far. Name a folder with more room with "
                              "--spool-dir.");
}

TEST_F(SpoolFileTest, NamesAFolderWithoutPermission) {
  using std::filesystem::perms;
  std::filesystem::permissions(folder_, perms::owner_read | perms::owner_exec);
  Refusal refusal;
  {
    const PlainUser user;
    if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere, and cannot be left";
    refusal = FillFolder(folder_.string());
  }
  std::filesystem::permissions(folder_, perms::owner_all);
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "No temporary file can be made in the folder '" + folder_.string() +
                              "' (" + std::strerror(EACCES) +
                              "); name another folder with --spool-dir.");
}

#endif

}  // namespace
}  // namespace qvhost
