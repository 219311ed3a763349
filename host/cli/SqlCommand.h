#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/Error.h"
#include "host/model/SqlScoring.h"

namespace qvhost {

/// `qvreg sql`: its options, and what it does with them. Lives as long as the command line's
/// reader, which writes into it.
class SqlCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit SqlCommand(CLI::App& app);
  SqlCommand(const SqlCommand&) = delete;
  SqlCommand& operator=(const SqlCommand&) = delete;

  /// Whether the command line names it.
  [[nodiscard]] bool IsChosen() const { return command_->parsed(); }

  /// Reads the model and writes the query: kFitted, or kPipeClosed when it was printed but not read
  /// to its end. Throws Error.
  [[nodiscard]] ExitCode Run();

 private:
  void Take();

  CLI::App* command_;               ///< Owned by the application.
  std::vector<std::string> files_;  ///< One, where it is used right.
  std::string keep_ = "all";
  std::string out_;  ///< Empty for standard output.
  SqlOptions options_;
};

}  // namespace qvhost
