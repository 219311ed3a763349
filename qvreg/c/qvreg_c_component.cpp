#include "qvreg/c/qvreg_c_component.h"

#include <algorithm>
#include <string>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCCounts.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCScorer.h"
#include "qvreg/c/QvCStruct.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Copies one of a host's strided records to a record of the library.
void Gather(const qvreg_rows& rows, std::size_t index, double* record) {
  const double* value = rows.values + static_cast<std::ptrdiff_t>(index) * rows.record_stride;
  for (std::size_t v = 0; v < rows.record_size; ++v) {
    record[v] = *value;
    // Not beyond the last one: that need not be a place in the host's array.
    if (v + 1 < rows.record_size) value += rows.value_stride;
  }
}

/// Throws the refusal when a structure to be filled is the one of the call's own report.
void RequireApart(const qvreg_error* filled, const qvreg_error* error, const char* name) {
  if (filled == nullptr || filled != error) return;
  throw QvCRefusal(QVREG_BAD_ARGUMENT, std::string("The arguments ") + name +
                                           " and error are one structure; pass two.");
}

/// What ended the scoring of many records, with the record, from 1 on, that did.
QvCRefusal AtRecord(const QvCRefusal& refusal, std::size_t record) {
  QvCReport report = refusal.Report();
  report.SetDiscrete(0, static_cast<std::int64_t>(record));
  report.Prefix("Record " + std::to_string(record) + ": ");
  return QvCRefusal(report);
}

}  // namespace

int32_t qvreg_component_create(const qvreg_settings* settings, qvreg_component** component,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCSettings& from = Valid(settings).fSettings;
    HandOut(component, "component", std::make_shared<QvCRun>(from));
  });
}

void qvreg_component_destroy(qvreg_component* component) { DestroyHandle(component); }

int32_t qvreg_component_get_model(const qvreg_component* component, int32_t* model,
                                  qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCRun& run = *Valid(component).fRun;
    NotNull(model, "model") = run.Component().GetModelType();
  });
}

int32_t qvreg_component_get_settings(const qvreg_component* component, qvreg_settings** settings,
                                     qvreg_error* error) {
  return QvCCall(error, [&] { HandOut(settings, "settings", Valid(component).fRun->Settings()); });
}

int32_t qvreg_component_create_parameters(qvreg_component* component, qvreg_source* source,
                                          qvreg_parameters** parameters, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    // Before the operation, which cannot be done again.
    auto made = std::make_unique<qvreg_parameters>();
    const QvCReport report = run->CreateParameters(*records, made->fParameters);
    if (!report.IsError() && parameters != nullptr) *parameters = made.release();
    return report;
  });
}

int32_t qvreg_component_build(qvreg_component* component, qvreg_source* source,
                              qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const std::shared_ptr<QvCSource> records = Valid(source).fSource;
    return run->Build(*records);
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
  return QvCCall(error, [&] { QvCCopyCounts(Valid(component).fRun->RecordCounts(), counts); });
}

int32_t qvreg_component_get_results(const qvreg_component* component, qvreg_results** results,
                                    qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun>& run = Valid(component).fRun;
    HandOut(results, "results", run, run->Results());
  });
}

int32_t qvreg_component_score(const qvreg_component* component, const double* record,
                              size_t record_size, double* predicted, double* probabilities,
                              size_t capacity, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    if (record_size > 0) NotNull(record, "record");
    double& prediction = NotNull(predicted, "predicted");
    const QvCInUse use = run->Use();
    QvCScorer scorer(*run, record_size);
    scorer.RequireRoom(probabilities, capacity, 1);
    std::copy_n(record, record_size, scorer.Record());
    const int32_t found = scorer.Score(prediction, probabilities);
    if (verdict != nullptr) *verdict = found;
  });
}

int32_t qvreg_component_score_rows(const qvreg_component* component, const qvreg_rows* rows,
                                   double* predicted, double* probabilities, size_t capacity,
                                   int32_t* verdicts, size_t* n_scored, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const qvreg_rows from = QvCStruct::Take(rows, "rows");
    if (n_scored != nullptr) *n_scored = 0;
    if (from.n_records > 0) NotNull(predicted, "predicted");
    if (from.n_records > 0 && from.record_size > 0) NotNull(from.values, "rows->values");
    const QvCInUse use = run->Use();
    QvCScorer scorer(*run, from.record_size);
    scorer.RequireRoom(probabilities, capacity, from.n_records);
    for (std::size_t i = 0; i < from.n_records; ++i) {
      Gather(from, i, scorer.Record());
      double* row =
          probabilities == nullptr ? nullptr : probabilities + i * scorer.NProbabilities();
      try {
        const int32_t found = scorer.Score(predicted[i], row);
        if (verdicts != nullptr) verdicts[i] = found;
      } catch (const QvCRefusal& refusal) {
        throw AtRecord(refusal, i + 1);
      }
      if (n_scored != nullptr) *n_scored = i + 1;
    }
  });
}

int32_t qvreg_component_display(const qvreg_component* component, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(component).fRun->Component().Display(); });
}
