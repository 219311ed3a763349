#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "qvreg/c/QvCComponent.h"
#include "qvreg/c/QvCScorer.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Constants.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Throws the refusal unless a buffer, null when not wanted, holds the probabilities of all
/// records.
void RequireRoom(const QvCScorer& scorer, const double* probabilities, std::size_t capacity,
                 std::size_t nRecords) {
  if (probabilities == nullptr && capacity == 0) return;
  NotNull(probabilities, "probabilities");
  const std::size_t each = scorer.NProbabilities();
  if (each == 0) {
    throw QvCRefusal(QVREG_WRONG_MODEL,
                     "A linear model has no probabilities; pass null and a capacity of 0.");
  }
  // Divided, since the product may not fit.
  if (nRecords <= capacity / each) return;
  QvCReport report(QVREG_BUFFER_TOO_SMALL,
                   "The buffer of probabilities has room for " + std::to_string(capacity) +
                       " values, and " + std::to_string(each) + " for each of " +
                       std::to_string(nRecords) + " records are needed; pass a longer one.");
  constexpr std::size_t kMost = std::numeric_limits<std::int64_t>::max();
  const bool isTooMany = nRecords > kMost / each;
  report.SetDiscrete(0, static_cast<std::int64_t>(isTooMany ? kMost : nRecords * each));
  throw QvCRefusal(report);
}

/// Writes the prediction, and the probabilities unless they are null; returns the qvreg_verdict.
/// Throws the refusal of a status that is an error, and writes nothing then.
std::int32_t Score(QvCScorer& scorer, double& predicted, double* probabilities) {
  double found = QvMV::gMissingValue;
  const std::int32_t verdict = scorer.Score(found);
  // Only now, since nothing is written when it throws.
  predicted = found;
  if (probabilities == nullptr) return verdict;
  if (verdict == QVREG_VERDICT_VALID) {
    std::copy_n(scorer.Probabilities().data(), scorer.NProbabilities(), probabilities);
  } else {
    std::fill_n(probabilities, scorer.NProbabilities(), QvMV::gMissingValue);
  }
  return verdict;
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

}  // namespace

int32_t qvreg_component_score(const qvreg_component* component, const double* record,
                              size_t record_size, double* predicted, double* probabilities,
                              size_t capacity, int32_t* verdict, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    if (record_size > 0) NotNull(record, "record");
    double& prediction = NotNull(predicted, "predicted");
    const QvCInUse use = run->Use();
    QvCScorer scorer(*run, record_size);
    RequireRoom(scorer, probabilities, capacity, 1);
    std::copy_n(record, record_size, scorer.Record());
    const int32_t found = Score(scorer, prediction, probabilities);
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
    RequireRoom(scorer, probabilities, capacity, from.n_records);
    for (std::size_t i = 0; i < from.n_records; ++i) {
      Gather(from, i, scorer.Record());
      double* row =
          probabilities == nullptr ? nullptr : probabilities + i * scorer.NProbabilities();
      try {
        const int32_t found = Score(scorer, predicted[i], row);
        if (verdicts != nullptr) verdicts[i] = found;
      } catch (const QvCRefusal& refusal) {
        throw QvCAtRecord(refusal, i + 1);
      }
      if (n_scored != nullptr) *n_scored = i + 1;
    }
  });
}
