// Signals that end the command, and what it leaves: after its own end, and after one by force.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/TemporaryFolder.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

/// A second on an idle machine; sanitizers and other tests need some of it, too.
constexpr double kMostSeconds = 2.0;
/// Long enough for the command to be at work on what blocks it.
constexpr milliseconds kStart{300};

constexpr const char* kLongQuery =
    "SELECT range AS x, range % 7 AS y, 'g' || 4 - range % 5 AS g FROM range(2000000)";

struct SignalCase {
  const char* name;
  int signal;
  const char* sentence;
};

void PrintTo(const SignalCase& of, std::ostream* out) { *out << of.name; }

class CommandSignals : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_.Path() / "spool");
    fs::create_directory(folder_.Path() / "out");
    folder_.Write("out/fit.json", "old fit");
    folder_.Write("out/p.csv", "old predictions");
  }

  /// The command with every kind of file that it writes.
  [[nodiscard]] CommandRun Run(std::vector<std::string> source) const {
    std::vector<std::string> words = {"fit"};
    words.insert(words.end(), source.begin(), source.end());
    for (const std::string& word : std::vector<std::string>{
             "--formula", "y ~ x + C(g)", "--model", "linear", "--spool-dir", Spool(), "--json",
             folder_.File("out/fit.json"), "--predictions", folder_.File("out/p.csv")}) {
      words.push_back(word);
    }
    return CommandRun(std::move(words));
  }

  [[nodiscard]] std::string Spool() const { return folder_.File("spool"); }

  [[nodiscard]] static long FilesIn(const fs::path& folder) {
    return std::distance(fs::directory_iterator(folder), {});
  }

  void ExpectNothingDone() const {
    EXPECT_TRUE(fs::is_empty(Spool()));
    EXPECT_EQ(FilesIn(folder_.Path() / "out"), 2);
    ExpectOldOutputs();
  }

  void ExpectOldOutputs() const {
    // Not EXPECT_EQ, which would show a long new one.
    EXPECT_TRUE(qvtest::ReadFile(folder_.File("out/fit.json")) == "old fit");
    EXPECT_TRUE(qvtest::ReadFile(folder_.File("out/p.csv")) == "old predictions");
  }

  void ExpectEnded(const CommandResult& result, const SignalCase& by,
                   double mostSeconds = kMostSeconds) const {
    EXPECT_EQ(result.exitCode, 128 + by.signal) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(by.sentence), std::string::npos) << result.err;
    EXPECT_LT(result.secondsAfterSignal, mostSeconds);
    ExpectNothingDone();
  }

  const qvtest::TempFolder folder_;
};

constexpr SignalCase kInterrupt = {"SIGINT", SIGINT, "qvreg: Cancelled."};
constexpr SignalCase kTerminate = {"SIGTERM", SIGTERM, "qvreg: Cancelled by SIGTERM."};
constexpr SignalCase kHangUp = {"SIGHUP", SIGHUP, "qvreg: Cancelled by SIGHUP."};

class CommandSignalsEach : public CommandSignals,
                           public ::testing::WithParamInterface<SignalCase> {};

INSTANTIATE_TEST_SUITE_P(, CommandSignalsEach, ::testing::Values(kInterrupt, kTerminate, kHangUp),
                         [](const auto& of) { return of.param.name; });

TEST_P(CommandSignalsEach, EndAWaitForAPipeWithoutAWriter) {
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const CommandResult result = Run({"--data", pipe}).SignalAfter(kStart, GetParam().signal).Run();
  ExpectEnded(result, GetParam());
  EXPECT_EQ(result.err, std::string(GetParam().sentence) + "\n");
}

TEST_P(CommandSignalsEach, EndAPipeWhoseWriterWaits) {
  const std::string pipe = folder_.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::fstream writer(pipe);
  writer << "y,x,g\n1,2,a\n" << std::flush;
  const CommandResult result = Run({"--data", pipe}).SignalAfter(kStart, GetParam().signal).Run();
  ExpectEnded(result, GetParam());
}

TEST_P(CommandSignalsEach, EndAPass) {
  ExpectEnded(Run({"--sql", kLongQuery}).SignalWhenShown("pass 1", GetParam().signal).Run(),
              GetParam());
}

class CommandSignalsStage : public CommandSignals,
                            public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, CommandSignalsStage,
                         ::testing::Values("reading", "coding", "pass 2", "predicting"),
                         [](const auto& of) {
                           std::string name = of.param;
                           std::erase(name, ' ');
                           return name;
                         });

TEST_P(CommandSignalsStage, Ends) {
  ExpectEnded(Run({"--sql", kLongQuery}).SignalWhenShown(GetParam(), SIGTERM).Run(), kTerminate);
}

TEST_F(CommandSignals, EndQueriesBeforeTheirFirstRow) {
  for (const char* query :
       {"SELECT count(*) AS y, 1 AS x, 1 AS g FROM range(1000000) a, range(1000000) b "
        "WHERE (a.range * b.range) % 7 = 3",
        "SELECT range AS y, 1 AS x, 1 AS g FROM range(100000000) ORDER BY hash(range)",
        "SELECT range AS y, (SELECT count(*) FROM range(10000000000)) AS x, 1 AS g "
        "FROM range(5)"}) {
    ExpectEnded(Run({"--sql", query}).SignalAfter(kStart, SIGTERM).Run(), kTerminate);
  }
}

TEST_F(CommandSignals, EndAWriteToAPipeWithoutAReader) {
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const CommandResult result =
      CommandRun({"fit", "--sql", "SELECT range AS y, range % 3 AS x FROM range(100)", "--formula",
                  "y ~ x", "--predictions", pipe, "--json", folder_.File("out/fit.json"),
                  "--spool-dir", Spool()})
          .SignalAfter(kStart, SIGTERM)
          .Run();
  ExpectEnded(result, kTerminate);
}

TEST_F(CommandSignals, EndARunThatPrintsJson) {
  const CommandResult result = CommandRun({"fit", "--sql", kLongQuery, "--formula", "y ~ x",
                                           "--json", "-", "--spool-dir", Spool()})
                                   .SignalWhenShown("reading", SIGHUP)
                                   .Run();
  ExpectEnded(result, kHangUp);
}

TEST_F(CommandSignals, ASecondOneEndsItAtOnce) {
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const CommandResult result =
      Run({"--data", pipe}).SignalAfter(kStart, SIGINT).SignalAfter(milliseconds(20), SIGINT).Run();
  ExpectEnded(result, kInterrupt, 0.4);
  EXPECT_EQ(result.err, "qvreg: Cancelled.\n");
}

TEST_F(CommandSignals, AnIgnoredHangUpIsIgnored) {
  const CommandResult result =
      Run({"--sql", kLongQuery}).IgnoringHangUp().SignalWhenShown("pass 1", SIGHUP).Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("out/fit.json")).starts_with("{"));
  EXPECT_TRUE(qvtest::ReadFile(folder_.File("out/p.csv")).starts_with("observed"));
  EXPECT_TRUE(fs::is_empty(Spool()));
}

// ---- After a kill -----------------------------------------------------------

TEST_F(CommandSignals, AKilledRunIsCleanedUpByTheNextAndALivingOneIsLeftAlone) {
  const CommandResult killed = Run({"--sql", kLongQuery}).SignalWhenShown("pass 1", SIGKILL).Run();
  EXPECT_EQ(killed.exitCode, 128 + SIGKILL);
  ExpectOldOutputs();
  EXPECT_EQ(FilesIn(Spool()), 1);
  EXPECT_EQ(FilesIn(folder_.Path() / "out"), 4);

  std::error_code error;
  const auto living = TemporaryFolder::Make(folder_.Path() / "out", error);
  ASSERT_TRUE(living);
  std::ofstream(living->Path() / "whole") << "in use";

  const CommandResult next =
      Run({"--sql", "SELECT range AS y, range % 3 AS x, range % 2 AS g FROM range(100)"}).Run();
  EXPECT_EQ(next.exitCode, 0) << next.err;
  EXPECT_TRUE(fs::is_empty(Spool()));
  EXPECT_EQ(FilesIn(folder_.Path() / "out"), 3);
  EXPECT_EQ(qvtest::ReadFile((living->Path() / "whole").string()), "in use");
}

TEST_F(CommandSignals, NothingIsReadableByOthersOnTheWay) {
  for (const mode_t mask : {0U, 0777U}) {
    const CommandResult killed =
        Run({"--sql", kLongQuery}).Umask(mask).SignalWhenShown("predicting", SIGKILL).Run();
    EXPECT_EQ(killed.exitCode, 128 + SIGKILL);
    int found = 0;
    for (const char* folder : {"spool", "out"}) {
      for (const auto& entry : fs::directory_iterator(folder_.Path() / folder)) {
        if (!IsTemporaryName(entry.path().filename().string())) continue;
        EXPECT_EQ(entry.status().permissions(), fs::perms::owner_all);
        for (const auto& file : fs::directory_iterator(entry)) {
          EXPECT_EQ(file.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
          ++found;
        }
      }
    }
    EXPECT_EQ(found, 2) << "fit.json and p.csv";
  }
}

// ---- All outputs or none ----------------------------------------------------

TEST_F(CommandSignals, AFailureAtTheEndReplacesNoFile) {
  const CommandResult result =
      Run({"--sql", "SELECT range AS y, range % 3 AS x, range % 2 AS g FROM range(100)"})
          .OutputTo("/dev/full")
          .Run();
  EXPECT_EQ(result.exitCode, 1);
  ExpectNothingDone();
}

TEST_F(CommandSignals, AFileThatMayNotBeWrittenIsRefusedBeforeAnythingIsRead) {
  fs::permissions(folder_.Path() / "out/fit.json", fs::perms::owner_read);
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const CommandResult result = Run({"--data", pipe}).Unprivileged().Run();
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err, "qvreg: The file '" + folder_.File("out/fit.json") +
                            "' could not be written: Permission denied. Name a file in an existing "
                            "folder that you may write to and that has room.\n");
  ExpectNothingDone();
}

}  // namespace
}  // namespace qvhost
