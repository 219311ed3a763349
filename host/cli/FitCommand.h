#pragma once

#include <CLI/App.hpp>
#include <string>

#include "host/cli/DataArguments.h"
#include "host/cli/LogisticArguments.h"
#include "host/fit/FitOptions.h"
#include "host/fit/InterruptWatch.h"

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
  void AddData();
  void AddMissing();
  void AddModel();
  void AddInference();
  void AddOutput();
  void CheckRanges() const;
  void TakeOptions();
  void FitAndReport(Interrupt& interrupt, InterruptWatch& watch);
  void TakeModelKind();
  void TakeOptionsOfOneKind();
  [[nodiscard]] bool JsonOnly() const { return jsonFile_ == "-"; }

  CLI::App* command_;  ///< Owned by the application.
  FitOptions options_;
  DataArguments data_;
  LogisticArguments logistic_;
  std::string model_;
  double degreesOfFreedom_ = 0.0;
  CLI::Option* degreesOfFreedomOption_ = nullptr;
  bool noIntercept_ = false;
  CLI::Option* noRefineOption_ = nullptr;
  bool noRefine_ = false;
  std::string jsonFile_;  ///< "-" for standard output; empty for none.
};

}  // namespace qvhost
