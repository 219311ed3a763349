#include "qvreg/logistic/QvLogComponent.h"

#include <optional>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvOperationGuard.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogAlgorithm.h"
#include "qvreg/logistic/QvLogOutputStats.h"

using QvCommon::QvStatus;

QvLogComponent::QvLogComponent(const QvLogRegSettings& settings) {
  fStatus = GuardOperation([&] {
    fCompSettings = settings;
    const QvStatus status = fCompSettings.IsValidSettings();
    if (!status.IsError()) fpAlgorithm = std::make_unique<QvLogAlgorithm>(fCompSettings);
    return status;
  });
}

QvLogComponent::~QvLogComponent() = default;

QvStatus QvLogComponent::CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  return RunOperation(fStatus, [&] { return fpAlgorithm->CreateParameters(iter, params); });
}

QvStatus QvLogComponent::BuildModel(QvCommon::MultiPassRecordIter& iter) {
  if (!fStatus.IsError() && !fpAlgorithm->AreParametersCreated()) {
    std::vector<QvRegrParameter> unused;
    CreateParameters(iter, unused);
  }
  return RunOperation(fStatus, [&] {
    if (IsModelBuilt()) return QvStatus(QvStatusCode::kAlreadyBuilt, false);
    return fpAlgorithm->BuildModel(iter);
  });
}

bool QvLogComponent::IsModelBuilt() const {
  return !fStatus.IsError() && fpAlgorithm->IsModelBuilt();
}

QvStatus QvLogComponent::GetOutputStats(IQvRegOutputStats*& stats) {
  stats = nullptr;
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kAlreadyBuilt, false};
  return GuardOperation([&] {
    if (fpOutputStats == nullptr) {
      fpOutputStats = std::make_unique<QvLogOutputStats>(fCompSettings, *fpAlgorithm);
    }
    stats = fpOutputStats.get();
    return fStatus;
  });
}

QvStatus QvLogComponent::Score(const QvCommon::Record& record, double& predicted,
                               std::vector<double>& values) {
  if (!IsModelBuilt()) return fStatus;
  return GuardOperation([&] {
    std::optional<int> code;
    const QvStatus status = fpAlgorithm->Score(record, values, code);
    if (code) predicted = *code;
    return status;
  });
}

void QvLogComponent::Cancel() {
  if (fpAlgorithm != nullptr) fpAlgorithm->Cancel();
}

std::vector<QvStatus> QvLogComponent::GetWarnings() {
  std::vector<QvStatus> warnings;
  GuardOperation([&] {
    if (fpAlgorithm != nullptr) warnings = fpAlgorithm->GetWarnings();
    return fStatus;
  });
  return warnings;
}

QvRecordCounts QvLogComponent::GetRecordCounts() const {
  return fpAlgorithm == nullptr ? QvRecordCounts() : fpAlgorithm->GetRecordCounts();
}

void QvLogComponent::Display() const {
  GuardDisplay([this] {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvLogComponent display start");
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fCompSettings");
    fCompSettings.Display();
    if (fpAlgorithm != nullptr) {
      QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpAlgorithm");
      fpAlgorithm->Display();
    }
    if (fpOutputStats != nullptr) {
      QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpOutputStats");
      fpOutputStats->Display();
    }
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvLogComponent display end");
  });
}
