#include "tests/host/cli/CommandRun.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/report/FitFromJson.h"
#include "host/report/Report.h"
#include "host/table/Connection.h"
#include "tests/host/report/JsonSchema.h"

namespace qvhost {

namespace {

constexpr int kCannotRun = 125;

void Redirect(int stream, const char* path) {
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, stream) < 0) _exit(kCannotRun);
  close(file);
}

int WaitFor(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("waitpid failed");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Whether a process catches SIGTERM, which the command does when its work begins.
bool CatchesSignals(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  constexpr std::string_view kCaught = "SigCgt:";
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with(kCaught)) continue;
    const unsigned long long mask = std::stoull(line.substr(kCaught.size()), nullptr, 16);
    return ((mask >> (SIGTERM - 1)) & 1U) != 0;
  }
  return false;
}

/// Returns in any case after some seconds: a command that ends at once never catches any.
void WaitUntilItCatchesSignals(pid_t child) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!CatchesSignals(child) && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

/// The value of --json; empty for none.
std::string JsonName(const std::vector<std::string>& arguments) {
  constexpr std::string_view kJoined = "--json=";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i].starts_with(kJoined)) return arguments[i].substr(kJoined.size());
    if (arguments[i] == "--json" && i + 1 < arguments.size()) return arguments[i + 1];
  }
  return "";
}

}  // namespace

CommandRun& CommandRun::In(const std::filesystem::path& folder) {
  folder_ = folder;
  return *this;
}

CommandRun& CommandRun::OutputTo(std::string path) {
  outputPath_ = std::move(path);
  return *this;
}

CommandRun& CommandRun::InputFrom(std::string path) {
  inputPath_ = std::move(path);
  return *this;
}

CommandRun& CommandRun::OutputClosed() {
  outputClosed_ = true;
  return *this;
}

CommandRun& CommandRun::OutputToBrokenPipe() {
  brokenPipe_ = true;
  return *this;
}

CommandRun& CommandRun::FileSizeLimit(std::size_t bytes) {
  fileSizeLimit_ = bytes;
  return *this;
}

CommandRun& CommandRun::Unprivileged() {
  unprivileged_ = true;
  return *this;
}

CommandRun& CommandRun::SmallDiskAt(std::string folder) {
  smallDisk_ = std::move(folder);
  return *this;
}

CommandRun& CommandRun::OnTerminal() {
  onTerminal_ = true;
  return *this;
}

CommandRun& CommandRun::InterruptWhenShown(std::string text) {
  return SignalWhenShown(std::move(text), SIGINT);
}

CommandRun& CommandRun::SignalWhenShown(std::string text, int signal) {
  signalAt_ = std::move(text);
  signal_ = signal;
  return OnTerminal();
}

CommandRun& CommandRun::SignalAfter(std::chrono::milliseconds delay, int signal) {
  timed_.emplace_back(delay, signal);
  return *this;
}

CommandRun& CommandRun::IgnoringHangUp() {
  ignoringHangUp_ = true;
  return *this;
}

CommandRun& CommandRun::Umask(mode_t mask) {
  umask_ = mask;
  return *this;
}

CommandRun& CommandRun::With(std::string name, std::string value) {
  environment_.emplace_back(std::move(name), std::move(value));
  return *this;
}

void CommandRun::Send(pid_t child, int signal) {
  if (!signalled_) signalled_ = std::chrono::steady_clock::now();
  kill(child, signal);
}

void CommandRun::RedirectOutput() const {
  if (outputClosed_) {
    close(STDOUT_FILENO);
  } else if (brokenPipe_) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(kCannotRun);
    close(ends[0]);
    close(ends[1]);
  } else {
    const std::string path = outputPath_.empty() ? files_.File("out") : outputPath_;
    Redirect(STDOUT_FILENO, path.c_str());
  }
}

/// In the child: what the command may not do, or finds on its disk.
void CommandRun::LimitPowers() const {
  if (unprivileged_ && geteuid() == 0) {
    for (const int power : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
      if (prctl(PR_CAPBSET_DROP, power, 0, 0, 0) != 0) _exit(kCannotRun);
    }
  }
  if (smallDisk_.empty()) return;
  const int spaces = geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
  if (unshare(spaces) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", smallDisk_.c_str(), "tmpfs", 0, "size=64k") != 0) {
    _exit(kNotAllowed);
  }
}

/// In the child: what the terminal of whoever runs the tests says is not the command's.
void CommandRun::SetEnvironment() const {
  unsetenv("COLUMNS");
  setenv("TERM", "xterm", 1);
  setenv("NO_COLOR", "1", 1);
  for (const auto& [name, value] : environment_) setenv(name.c_str(), value.c_str(), 1);
}

/// In the child: becomes the command.
void CommandRun::Exec() const {
  RedirectOutput();
  if (!inputPath_.empty()) {
    const int file = open(inputPath_.c_str(), O_RDONLY);
    if (file < 0 || dup2(file, STDIN_FILENO) < 0) _exit(kCannotRun);
    close(file);
  }
  if (!onTerminal_) Redirect(STDERR_FILENO, files_.File("err").c_str());
  if (!folder_.empty() && chdir(folder_.c_str()) != 0) _exit(kCannotRun);
  if (fileSizeLimit_) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{*fileSizeLimit_, *fileSizeLimit_};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(kCannotRun);
    // Counters of coverage would be cut by the limit as well, and spoil those of other processes.
    setenv("GCOV_PREFIX", files_.File("counters").c_str(), 1);
  }
  if (ignoringHangUp_) std::signal(SIGHUP, SIG_IGN);
  if (umask_) umask(*umask_);
  LimitPowers();
  std::vector<std::string> words = {QVREG_COMMAND};
  words.insert(words.end(), arguments_.begin(), arguments_.end());
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  if (onTerminal_) setenv("QVREG_PROGRESS_DELAY_MS", "0", 1);
  SetEnvironment();
  execv(QVREG_COMMAND, pointers.data());
  _exit(kCannotRun);
}

/// In the parent: collects what the terminal shows until the command ends.
void CommandRun::WatchTerminal(int terminal, pid_t child, std::string& shown) {
  bool sent = signalAt_.empty();
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = read(terminal, buffer.data(), buffer.size())) > 0;) {
    shown.append(buffer.data(), static_cast<std::size_t>(count));
    if (!sent && shown.find(signalAt_) != std::string::npos) {
      Send(child, signal_);
      sent = true;
    }
  }
}

CommandResult CommandRun::Run() {
  int terminal = -1;
  const pid_t child = onTerminal_ ? forkpty(&terminal, nullptr, nullptr, nullptr) : fork();
  if (child < 0) throw std::runtime_error("the process could not be started");
  if (child == 0) Exec();

  CommandResult result;
  if (!timed_.empty()) WaitUntilItCatchesSignals(child);
  for (const auto& [delay, signal] : timed_) {
    std::this_thread::sleep_for(delay);
    Send(child, signal);
  }
  if (onTerminal_) WatchTerminal(terminal, child, result.err);
  result.exitCode = WaitFor(child);
  if (signalled_) {
    result.secondsAfterSignal =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - *signalled_).count();
  }
  if (onTerminal_) {
    close(terminal);
  } else {
    result.err = qvtest::ReadFile(files_.File("err"));
  }
  result.out = qvtest::ReadFile(files_.File("out"));
  CheckJson(result);
  return result;
}

void CommandRun::CheckJson(const CommandResult& result) const {
  constexpr int kNotConverged = 3;
  if (result.exitCode != 0 && result.exitCode != kNotConverged) return;
  const std::string name = JsonName(arguments_);
  if (name.empty()) return;
  const std::string& command = arguments_.front();
  const bool isFit = command == "fit" || command == "show";
  const auto check = [&](const std::string& json) {
    ExpectJsonOf(isFit ? "fit" : command, json);
    if (isFit) {
      EXPECT_EQ(JsonReport(ReadFitResult(json, name)), json);
    }
  };
  if (name != "-") {
    const std::filesystem::path file = folder_ / name;
    if (std::filesystem::is_regular_file(file)) check(qvtest::ReadFile(file));
  } else if (!outputClosed_ && !brokenPipe_ && outputPath_.empty()) {
    check(result.out);
  }
}

CommandResult RunQvreg(std::vector<std::string> arguments) {
  return CommandRun(std::move(arguments)).Run();
}

nlohmann::json FitJson(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "fit");
  arguments.insert(arguments.end(), {"--json", "-"});
  const CommandResult result = RunQvreg(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return nlohmann::json::parse(result.out);
}

const nlohmann::json& ParameterOf(const nlohmann::json& fit, const std::string& label,
                                  const std::string& category) {
  for (const nlohmann::json& parameter : fit.at("parameters")) {
    if (parameter.at("label") != label) continue;
    if (category.empty() || parameter.at("category") == category) return parameter;
  }
  throw std::runtime_error("no parameter " + label + " " + category);
}

void ExpectFailure(const CommandResult& result, int exitCode, const std::string& message) {
  EXPECT_EQ(result.exitCode, exitCode);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "qvreg: " + message + "\n");
}

std::vector<std::string> NonFiniteWords(std::string_view text) {
  constexpr std::array<std::string_view, 4> kNonFinite = {"nan", "inf", "infinity", "ind"};
  std::vector<std::string> found;
  std::string word;
  const auto finish = [&] {
    if (std::ranges::find(kNonFinite, word) != kNonFinite.end()) found.push_back(word);
    word.clear();
  };
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalpha(byte) != 0) {
      word += static_cast<char>(std::tolower(byte));
    } else {
      finish();
    }
  }
  finish();
  return found;
}

void RunSql(const std::string& statements) { Connection().Execute(statements); }

}  // namespace qvhost
