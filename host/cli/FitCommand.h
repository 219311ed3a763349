#pragma once

#include <CLI/App.hpp>

#include "host/Error.h"
#include "host/cli/FitArguments.h"
#include "host/fit/Interrupt.h"

namespace qvhost {

/// `qvreg fit`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class FitCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit FitCommand(CLI::App& app);
  FitCommand(const FitCommand&) = delete;
  FitCommand& operator=(const FitCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Fits and reports: kFitted, or kPipeClosed when the report was written but not read to its end.
  /// Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  ExitCode FitAndReport(Interrupt& interrupt, InterruptWatch& watch);

  CLI::App* command_;  ///< Owned by the application.
  FitArguments arguments_;
};

}  // namespace qvhost
