#pragma once

#include <CLI/App.hpp>

#include "host/Error.h"
#include "host/cli/DataArguments.h"
#include "host/cli/ModelArguments.h"
#include "host/cli/ReportArguments.h"
#include "host/fit/Interrupt.h"
#include "host/fit/SpoolTable.h"

namespace qvhost {

/// `qvreg spool`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class SpoolCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit SpoolCommand(CLI::App& app);
  SpoolCommand(const SpoolCommand&) = delete;
  SpoolCommand& operator=(const SpoolCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Writes and reports: kFitted, or kPipeClosed when the report was written but not read to its
  /// end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  void AddOptions();
  void Take();
  ExitCode SpoolAndReport(Interrupt& interrupt, InterruptWatch& watch);

  CLI::App* command_;  ///< Owned by the application.
  SpoolOptions options_;
  DataArguments data_;
  ModelArguments model_;
  ReportArguments report_;
};

}  // namespace qvhost
