#include "host/table/Connection.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#ifdef __linux__
#include <sys/stat.h>
#endif

#include "host/table/QueryError.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

class ConnectionTest : public TableTest {
 protected:
  /// The only temporary folder in the test's own, if there is one.
  [[nodiscard]] std::optional<fs::path> TempDirectory() const {
    const fs::directory_iterator first(folder_);
    return first == fs::directory_iterator() ? std::nullopt : std::optional(first->path());
  }
};

TEST_F(ConnectionTest, WritesNowhereUntilToldWhere) {
  Connection connection;
  EXPECT_EQ(connection.Rows("SELECT current_setting('temp_directory')")[0][0], "");
  connection.SetTempDirectory(folder_.string());
  EXPECT_EQ(connection.Rows("SELECT current_setting('temp_directory')")[0][0],
            TempDirectory().value().string());
}

TEST_F(ConnectionTest, ItsTempDirectoryIsGoneWithIt) {
  {
    Connection connection;
    connection.SetTempDirectory(folder_.string());
    const std::optional<fs::path> first = TempDirectory();
    connection.SetTempDirectory(folder_.string());
    EXPECT_EQ(TempDirectory(), first) << "the first call decides";
    connection.Execute("SET memory_limit = '30MB'");
    connection.Execute("CREATE TABLE t AS SELECT hash(i) AS h FROM range(5000000) t(i)");
    EXPECT_FALSE(fs::is_empty(first.value()));
  }
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(ConnectionTest, NamesAFolderThatCannotHoldATempDirectory) {
  Connection connection;
  const Refusal refusal = RefusalOf([&] { connection.SetTempDirectory(Path("missing")); });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(refusal.text, "No temporary folder can be made in the folder '" + Path("missing") +
                              "' (No such file or directory); name another folder with "
                              "--spool-dir.");
}

TEST_F(ConnectionTest, AnotherThreadEndsItsQueryAndThoseOfFurtherConnections) {
  Connection connection;
  const std::unique_ptr<Connection> further = connection.Another();
  for (Connection* const queried : {&connection, further.get()}) {
    std::atomic<bool> isOver{false};
    std::thread other([&isOver] {
      while (!isOver) {
        Connection::InterruptAll();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    });
    const Refusal refusal = RefusalOf([&] {
      queried->Execute(
          "SELECT count(*) FROM range(1000000) a, range(1000000) b WHERE (a.range * b.range) % 7 = "
          "3");
    });
    isOver = true;
    other.join();
    EXPECT_NE(refusal.text, Refusal().text);
    EXPECT_EQ(queried->Rows("SELECT 42")[0][0], "42") << "it is as good as before";
  }
}

#ifdef __linux__

TEST_F(ConnectionTest, ItsTempDirectoryIsForNobodyElse) {
  Connection connection;
  const mode_t before = umask(0);
  connection.SetTempDirectory(folder_.string());
  umask(before);
  EXPECT_EQ(fs::status(TempDirectory().value()).permissions(), fs::perms::owner_all);
}

#endif

}  // namespace
}  // namespace qvhost
