#include "qvreg/glm/QvGLMComponent.h"

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvOperationGuard.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/glm/QvGLMAlgorithm.h"
#include "qvreg/glm/QvGLMOutputStats.h"

using QvCommon::QvStatus;

QvGLMComponent::QvGLMComponent(const QvRegSettings& settings) {
  fStatus = GuardOperation([&] {
    fCompSettings = settings;
    const QvStatus status = fCompSettings.IsValidSettings();
    if (!status.IsError()) fpAlgorithm = std::make_unique<QvGLMAlgorithm>(fCompSettings);
    return status;
  });
}

QvGLMComponent::~QvGLMComponent() = default;

QvStatus QvGLMComponent::CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                          std::vector<QvRegrParameter>& params) {
  return RunOperation(fStatus, [&] { return fpAlgorithm->CreateParameters(iter, params); });
}

QvStatus QvGLMComponent::BuildModel(QvCommon::MultiPassRecordIter& iter) {
  if (!fStatus.IsError() && !fpAlgorithm->IsDataProcessed()) {
    std::vector<QvRegrParameter> unused;
    CreateParameters(iter, unused);
  }
  return RunOperation(fStatus, [&] {
    if (IsModelBuilt()) return QvStatus(QvStatusCode::kAlreadyBuilt, false);
    return fpAlgorithm->BuildModel(iter);
  });
}

bool QvGLMComponent::IsModelBuilt() const {
  return !fStatus.IsError() && fpAlgorithm->IsModelBuilt();
}

QvStatus QvGLMComponent::GetOutputStats(IQvRegOutputStats*& stats) {
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kNotBuilt, false};
  return GuardOperation([&] {
    if (fpOutputStats == nullptr) {
      fpOutputStats = std::make_unique<QvGLMOutputStats>(fCompSettings, *fpAlgorithm);
    }
    stats = fpOutputStats.get();
    return fStatus;
  });
}

QvStatus QvGLMComponent::Score(const QvCommon::Record& record, double& predicted,
                               std::vector<double>& /*values*/) {
  if (!IsModelBuilt()) return fStatus;
  return fpAlgorithm->Score(record, predicted);
}

void QvGLMComponent::Cancel() {
  if (fpAlgorithm != nullptr) fpAlgorithm->Cancel();
}

std::vector<QvStatus> QvGLMComponent::GetWarnings() {
  std::vector<QvStatus> warnings;
  GuardOperation([&] {
    if (fpAlgorithm != nullptr) warnings = fpAlgorithm->GetWarnings();
    return fStatus;
  });
  return warnings;
}

QvRecordCounts QvGLMComponent::GetRecordCounts() const {
  return fpAlgorithm == nullptr ? QvRecordCounts() : fpAlgorithm->GetRecordCounts();
}

void QvGLMComponent::Display() const {
  GuardDisplay([this] {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, " ");
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvGLMComponent display start");
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
                                    "QvGLMComponent display end");
  });
}
