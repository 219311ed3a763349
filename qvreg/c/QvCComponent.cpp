#include "qvreg/c/QvCComponent.h"

#include <algorithm>
#include <new>
#include <string>

#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;
using QvCommon::QvStatus;

namespace {

/// Throws the refusal when a structure to be filled is the one of the call's own report.
void RequireApart(const qvreg_error* filled, const qvreg_error* error, const char* name) {
  if (filled == nullptr || filled != error) return;
  throw QvCRefusal(QVREG_BAD_ARGUMENT, std::string("The arguments ") + name +
                                           " and error are one structure; pass two.");
}

/// What a component reads whose passes a runner makes.
class NoRecords : public QvCommon::MultiPassRecordIter {
 public:
  [[nodiscard]] bool HasMore() const override { return false; }
  const QvCommon::Record* Next() override { return nullptr; }
  [[nodiscard]] int GetFailReason() const override { return QvCommon::kIterEndOfData; }
  int NewPass() override { return QvCommon::kIterEndOfData; }
};

}  // namespace

QvCRun::QvCRun(const QvCSettings& settings) : fSettings(settings), fRunner(fSettings.MakeRunner()) {
  // Copies of the settings have runners of their own.
  const QvCSettings given = fSettings;
  given.Get().SetPassRunner(fRunner.get());
  QvRegFactory factory;
  fComponent.reset(factory.CreateRegAlgorithm(given.Get()));
  if (factory.GetStatus().IsError()) throw QvCRefusal(QvCReport(factory.GetStatus()));
  if (fComponent == nullptr) throw std::bad_alloc();
  if (fComponent->GetStatus().IsError()) throw QvCRefusal(QvCReport(fComponent->GetStatus()));
  fSettings.RequireKnownVariables();
}

QvCRun::QvCRun(std::unique_ptr<IQvRegComponent> component)
    : fSettings(QvCSettings::Copy(component->GetCompSettings())),
      fComponent(std::move(component)) {}

QvCReport QvCRun::Explain(const QvStatus& status, const QvCSource& source) const {
  QvCReport report(status);
  if (!report.IsError()) return report;
  switch (report.Code()) {
    case QVREG_NO_FURTHER_PASS:
    case QVREG_NO_RECORDS:
    case QVREG_RECORD_MISSING:
      if (source.Refusal().IsError()) return source.Refusal();
      return source.HasFailed() ? source.Failure() : report;
    default:
      return AtRecord(report, source.Position(), source.RecordSize());
  }
}

QvCReport QvCRun::AtRecord(QvCReport report, std::int64_t record, int size) const {
  const bool isShort = report.Code() == QVREG_SHORT_RECORD;
  if (record == 0 || (!isShort && report.Code() != QVREG_BAD_CATEGORY)) return report;
  if (isShort) report = QvCReport::OfShortRecord(static_cast<std::size_t>(size), FullRecordSize());
  report.SetDiscrete(0, record);
  report.Prefix("Record " + std::to_string(record) + ": ");
  return report;
}

QvCReport QvCRun::CheckPasses() const {
  const QvRecordCounts counts = RecordCounts();
  if (counts.fUsedLater < 0) return {};
  QvCReport report(QVREG_RECORDS_CHANGED,
                   "The first pass used " + std::to_string(counts.fUsed) +
                       " records, and a later one " + std::to_string(counts.fUsedLater) +
                       "; check that the record source delivers the same records in every pass.");
  report.SetDiscrete(0, counts.fUsedLater);
  report.SetDiscrete(1, counts.fUsed);
  return report;
}

template <typename Step>
QvCReport QvCRun::Settle(Step&& step) {
  if (Status().IsError()) return Status();
  try {
    QvCReport report = step();
    if (!report.IsError()) {
      const QvCReport changed = CheckPasses();
      if (changed.IsError()) report = changed;
    }
    if (report.IsError()) fFailure = report;
    return report;
  } catch (const QvCRefusal& refusal) {
    fFailure = refusal.Report();
    throw;
  }
}

template <typename Operation>
QvCReport QvCRun::Run(QvCSource* source, Operation&& operation) {
  const QvCInUse use = Use();
  if (source == nullptr) {
    return Settle([&] {
      NoRecords none;
      fRunner->StartCall();
      const QvCReport report(operation(none));
      return AtRecord(report, fRunner->StoppedAt(), fRunner->RecordSize());
    });
  }
  const QvCInUse sourceUse = source->Use();
  return Settle([&] {
    source->StartCall();
    return Explain(operation(*source), *source);
  });
}

std::shared_ptr<QvCSource> QvCRun::SourceOf(qvreg_source* source) const {
  const bool isNeeded = fRunner == nullptr;
  if (isNeeded || source != nullptr) {
    const qvreg_source& handle = Valid(source);
    if (isNeeded) return handle.fSource;
  }
  return nullptr;
}

QvCReport QvCRun::CreateParameters(QvCSource* source, std::vector<QvRegrParameter>& parameters) {
  return Run(source, [&](QvCommon::MultiPassRecordIter& records) {
    return fComponent->CreateParameters(records, parameters);
  });
}

QvCReport QvCRun::Build(QvCSource* source) {
  const QvCReport report = Run(source, [&](QvCommon::MultiPassRecordIter& records) {
    return fComponent->BuildModel(records);
  });
  if (report.Code() != QVREG_OK) return report;
  // A logistic model keeps its warnings out of the status.
  const std::vector<QvStatus> warnings = fComponent->GetWarnings();
  return warnings.empty() ? report : QvCReport(warnings.back());
}

QvCReport QvCRun::Status() { return fFailure ? *fFailure : QvCReport(fComponent->GetStatus()); }

IQvRegOutputStats& QvCRun::Results() {
  IQvRegOutputStats* stats = nullptr;
  if (!IsBuilt()) {
    const QvCReport status = Status();
    throw QvCRefusal(status.IsError() ? status : QvCReport(QVREG_NOT_BUILT));
  }
  const QvStatus status = fComponent->GetOutputStats(stats);
  if (status.IsError()) throw QvCRefusal(QvCReport(status));
  return *stats;
}

QvRecordCounts QvCRun::RecordCounts() const {
  if (const auto* linear = dynamic_cast<const QvGLMComponent*>(fComponent.get())) {
    return linear->GetRecordCounts();
  }
  return dynamic_cast<const QvLogComponent&>(*fComponent).GetRecordCounts();
}

void QvCRun::CopyRecordCounts(qvreg_record_counts* counts) const {
  const QvRecordCounts from = RecordCounts();
  QvCStruct::Fill(counts, "counts", [&](qvreg_record_counts& to) {
    to.read = from.fRead;
    to.used = from.fUsed;
    to.missing = from.fMissing;
    to.bad_weight = from.fBadWeight;
    to.out_of_range = from.fOutOfRange;
    to.used_later = from.fUsedLater;
  });
}

int QvCRun::DesignRecordSize() const {
  const QvRegSettings& settings = fComponent->GetCompSettings();
  int size = 0;
  for (const std::vector<int>* variables : {&settings.GetFactors(), &settings.GetCovariates()}) {
    for (const int variable : *variables) size = std::max(size, variable + 1);
  }
  return size;
}

QvCColumns QvCRun::DesignColumns(const qvreg_typed_column* columns, std::size_t count,
                                 std::size_t nRecords) const {
  const int needed = DesignRecordSize();
  if (count < static_cast<std::size_t>(needed)) {
    throw QvCRefusal(QvCReport::OfShortRecord(count, needed));
  }
  std::vector<bool> isWanted(static_cast<std::size_t>(needed));
  const QvRegSettings& settings = fComponent->GetCompSettings();
  for (const std::vector<int>* variables : {&settings.GetFactors(), &settings.GetCovariates()}) {
    for (const int variable : *variables) isWanted[static_cast<std::size_t>(variable)] = true;
  }
  return QvCColumns::Wanted(columns, count, nRecords > 0, isWanted);
}

std::vector<unsigned char> QvCRun::Scoring() {
  std::vector<unsigned char> bytes;
  const QvStatus status = fComponent->WriteScoring(bytes);
  if (status.IsError()) throw QvCRefusal(QvCReport(status));
  return bytes;
}

int QvCRun::FullRecordSize() const {
  return static_cast<int>(fComponent->GetCompSettings().GetVariableTypes().size());
}

QvCommon::Record QvCMakeRecord(const double* values, std::size_t size, int needed) {
  const int length = QvCCheck::Size(size, "record_size");
  if (length > 0) NotNull(values, "record");
  if (length < needed) throw QvCRefusal(QvCReport::OfShortRecord(size, needed));
  QvCommon::Record record(length);
  if (record.Size() != length) throw std::bad_alloc();
  std::copy_n(values, size, record.GetAll());
  return record;
}

int32_t qvreg_component_create(const qvreg_settings* settings, qvreg_component** component,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCSettings& from = Valid(settings).fSettings;
    QvCMake(component, "component", std::make_shared<QvCRun>(from));
  });
}

void qvreg_component_destroy(qvreg_component* component) { QvCDestroy(component); }

int32_t qvreg_component_get_settings(const qvreg_component* component, qvreg_settings** settings,
                                     qvreg_error* error) {
  return QvCCall(error, [&] { QvCMake(settings, "settings", Valid(component).fRun->Settings()); });
}

int32_t qvreg_component_create_parameters(qvreg_component* component, qvreg_source* source,
                                          qvreg_parameters** parameters, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const std::shared_ptr<QvCSource> records = run->SourceOf(source);
    // Before the operation, which cannot be done again.
    auto made = std::make_unique<qvreg_parameters>();
    const QvCReport report = run->CreateParameters(records.get(), made->fParameters);
    if (!report.IsError() && parameters != nullptr) *parameters = made.release();
    return report;
  });
}

int32_t qvreg_component_build(qvreg_component* component, qvreg_source* source,
                              qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const std::shared_ptr<QvCSource> records = run->SourceOf(source);
    return run->Build(records.get());
  });
}

int32_t qvreg_component_is_built(const qvreg_component* component, int32_t* is_built,
                                 qvreg_error* error) {
  return QvCCall(error, [&] {
    const bool isBuilt = Valid(component).fRun->IsBuilt();
    NotNull(is_built, "is_built") = isBuilt ? 1 : 0;
  });
}

int32_t qvreg_component_cancel(qvreg_component* component, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(component).fRun->Cancel(); });
}

int32_t qvreg_component_get_status(const qvreg_component* component, qvreg_error* status,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCRun& run = *Valid(component).fRun;
    RequireApart(status, error, "status");
    run.Status().CopyTo(QvCStruct::Checked(status, "status"));
  });
}

int32_t qvreg_component_get_warning_count(const qvreg_component* component, size_t* count,
                                          qvreg_error* error) {
  return QvCCall(error, [&] {
    const size_t size = Valid(component).fRun->Component().GetWarnings().size();
    NotNull(count, "count") = size;
  });
}

int32_t qvreg_component_get_warning(const qvreg_component* component, size_t index,
                                    qvreg_error* warning, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::vector<QvCommon::QvStatus> all = Valid(component).fRun->Component().GetWarnings();
    RequireApart(warning, error, "warning");
    const QvCommon::QvStatus& status = all[QvCCheck::Below(index, all.size(), "warning")];
    QvCReport(status).CopyTo(QvCStruct::Checked(warning, "warning"));
  });
}

int32_t qvreg_component_get_record_counts(const qvreg_component* component,
                                          qvreg_record_counts* counts, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(component).fRun->CopyRecordCounts(counts); });
}

int32_t qvreg_component_get_results(const qvreg_component* component, qvreg_results** results,
                                    qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun>& run = Valid(component).fRun;
    QvCMake(results, "results", run, run->Results());
  });
}

int32_t qvreg_component_display(const qvreg_component* component, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(component).fRun->Component().Display(); });
}
