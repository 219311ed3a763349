#include "host/fit/ModelTable.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/DotColumns.h"
#include "host/fit/KeptColumns.h"
#include "host/fit/OpenSource.h"
#include "host/fit/StatusText.h"
#include "host/table/ColumnCoders.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/QvStatusCodes.h"

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

BindingOptions BindingOf(const FitOptions& options) {
  BindingOptions bound = options.binding;
  bound.hasGrid = !options.contrasts.empty() || !options.means.empty();
  return bound;
}

}  // namespace

ModelTable::ModelTable(const FitOptions& options, ProgressBar& progress, const Interrupt& interrupt,
                       OutputFiles& outputs)
    : options_(options),
      source_(OpenSource(SourceOf(options), progress, interrupt)),
      formula_(ReadFormula(options, source_)),
      condition_(ConditionOf(options, source_)),
      kept_(NamesToKeep(options.keep, options.keepAll, source_)) {
  outputs.SetInputs(source_.Inputs());
  source_.SettleTypes(ColumnsRead());
  withoutRole_ = RemoveColumnsWithoutRole(formula_, source_);
  binding_ = BindModel(formula_, source_, BindingOf(options));
  RefuseOtherKind(options, binding_.kind);
}

std::vector<std::string> ModelTable::ColumnsRead() const {
  const BindingOptions& binding = options_.binding;
  std::vector<std::string> columns;
  for (const std::string& named :
       {binding.freqWeight, binding.regressionWeight, binding.cluster, binding.validation.column}) {
    for (const ColumnInfo* column : source_.Matches(named)) columns.push_back(column->name);
  }
  if (condition_) {
    columns.insert(columns.end(), condition_->columns.begin(), condition_->columns.end());
  }
  for (const ColumnUse& use : formula_.response.columns) columns.push_back(use.found.name);
  for (const Variable& variable : formula_.variables) {
    for (const ColumnUse& use : variable.columns) columns.push_back(use.found.name);
  }
  // As text it needs no type.
  if (!AreKeptAsText(options_)) columns.insert(columns.end(), kept_.begin(), kept_.end());
  return columns;
}

CodedTable ModelTable::Code(const std::vector<ColumnRequest>& requests, ProgressBar& progress,
                            const Interrupt& interrupt) {
  if (condition_) source_.SetCondition(condition_->sql);
  try {
    return CodeSource(source_, requests,
                      {.keep = source_.Keep(kept_, AreKeptAsText(options_)),
                       .spoolDir = options_.spoolDir,
                       .threads = options_.threads},
                      progress, interrupt);
  } catch (const TooManyLevels& error) {
    RefuseLevelsOfDot(formula_, source_, error);
    throw;
  } catch (const NoSuchLevel& error) {
    RefuseLevel(error, source_.MissingStringsRead());
  }
}

void RefuseLevel(const NoSuchLevel& error, const std::vector<MissingString>& strings) {
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

void AddNotes(const Formula& formula, const std::optional<RowCondition>& condition,
              std::vector<std::string>& notes) {
  const auto add = [&notes](const std::vector<std::string>& more) {
    for (const std::string& note : more) {
      if (std::ranges::find(notes, note) == notes.end()) notes.push_back(note);
    }
  };
  add(formula.response.notes);
  for (const Variable& variable : formula.variables) add(variable.notes);
  if (condition) add(condition->notes);
}

}  // namespace qvhost
