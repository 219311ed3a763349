#include "qvreg/c/QvCRun.h"

#include <algorithm>
#include <new>
#include <string>

#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCShortRecord.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"

using QvCommon::QvStatus;

QvCRun::QvCRun(const QvCSettings& settings) : fSettings(settings) {
  QvRegFactory factory;
  fComponent.reset(factory.CreateRegAlgorithm(fSettings.Get()));
  if (factory.GetStatus().IsError()) throw QvCRefusal(QvCReport(factory.GetStatus()));
  if (fComponent == nullptr) throw std::bad_alloc();
  if (fComponent->GetStatus().IsError()) throw QvCRefusal(QvCReport(fComponent->GetStatus()));
  fSettings.RequireWholeRoles();
  fSettings.RequireKnownVariables();
}

QvCReport QvCRun::Explain(const QvStatus& status, const QvCSource& source) const {
  QvCReport report(status);
  if (!report.IsError()) return report;
  switch (report.Code()) {
    case QVREG_NO_FURTHER_PASS:
    case QVREG_NO_RECORDS:
    case QVREG_RECORD_MISSING:
      if (source.Refusal().IsError()) return source.Refusal();
      return source.HasFailed() ? source.Failure() : report;
    case QVREG_SHORT_RECORD:
      report = QvCShortRecord(static_cast<std::size_t>(source.RecordSize()), FullRecordSize());
      [[fallthrough]];
    case QVREG_BAD_CATEGORY:
      report.SetDiscrete(0, source.Delivered());
      report.Prefix("Record " + std::to_string(source.Delivered()) + ": ");
      return report;
    default:
      return report;
  }
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

template <typename Operation>
QvCReport QvCRun::Run(QvCSource& source, Operation&& operation) {
  const QvCInUse use = Use();
  const QvCInUse sourceUse = source.Use();
  if (Status().IsError()) return Status();
  source.StartCall();
  try {
    QvCReport report = Explain(operation(), source);
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

QvCReport QvCRun::CreateParameters(QvCSource& source, std::vector<QvRegrParameter>& parameters) {
  return Run(source, [&] { return fComponent->CreateParameters(source, parameters); });
}

QvCReport QvCRun::Build(QvCSource& source) {
  const QvCReport report = Run(source, [&] { return fComponent->BuildModel(source); });
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

int QvCRun::DesignRecordSize() const {
  const QvRegSettings& settings = fComponent->GetCompSettings();
  int size = 0;
  for (const std::vector<int>* variables : {&settings.GetFactors(), &settings.GetCovariates()}) {
    for (const int variable : *variables) size = std::max(size, variable + 1);
  }
  return size;
}

int QvCRun::FullRecordSize() const {
  return static_cast<int>(fComponent->GetCompSettings().GetVariableTypes().size());
}
