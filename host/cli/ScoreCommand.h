#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"
#include "host/cli/DataArguments.h"
#include "host/cli/ReportArguments.h"
#include "host/fit/Interrupt.h"
#include "host/score/ScoreTable.h"

namespace qvhost {

/// `qvreg score`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class ScoreCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit ScoreCommand(CLI::App& app);
  ScoreCommand(const ScoreCommand&) = delete;
  ScoreCommand& operator=(const ScoreCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Scores and reports: kFitted, or kPipeClosed when the report was written but not read to its
  /// end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  void AddOptions();
  void Take();
  ExitCode ScoreAndReport(Interrupt& interrupt, InterruptWatch& watch);

  CLI::App* command_;  ///< Owned by the application.
  ScoreOptions options_;
  double confidence_ = 0.0;
  CLI::Option* confidenceOption_ = nullptr;  ///< Owned by the command.
  std::vector<std::string> keep_;
  DataArguments data_;
  ReportArguments report_;
};

}  // namespace qvhost
