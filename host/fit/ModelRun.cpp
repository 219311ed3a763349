#include "host/fit/ModelRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/Overflow.h"
#include "host/fit/StatusText.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvhost {
namespace {

/// Whether a column is one of the model.
bool HasRole(const QvRegSettings& settings, std::size_t position) {
  const std::vector<QvConst::QvVariableType>& types = settings.GetVariableTypes();
  return position < types.size() && types[position] != QvConst::QvVarNone;
}

/// Borrows everything it is made of.
class UnusableRecords {
 public:
  UnusableRecords(const RecordUse& records, const CodedTable& table, const QvRegSettings& settings)
      : records_(records), columns_(table.Columns()) {
    for (std::size_t position = 0; position < columns_.size(); ++position) {
      const int index = static_cast<int>(position);
      const bool isWeight =
          index == settings.GetFrequencyWeightVar() || index == settings.GetRegrWeightVar();
      if (isWeight) {
        AddOnce(columns_[position].label, weights_);
      } else if (columns_[position].missing > 0 && HasRole(settings, position)) {
        AddOnce(columns_[position], missing_);
      }
    }
  }

  [[nodiscard]] std::string Text() const {
    if (records_.read == 0) return kNoRecordText;
    std::string text = records_.read == 1
                           ? "The only record cannot be used."
                           : fmt::format("None of the {} records can be used.", records_.read);
    if (records_.missing > 0) text += MissingText();
    if (records_.badWeight > 0) {
      text += fmt::format(" In {} a weight is missing or not above 0; check {}.",
                          records_.badWeight, NameList(weights_));
    }
    return text;
  }

 private:
  static void AddOnce(const std::string& name, std::vector<std::string>& names) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  }
  static void AddOnce(const CodedColumn& column, std::vector<CodedColumn>& columns) {
    // A column with several roles is listed once.
    if (std::ranges::find(columns, column.label, &CodedColumn::label) == columns.end()) {
      columns.push_back(column);
    }
  }

  [[nodiscard]] std::string MissingText() const {
    std::string list;
    for (const CodedColumn& column : missing_) {
      list += fmt::format("{}'{}' in {}", list.empty() ? " (" : ", ", column.label, column.missing);
    }
    return fmt::format(" In {} a value is missing{}; {}.", records_.missing,
                       list.empty() ? "" : list + ")", Advice());
  }

  [[nodiscard]] std::string Advice() const {
    const CodedColumn& dependent = columns_[ModelBinding::kDependent];
    if (dependent.missing == records_.read) {
      return fmt::format("fill the dependent '{}', or choose another", dependent.label);
    }
    const CodedColumn* emptiest = nullptr;
    for (const CodedColumn& column : missing_) {
      if (column.label == dependent.label) continue;
      if (emptiest == nullptr || column.missing > emptiest->missing) emptiest = &column;
    }
    if (emptiest == nullptr) return "fill it";
    return fmt::format("leave '{}' out of the model, or fill it", emptiest->label);
  }

  const RecordUse& records_;
  const std::vector<CodedColumn>& columns_;
  std::vector<CodedColumn> missing_;  ///< Weights apart.
  std::vector<std::string> weights_;
};

/// Why every record was left out, and what to do: which columns have no value in how many of them,
/// and in how many a weight cannot be used.
std::string UnusableRecordsText(const RecordUse& records, const CodedTable& table,
                                const QvRegSettings& settings) {
  return UnusableRecords(records, table, settings).Text();
}

constexpr int kLinearPasses = 3;    // Parameters, cross-products, residuals.
constexpr int kCountingPasses = 2;  // Of a logistic model, before its first iteration.

}  // namespace

ModelRun::ModelRun(QvRegSettings& settings, const CodedTable& table, int threads,
                   ProgressBar& progress, Interrupt& interrupt)
    : settings_(settings),
      table_(table),
      progress_(progress),
      interrupt_(interrupt),
      threads_(QvThreadCount(threads)),
      // Iterations over records kept in memory make no passes that would report progress.
      iterations_([this] { progress_.Show(iterations_.Stage(), -1.0, table_.RecordCount()); }),
      runner_(table, settings, threads,
              [this](int pass, long long delivered) { ShowPass(pass, delivered); }),
      watch_(*this) {
  settings.SetCancelPointer(&watch_);
  settings.SetPassRunner(&runner_);
  settings.SetProgressListener(&iterations_);
  CreateComponent();
}

void ModelRun::CreateComponent() {
  // Frees the memory of the one before.
  output_ = nullptr;
  component_.reset();
  QvRegFactory factory;
  component_.reset(factory.CreateRegAlgorithm(settings_));
  if (factory.GetStatus().IsError()) Fail(factory.GetStatus());
  if (!component_) throw std::bad_alloc();
}

void ModelRun::Build() {
  BuildComponent();
  if (auto* logistic = dynamic_cast<QvLogRegSettings*>(&settings_)) Continue(*logistic);
}

void ModelRun::Continue(QvLogRegSettings& settings) {
  const auto total = static_cast<double>(table_.RecordCount());
  Continuation continuation(
      settings, table_, iterations_.History(),
      {.interrupt = interrupt_, .threads = threads_, .progress = [&](long long records) {
         progress_.Show("checking separation", static_cast<double>(records) / total, records);
       }});
  while (continuation.IsNeededAfter(*component_, dynamic_cast<const QvLogOutputStats&>(*output_))) {
    iterations_.ContinueFrom(continuation.Ending().iterations);
    CreateComponent();
    BuildComponent();
  }
  ending_ = continuation.Ending();
}

bool ModelRun::Watch::QueryWillCancel() {
  run_.runner_.Report();
  return run_.interrupt_.QueryWillCancel();
}

void ModelRun::ShowPass(int pass, long long delivered) const {
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings_);
  if (logistic != nullptr && logistic->GetUsePatternTabulator() && pass > kCountingPasses) {
    // Rows kept in memory are not delivered again.
    return progress_.Show(Stage(pass), -1.0, table_.RecordCount());
  }
  const auto total = static_cast<double>(table_.RecordCount());
  progress_.Show(Stage(pass), total > 0.0 ? static_cast<double>(delivered) / total : 1.0,
                 delivered);
}

void ModelRun::BuildComponent() {
  runner_.StartRun();
  // The runner's parts take the place of an iterator.
  SpoolRecords unused(table_);
  std::vector<QvRegrParameter> parameters;
  QvCommon::QvStatus status = component_->CreateParameters(unused, parameters);
  if (!status.IsError()) status = component_->BuildModel(unused);
  Check(status);
  if (const QvRecordCounts counts = Counts(); counts.fUsedLater >= 0) {
    throw Error(ExitCode::kRunFailed,
                fmt::format("The first pass over the temporary file used {} records, and a later "
                            "one {}. Check the disk, or name another folder with --spool-dir.",
                            counts.fUsed, counts.fUsedLater));
  }
  Check(component_->GetOutputStats(output_));
}

void ModelRun::Check(const QvCommon::QvStatus& status) const {
  // A run that Ctrl-C interrupts at its very end is cancelled too.
  if (interrupt_.Requested()) throw Cancelled();
  if (status.IsError()) Fail(status);
}

void ModelRun::Fail(const QvCommon::QvStatus& status) const {
  if (status.GetCode() == QvStatusCode::kCancelled) throw Cancelled();
  if (status.GetCode() == QvStatusCode::kNoRecords) {
    throw Error(ExitCode::kRunFailed,
                UnusableRecordsText(Records(), table_, component_->GetCompSettings()));
  }
  if (status.GetCode() == QvStatusCode::kNothingToFit && WeightsOverflow()) {
    throw Error(ExitCode::kRunFailed, WeightOverflowText({FreqWeight()}));
  }
  throw Error(ExitCode::kRunFailed, StatusText(status));
}

const CodedColumn& ModelRun::FreqWeight() const {
  const int position = component_->GetCompSettings().GetFrequencyWeightVar();
  return table_.Columns()[static_cast<std::size_t>(position)];
}

bool ModelRun::WeightsOverflow() const {
  if (component_->GetCompSettings().GetFrequencyWeightVar() < 0) return false;
  return !std::isfinite(LargestSize(FreqWeight()) * static_cast<double>(Counts().fUsed));
}

std::string ModelRun::Stage(int pass) const {
  if (component_->GetModelType() == QvConst::QvRegModelGLM) {
    // Further passes refine the estimates; the last pass of all fits has done so once.
    return pass <= kLinearPasses ? fmt::format("pass {} of {}", pass, kLinearPasses)
                                 : fmt::format("refinement {}", pass - kLinearPasses + 1);
  }
  return pass <= kCountingPasses ? "counting" : iterations_.Stage();
}

QvRecordCounts ModelRun::Counts() const {
  if (const auto* linear = dynamic_cast<const QvGLMComponent*>(component_.get())) {
    return linear->GetRecordCounts();
  }
  if (const auto* logistic = dynamic_cast<const QvLogComponent*>(component_.get())) {
    return logistic->GetRecordCounts();
  }
  return {};
}

RecordUse ModelRun::Records() const {
  RecordUse use;
  for (std::size_t position = 0; position < table_.Columns().size(); ++position) {
    const CodedColumn& column = table_.Columns()[position];
    // A missing weight counts as a bad one.
    const int index = static_cast<int>(position);
    if (index == settings_.GetFrequencyWeightVar() || index == settings_.GetRegrWeightVar())
      continue;
    if (!HasRole(settings_, position)) continue;
    const auto listed = [&](const ColumnMissing& other) { return other.name == column.label; };
    // A column with several roles is listed once.
    if (column.missing == 0 || std::ranges::any_of(use.missingByColumn, listed)) continue;
    use.missingByColumn.push_back({column.label, column.missing});
  }
  for (const MissingString& string : table_.MissingStrings()) {
    use.missingStrings.push_back({string.column, string.text, string.count});
  }
  const QvRecordCounts counts = Counts();
  use.read = counts.fRead;
  use.used = counts.fUsed;
  // The table codes no category beyond a factor's levels, so that none is out of range.
  use.missing = counts.fMissing + counts.fOutOfRange;
  use.badWeight = counts.fBadWeight;
  return use;
}

}  // namespace qvhost
