#include "qvreg/logistic/QvLogComponent.h"

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/logistic/QvLogAlgorithm.h"

using QvCommon::QvStatus;

QvLogComponent::QvLogComponent(const QvLogRegSettings& settings) {
  fStatus = StartAlgorithm<QvLogAlgorithm>(settings, fCompSettings, fpAlgorithm);
}

QvLogComponent::~QvLogComponent() { fpAlgorithm.reset(); }

QvStatus QvLogComponent::GetOutputStats(IQvRegOutputStats*& stats) {
  stats = nullptr;
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kAlreadyBuilt, false};
  return GetBuiltStats(stats);
}

void QvLogComponent::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvLogComponent display start");
  DisplayParts();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvLogComponent display end");
}
