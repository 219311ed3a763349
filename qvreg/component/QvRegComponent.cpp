#include "qvreg/component/QvRegComponent.h"

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/settings/QvRegSettings.h"

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
    QvModelContents contents = fpAlgorithm->GetContents();
    contents.fStatus = fStatus;
    return QvModelMessage::Write(contents, bytes);
  });
}

bool TakeContents(QvRegComponent& component, QvModelContents& contents) {
  if (component.fStatus.IsError() || contents.fStatus.IsError()) return false;
  if (!component.fpAlgorithm->TakeContents(contents)) return false;
  component.fStatus = contents.fStatus;
  return component.IsModelBuilt();
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
