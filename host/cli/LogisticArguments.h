#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/fit/LogisticOptions.h"

namespace qvhost {

/// The options of `qvreg fit` that only a logistic model has. Borrows what it writes into; lives as
/// long as the command line's reader.
class LogisticArguments {
 public:
  /// Of `command`; they write into `options`.
  LogisticArguments(CLI::App& command, LogisticOptions& options)
      : command_(command), options_(options) {}
  LogisticArguments(const LogisticArguments&) = delete;
  LogisticArguments& operator=(const LogisticArguments&) = delete;

  /// Adds the options to the command. To be called once.
  void Add();

  /// After reading: settles what the reader could not write itself. Throws Error (kBadInput) for a
  /// number out of its range.
  void Take();

  /// The names of the options that were given.
  [[nodiscard]] std::vector<std::string> Given() const;

 private:
  void AddLevels();
  void AddIterations();
  void AddConvergence();
  CLI::Option* Own(CLI::Option* option);

  CLI::App& command_;
  LogisticOptions& options_;
  std::vector<CLI::Option*> own_;  ///< Owned by the command.
  bool inMemory_ = false;
  bool notInMemory_ = false;
};

}  // namespace qvhost
