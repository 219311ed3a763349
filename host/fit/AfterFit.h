#pragma once

#include <optional>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/MarginalMeans.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/fit/ReferenceGrid.h"
#include "host/fit/RobustCovariance.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// What the options ask for beside the fit itself, over the records of the table one by one,
/// however the model was fitted to them: robust errors, means, predictions, diagnostics,
/// plots but for those that Validation adds.
///
/// Borrows all that it is made of. One thread at a time. Throws Error and Cancelled as the passes
/// do that it makes.
class AfterFit {
 public:
  /// The `validator` tells which records of the table are used.
  AfterFit(const FitOptions& options, const ModelBinding& binding, const CodedTable& table,
           QvRegRecordValidator validator, ProgressBar& progress, const Interrupt& interrupt,
           const OutputFiles& outputs);

  /// Before the fit, which would be in vain: see RequireClusters.
  void CheckClusters() const;

  /// Before the fit, too: finds the grid that means are taken over, and reads what is asked of it.
  /// Formula and table are borrowed from now on. Throws Error (kBadInput) for what cannot be.
  void PrepareMeans(const Formula& formula, const TableSource& source,
                    const std::vector<StandardizedVariable>& standardized,
                    const QvRegSettings& settings);

  /// When the model is built: computes what its results rest on. `run` is borrowed from now on.
  void Begin(const ModelRun& run);

  /// After Begin: what takes the place of the model's covariance matrix; null for none.
  [[nodiscard]] const RobustCovariance* Robust() const { return robust_ ? &*robust_ : nullptr; }

  /// After Begin: writes the files and adds what was written and found to the result.
  void Finish(FitResult& result);

 private:
  [[nodiscard]] WalkOptions Walk(const char* stage) const;
  [[nodiscard]] int PartCount(const QvRegSettings& settings) const;
  void Digest(FitResult& result) const;
  void Predict(FitResult& result) const;
  void Diagnose(FitResult& result) const;
  void Draw(FitResult& result) const;
  void WriteMatrix(FitResult& result) const;
  void ComputeMeans(FitResult& result);

  const FitOptions& options_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  const QvRegRecordValidator validator_;
  ProgressBar& progress_;
  const Interrupt& interrupt_;
  const OutputFiles& outputs_;
  const ModelRun* run_ = nullptr;
  std::optional<FittedModel> model_;  ///< Where records are asked about.
  std::optional<RobustCovariance> robust_;
  std::optional<ReferenceGrid> grid_;
  std::optional<MarginalMeans> means_;
};

}  // namespace qvhost
