#pragma once

#include <stdexcept>
#include <string>

namespace qvhost {

/// How the command ends.
enum class ExitCode : int {
  kFitted = 0,  ///< The model was fitted and reported.
  /// The run failed: the data cannot carry the model, or a file cannot be written.
  kRunFailed = 1,
  kBadInput = 2,    ///< Wrong usage, or data that cannot be read.
  kCancelled = 130  ///< Stopped by Ctrl-C.
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

/// Thrown where the user's Ctrl-C is noticed; carries no message worth more than "Cancelled".
class Cancelled : public Error {
 public:
  Cancelled() : Error(ExitCode::kCancelled, "Cancelled.") {}
};

}  // namespace qvhost
