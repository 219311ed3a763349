#include "qvreg/component/QvRegAlgorithm.h"

#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvBytes;
using QvCommon::QvByteWriter;
using QvCommon::QvStatus;

QvStatus QvRegAlgorithm::RequestPass(QvPassKind kind, IQvPassSums& sums) {
  const bool isFirst = kind == QvPassKind::kTables;
  if (isFirst || fBase.empty()) {
    QvByteWriter base;
    WriteSettings(fBaseSettings, base);
    if (!isFirst) WriteTables(base);
    fBase = base.TakeBytes();
  }
  QvByteWriter state;
  if (!isFirst) WriteState(kind, state);
  const QvBytes request = WriteRequest(kind, fBase, state.GetBytes());
  // The first pass's is of the settings alone.
  if (isFirst) fBase = {};
  QvPassRequest unpacked;
  QvStatus status = ReadRequest(request, unpacked);
  if (status.IsError()) return status;
  QvBytes answer;
  status = fBaseSettings.GetPassRunner()->Run(request, fCancelInfo, answer);
  if (status.IsError()) return status;
  if (fCancelInfo.StopRequested()) return {QvStatusCode::kCancelled, false};
  return ReadAnswer(answer, unpacked, sums);
}
