#include "host/fit/AfterFit.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/Threads.h"
#include "host/fit/CovarianceTable.h"
#include "host/fit/Diagnostics.h"
#include "host/fit/DrawLinear.h"
#include "host/fit/Predictions.h"
#include "host/fit/RecordDigest.h"
#include "host/fit/ScaledEstimates.h"
#include "host/inference/Inference.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

namespace {

PredictedCategories CategoriesOf(const ModelRun& run, const CodedTable& table) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run.Output());
  if (logistic == nullptr) return {};
  return {logistic->GetDependCategories(), table.Columns()[ModelBinding::kDependent].levels};
}

FittedModel FittedModelOf(const ModelRun& run, const QvRegRecordValidator& validator,
                          const ModelBinding& binding, const FitOptions& options) {
  const IQvRegOutputStats& output = run.Output();
  const ResidualVariance residual =
      ComputeResidualVariance(ScaledEstimatesOf(output).rmse, output.GetTotalFreqWeight(),
                              output.GetRedundancyIndicators().Count(), options.degreesOfFreedom);
  return {.output = output,
          .scoring = ScoringBytesOf(run.Component()),
          .validator = validator,
          .freqWeight = binding.freqWeight,
          .regressionWeight = binding.regressionWeight,
          .residualStdError = residual.stdError,
          .degreesOfFreedom = residual.degreesOfFreedom};
}

/// Each sentence once.
void AddNote(std::string note, FitResult& result) {
  const auto found = std::ranges::find(result.warnings, note);
  if (!note.empty() && found == result.warnings.end()) result.warnings.push_back(std::move(note));
}

}  // namespace

AfterFit::AfterFit(const FitOptions& options, const ModelBinding& binding, const CodedTable& table,
                   QvRegRecordValidator validator, ProgressBar& progress,
                   const Interrupt& interrupt, const OutputFiles& outputs)
    : options_(options),
      binding_(binding),
      table_(table),
      validator_(std::move(validator)),
      progress_(progress),
      interrupt_(interrupt),
      outputs_(outputs) {}

void AfterFit::CheckClusters() const {
  if (binding_.cluster < 0) return;
  RequireClusters(table_, validator_, binding_.cluster, Walk("checking clusters"));
}

void AfterFit::Begin(const ModelRun& run) {
  run_ = &run;
  const bool isRobust = options_.covariance != CovarianceKind::kModel;
  const bool isDrawn = options_.plots && binding_.kind == ModelKind::kLinear;
  if (!isRobust && !isDrawn && !options_.influential && options_.diagnostics.empty()) return;
  model_.emplace(FittedModelOf(run, validator_, binding_, options_));
  if (!isRobust) return;
  robust_ = ComputeRobustCovariance(table_, *model_,
                                    {.kind = options_.covariance,
                                     .cluster = binding_.cluster,
                                     .clusterName = options_.binding.cluster,
                                     .parts = PartCount(run_->Component().GetCompSettings())},
                                    Walk("robust errors"));
}

void AfterFit::PrepareMeans(const Formula& formula, const TableSource& source,
                            const std::vector<StandardizedVariable>& standardized,
                            const QvRegSettings& settings) {
  if (!binding_.grid) return;
  const auto data = ReadGridData(table_, binding_, validator_, PartCount(settings), Walk("grid"));
  // Without any record the fit says why.
  if (!data) return;
  grid_.emplace(formula, binding_, table_, *data);
  means_.emplace(options_.contrasts, options_.means, *grid_);
  grid_->Evaluate(source, standardized);
}

void AfterFit::Finish(FitResult& result) {
  ComputeMeans(result);
  Digest(result);
  Predict(result);
  Diagnose(result);
  Draw(result);
  WriteMatrix(result);
}

WalkOptions AfterFit::Walk(const char* stage) const {
  return {.interrupt = interrupt_,
          .threads = QvThreadCount(options_.threads),
          .progress = ShowShare(stage, table_.RecordCount(), progress_)};
}

int AfterFit::PartCount(const QvRegSettings& settings) const {
  return QvPartCount(table_.RecordCount(), settings);
}

void AfterFit::ComputeMeans(FitResult& result) {
  if (!means_) return;
  progress_.Show("means", -1.0, table_.RecordCount());
  grid_->Learn(run_->Output());
  std::vector<std::string> notes;
  result.means =
      means_->Compute({.output = run_->Output(),
                       .scoring = ScoringBytesOf(run_->Component()),
                       .robust = robust_ ? &robust_->matrix : nullptr,
                       .degreesOfFreedom = options_.degreesOfFreedom,
                       .dependentLevels = table_.Columns()[ModelBinding::kDependent].levels,
                       .confidence = options_.confidence,
                       .threads = QvThreadCount(options_.threads)},
                      interrupt_, notes);
  for (std::string& note : notes) AddNote(std::move(note), result);
}

void AfterFit::Digest(FitResult& result) const {
  if (!options_.digest) return;
  result.records.digest =
      DigestRecords(table_, binding_, validator_, PartCount(run_->Component().GetCompSettings()),
                    Walk("digesting"));
}

void AfterFit::Predict(FitResult& result) const {
  if (options_.predictions.empty()) return;
  const BuiltPredictor model{run_->Component(), run_->Output(), CategoriesOf(*run_, table_),
                             result.residualStdError, binding_.partCount > 0 ? binding_.part : -1};
  const WalkOptions walk = Walk("predicting");
  AddNote(WritePredictions(outputs_.Get(options_.predictions), table_, model, walk.threads,
                           walk.progress, interrupt_),
          result);
  result.predictions = options_.predictions;
  result.rowsPredicted = table_.RecordCount();
}

void AfterFit::Diagnose(FitResult& result) const {
  if (options_.influential) {
    result.influential = FindInfluential(
        table_, *model_, PartCount(run_->Component().GetCompSettings()), Walk("influence"));
  }
  if (options_.diagnostics.empty()) return;
  AddNote(WriteDiagnostics(outputs_.Get(options_.diagnostics), table_, *model_,
                           CategoriesOf(*run_, table_), Walk("diagnosing")),
          result);
  result.diagnostics = options_.diagnostics;
  result.rowsDiagnosed = table_.RecordCount();
}

void AfterFit::Draw(FitResult& result) const {
  if (!options_.plots) return;
  FitPlots& plots = result.plots.emplace();
  if (binding_.kind == ModelKind::kLinear) {
    plots.linear = DrawLinear(table_, *model_, options_.spoolDir, Walk("plotting"));
  } else {
    plots.logistic.emplace().iterations = run_->Iterations();
  }
}

void AfterFit::WriteMatrix(FitResult& result) const {
  if (options_.covarianceFile.empty()) return;
  const CoefficientCovariance covariance = CoefficientCovarianceOf(
      run_->Output(), options_.degreesOfFreedom, robust_ ? &robust_->matrix : nullptr);
  WriteCovariance(outputs_.Get(options_.covarianceFile), result, covariance, interrupt_);
  result.covarianceFile = options_.covarianceFile;
}

}  // namespace qvhost
