#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/cli/DataArguments.h"
#include "host/cli/ModelArguments.h"
#include "host/cli/ReportArguments.h"
#include "host/fit/FitOptions.h"

namespace qvhost {

/// The options of `qvreg fit`. Lives as long as the command line's reader, which writes into it.
class FitArguments {
 public:
  /// Adds the options to `command`, which must outlive this object.
  explicit FitArguments(CLI::App& command);
  FitArguments(const FitArguments&) = delete;
  FitArguments& operator=(const FitArguments&) = delete;

  /// After reading: checks the values and completes the options. Throws Error (kBadInput) for a
  /// value that an option cannot have.
  void Take();

  /// After Take.
  [[nodiscard]] const FitOptions& Options() const { return options_; }
  /// How the fit is reported.
  [[nodiscard]] const ReportArguments& Report() const { return report_; }

 private:
  void AddInference();
  void AddTests();
  void AddLevels();
  void AddIterations();
  void AddConvergence();
  void AddOutput();
  void AddRobust();
  void AddDiagnostics();
  void OfferValues();
  void AddValidation();
  /// Adds the option to those that only a logistic model has.
  CLI::Option* OfLogistic(CLI::Option* option);
  void CheckRanges() const;
  void TakeLogistic();
  void TakeKept();
  void TakeCovariance();
  void CheckTables() const;
  void TakeOptionsOfOneKind();
  void TakeTests();
  void TakeMargins();
  void TakeValidation();
  void TakeSplit();

  CLI::App* command_;
  FitOptions options_;
  DataArguments data_;
  ModelArguments model_;
  ReportArguments report_;
  std::string covariance_;
  double degreesOfFreedom_ = 0.0;
  CLI::Option* degreesOfFreedomOption_ = nullptr;
  CLI::Option* noRefineOption_ = nullptr;
  CLI::Option* keepOption_ = nullptr;
  CLI::Option* anovaOption_ = nullptr;
  CLI::Option* splitOption_ = nullptr;
  CLI::Option* holdoutOption_ = nullptr;
  CLI::Option* foldsOption_ = nullptr;
  CLI::Option* seedOption_ = nullptr;
  std::string anova_;
  CLI::Option* marginsOption_ = nullptr;
  std::string margins_;
  std::string split_;
  long long seed_ = 1;
  std::vector<std::string> keep_;
  std::vector<CLI::Option*> logistic_;  ///< Owned by the command, like those above.
  bool noRefine_ = false;
  bool inMemory_ = false;
  bool notInMemory_ = false;
  bool noCollapse_ = false;
};

}  // namespace qvhost
