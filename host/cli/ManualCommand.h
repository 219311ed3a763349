#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"

namespace qvhost {

/// `qvreg man`, which the help does not name: the build makes the manual pages with it. Lives as
/// long as the command line's reader, which writes into it.
class ManualCommand {
 public:
  /// Adds the subcommand to `app`, of which and of whose commands the pages are.
  explicit ManualCommand(CLI::App& app);
  ManualCommand(const ManualCommand&) = delete;
  ManualCommand& operator=(const ManualCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Prints the page: kFitted, or kPipeClosed when it was not read to its end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  CLI::App& app_;
  CLI::App* command_;  ///< Owned by the application.
  std::vector<std::string> names_;
};

}  // namespace qvhost
