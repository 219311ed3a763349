#pragma once

#include <CLI/App.hpp>
#include <string>

#include "host/fit/FitOptions.h"

namespace qvhost {

/// The options of the commands that read a formula against a table: --formula, --model, weights,
/// --no-intercept, --base and --levels. Lives as long as the command line's reader, which writes
/// into it and into the options.
class ModelArguments {
 public:
  /// Of `command`, into `options`; both must outlive this object.
  ModelArguments(CLI::App& command, FitOptions& options) : command_(command), options_(options) {}
  ModelArguments(const ModelArguments&) = delete;
  ModelArguments& operator=(const ModelArguments&) = delete;

  /// Adds the options to the command. To be called once.
  void Add();

  /// After reading: checks the values and settles what the reader could not write itself. Throws
  /// UsageError.
  void Take();

 private:
  CLI::App& command_;
  FitOptions& options_;
  std::string model_;
  bool noIntercept_ = false;
};

}  // namespace qvhost
