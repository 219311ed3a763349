#include "qvreg/glm/QvGLMComponent.h"

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/glm/QvGLMAlgorithm.h"

using QvCommon::QvStatus;

QvGLMComponent::QvGLMComponent(const QvRegSettings& settings) {
  fStatus = StartAlgorithm<QvGLMAlgorithm>(settings, fCompSettings, fpAlgorithm);
}

QvGLMComponent::~QvGLMComponent() { fpAlgorithm.reset(); }

QvStatus QvGLMComponent::GetOutputStats(IQvRegOutputStats*& stats) {
  if (fStatus.IsError()) return fStatus;
  if (!IsModelBuilt()) return {QvStatusCode::kNotBuilt, false};
  return GetBuiltStats(stats);
}

void QvGLMComponent::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, " ");
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvGLMComponent display start");
  DisplayParts();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvGLMComponent display end");
}
