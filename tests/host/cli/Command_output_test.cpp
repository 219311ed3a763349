// Where the command's output goes, and what happens when it cannot go there.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/TextLayout.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr int kRunFailed = 1;
constexpr int kCancelled = 130;
constexpr int kPipeClosed = 141;
constexpr const char* kOutputAdvice = ". Check where it is sent to.\n";
constexpr const char* kFileAdvice =
    ". Name a file in an existing folder that you may write to and that has room.\n";
// Millions of records: enough to still be at work when a test looks.
constexpr const char* kLongQuery =
    "SELECT range AS x, range % 7 AS y, range % 5 AS g FROM range(5000000)";

/// The widest line, in columns.
std::size_t WidthOf(const std::string& text) {
  std::size_t widest = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) widest = std::max(widest, TextWidth(line));
  return widest;
}

class CommandOutput : public ::testing::Test {
 protected:
  void SetUp() override { rows_ = folder_.Write("rows.csv", "y,x\n1,1\n2,2\n4,3\n5,4.5\n"); }

  std::vector<std::string> Arguments(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"fit", "--data", rows_, "--formula", "y ~ x"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  CommandResult Fit(const std::vector<std::string>& more) const {
    return RunQvreg(Arguments(more));
  }

  static void ExpectRunFailure(const CommandResult& result, const std::string& message) {
    EXPECT_EQ(result.exitCode, kRunFailed);
    EXPECT_EQ(result.err, message);
  }

  qvtest::TempFolder folder_;
  std::string rows_;
};

TEST_F(CommandOutput, JsonInPlaceOfTheSummary) {
  const CommandResult result = Fit({"--json", "-"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const auto json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json.at("records").at("used"), 4);
}

TEST_F(CommandOutput, JsonBesideTheSummary) {
  const std::string file = folder_.File("fit.json");
  const CommandResult result = Fit({"--json", file});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_TRUE(result.out.starts_with("Linear model\n")) << result.out;
  EXPECT_EQ(qvtest::ReadFile(file), Fit({"--json", "-"}).out);
}

TEST_F(CommandOutput, JsonReplacesAFileWholly) {
  const std::string file = folder_.Write("fit.json", std::string(100000, 'x'));
  EXPECT_EQ(Fit({"--json", file}).exitCode, 0);
  EXPECT_EQ(qvtest::ReadFile(file), Fit({"--json", "-"}).out);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 2) << "rows.csv, fit.json";
}

TEST_F(CommandOutput, JsonThroughALink) {
  const std::string file = folder_.Write("real.json", "old");
  fs::create_symlink("real.json", folder_.Path() / "link.json");
  EXPECT_EQ(Fit({"--json", folder_.File("link.json")}).exitCode, 0);
  EXPECT_TRUE(fs::is_symlink(folder_.Path() / "link.json"));
  EXPECT_TRUE(qvtest::ReadFile(file).starts_with("{"));
}

TEST_F(CommandOutput, AFailedRunLeavesTheJsonFileAlone) {
  const std::string file = folder_.Write("fit.json", "old");
  const CommandResult result = Fit({"--json", file, "--freq-weight", "nothing"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(qvtest::ReadFile(file), "old");
  EXPECT_EQ(Fit({"--json", folder_.File("new.json"), "--freq-weight", "nothing"}).exitCode, 2);
  EXPECT_FALSE(fs::exists(folder_.Path() / "new.json"));
}

TEST_F(CommandOutput, JsonInPlaceOfTheData) {
  const std::string before = qvtest::ReadFile(rows_);
  const CommandResult result = Fit({"--json", rows_});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qvreg: --json '" + rows_ + "' would replace the input '" + rows_ +
                            "'; name another file.\n");
  EXPECT_EQ(qvtest::ReadFile(rows_), before);
}

TEST_F(CommandOutput, JsonThatCannotBeWritten) {
  const std::string nowhere = folder_.File("nowhere/fit.json");
  const CommandResult missing = Fit({"--json", nowhere});
  ExpectRunFailure(missing, "qvreg: The file '" + nowhere +
                                "' could not be written: No such file or directory" + kFileAdvice);
  EXPECT_EQ(missing.out, "");

  ExpectRunFailure(Fit({"--json", folder_.Path()}), "qvreg: The file '" + folder_.Path().string() +
                                                        "' could not be written: it is a folder" +
                                                        kFileAdvice);
  ExpectRunFailure(Fit({"--json", "/dev/full"}),
                   std::string("qvreg: The file '/dev/full' could not be written: No space left on "
                               "device") +
                       kFileAdvice);
}

TEST_F(CommandOutput, JsonIntoAFolderWithoutWritePermission) {
  fs::create_directory(folder_.Path() / "locked");
  fs::permissions(folder_.Path() / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  const std::string file = folder_.File("locked/fit.json");
  const CommandResult result = CommandRun(Arguments({"--json", file})).Unprivileged().Run();
  ExpectRunFailure(result, "qvreg: The file '" + file +
                               "' could not be written: Permission denied" + kFileAdvice);
  EXPECT_EQ(result.out, "");
  fs::permissions(folder_.Path() / "locked", fs::perms::owner_all);
}

TEST_F(CommandOutput, FullDevice) {
  ExpectRunFailure(
      CommandRun(Arguments()).OutputTo("/dev/full").Run(),
      std::string("qvreg: Standard output could not be written: No space left on device") +
          kOutputAdvice);
  ExpectRunFailure(
      CommandRun({"--help"}).OutputTo("/dev/full").Run(),
      std::string("qvreg: Standard output could not be written: No space left on device") +
          kOutputAdvice);
}

TEST_F(CommandOutput, PipeThatNobodyReadsEndsTheRunQuietly) {
  for (const std::vector<std::string>& arguments :
       {Arguments(), Arguments({"--json", "-"}), {"fit", "--help"}, {"--version"}}) {
    const CommandResult result = CommandRun(arguments).OutputToBrokenPipe().Run();
    EXPECT_EQ(result.exitCode, kPipeClosed);
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(CommandOutput, FilesAreWholeThoughNobodyReadsTheSummary) {
  const std::string json = folder_.File("fit.json");
  const std::string rows = folder_.File("p.csv");
  EXPECT_EQ(CommandRun(Arguments({"--json", json, "-o", rows})).OutputToBrokenPipe().Run().exitCode,
            kPipeClosed);
  EXPECT_EQ(qvtest::ReadFile(json), Fit({"--json", "-", "-o", rows}).out);
  EXPECT_TRUE(qvtest::ReadFile(rows).ends_with("\n"));
}

TEST_F(CommandOutput, QuietWritesFilesAndErrorsOnly) {
  const std::string json = folder_.File("fit.json");
  for (const char* quiet : {"-q", "--quiet"}) {
    fs::remove(json);
    const CommandResult result = CommandRun(Arguments({quiet, "--json", json})).OnTerminal().Run();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(qvtest::ReadFile(json), Fit({"--json", "-"}).out);
  }
  EXPECT_EQ(Fit({"-q", "--json", "-"}).out, Fit({"--json", "-"}).out);
  EXPECT_NE(Fit({"-q", "--freq-weight", "none"}).err, "");
}

TEST_F(CommandOutput, QuietShowsNoProgress) {
  const CommandResult result =
      CommandRun({"fit", "--sql", kLongQuery, "--formula", "y ~ x", "-q"}).OnTerminal().Run();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(CommandOutput, ColoursWhenAsked) {
  EXPECT_EQ(Fit({}).out.find('\x1b'), std::string::npos) << "no terminal";
  EXPECT_EQ(Fit({"--color", "never"}).out, Fit({}).out);
  EXPECT_TRUE(Fit({"--color", "always"}).out.starts_with("\x1b[1mLinear model\x1b[0m\n"));
  EXPECT_TRUE(Fit({"--color=always", "--freq-weight", "none"})
                  .err.starts_with("\x1b[31mqvreg:\x1b[0m There is no column 'none'"));
  EXPECT_TRUE(RunQvreg({"fit", "--help", "--color", "always"}).out.find("\x1b[1mData:\x1b[0m\n") !=
              std::string::npos);
}

TEST_F(CommandOutput, PrintsTheDigitsAskedFor) {
  EXPECT_NE(
      Fit({"--digits", "3"})
          .out.find("\nx               1.196       0.179   6.67  0.0217    0.425     1.968\n"),
      std::string::npos)
      << Fit({"--digits", "3"}).out;
}

TEST_F(CommandOutput, PrintsAllRowsWhenAsked) {
  const std::vector<std::string> arguments = {
      "fit", "--sql", "SELECT range AS y, (range % 100)::VARCHAR AS g FROM range(1000)",
      "--formula", "y ~ g"};
  EXPECT_NE(RunQvreg(arguments).out.find("\n… 51 more parameters; --all prints them\n"),
            std::string::npos);
  std::vector<std::string> all = arguments;
  all.emplace_back("--all");
  const std::string out = RunQvreg(all).out;
  EXPECT_EQ(out.find("…"), std::string::npos);
  EXPECT_NE(out.find("\ng=55 "), std::string::npos);
}

TEST_F(CommandOutput, FitsTheWidthOfTheEnvironment) {
  const auto outOf = [](const std::vector<std::string>& arguments, const char* width) {
    return CommandRun(arguments).With("COLUMNS", width).Run().out;
  };
  const std::string narrow = outOf(Arguments(), "60");
  EXPECT_LE(WidthOf(narrow), 60U) << narrow;
  EXPECT_GT(WidthOf(outOf(Arguments(), "120")), 60U);
  const std::string help = outOf({"fit", "--help"}, "60");
  EXPECT_LE(WidthOf(help), 60U) << help;
}

TEST_F(CommandOutput, HelpFitsTheUsualWidth) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--help"}, std::vector<std::string>{"fit", "--help"}}) {
    const std::string help = RunQvreg(arguments).out;
    EXPECT_LE(WidthOf(help), 80U) << help;
    EXPECT_GT(WidthOf(help), 70U) << help;
  }
}

TEST_F(CommandOutput, ColoursErrorsOnATerminal) {
  const std::vector<std::string> arguments = Arguments({"--freq-weight", "none"});
  const std::string red = "\x1b[31mqvreg:\x1b[0m There is no column 'none'";
  EXPECT_NE(CommandRun(arguments).OnTerminal().With("NO_COLOR", "").Run().err.find(red),
            std::string::npos);
  EXPECT_EQ(CommandRun(arguments).OnTerminal().Run().err.find("[31m"), std::string::npos);
  EXPECT_EQ(CommandRun(arguments)
                .OnTerminal()
                .With("NO_COLOR", "")
                .With("TERM", "dumb")
                .Run()
                .err.find('\x1b'),
            std::string::npos)
      << "neither colours nor a bar that cannot be erased";
  EXPECT_EQ(CommandRun(arguments).With("NO_COLOR", "").Run().err.find('\x1b'), std::string::npos)
      << "no terminal";
}

TEST_F(CommandOutput, ClosedOutput) {
  ExpectRunFailure(CommandRun(Arguments()).OutputClosed().Run(),
                   std::string("qvreg: Standard output could not be written: Bad file descriptor") +
                       kOutputAdvice);
}

// ---- The temporary file -----------------------------------------------------

TEST_F(CommandOutput, SpoolFolderIsLeftEmpty) {
  fs::create_directory(folder_.Path() / "spool");
  EXPECT_EQ(Fit({"--spool-dir", folder_.File("spool")}).exitCode, 0);
  EXPECT_TRUE(fs::is_empty(folder_.Path() / "spool"));
}

TEST_F(CommandOutput, SpoolFolderThatDoesNotExist) {
  const std::string nowhere = folder_.File("nowhere");
  ExpectRunFailure(Fit({"--spool-dir", nowhere}),
                   "qvreg: No temporary file can be made in the folder '" + nowhere +
                       "' (No such file or directory); name another folder with --spool-dir.\n");
}

TEST_F(CommandOutput, SpoolFolderWithoutWritePermission) {
  fs::create_directory(folder_.Path() / "locked");
  fs::permissions(folder_.Path() / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  const std::string locked = folder_.File("locked");
  ExpectRunFailure(CommandRun(Arguments({"--spool-dir", locked})).Unprivileged().Run(),
                   "qvreg: No temporary file can be made in the folder '" + locked +
                       "' (Permission denied); name another folder with --spool-dir.\n");
  fs::permissions(locked, fs::perms::owner_all);
}

TEST_F(CommandOutput, SpoolFileThatMayNotGrow) {
  constexpr std::size_t bytes = 100000;
  const CommandResult result =
      CommandRun({"fit", "--sql", "SELECT range AS x, range AS y FROM range(100000)", "--formula",
                  "y ~ x", "--spool-dir", folder_.Path()})
          .FileSizeLimit(bytes)
          .Run();
  EXPECT_EQ(result.exitCode, kRunFailed);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("'" + folder_.Path().string() + "'"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("--spool-dir"), std::string::npos) << result.err;
}

TEST_F(CommandOutput, FullSpoolDisk) {
  fs::create_directory(folder_.Path() / "disk");
  const std::string disk = folder_.File("disk");
  const CommandResult result =
      CommandRun({"fit", "--sql", "SELECT range AS x, range AS y FROM range(100000)", "--formula",
                  "y ~ x", "--spool-dir", disk})
          .SmallDiskAt(disk)
          .Run();
  if (result.exitCode == CommandRun::kNotAllowed) {
    GTEST_SKIP() << "this process may not mount a disk; SpoolFileThatMayNotGrow takes its place";
  }
  EXPECT_EQ(result.exitCode, kRunFailed);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("'" + disk + "'"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("--spool-dir"), std::string::npos) << result.err;
}

// ---- Long runs --------------------------------------------------------------

TEST_F(CommandOutput, ProgressOnATerminalIsErasedAtTheEnd) {
  const CommandResult result =
      CommandRun({"fit", "--sql", kLongQuery, "--formula", "y ~ x + C(g)"}).OnTerminal().Run();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  for (const char* stage : {"reading", "pass 1 of 3", "pass 2 of 3", "pass 3 of 3"}) {
    EXPECT_NE(result.err.find(stage), std::string::npos) << stage;
  }
  EXPECT_NE(result.err.find("%"), std::string::npos);
  EXPECT_TRUE(result.err.ends_with("\r\x1b[2K")) << "the line is left empty";
}

TEST_F(CommandOutput, ProgressWhileAPipeIsFilled) {
  const std::string pipe = folder_.File("pipe.csv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer([&pipe] {
    std::ofstream to(pipe);
    to << "y,x\n1,1\n2,2\n" << std::flush;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    to << "4,3\n5,4.5\n";
  });
  const CommandResult result =
      CommandRun({"fit", "--data", pipe, "--formula", "y ~ x"}).OnTerminal().Run();
  writer.join();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("receiving    12 bytes"), std::string::npos) << result.err;
  EXPECT_TRUE(result.err.ends_with("\r\x1b[2K"));
}

TEST_F(CommandOutput, NoProgressInAPipe) {
  const CommandResult result = RunQvreg({"fit", "--sql", kLongQuery, "--formula", "y ~ x + C(g)"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
}

class CommandInterrupt : public CommandOutput, public ::testing::WithParamInterface<const char*> {};

TEST_P(CommandInterrupt, CtrlCCancels) {
  fs::create_directory(folder_.Path() / "spool");
  const std::string json = folder_.File("fit.json");
  const CommandResult result = CommandRun({"fit", "--sql", kLongQuery, "--formula", "y ~ x + C(g)",
                                           "--spool-dir", folder_.File("spool"), "--json", json})
                                   .InterruptWhenShown(GetParam())
                                   .Run();
  EXPECT_EQ(result.exitCode, kCancelled) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(result.err.ends_with("qvreg: Cancelled.\r\n")) << result.err;
  EXPECT_TRUE(fs::is_empty(folder_.Path() / "spool"));
  EXPECT_FALSE(fs::exists(json));
}

INSTANTIATE_TEST_SUITE_P(Stages, CommandInterrupt,
                         ::testing::Values("reading", "pass 1", "pass 2", "pass 3"),
                         [](const auto& stage) {
                           std::string name = stage.param;
                           std::erase(name, ' ');
                           return name;
                         });

}  // namespace
}  // namespace qvhost
