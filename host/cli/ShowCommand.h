#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"
#include "host/cli/ReportArguments.h"

namespace qvhost {

/// `qvreg show`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class ShowCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit ShowCommand(CLI::App& app);
  ShowCommand(const ShowCommand&) = delete;
  ShowCommand& operator=(const ShowCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Reads and reports: kFitted, or kPipeClosed when the report was written but not read to its
  /// end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  CLI::App* command_;               ///< Owned by the application.
  std::vector<std::string> files_;  ///< One, where it is used right.
  ReportArguments report_;
};

}  // namespace qvhost
