#include "qvreg/design/QvTableSums.h"

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvPassMessages.h"

bool QvTableSums::Merge(const IQvPassSums& other) {
  const auto* added = dynamic_cast<const QvTableSums*>(&other);
  if (added == nullptr || !fTables.Merge(added->fTables)) return false;
  fCounts.fRead += added->fCounts.fRead;
  fCounts.fUsed += added->fCounts.fUsed;
  fCounts.fMissing += added->fCounts.fMissing;
  fCounts.fBadWeight += added->fCounts.fBadWeight;
  fCounts.fOutOfRange += added->fCounts.fOutOfRange;
  return true;
}

void QvTableSums::Write(QvCommon::QvByteWriter& writer) const {
  fTables.Write(writer);
  WriteCounts(fCounts, writer);
}

void QvTableSums::Read(QvCommon::QvByteReader& reader) {
  fTables.Read(reader);
  ReadCounts(reader, fCounts);
}

QvCommon::QvStatus QvTableSums::GiveTo(QvFactorTables& tables, QvRecordCounts& counts) const {
  tables.Merge(fTables);
  counts = fCounts;
  if (fCounts.fUsed == 0) return {QvStatusCode::kNoRecords, false};
  return {};
}
