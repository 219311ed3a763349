#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/Predictions.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunSettings.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"
#include "qvreg/common/Record.h"

namespace qvhost {

/// Options to fit `formula` to the result of `sql`.
[[nodiscard]] FitOptions OptionsFor(const std::string& sql, const std::string& formula);

/// Runs a fit without a progress bar and without a Ctrl-C.
[[nodiscard]] FitResult Fit(const FitOptions& options);
[[nodiscard]] FitResult Fit(const std::string& sql, const std::string& formula);

/// The message and the exit code with which a fit fails; empty and 0 when it does not.
struct Failure {
  std::string message;
  int code = 0;
};
[[nodiscard]] Failure FailureOf(const FitOptions& options);

/// The value that a fit gives a record: of each factor its level, of each covariate its value.
[[nodiscard]] double Predict(const FitResult& fit, const std::map<std::string, std::string>& levels,
                             const std::map<std::string, double>& covariates);

/// The probability that a logistic fit gives each level of the dependent for a record.
[[nodiscard]] std::map<std::string, double> Probabilities(
    const FitResult& fit, const std::map<std::string, std::string>& levels,
    const std::map<std::string, double>& covariates);

/// A model fitted to the result of a query, with everything that it took. Throws as RunFit does.
class BuiltModel {
 public:
  explicit BuiltModel(const FitOptions& options);
  BuiltModel(const std::string& sql, const std::string& formula);
  BuiltModel(const BuiltModel&) = delete;
  BuiltModel& operator=(const BuiltModel&) = delete;

  [[nodiscard]] const CodedTable& Table() const { return table_; }
  [[nodiscard]] IQvRegComponent& Component() const { return run_.Component(); }
  [[nodiscard]] const IQvRegOutputStats& Output() const { return run_.Output(); }
  [[nodiscard]] Interrupt& CtrlC() { return interrupt_; }
  /// Those of a logistic model; empty for a linear one.
  [[nodiscard]] PredictedCategories Categories() const;

  /// What the fit warns of, were this its result.
  [[nodiscard]] std::vector<std::string> WarningsOf(const FitResult& result) const;

  /// What writing predictions takes.
  [[nodiscard]] BuiltPredictor Predictor() const;

  /// Writes the predictions to a file.
  void Predict(const std::string& path, const std::function<void(long long)>& progress = {});

  /// What the component answers for each record of the table.
  struct Answer {
    double predicted;
    std::vector<double> values;
  };
  [[nodiscard]] std::vector<Answer> Answers() const;

 private:
  FitOptions options_;
  Formula formula_;
  TableSource source_;
  ModelBinding binding_;
  CodedTable table_;
  RunSettings settings_;
  ProgressBar progress_{nullptr};
  Interrupt interrupt_;
  ModelRun run_;
};

}  // namespace qvhost
