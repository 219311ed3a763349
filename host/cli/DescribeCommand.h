#pragma once

#include <CLI/App.hpp>

#include "host/Error.h"
#include "host/cli/DataArguments.h"
#include "host/cli/ReportArguments.h"
#include "host/fit/TableDescription.h"

namespace qvhost {

/// `qvreg describe`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class DescribeCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit DescribeCommand(CLI::App& app);
  DescribeCommand(const DescribeCommand&) = delete;
  DescribeCommand& operator=(const DescribeCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Describes and reports: kFitted, or kPipeClosed when the report was written but not read to its
  /// end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  CLI::App* command_;  ///< Owned by the application.
  DescribeOptions options_;
  DataArguments data_;
  ReportArguments report_;
};

}  // namespace qvhost
