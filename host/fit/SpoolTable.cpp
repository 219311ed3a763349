#include "host/fit/SpoolTable.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/DataNotes.h"
#include "host/fit/ModelTable.h"
#include "host/fit/OpenSource.h"
#include "host/formula/Terms.h"
#include "host/table/KnownLevelCoders.h"

namespace qvhost {
namespace {

using Role = SpooledColumn::Role;

/// Refuses what needs all records before any has its values.
void CheckOwnValues(const Formula& formula) {
  const auto check = [&formula](const Variable& variable) {
    if (variable.standardizing == Standardizing::kNone) return;
    throw FormulaError::At(formula.text, variable.place,
                           fmt::format("'{}' needs the mean of all records, which those of a part "
                                       "do not have; make a column of it with --sql.",
                                       variable.label));
  };
  check(formula.response);
  std::ranges::for_each(formula.variables, check);
}

/// The columns of the records: what is known of them before they are coded.
std::vector<SpooledColumn> ColumnsOf(const ModelTable& model, const ModelBinding& binding) {
  const Formula& formula = model.Formula();
  std::vector<std::string> values = {formula.response.sql};
  for (const Variable& variable : formula.variables) values.push_back(variable.sql);
  const std::vector<ColumnInfo> infos = model.Source().Describe(values);
  std::vector<SpooledColumn> columns(binding.columns.size());
  const auto set = [&](int position, Role role, const ColumnInfo& info) {
    const ColumnRequest& request = binding.columns[static_cast<std::size_t>(position)];
    SpooledColumn& column = columns[static_cast<std::size_t>(position)];
    column.name = request.label;
    column.role = role;
    column.kind = info.kind;
    column.type = info.type;
    column.hasLevels = request.coding == Coding::kFactor;
  };
  set(ModelBinding::kDependent, Role::kDependent, infos.front());
  for (std::size_t i = 0; i < formula.variables.size(); ++i) {
    set(binding.positions[i], binding.isFactor[i] ? Role::kFactor : Role::kCovariate, infos[i + 1]);
  }
  const auto setWeight = [&](int position, Role role) {
    if (position < 0) return;
    const std::string& name = binding.columns[static_cast<std::size_t>(position)].label;
    set(position, role, *model.Source().Matches(name).front());
  };
  setWeight(binding.freqWeight, Role::kFreqWeight);
  setWeight(binding.regressionWeight, Role::kRegressionWeight);
  return columns;
}

std::vector<SpooledEffect> EffectsOf(const Formula& formula, const ModelBinding& binding) {
  const auto position = [&binding](int variable) {
    return binding.positions[static_cast<std::size_t>(variable)];
  };
  std::vector<SpooledEffect> effects;
  for (const Term& term : formula.terms) {
    SpooledEffect effect{.term = TermLabel(formula, term), .factors = {}, .covariates = {}};
    for (const FactorStep& step : FactorSteps(term, binding.isFactor)) {
      effect.factors.push_back({position(step.variable), step.nested});
    }
    for (const CovariateStep& step : CovariateSteps(term, binding.isFactor)) {
      effect.covariates.push_back({position(step.variable), step.multiplicity});
    }
    effects.push_back(std::move(effect));
  }
  return effects;
}

/// Has the factors coded by the levels that were given.
void TakeLevels(const SpoolOptions& options, const std::vector<SpooledColumn>& columns,
                ModelBinding& binding) {
  if (options.levelsFile.empty()) return;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!columns[i].hasLevels) continue;
    const auto given = std::ranges::find(options.levels, columns[i].name, &GivenLevels::name);
    if (given == options.levels.end()) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("'{}' has no levels of '{}'.", options.levelsFile, columns[i].name));
    }
    ColumnRequest& request = binding.columns[i];
    request.known = KnownLevels{given->levels, given->kind.value_or(columns[i].kind)};
    request.maxLevels = given->levels.size();
  }
}

/// The positions that are read: all, or those with levels; the dependent where there is none.
std::vector<std::size_t> PositionsRead(const std::vector<SpooledColumn>& columns, bool onlyLevels) {
  std::vector<std::size_t> positions;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!onlyLevels || columns[i].hasLevels) positions.push_back(i);
  }
  if (positions.empty()) positions.push_back(ModelBinding::kDependent);
  return positions;
}

CodedTable Code(ModelTable& model, const SpoolOptions& options,
                const std::vector<std::size_t>& positions, ProgressBar& progress,
                const Interrupt& interrupt) {
  std::vector<ColumnRequest> requests;
  requests.reserve(positions.size());
  for (const std::size_t position : positions) {
    requests.push_back(model.Binding().columns[position]);
  }
  try {
    return model.Code(requests, progress, interrupt);
  } catch (const UnknownLevel& error) {
    throw Error(error.Code(),
                fmt::format("'{}' has the value '{}' in row {} of {}{}, which is none of its "
                            "levels in '{}'.",
                            error.Label(), error.Value(), error.Row(), model.Source().Name(),
                            model.Condition() ? " (of the rows that --where keeps)" : "",
                            options.levelsFile));
  }
}

/// Adds what the coding found.
void AddFound(const CodedTable& table, const std::vector<std::size_t>& positions,
              std::vector<SpooledColumn>& columns) {
  for (std::size_t i = 0; i < positions.size(); ++i) {
    const CodedColumn& coded = table.Columns()[i];
    SpooledColumn& column = columns[positions[i]];
    column.levels = coded.levels;
    column.missing = coded.missing;
    if (column.hasLevels || coded.lowest > coded.highest) continue;
    column.lowest = coded.lowest;
    column.highest = coded.highest;
  }
}

struct Closer {
  void operator()(std::FILE* file) const noexcept {
    std::fclose(file);  // NOLINT(*-owning-memory): this is what owns it
  }
};

[[noreturn]] void FailToWrite(const WholeFile& file) {
  file.Fail(std::generic_category().message(errno));
}

void WriteRecords(const CodedTable& table, const WholeFile& out, ProgressBar& progress,
                  const Interrupt& interrupt) {
  constexpr std::int64_t kBlockValues = std::int64_t{1} << 17;  // 1 MB
  const std::int64_t atOnce = std::max<std::int64_t>(kBlockValues / table.RecordSize(), 1);
  const auto show = ShowShare("writing", table.RecordCount(), progress);
  std::unique_ptr<std::FILE, Closer> file(std::fopen(out.WritePath().string().c_str(), "wb"));
  if (!file) FailToWrite(out);
  std::vector<double> values;
  for (std::int64_t done = 0; done < table.RecordCount(); done += atOnce) {
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    show(done);
    const std::int64_t count = std::min(atOnce, table.RecordCount() - done);
    values.resize(static_cast<std::size_t>(count * table.RecordSize()));
    table.ReadRecords(done, values);
    if (std::fwrite(values.data(), sizeof(double), values.size(), file.get()) != values.size()) {
      FailToWrite(out);
    }
  }
  if (std::fclose(file.release()) != 0) FailToWrite(out);
}

}  // namespace

SpoolResult SpoolTable(const SpoolOptions& options, ProgressBar& progress, Interrupt& interrupt,
                       OutputFiles& outputs) {
  ModelTable model(options.fit, progress, interrupt, outputs);
  CheckOwnValues(model.Formula());
  const auto setInputs = [&] {
    InputFiles inputs = model.Source().Inputs();
    if (!options.levelsFile.empty()) inputs.Add(options.levelsFile);
    outputs.SetInputs(std::move(inputs));
  };
  setInputs();
  SpoolResult result;
  result.columns = ColumnsOf(model, model.Binding());
  TakeLevels(options, result.columns, model.Binding());
  const std::vector<std::size_t> positions = PositionsRead(result.columns, options.onlyLevels);
  const CodedTable table = Code(model, options, positions, progress, interrupt);
  // Some files are opened only while others are read.
  setInputs();
  outputs.Begin();
  if (!options.out.empty()) WriteRecords(table, outputs.Get(options.out), progress, interrupt);
  AddFound(table, positions, result.columns);
  result.kind = model.Binding().kind;
  result.formula = model.Formula().text;
  result.data = DataText(model.Source(), options.fit.source);
  result.where = options.fit.where;
  result.records = table.RecordCount();
  result.leftOut = model.Source().RowsLeftOut();
  result.out = options.out;
  result.hasIntercept = model.Formula().intercept;
  result.effects = EffectsOf(model.Formula(), model.Binding());
  AddNotes(model.Formula(), model.Condition(), result.warnings);
  for (const std::string& note : model.WithoutRole()) result.warnings.push_back(note);
  if (!options.onlyLevels) {
    for (std::string& note : DataNotes(model.Formula(), model.Binding(), table, model.Source(),
                                       !options.fit.source.na.empty())) {
      result.warnings.push_back(std::move(note));
    }
  }
  progress.Erase();
  return result;
}

}  // namespace qvhost
