#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "qvreg/c/QvCComponent.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Constants.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Scores records with a built model into buffers of the host. Borrows the run; used from one
/// thread at a time.
class Scorer {
 public:
  /// For records of `recordSize` values. Throws the refusal without a model, and for records that
  /// are too short for it.
  Scorer(QvCRun& run, std::size_t recordSize);

  /// The number of probabilities of a record: 0 for a linear model.
  [[nodiscard]] std::size_t NProbabilities() const { return fNProbabilities; }
  /// Throws the refusal unless a buffer, null when not wanted, holds those of all records.
  void RequireRoom(const double* probabilities, std::size_t capacity, std::size_t nRecords) const;

  /// The record to fill before Score.
  [[nodiscard]] double* Record() { return fRecord.GetAll(); }
  /// Writes the prediction, and the probabilities unless they are null; returns the qvreg_verdict.
  /// Throws the refusal of a status that is an error, and writes nothing then.
  std::int32_t Score(double& predicted, double* probabilities);

 private:
  /// Checks the record and, when it is valid, predicts; the qvreg_verdict.
  std::int32_t Check(double& predicted);

  QvCRun& fRun;
  IQvRegOutputStats& fStats;
  QvCommon::Record fRecord;
  std::size_t fNProbabilities = 0;
  std::vector<double> fProbabilities;
};

Scorer::Scorer(QvCRun& run, std::size_t recordSize)
    : fRun(run), fStats(run.Results()), fRecord(QvCCheck::Size(recordSize, "record_size")) {
  if (static_cast<std::size_t>(fRecord.Size()) != recordSize) throw std::bad_alloc();
  const int needed = run.DesignRecordSize();
  if (fRecord.Size() < needed) throw QvCRefusal(QvCReport::OfShortRecord(recordSize, needed));
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&fStats)) {
    fNProbabilities = logistic->GetDependCategories().size();
  }
}

void Scorer::RequireRoom(const double* probabilities, std::size_t capacity,
                         std::size_t nRecords) const {
  if (probabilities == nullptr && capacity == 0) return;
  NotNull(probabilities, "probabilities");
  if (fNProbabilities == 0) {
    throw QvCRefusal(QVREG_WRONG_MODEL,
                     "A linear model has no probabilities; pass null and a capacity of 0.");
  }
  // Divided, since the product may not fit.
  if (nRecords <= capacity / fNProbabilities) return;
  QvCReport report(QVREG_BUFFER_TOO_SMALL,
                   "The buffer of probabilities has room for " + std::to_string(capacity) +
                       " values, and " + std::to_string(fNProbabilities) + " for each of " +
                       std::to_string(nRecords) + " records are needed; pass a longer one.");
  constexpr std::size_t kMost = std::numeric_limits<std::int64_t>::max();
  const bool isTooMany = nRecords > kMost / fNProbabilities;
  report.SetDiscrete(0, static_cast<std::int64_t>(isTooMany ? kMost : nRecords * fNProbabilities));
  throw QvCRefusal(report);
}

std::int32_t Scorer::Score(double& predicted, double* probabilities) {
  double found = QvMV::gMissingValue;
  const std::int32_t verdict = Check(found);
  // Only now, since nothing is written when it throws.
  predicted = found;
  if (probabilities == nullptr) return verdict;
  if (verdict == QVREG_VERDICT_VALID) {
    std::copy_n(fProbabilities.data(), fNProbabilities, probabilities);
  } else {
    std::fill_n(probabilities, fNProbabilities, QvMV::gMissingValue);
  }
  return verdict;
}

std::int32_t Scorer::Check(double& predicted) {
  QvCommon::QvStatus status;
  if (!fStats.GetRecordValidator().IsValid4Scoring(fRecord, status)) {
    if (status.IsError()) throw QvCRefusal(QvCReport(status));
    return QVREG_VERDICT_MISSING;
  }
  double found = QvMV::gMissingValue;
  status = fRun.Component().Score(fRecord, found, fProbabilities);
  if (status.IsError()) throw QvCRefusal(QvCReport(status));
  // A logistic model returns -1 for a level combination without a parameter.
  const bool isLogistic = fNProbabilities > 0;
  if (found == QvMV::gMissingValue || (isLogistic && found < 0.0)) return QVREG_VERDICT_UNSEEN;
  predicted = found;
  return QVREG_VERDICT_VALID;
}

/// Copies one of a host's strided records to a record of the library.
void Gather(const qvreg_rows& rows, std::size_t index, double* record) {
  const double* value = rows.values + static_cast<std::ptrdiff_t>(index) * rows.record_stride;
  for (std::size_t v = 0; v < rows.record_size; ++v) {
    record[v] = *value;
    // Not beyond the last one: that need not be a place in the host's array.
    if (v + 1 < rows.record_size) value += rows.value_stride;
  }
}

/// What ended the scoring of many records, with the record, from 1 on, that did.
QvCRefusal AtRecord(const QvCRefusal& refusal, std::size_t record) {
  QvCReport report = refusal.Report();
  report.SetDiscrete(0, static_cast<std::int64_t>(record));
  report.Prefix("Record " + std::to_string(record) + ": ");
  return QvCRefusal(report);
}

}  // namespace

int32_t qvreg_component_score(const qvreg_component* component, const double* record,
                              size_t record_size, double* predicted, double* probabilities,
                              size_t capacity, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    if (record_size > 0) NotNull(record, "record");
    double& prediction = NotNull(predicted, "predicted");
    const QvCInUse use = run->Use();
    Scorer scorer(*run, record_size);
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
    Scorer scorer(*run, from.record_size);
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
