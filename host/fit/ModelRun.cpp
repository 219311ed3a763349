#include "host/fit/ModelRun.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/Continuation.h"
#include "host/fit/CountedRecordIterator.h"
#include "host/fit/Overflow.h"
#include "host/fit/StatusText.h"
#include "host/fit/UnusableRecords.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvhost {

namespace {

constexpr int kLinearPasses = 3;    // Parameters, cross-products, residuals.
constexpr int kCountingPasses = 2;  // Of a logistic model, before its first iteration.

}  // namespace

ModelRun::ModelRun(QvRegSettings& settings, const CodedTable& table, ProgressBar& progress,
                   Interrupt& interrupt)
    : settings_(settings),
      table_(table),
      progress_(progress),
      interrupt_(interrupt),
      // Iterations over records kept in memory make no passes that would show.
      iterations_([this] { progress_.Show(iterations_.Stage(), -1.0, table_.RecordCount()); }) {
  settings.SetCancelPointer(&interrupt_);
  settings.SetProgressListener(&iterations_);
  CreateComponent();
}

void ModelRun::CreateComponent() {
  // What the one before holds may be much.
  output_ = nullptr;
  component_.reset();
  QvRegFactory factory;
  component_.reset(factory.CreateRegAlgorithm(settings_));
  if (factory.GetStatus().IsError()) Fail(factory.GetStatus());
  if (!component_) throw std::bad_alloc();
}

void ModelRun::Build() {
  BuildComponent();
  if (auto* logistic = dynamic_cast<QvLogRegSettings*>(&settings_)) GoOn(*logistic);
}

void ModelRun::GoOn(QvLogRegSettings& settings) {
  const auto total = static_cast<double>(table_.RecordCount());
  Continuation continuation(
      settings, table_, iterations_.History(), interrupt_, [&](long long records) {
        progress_.Show("checking separation", static_cast<double>(records) / total, records);
      });
  while (continuation.GoesOn(dynamic_cast<const QvLogOutputStats&>(*output_))) {
    iterations_.GoOnFrom(continuation.Ending().iterations);
    CreateComponent();
    BuildComponent();
  }
  ending_ = continuation.Ending();
}

void ModelRun::BuildComponent() {
  const auto total = static_cast<double>(table_.RecordCount());
  CountedRecordIterator records(table_, [&](int pass, long long delivered) {
    progress_.Show(Stage(pass), total > 0.0 ? static_cast<double>(delivered) / total : 1.0,
                   delivered);
  });
  std::vector<QvRegrParameter> parameters;
  QvCommon::QvStatus status = component_->CreateParameters(records, parameters);
  if (!status.IsError()) status = component_->BuildModel(records);
  if (!records.AllRecordsRead()) {
    status = QvCommon::QvStatus(QvStatusCode::kUnreadableRecord, false);
  }
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
  // A run that Ctrl-C met at its very end is cancelled too.
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
  for (const CodedColumn& column : table_.Columns()) {
    const auto listed = [&](const ColumnMissing& other) { return other.name == column.label; };
    // A column that plays several parts is listed once.
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
