#include "qvreg/c/QvCScorer.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <string>

#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCShortRecord.h"
#include "qvreg/common/Constants.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/logistic/QvLogOutputStats.h"

QvCScorer::QvCScorer(QvCRun& run, std::size_t recordSize)
    : fRun(run), fStats(run.Results()), fRecord(QvCCheck::Size(recordSize, "record_size")) {
  if (static_cast<std::size_t>(fRecord.Size()) != recordSize) throw std::bad_alloc();
  const int needed = run.DesignRecordSize();
  if (fRecord.Size() < needed) throw QvCRefusal(QvCShortRecord(recordSize, needed));
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&fStats)) {
    fNProbabilities = logistic->GetDependCategories().size();
  }
}

void QvCScorer::RequireRoom(const double* probabilities, std::size_t capacity,
                            std::size_t nRecords) const {
  if (probabilities == nullptr && capacity == 0) return;
  QvCCheck::NotNull(probabilities, "probabilities");
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

bool QvCScorer::Predict(double& predicted) {
  double found = QvMV::gMissingValue;
  const QvCommon::QvStatus status = fRun.Component().Score(fRecord, found, fProbabilities);
  if (status.IsError()) throw QvCRefusal(QvCReport(status));
  if (found == QvMV::gMissingValue) return false;
  // A logistic model answers -1 for what it has not seen.
  if (fNProbabilities > 0 && found < 0.0) return false;
  predicted = found;
  return true;
}

std::int32_t QvCScorer::Score(double& predicted, double* probabilities) {
  double found = QvMV::gMissingValue;
  const std::int32_t verdict = Judge(found);
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

std::int32_t QvCScorer::Judge(double& predicted) {
  QvCommon::QvStatus status;
  if (!fStats.GetRecordValidator().IsValid4Scoring(fRecord, status)) {
    if (status.IsError()) throw QvCRefusal(QvCReport(status));
    return QVREG_VERDICT_MISSING;
  }
  return Predict(predicted) ? QVREG_VERDICT_VALID : QVREG_VERDICT_UNSEEN;
}
