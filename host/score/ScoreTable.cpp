#include "host/score/ScoreTable.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "host/Threads.h"
#include "host/fit/KeptColumns.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/OpenSource.h"
#include "host/fit/ReadingNotes.h"
#include "host/fit/ScoredRows.h"
#include "host/score/RowScoring.h"
#include "host/score/ScoreBinding.h"
#include "host/score/ScoringModel.h"
#include "host/table/CodeTable.h"
#include "host/table/InputFiles.h"
#include "host/table/TableWriter.h"

namespace qvhost {
namespace {

/// How the data are to be read: as those of the model, where nothing else is said.
DataSource SourceOf(const SavedModel& saved, const ScoreOptions& options) {
  DataSource source = options.source;
  source.spoolDir = options.spoolDir;
  if (source.na.empty()) source.na = saved.reading.na;
  if (saved.reading.decimal || !saved.reading.thousands.empty()) {
    source.reading.usualNumbers = {saved.reading.decimal.value_or('.'), saved.reading.thousands};
  }
  return source;
}

InputFiles InputsOf(const TableSource& source, const std::string& model) {
  InputFiles inputs = source.Inputs();
  inputs.Add(model);
  return inputs;
}

/// Settles the types of the columns that are read: the model's, those that are kept by their types,
/// and those of the condition.
void SettleTypes(const SavedModel& saved, const ScoreOptions& options,
                 std::vector<std::string> columns, const std::vector<std::string>& kept,
                 TableSource& source) {
  columns.insert(columns.end(), kept.begin(), kept.end());
  if (!options.where.empty()) {
    const RowCondition condition = ReadCondition(options.where, source);
    columns.insert(columns.end(), condition.columns.begin(), condition.columns.end());
  }
  source.SettleTypes(columns);
  TakeTypesOf(saved, source);
}

void AddColumns(const CodedTable& table, const ScoreBinding& binding, ScoreResult& result) {
  for (std::size_t i = 0; i < binding.values.size(); ++i) {
    const CodedColumn& column = table.Columns()[i];
    if (column.missing == 0 && column.unknown == 0) continue;
    result.columns.push_back({column.label, column.missing, column.unknown, column.firstUnknown});
  }
}

/// Each sentence once.
void AddNotes(std::vector<std::string> notes, ScoreResult& result) {
  for (std::string& note : notes) {
    const auto found = std::ranges::find(result.warnings, note);
    if (!note.empty() && found == result.warnings.end()) result.warnings.push_back(std::move(note));
  }
}

void AddOutcome(const ScoreOptions& options, const SavedModel& saved, ScoreResult& result) {
  if (result.rows == 0 && result.leftOut > 0) {
    AddNotes(
        {fmt::format("The condition of --where is true for none of the {} rows.", result.leftOut)},
        result);
  } else if (result.rows == 0) {
    AddNotes({"The data hold no row; the file holds the names of its columns alone."}, result);
  } else if (result.scored == 0) {
    AddNotes({"No row could be scored; check that the data are of the kind that the model was "
              "fitted to."},
             result);
  }
  const CovarianceKind covariance = saved.fit.covariance.kind;
  if (options.interval && covariance != CovarianceKind::kModel) {
    AddNotes({fmt::format("The fit's errors are those of --vcov {}, those of the scores the "
                          "model's own.",
                          CovarianceName(covariance))},
             result);
  }
  const bool hasErrors = saved.fit.kind == ModelKind::kLogistic || saved.fit.residualStdError;
  if (options.interval && !hasErrors) {
    AddNotes({"The fit has no residual standard error, so the scores have no errors and limits."},
             result);
  }
}

ScoreResult ResultOf(const SavedModel& saved, const ScoreOptions& options) {
  ScoreResult result;
  result.model = options.model;
  result.kind = saved.fit.kind;
  result.formula = saved.fit.formula;
  result.where = options.where;
  result.out = options.out;
  result.hasInterval = options.interval;
  if (options.interval && saved.fit.kind == ModelKind::kLinear) {
    result.confidence = options.confidence.value_or(saved.fit.confidence);
  }
  return result;
}

}  // namespace

ScoreResult ScoreTable(const SavedModel& saved, const ScoreOptions& options, ProgressBar& progress,
                       Interrupt& interrupt, OutputFiles& outputs) {
  const ScoringModel model(saved, options.model);
  const DataSource asked = SourceOf(saved, options);
  TableSource source = OpenSource(asked, progress, interrupt);
  outputs.SetInputs(InputsOf(source, options.model));
  const std::vector<std::string> kept = NamesToKeep(options.keep, options.keepAll, source);
  const bool areTexts = TableFormatOf(options.out) != TableFormat::kParquet;
  const std::vector<std::string> columns = ColumnsToScore(saved, options.model, source);
  SettleTypes(saved, options, columns, areTexts ? std::vector<std::string>() : kept, source);
  ScoreResult result = ResultOf(saved, options);
  const ScoreBinding binding = BindScoring(saved, options.model, source);
  if (!options.where.empty()) {
    // By the types that were settled.
    const RowCondition condition = ReadCondition(options.where, source);
    AddNotes(condition.notes, result);
    source.SetCondition(condition.sql);
  }
  const CodedTable table = CodeSource(source, binding.requests,
                                      {.keep = source.Keep(kept, areTexts),
                                       .spoolDir = options.spoolDir,
                                       .threads = options.threads},
                                      progress, interrupt);
  // Some files are opened only while others are read.
  outputs.SetInputs(InputsOf(source, options.model));
  outputs.Begin();
  ScoreCounts counts;
  const RowScoring scoring{.model = model,
                           .fit = saved.fit,
                           .values = binding.values,
                           .hasInterval = options.interval,
                           .confidence = result.confidence.value_or(0.0),
                           .counts = counts};
  const std::string renamed =
      WriteScoredRows(outputs.Get(options.out), table, model.Categories().levels,
                      [&] { return MakeRowScorer(scoring); },
                      {.interrupt = interrupt,
                       .threads = QvThreadCount(options.threads),
                       .progress = ShowShare("scoring", table.RecordCount(), progress)});
  result.data = DataText(source, options.source);
  result.rows = table.RecordCount();
  result.leftOut = source.RowsLeftOut();
  result.scored = counts.scored;
  result.incomplete = counts.missing;
  result.unseen = counts.unseen;
  result.notFinite = counts.notFinite;
  AddColumns(table, binding, result);
  AddOutcome(options, saved, result);
  AddNotes({renamed}, result);
  AddNotes(FileNotes(source), result);
  AddNotes(FormatNotes(source, columns), result);
  progress.Erase();
  return result;
}

}  // namespace qvhost
