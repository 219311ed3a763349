#include "qvreg/component/QvRegAlgorithm.h"

#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvByteReader;
using QvCommon::QvBytes;
using QvCommon::QvByteWriter;
using QvCommon::QvStatus;

QvBytes QvRegAlgorithm::BaseOf(QvPassKind kind) const {
  QvByteWriter base;
  WriteSettings(fBaseSettings, base);
  if (kind != QvPassKind::kTables) WriteTables(base);
  return base.TakeBytes();
}

QvBytes QvRegAlgorithm::WriteScoring() const {
  QvByteWriter state;
  WriteState(QvPassKind::kScoring, state);
  return WriteRequest(QvPassKind::kScoring, BaseOf(QvPassKind::kScoring), state.GetBytes());
}

void QvRegAlgorithm::WriteModel(QvByteWriter& writer) const {
  WriteTables(writer);
  WriteState(QvPassKind::kScoring, writer);
  WriteResults(writer);
  WriteCounts(fRecordCounts, writer);
  writer.PutInt(fRecordCounts.fUsedLater);
  WriteStatus(fStatus, writer);
  writer.PutInt(static_cast<std::int64_t>(fWarnings.size()));
  for (const QvStatus& warning : fWarnings) WriteStatus(warning, writer);
}

void QvRegAlgorithm::ReadModel(QvByteReader& reader) {
  ReadTables(reader);
  if (reader.HasFailed()) return;
  ReadState(QvPassKind::kScoring, reader);
  ReadResults(reader);
  ReadCounts(reader, fRecordCounts);
  fRecordCounts.fUsedLater = reader.GetInt();
  fStatus = ReadStatus(reader);
  // As many as there may be different ones.
  constexpr int kMostWarnings = 1000;
  const int nWarnings = reader.GetIntWithin(0, kMostWarnings);
  for (int i = 0; i < nWarnings; ++i) fWarnings.push_back(ReadStatus(reader));
  if (fStatus.IsError()) reader.Fail();
}

QvStatus QvRegAlgorithm::RequestPass(QvPassKind kind, IQvPassSums& sums) {
  QvByteWriter state;
  if (kind == QvPassKind::kTables) {
    fBase = BaseOf(kind);
    fbBaseHasTables = false;
  } else {
    if (!fbBaseHasTables) fBase = BaseOf(kind);
    fbBaseHasTables = true;
    WriteState(kind, state);
  }
  const QvBytes request = WriteRequest(kind, fBase, state.GetBytes());
  QvBytes answer;
  const QvStatus status = fBaseSettings.GetPassRunner()->Run(request, fCancelInfo, answer);
  if (status.IsError()) return status;
  if (fCancelInfo.StopRequested()) return {QvStatusCode::kCancelled, false};
  return ReadAnswer(answer, QvCommon::DigestOf(request), sums);
}
