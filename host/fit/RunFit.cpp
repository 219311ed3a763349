#include "host/fit/RunFit.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/fit/CovarianceTable.h"
#include "host/fit/DataNotes.h"
#include "host/fit/Diagnostics.h"
#include "host/fit/DotColumns.h"
#include "host/fit/GroupedRecords.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/ParameterLimit.h"
#include "host/fit/Predictions.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/fit/ResultBuilder.h"
#include "host/fit/RobustCovariance.h"
#include "host/fit/RunSettings.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/Standardization.h"
#include "host/fit/StatusText.h"
#include "host/formula/Formula.h"
#include "host/table/CodeTable.h"
#include "host/table/ColumnCoders.h"
#include "host/table/TableSource.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

namespace {

Formula ReadFormula(const FitOptions& options, const TableSource& source) {
  Formula formula = ParseFormula(options.formula, ColumnsOf(source, options.formula),
                                 DotColumnsOf(source, options.binding));
  formula.intercept = formula.intercept && options.intercept;
  if (!formula.intercept && formula.terms.empty()) {
    throw Error(ExitCode::kBadInput,
                StatusText(QvCommon::QvStatus(QvStatusCode::kEmptyModel, false)));
  }
  return formula;
}

/// Says of a level that does not exist that its values were read as missing, if they were.
[[noreturn]] void RefuseLevel(const NoSuchLevel& error, const std::vector<MissingString>& strings) {
  for (const MissingString& string : strings) {
    if (string.column != error.Label() || string.text != error.Wanted()) continue;
    const bool isOne = string.count == 1;
    throw Error(
        error.Code(),
        fmt::format("{} {} value{} '{}' {} read as missing; --na {} keeps {}.", error.what(),
                    string.count, isOne ? "" : "s", string.text, isOne ? "was" : "were",
                    string.text == "NA" ? "''" : "NA", isOne ? "it" : "them"));
  }
  throw NoSuchLevel(error);
}

CodedTable Code(const TableSource& source, const Formula& formula, const ModelBinding& binding,
                const FitOptions& options, std::vector<KeptColumn> keep, ProgressBar& progress,
                const Interrupt& interrupt) {
  CodingOptions coding;
  coding.keep = std::move(keep);
  coding.spoolDir = options.spoolDir;
  coding.threads = ThreadCount(options.threads);
  coding.progress = [&](const CodingProgress& at) {
    progress.Show(StageName(at.stage), at.share, at.rows);
  };
  coding.cancelled = [&] {
    source.NoteInputs();
    return interrupt.Requested();
  };
  try {
    return CodeTable(source, binding.columns, coding);
  } catch (const TooManyLevels& error) {
    RefuseLevelsOfDot(formula, source, error);
    throw;
  } catch (const NoSuchLevel& error) {
    RefuseLevel(error, source.MissingStringsRead());
  }
}

RunSettings SettingsOf(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                       const FitOptions& options) {
  try {
    return RunSettings(formula, binding, table, options);
  } catch (const NoSuchLevel& error) {
    RefuseLevel(error, table.MissingStrings());
  }
}

/// Shows how many of the table's records a stage has seen.
std::function<void(long long records)> ShowShare(const char* stage, const CodedTable& table,
                                                 ProgressBar& progress) {
  const auto total = static_cast<double>(table.RecordCount());
  return [stage, total, &progress](long long records) {
    progress.Show(stage, static_cast<double>(records) / total, records);
  };
}

/// The distinct records to fit in place of the table's; none where those are fitted one by one.
std::optional<GroupedRecords> Group(const CodedTable& table, const ModelBinding& binding,
                                    const FitOptions& options, ProgressBar& progress,
                                    const Interrupt& interrupt) {
  if (binding.kind != ModelKind::kLogistic || !options.logistic.collapse) return std::nullopt;
  return GroupRecords(table, {.interrupt = interrupt,
                              .freqWeight = binding.freqWeight,
                              .spoolDir = options.spoolDir,
                              .threads = ThreadCount(options.threads),
                              .progress = ShowShare("grouping", table, progress)});
}

/// Throws for an option that the kind of model does not have.
void RefuseOtherKind(const FitOptions& options, ModelKind kind) {
  for (const FitOptions::OfOneKind& option : options.ofOneKind) {
    if (option.kind == kind) continue;
    throw Error(ExitCode::kBadInput,
                fmt::format("{} belongs to a {} model, but this one is {}; leave it out, or choose "
                            "the model with --model.",
                            option.name, ModelName(option.kind), ModelName(kind)));
  }
}

std::vector<std::string> ColumnsOf(const TableSource& source, const Formula& formula,
                                   const BindingOptions& options,
                                   const std::optional<RowCondition>& condition) {
  std::vector<std::string> columns;
  for (const std::string& named : {options.freqWeight, options.regressionWeight, options.cluster}) {
    for (const ColumnInfo* column : source.Matches(named)) columns.push_back(column->name);
  }
  if (condition)
    columns.insert(columns.end(), condition->columns.begin(), condition->columns.end());
  for (const ColumnUse& use : formula.response.columns) columns.push_back(use.found.name);
  for (const Variable& variable : formula.variables) {
    for (const ColumnUse& use : variable.columns) columns.push_back(use.found.name);
  }
  return columns;
}

PredictedCategories CategoriesOf(const ModelRun& run, const CodedTable& table) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run.Output());
  if (logistic == nullptr) return {};
  return {logistic->GetDependCategories(), table.Columns()[ModelBinding::kDependent].levels};
}

/// The model as the records of the table are to be read, whatever it was fitted to.
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

/// What is made of a model that was fitted, over the records of the table. Borrows everything.
class AfterFit {
 public:
  AfterFit(const FitOptions& options, const ModelBinding& binding, const CodedTable& table,
           ProgressBar& progress, const Interrupt& interrupt, const OutputFiles& outputs)
      : options_(options),
        binding_(binding),
        table_(table),
        progress_(progress),
        interrupt_(interrupt),
        outputs_(outputs) {}

  /// Before the fit, which would be in vain.
  void CheckClusters(const QvRegRecordValidator& validator) const {
    if (binding_.cluster < 0) return;
    RequireClusters(table_, validator, binding_.cluster, Walk("checking clusters"));
  }

  [[nodiscard]] std::optional<RobustCovariance> Robust(const ModelRun& run,
                                                       const FittedModel& model) const {
    if (options_.covariance == CovarianceKind::kModel) return std::nullopt;
    return ComputeRobustCovariance(table_, model,
                                   {.kind = options_.covariance,
                                    .cluster = binding_.cluster,
                                    .clusterName = options_.binding.cluster,
                                    .parts = PartsOf(run)},
                                   Walk("robust errors"));
  }

  /// Adds what was written and found to the result.
  void WriteAll(const ModelRun& run, const FittedModel& model, const RobustCovariance* robust,
                FitResult& result) const {
    Predict(run, result);
    Diagnose(run, model, result);
    if (options_.covarianceFile.empty()) return;
    const CoefficientCovariance covariance = CoefficientCovarianceOf(
        run.Output(), options_.degreesOfFreedom, robust == nullptr ? nullptr : &robust->matrix);
    WriteCovariance(outputs_.Get(options_.covarianceFile), result, covariance, interrupt_);
    result.covarianceFile = options_.covarianceFile;
  }

 private:
  [[nodiscard]] WalkOptions Walk(const char* stage) const {
    return {.interrupt = interrupt_,
            .threads = ThreadCount(options_.threads),
            .progress = ShowShare(stage, table_, progress_)};
  }

  [[nodiscard]] int PartsOf(const ModelRun& run) const {
    return QvPartCount(table_.RecordCount(), run.Component().GetCompSettings());
  }

  static void AddNote(std::string note, FitResult& result) {
    const auto found = std::ranges::find(result.warnings, note);
    if (!note.empty() && found == result.warnings.end()) result.warnings.push_back(std::move(note));
  }

  void Predict(const ModelRun& run, FitResult& result) const {
    if (options_.predictions.empty()) return;
    const BuiltPredictor model{run.Component(), run.Output(), CategoriesOf(run, table_),
                               result.residualStdError};
    const WalkOptions walk = Walk("predicting");
    AddNote(WritePredictions(outputs_.Get(options_.predictions), table_, model, walk.threads,
                             walk.progress, interrupt_),
            result);
    result.predictions = options_.predictions;
    result.rowsPredicted = table_.RecordCount();
  }

  void Diagnose(const ModelRun& run, const FittedModel& model, FitResult& result) const {
    if (options_.influential) {
      result.influential = FindInfluential(table_, model, PartsOf(run), Walk("influence"));
    }
    if (options_.diagnostics.empty()) return;
    AddNote(WriteDiagnostics(outputs_.Get(options_.diagnostics), table_, model,
                             CategoriesOf(run, table_), Walk("diagnosing")),
            result);
    result.diagnostics = options_.diagnostics;
    result.rowsDiagnosed = table_.RecordCount();
  }

  const FitOptions& options_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  ProgressBar& progress_;
  const Interrupt& interrupt_;
  const OutputFiles& outputs_;
};

/// The columns that --keep names, each once. Throws Error (kBadInput) for one that does not exist.
std::vector<std::string> NamesToKeep(const FitOptions& options, const TableSource& source) {
  std::vector<std::string> names;
  const auto add = [&names](const std::string& name) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  };
  for (const std::string& name : options.keep) {
    add(ColumnOfOption(source, name, "--keep").name);
  }
  if (!options.keepAll) return names;
  for (const ColumnInfo& column : source.Columns()) {
    if (!column.isField) add(column.name);
  }
  return names;
}

/// The source for a report, with the query that it went through.
std::string DataText(const TableSource& source, const DataSource& asked) {
  if (asked.sql.empty()) return source.Name();
  return (asked.data.empty() ? "query " : asked.data + ", query ") + asked.sql;
}

/// Whether the kept columns are written as text alone.
bool AreKeptAsText(const FitOptions& options) {
  const auto isText = [](const std::string& path) {
    return path.empty() || TableFormatOf(path) != TableFormat::kParquet;
  };
  const bool isAny = !options.predictions.empty() || !options.diagnostics.empty();
  return isAny && isText(options.predictions) && isText(options.diagnostics);
}

DataSource SourceOf(const FitOptions& options) {
  DataSource source = options.source;
  source.spoolDir = options.spoolDir;
  return source;
}

std::optional<RowCondition> ConditionOf(const FitOptions& options, const TableSource& source) {
  if (options.where.empty()) return std::nullopt;
  return ReadCondition(options.where, source);
}

/// The columns whose types matter.
std::vector<std::string> ColumnsRead(const TableSource& source, const Formula& formula,
                                     const FitOptions& options,
                                     const std::optional<RowCondition>& condition,
                                     const std::vector<std::string>& kept) {
  std::vector<std::string> read = ColumnsOf(source, formula, options.binding, condition);
  // As text it needs no type.
  if (!AreKeptAsText(options)) read.insert(read.end(), kept.begin(), kept.end());
  return read;
}

/// Throws when the condition left nothing.
void CheckRows(const CodedTable& table, const TableSource& source) {
  if (table.RecordCount() > 0 || source.RowsLeftOut() == 0) return;
  throw Error(ExitCode::kRunFailed,
              fmt::format("The condition of --where is true for none of the {} rows.",
                          source.RowsLeftOut()));
}

/// How the formula and the condition were understood, each sentence once, and what standardizing
/// did.
void AddNotes(const Formula& formula, const std::optional<RowCondition>& condition,
              FitResult& result) {
  const auto add = [&](const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
      if (std::ranges::find(result.warnings, note) == result.warnings.end()) {
        result.warnings.push_back(note);
      }
    }
  };
  add(formula.response.notes);
  for (const Variable& variable : formula.variables) add(variable.notes);
  if (condition) add(condition->notes);
  for (const StandardizedVariable& variable : result.standardized) {
    result.warnings.push_back(StandardizedText(variable));
  }
}

}  // namespace

FitResult RunFit(const FitOptions& options, ProgressBar& progress, Interrupt& interrupt,
                 OutputFiles& outputs) {
  TableSource source(SourceOf(options), [&](std::uint64_t bytes) {
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    progress.ShowBytes("receiving", bytes);
  });
  Formula formula = ReadFormula(options, source);
  const std::optional<RowCondition> condition = ConditionOf(options, source);
  const std::vector<std::string> kept = NamesToKeep(options, source);
  outputs.SetInputs(source.Inputs());
  source.SettleTypes(ColumnsRead(source, formula, options, condition, kept));
  const std::vector<std::string> withoutRole = RemoveColumnsWithoutRole(formula, source);
  const ModelBinding binding = BindModel(formula, source, options.binding);
  RefuseOtherKind(options, binding.kind);
  if (condition) source.SetCondition(condition->sql);
  CodedTable table = Code(source, formula, binding, options,
                          source.Keep(kept, AreKeptAsText(options)), progress, interrupt);
  CheckRows(table, source);
  // Some files are opened only while others are read.
  outputs.SetInputs(source.Inputs());
  outputs.Begin();
  RunSettings settings = SettingsOf(formula, binding, table, options);
  const std::vector<StandardizedVariable> standardized =
      Standardize(formula, binding, table, ValidatorOf(settings.Get()), interrupt,
                  ShowShare("standardizing", table, progress));
  // Groups have a validator of their own.
  const QvRegRecordValidator validator = ValidatorOf(settings.Get());
  const AfterFit after(options, binding, table, progress, interrupt, outputs);
  after.CheckClusters(validator);
  const std::optional<GroupedRecords> grouped = Group(table, binding, options, progress, interrupt);
  if (grouped) settings.UseGroups(*grouped, options.logistic);
  const CodedTable& fitted = grouped ? grouped->table : table;
  CheckParameterCount(formula, binding, fitted, ValidatorOf(settings.Get()), options.maxParameters,
                      ShowShare("counting", fitted, progress), interrupt);
  settings.SettleReference(fitted, ShowShare("counting", fitted, progress), interrupt);
  ModelRun run(settings.Get(), fitted, options.threads, progress, interrupt);
  run.Build();
  const FittedModel model = FittedModelOf(run, validator, binding, options);
  const std::optional<RobustCovariance> robust = after.Robust(run, model);
  const RobustCovariance* const covariance = robust ? &*robust : nullptr;
  FitResult result = ResultBuilder(formula, binding, table, run, covariance).Build(options);
  if (grouped) result.logistic->distinctRecords = grouped->table.RecordCount();
  result.where = options.where;
  result.records.leftOut = source.RowsLeftOut();
  result.standardized = standardized;
  AddNotes(formula, condition, result);
  for (const std::string& note : withoutRole) result.warnings.push_back(note);
  for (std::string& note : DataNotes(formula, binding, table, source, !options.source.na.empty())) {
    result.warnings.push_back(std::move(note));
  }
  after.WriteAll(run, model, covariance, result);
  result.data = DataText(source, options.source);
  progress.Erase();
  return result;
}

}  // namespace qvhost
