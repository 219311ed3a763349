#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"

namespace qvhost {

/// `qvreg completion`: prints what a shell completes the command line with. Lives as long as the
/// command line's reader, which writes into it.
class CompletionCommand {
 public:
  /// Adds the subcommand to `app`, whose command line is completed.
  explicit CompletionCommand(CLI::App& app);
  CompletionCommand(const CompletionCommand&) = delete;
  CompletionCommand& operator=(const CompletionCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Prints the script: kFitted, or kPipeClosed when it was not read to its end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  CLI::App& app_;
  CLI::App* command_;  ///< Owned by the application.
  std::vector<std::string> shells_;
};

}  // namespace qvhost
