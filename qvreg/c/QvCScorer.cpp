#include "qvreg/c/QvCScorer.h"

#include <new>
#include <string>

#include "qvreg/common/Constants.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace {

void ThrowError(const QvCommon::QvStatus& status) {
  if (status.IsError()) throw QvCRefusal(QvCReport(status));
}

}  // namespace

QvCScorer::QvCScorer(QvCRun& run, std::size_t recordSize)
    : fRun(run), fStats(run.Results()), fRecord(QvCCheck::Size(recordSize, "record_size")) {
  if (static_cast<std::size_t>(fRecord.Size()) != recordSize) throw std::bad_alloc();
  const int needed = run.DesignRecordSize();
  if (fRecord.Size() < needed) throw QvCRefusal(QvCReport::OfShortRecord(recordSize, needed));
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&fStats)) {
    fNProbabilities = logistic->GetDependCategories().size();
  }
}

QvCScorer::QvCScorer(QvCRun& run, std::size_t recordSize, const std::vector<unsigned char>& scoring)
    : QvCScorer(run, recordSize) {
  fOwn = std::make_unique<QvScorer>();
  // This process wrote the bytes: what cannot be read of them is for want of memory.
  if (fOwn->Open(scoring).IsError()) throw std::bad_alloc();
}

bool QvCScorer::IsValid() const {
  QvCommon::QvStatus status;
  if (fStats.GetRecordValidator().IsValid4Scoring(fRecord, status)) return true;
  ThrowError(status);
  return false;
}

std::int32_t QvCScorer::Score(double& predicted) {
  predicted = QvMV::gMissingValue;
  if (!IsValid()) return QVREG_VERDICT_MISSING;
  double found = QvMV::gMissingValue;
  ThrowError(fOwn != nullptr ? fOwn->Score(fRecord, found, fProbabilities)
                             : fRun.Component().Score(fRecord, found, fProbabilities));
  // A logistic model returns -1 for a level combination without a parameter.
  const bool isLogistic = fNProbabilities > 0;
  if (found == QvMV::gMissingValue || (isLogistic && found < 0.0)) return QVREG_VERDICT_UNSEEN;
  predicted = found;
  return QVREG_VERDICT_VALID;
}

bool QvCScorer::Expand(std::vector<int>& places, std::vector<double>& values) {
  if (!IsValid()) return false;
  // A row that there is no memory for would look as one that there is not.
  const std::size_t most = fRun.Component().GetCompSettings().GetModelEffects().size() + 1;
  places.reserve(most);
  values.reserve(most);
  if (fOwn != nullptr) return fOwn->ExpandRow(fRecord, places, values);
  if (const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&fStats)) {
    return linear->ExpandScaledRow(fRecord, places, values);
  }
  return dynamic_cast<const QvLogOutputStats&>(fStats).ExpandRow(fRecord, places, values);
}

QvCRefusal QvCAtRecord(const QvCRefusal& refusal, std::size_t record) {
  QvCReport report = refusal.Report();
  report.SetDiscrete(0, static_cast<std::int64_t>(record));
  report.Prefix("Record " + std::to_string(record) + ": ");
  return QvCRefusal(report);
}
