#include "qvreg/component/QvRegAlgorithm.h"

#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/settings/QvSettingsBytes.h"

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

QvModelContents QvRegAlgorithm::GetContents() const {
  QvModelContents contents;
  contents.fSettings = ContentsOf(fBaseSettings);
  FillContents(contents);
  contents.fRecordCounts = fRecordCounts;
  contents.fFitStatus = fStatus;
  contents.fWarnings = fWarnings;
  return contents;
}

bool QvRegAlgorithm::TakeContents(QvModelContents& contents) {
  // As many as there may be different ones.
  constexpr std::size_t kMostWarnings = 1000;
  if (!contents.fFitStatus.IsOK() || contents.fWarnings.size() > kMostWarnings) return false;
  if (!TakeModel(contents)) return false;
  fRecordCounts = contents.fRecordCounts;
  fWarnings = contents.fWarnings;
  return true;
}

QvStatus QvRegAlgorithm::RequestPass(QvPassKind kind, IQvPassSums& sums) {
  QvByteWriter state;
  if (kind == QvPassKind::kTables) {
    fBase = BaseOf(kind);
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
