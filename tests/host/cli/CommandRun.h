#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "tests/support/TempFolder.h"

namespace qvhost {

/// What a run of the command left.
struct CommandResult {
  int exitCode = -1;  ///< 128 + the signal's number when a signal ended it.
  std::string out;
  std::string err;
  double secondsAfterSignal = -1.0;  ///< From the first signal that the test sent to the end.
};

/// The command `qvreg` as a process of its own: its output, its errors and its exit code.
class CommandRun {
 public:
  explicit CommandRun(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

  /// Runs in this folder.
  CommandRun& In(const std::filesystem::path& folder);
  /// Sends standard output to a file or device; CommandResult::out stays empty.
  CommandRun& OutputTo(std::string path);
  /// Starts with standard input from a file.
  CommandRun& InputFrom(std::string path);
  /// Starts with standard output closed.
  CommandRun& OutputClosed();
  /// Sends standard output to a pipe that nobody reads.
  CommandRun& OutputToBrokenPipe();
  /// Makes writing any file beyond so many bytes fail.
  CommandRun& FileSizeLimit(std::size_t bytes);
  /// Gives up root's power over file permissions, if the test has it.
  CommandRun& Unprivileged();
  /// Puts a disk of 64 KiB in place of this folder, for the command alone. Where a process may not
  /// do that, the exit code is kNotAllowed.
  CommandRun& SmallDiskAt(std::string folder);
  static constexpr int kNotAllowed = 126;
  /// Makes standard error a terminal; presses Ctrl-C once it shows `text`.
  CommandRun& OnTerminal();
  CommandRun& InterruptWhenShown(std::string text);
  /// The same with any signal.
  CommandRun& SignalWhenShown(std::string text, int signal);
  /// Sends a signal a while after the command begins to catch them; may be called again for one
  /// that follows it.
  CommandRun& SignalAfter(std::chrono::milliseconds delay, int signal);
  /// Starts with SIGHUP ignored, as nohup does.
  CommandRun& IgnoringHangUp();
  /// Starts with this umask.
  CommandRun& Umask(mode_t mask);

  /// Starts with a variable of the environment. Without it, nothing there sets the width or colours
  /// of what is printed.
  CommandRun& With(std::string name, std::string value);

  /// Runs to the end. Fails the test when the run wrote JSON that docs/COMMAND.schema.json does not
  /// describe, or a fit's that is another one when it is read and written again.
  [[nodiscard]] CommandResult Run();

 private:
  void Exec() const;
  void RedirectOutput() const;
  void LimitPowers() const;
  void CheckJson(const CommandResult& result) const;
  void SetEnvironment() const;
  void WatchTerminal(int terminal, pid_t child, std::string& shown);
  void Send(pid_t child, int signal);

  std::vector<std::string> arguments_;
  std::vector<std::pair<std::string, std::string>> environment_;
  std::filesystem::path folder_;
  std::string inputPath_;
  std::string outputPath_;
  bool outputClosed_ = false;
  bool brokenPipe_ = false;
  std::optional<std::size_t> fileSizeLimit_;
  bool unprivileged_ = false;
  std::string smallDisk_;
  bool onTerminal_ = false;
  std::string signalAt_;
  int signal_ = 0;
  std::vector<std::pair<std::chrono::milliseconds, int>> timed_;
  bool ignoringHangUp_ = false;
  std::optional<mode_t> umask_;
  std::optional<std::chrono::steady_clock::time_point> signalled_;
  qvtest::TempFolder files_;
};

/// Runs `qvreg` with these arguments.
[[nodiscard]] CommandResult RunQvreg(std::vector<std::string> arguments);

/// The JSON that `qvreg fit` with these arguments prints. Fails the test when the command fails or
/// prints anything on standard error.
[[nodiscard]] nlohmann::json FitJson(std::vector<std::string> arguments);

/// The parameter of this label; of a logistic model the one for the level `category`. Throws
/// std::runtime_error when there is none.
[[nodiscard]] const nlohmann::json& ParameterOf(const nlohmann::json& fit, const std::string& label,
                                                const std::string& category = "");

/// A failed run prints nothing on standard output, and `qvreg: ` with this message on the other.
void ExpectFailure(const CommandResult& result, int exitCode, const std::string& message);

/// The words of a text for numbers that are not finite: `nan`, `inf` and their variants, in any
/// case of letters, but not as part of another word. Empty when all its numbers are finite.
[[nodiscard]] std::vector<std::string> NonFiniteWords(std::string_view text);

/// Runs SQL in a database of its own, to make the files that a test reads: `COPY … TO 'x.parquet'`,
/// `ATTACH 'x.duckdb' AS …`.
void RunSql(const std::string& statements);

}  // namespace qvhost
