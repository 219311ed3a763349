#pragma once

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/QvRecordCounts.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/design/QvFactorTables.h"

/// The first pass of every model: gives each valid record to the factor tables and counts what
/// became of the records. The pass's status; 307 when no record was used.
QvCommon::QvStatus FillFactorTables(QvRecordPass& pass, QvFactorTables& tables,
                                    QvRecordCounts& counts);

/// A later pass: calls `step(const Record&)` for every record that the first pass counted, and
/// notes in `counts` how many they were. The pass's status; where the step answers false it ends
/// there, as QvRecordPass::RefusedRecord says.
template <typename Step>
QvCommon::QvStatus ForEachCountedRecord(QvRecordPass& pass, const QvFactorTables& tables,
                                        QvRecordCounts& counts, Step&& step) {
  long long nUsed = 0;
  const QvCommon::QvStatus result = pass.Run(
      [&](const QvCommon::Record& record, QvRecordVerdict verdict, QvCommon::QvStatus& status) {
        if (verdict != QvRecordVerdict::kValid || !tables.IsInRange(record)) return true;
        ++nUsed;
        if (step(record)) return true;
        status = QvRecordPass::RefusedRecord(pass.GetCancelInfo());
        return false;
      });
  if (!result.IsError()) counts.NoteLaterPass(nUsed);
  return result;
}
