#pragma once

#include <csignal>
#include <stdexcept>
#include <string>

namespace qvhost {

/// What shells add to the number of the signal that ended a command.
constexpr int kSignalBase = 128;

/// How the command ends.
enum class ExitCode : int {
  kFitted = 0,  ///< The model was fitted and reported.
  /// The run failed: the data cannot carry the model, or a file cannot be written.
  kRunFailed = 1,
  kBadInput = 2,      ///< Wrong usage, or data that cannot be read.
  kNotConverged = 3,  ///< All was written, but the estimation did not converge (--strict).
#ifdef SIGHUP
  kHungUp = kSignalBase + SIGHUP,  ///< The terminal was closed.
#endif
  kCancelled = kSignalBase + SIGINT,    ///< Stopped by Ctrl-C.
  kTerminated = kSignalBase + SIGTERM,  ///< Told to end.
  /// Nobody reads standard output any more, as behind `| head`: the code of SIGPIPE, which not
  /// every platform has.
  kPipeClosed = kSignalBase + 13
};

/// The host's only exception: one or two sentences for the user (what was wrong, where, what to do)
/// and the code that the command exits with. Thrown anywhere in the host, caught once, in main.
class Error : public std::runtime_error {
 public:
  Error(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  [[nodiscard]] ExitCode Code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// Thrown where a signal that ends the run is noticed. Who does not know the signal leaves it out:
/// the command knows it.
class Cancelled : public Error {
 public:
  explicit Cancelled(int signal = SIGINT)
      : Error(static_cast<ExitCode>(kSignalBase + signal), TextOf(signal)) {}

 private:
  static std::string TextOf(int signal) {
    if (signal == SIGINT) return "Cancelled.";
    return signal == SIGTERM ? "Cancelled by SIGTERM." : "Cancelled by SIGHUP.";
  }
};

}  // namespace qvhost
