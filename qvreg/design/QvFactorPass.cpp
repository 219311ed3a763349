#include "qvreg/design/QvFactorPass.h"

using QvCommon::QvStatus;
using QvCommon::Record;

QvStatus FillFactorTables(QvRecordPass& pass, QvFactorTables& tables, QvRecordCounts& counts) {
  const QvStatus status = pass.Run([&](const Record& record, QvRecordVerdict verdict, QvStatus&) {
    ++counts.fRead;
    if (verdict == QvRecordVerdict::kMissing) {
      ++counts.fMissing;
    } else if (verdict == QvRecordVerdict::kBadWeight) {
      ++counts.fBadWeight;
    } else if (!tables.UpdateAll(record)) {
      ++counts.fOutOfRange;
    } else {
      ++counts.fUsed;
    }
    return true;
  });
  if (!status.IsError() && counts.fUsed == 0) return {QvStatusCode::kNoRecords, false};
  return status;
}
