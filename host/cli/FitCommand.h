#pragma once

#include <CLI/App.hpp>

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

  /// Fits and reports. Throws Error.
  void Run();

 private:
  void FitAndReport(Interrupt& interrupt, InterruptWatch& watch);

  CLI::App* command_;  ///< Owned by the application.
  FitArguments arguments_;
};

}  // namespace qvhost
