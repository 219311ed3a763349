#include "host/fit/RunFit.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/fit/AfterFit.h"
#include "host/fit/DataNotes.h"
#include "host/fit/EffectTesting.h"
#include "host/fit/GroupedRecords.h"
#include "host/fit/LinearFitQuality.h"
#include "host/fit/MarginPlan.h"
#include "host/fit/Margins.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/ModelTable.h"
#include "host/fit/OpenSource.h"
#include "host/fit/ParameterLimit.h"
#include "host/fit/RefitTests.h"
#include "host/fit/ResultBuilder.h"
#include "host/fit/RunSettings.h"
#include "host/fit/SavedModelBuilder.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/Standardization.h"
#include "host/fit/Validation.h"
#include "host/formula/Formula.h"
#include "host/inference/Collinearity.h"
#include "host/table/TableSource.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

namespace {

RunSettings SettingsOf(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                       const FitOptions& options) {
  try {
    return RunSettings(formula, binding, table, options);
  } catch (const NoSuchLevel& error) {
    RefuseLevel(error, table.MissingStrings());
  }
}

void BeginValidation(Validation& validation, const CodedTable& table) {
  try {
    validation.Begin();
  } catch (const NoSuchLevel& error) {
    RefuseLevel(error, table.MissingStrings());
  }
}

/// Says of a model that cannot be fitted that records were held out, if they were.
void Build(ModelRun& run, const FitOptions& options) {
  try {
    run.Build();
  } catch (const Cancelled&) {
    throw;
  } catch (const Error& error) {
    if (!options.binding.validation.IsTrainingOnly()) throw;
    throw Error(error.Code(),
                fmt::format("Without the records held out by --{} there is no fit: {}",
                            ValidationName(options.binding.validation.kind), error.what()));
  }
}

/// Throws when the condition left nothing.
void CheckRows(const CodedTable& table, const TableSource& source) {
  if (table.RecordCount() > 0 || source.RowsLeftOut() == 0) return;
  throw Error(ExitCode::kRunFailed,
              fmt::format("The condition of --where is true for none of the {} rows.",
                          source.RowsLeftOut()));
}

/// What --vif asks for.
CollinearityResult CollinearityOf(const Formula& formula, const IQvRegOutputStats& output,
                                  const Interrupt& interrupt) {
  const Collinearity found = FindCollinearity(
      {ScaledEstimatesOf(output).covariance, KeptParameters(output), TermsOfParameters(output),
       static_cast<int>(formula.terms.size()), [&interrupt] { return interrupt.Requested(); }});
  if (interrupt.Requested()) throw Cancelled();
  CollinearityResult result;
  result.conditionNumber = found.conditionNumber;
  for (std::size_t i = 0; i < formula.terms.size(); ++i) {
    const VarianceInflation& term = found.terms[i];
    result.terms.push_back(
        {TermLabel(formula, formula.terms[i]), term.degrees, term.factor, term.errorPerParameter});
  }
  return result;
}

/// Adds what follows from the fit without predictions: fit statistics, tests of effects, --vif.
void AddInference(const RefitTests::Fitted& fitted, const QvRegRecordValidator& validator,
                  ProgressBar& progress, Interrupt& interrupt, FitResult& result) {
  const FitOptions& options = fitted.options;
  const IQvRegOutputStats& output = fitted.run.Output();
  std::vector<std::string> notes;
  if (fitted.binding.kind == ModelKind::kLinear) {
    const WalkOptions walk{.interrupt = interrupt,
                           .threads = QvThreadCount(options.threads),
                           .progress = ShowShare("weights", fitted.table.RecordCount(), progress)};
    const int parts =
        QvPartCount(fitted.table.RecordCount(), fitted.run.Component().GetCompSettings());
    const double logWeights = SumLogWeights(fitted.table, fitted.binding, validator, parts, walk);
    result.quality = LinearQualityOf(output, result.degreesOfFreedom, logWeights);
    result.effects =
        TestLinearEffects(fitted.formula, fitted.binding, output, options.anova, result, interrupt);
  } else if (options.anova) {
    result.effects = RefitTests(fitted, progress, interrupt).Run(*options.anova, notes);
  }
  if (options.anova == 3) {
    for (std::string& note : MarginalTestNotes(fitted.formula, fitted.binding, output)) {
      notes.push_back(std::move(note));
    }
  }
  if (options.vif) result.collinearity = CollinearityOf(fitted.formula, output, interrupt);
  for (std::string& note : notes) result.warnings.push_back(std::move(note));
}

/// Adds what --margins asks for.
void AddMargins(const RefitTests::Fitted& fitted, const MarginPlan& plan,
                const RobustCovariance* robust, const QvRegRecordValidator& validator,
                ProgressBar& progress, const Interrupt& interrupt, FitResult& result) {
  if (!fitted.options.margins) return;
  const CodedTable& table = fitted.grouped != nullptr ? fitted.grouped->table : fitted.table;
  const MarginInput input{
      .formula = fitted.formula,
      .binding = fitted.binding,
      .plan = plan,
      .table = table,
      .validator = validator,
      .freqWeight =
          fitted.grouped != nullptr ? fitted.grouped->freqWeight : fitted.binding.freqWeight,
      .output = fitted.run.Output(),
      .standardized = result.standardized,
      .covariance = ScaledCovarianceOf(fitted.run.Output(), fitted.options.degreesOfFreedom,
                                       robust != nullptr ? &robust->matrix : nullptr),
      .confidence = fitted.options.confidence,
      .parts = QvPartCount(table.RecordCount(), fitted.run.Component().GetCompSettings())};
  Margins margins =
      ComputeMargins(input, {.interrupt = interrupt,
                             .threads = QvThreadCount(fitted.options.threads),
                             .progress = ShowShare("margins", table.RecordCount(), progress)});
  result.margins = std::move(margins.results);
  result.warnings.insert(result.warnings.end(), plan.notes.begin(), plan.notes.end());
  for (std::string& note : margins.notes) result.warnings.push_back(std::move(note));
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The whole run; of the model only its fit unless it `isSaved`.
SavedModel Run(const FitOptions& options, bool isSaved, ProgressBar& progress, Interrupt& interrupt,
               OutputFiles& outputs) {
  ModelTable model(options, progress, interrupt, outputs);
  const TableSource& source = model.Source();
  const Formula& formula = model.Formula();
  ModelBinding& binding = model.Binding();
  const MarginPlan margins =
      options.margins ? PlanMargins(formula, source, *options.margins, binding) : MarginPlan();
  CodedTable table = model.Code(binding.columns, progress, interrupt);
  CheckRows(table, source);
  // Some files are opened only while others are read.
  outputs.SetInputs(source.Inputs());
  outputs.Begin();
  Validation validation(formula, binding, table, options, progress, interrupt);
  BeginValidation(validation, table);
  RunSettings settings = SettingsOf(formula, binding, table, options);
  const std::vector<Standardization> scales =
      Standardize(formula, binding, table, ValidatorOf(settings.Get()), interrupt,
                  ShowShare("standardizing", table.RecordCount(), progress));
  const std::vector<StandardizedVariable> standardized = VariablesOf(scales);
  // Groups have a validator of their own.
  AfterFit after(options, binding, table, ValidatorOf(settings.Get()), progress, interrupt,
                 outputs);
  after.CheckClusters();
  after.PrepareMeans(formula, source, standardized, settings.Get());
  const std::optional<GroupedRecords> grouped =
      GroupForFit(table, binding, options, progress, interrupt);
  if (grouped) settings.UseGroups(*grouped, options.logistic);
  const CodedTable& fitted = grouped ? grouped->table : table;
  CheckParameterCount(formula, binding, fitted, ValidatorOf(settings.Get()), options.maxParameters,
                      ShowShare("counting", fitted.RecordCount(), progress), interrupt);
  settings.SettleReference(fitted, ShowShare("counting", fitted.RecordCount(), progress),
                           interrupt);
  ModelRun run(settings.Get(), fitted, options.threads, progress, interrupt);
  const auto start = std::chrono::steady_clock::now();
  Build(run, options);
  const double seconds = SecondsSince(start);
  after.Begin(run);
  validation.Score(run, grouped ? &*grouped : nullptr);
  FitResult result =
      ResultBuilder(formula, binding, table, run, after.Robust(), validation.HeldOut())
          .Build(options);
  if (grouped) result.logistic->distinctRecords = grouped->table.RecordCount();
  result.where = options.where;
  result.records.leftOut = source.RowsLeftOut();
  result.standardized = standardized;
  AddNotes(formula, model.Condition(), result.warnings);
  for (const StandardizedVariable& variable : result.standardized) {
    result.warnings.push_back(StandardizedText(variable));
  }
  for (const std::string& note : model.WithoutRole()) result.warnings.push_back(note);
  for (std::string& note : DataNotes(formula, binding, table, source, !options.source.na.empty())) {
    result.warnings.push_back(std::move(note));
  }
  const RefitTests::Fitted all{formula, binding, table,  grouped ? &*grouped : nullptr,
                               options, run,     seconds};
  AddInference(all, ValidatorOf(settings.Get()), progress, interrupt, result);
  AddMargins(all, margins, after.Robust(), ValidatorOf(settings.Get()), progress, interrupt,
             result);
  after.Finish(result);
  validation.Finish(run, grouped ? &*grouped : nullptr, result);
  result.data = DataText(source, options.source);
  SavedModel saved;
  if (isSaved) {
    saved = SavedModelOf({formula, binding, table, source, options.source, scales, run});
  }
  saved.fit = std::move(result);
  progress.Erase();
  return saved;
}

}  // namespace

FitResult RunFit(const FitOptions& options, ProgressBar& progress, Interrupt& interrupt,
                 OutputFiles& outputs) {
  return Run(options, false, progress, interrupt, outputs).fit;
}

SavedModel RunFitToSave(const FitOptions& options, ProgressBar& progress, Interrupt& interrupt,
                        OutputFiles& outputs) {
  return Run(options, true, progress, interrupt, outputs);
}

}  // namespace qvhost
