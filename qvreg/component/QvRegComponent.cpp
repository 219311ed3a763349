#include "qvreg/component/QvRegComponent.h"

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvSettingsBytes.h"

using QvCommon::QvStatus;

QvRegComponent::QvRegComponent() = default;

QvRegComponent::~QvRegComponent() = default;

QvStatus QvRegComponent::CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  return RunOperation(fStatus, [&] { return fpAlgorithm->CreateParameters(iter, params); });
}

QvStatus QvRegComponent::BuildModel(QvCommon::MultiPassRecordIter& iter) {
  if (!fStatus.IsError() && !fpAlgorithm->AreParametersCreated()) {
    std::vector<QvRegrParameter> unused;
    CreateParameters(iter, unused);
  }
  return RunOperation(fStatus, [&] {
    if (IsModelBuilt()) return QvStatus(QvStatusCode::kAlreadyBuilt, false);
    return fpAlgorithm->BuildModel(iter);
  });
}

bool QvRegComponent::IsModelBuilt() const {
  return !fStatus.IsError() && fpAlgorithm->IsModelBuilt();
}

QvStatus QvRegComponent::GetBuiltStats(IQvRegOutputStats*& stats) {
  return GuardOperation([&] {
    if (fpOutputStats == nullptr) fpOutputStats = fpAlgorithm->MakeOutputStats();
    stats = fpOutputStats.get();
    return fStatus;
  });
}

QvStatus QvRegComponent::Score(const QvCommon::Record& record, double& predicted,
                               std::vector<double>& values) {
  if (!IsModelBuilt()) return fStatus;
  return GuardOperation([&] { return fpAlgorithm->Score(record, predicted, values); });
}

QvStatus QvRegComponent::WriteScoring(std::vector<unsigned char>& bytes) {
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kNotBuilt, false};
  return GuardOperation([&] {
    bytes = fpAlgorithm->WriteScoring();
    return QvStatus();
  });
}

QvStatus QvRegComponent::WriteModel(std::vector<unsigned char>& bytes) {
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kNotBuilt, false};
  return GuardOperation([&] {
    QvCommon::QvByteWriter writer;
    WriteSettings(GetCompSettings(), writer);
    fpAlgorithm->WriteModel(writer);
    WriteStatus(fStatus, writer);
    bytes = writer.TakeMessage(QvCommon::QvMessageType::kModel);
    return QvStatus();
  });
}

bool ReadModel(QvRegComponent& component, QvCommon::QvByteReader& reader) {
  if (component.fStatus.IsError()) return false;
  component.fpAlgorithm->ReadModel(reader);
  component.fStatus = ReadStatus(reader);
  return reader.IsAtEnd() && component.IsModelBuilt();
}

void QvRegComponent::Cancel() {
  if (fpAlgorithm != nullptr) fpAlgorithm->Cancel();
}

std::vector<QvStatus> QvRegComponent::GetWarnings() {
  std::vector<QvStatus> warnings;
  GuardOperation([&] {
    if (fpAlgorithm != nullptr) warnings = fpAlgorithm->GetWarnings();
    return fStatus;
  });
  return warnings;
}

QvRecordCounts QvRegComponent::GetRecordCounts() const {
  return fpAlgorithm == nullptr ? QvRecordCounts() : fpAlgorithm->GetRecordCounts();
}

void QvRegComponent::DisplayParts() const {
  GuardDisplay([this] {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fCompSettings");
    GetCompSettings().Display();
    if (fpAlgorithm != nullptr) {
      QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpAlgorithm");
      fpAlgorithm->Display();
    }
    if (fpOutputStats != nullptr) {
      QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpOutputStats");
      fpOutputStats->Display();
    }
  });
}
