#include "qvreg/factory/QvRegFactory.h"

#include <exception>
#include <memory>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"

namespace {

template <typename Component, typename Settings>
std::unique_ptr<IQvRegComponent> Make(const Settings& settings) {
  try {
    auto component = std::make_unique<Component>(settings);
    // Memory ran out within it. Any other error is what its check of the settings found.
    if (component->GetStatus().GetCode() == QvStatusCode::kTooManyParameters) return nullptr;
    return component;
  } catch (const std::exception&) {
    return nullptr;
  }
}

IQvRegComponent* MakeLogistic(QvRegSettings& settings) {
  // A host's own class may claim the model type without being such settings.
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  return logistic == nullptr ? nullptr : Make<QvLogComponent>(*logistic).release();
}

}  // namespace

IQvRegComponent* QvRegFactory::CreateRegAlgorithm(QvRegSettings& settings) {
  fStatus = settings.IsValidSettings();
  if (fStatus.IsError()) return nullptr;
  switch (settings.GetModelType()) {
    case QvConst::QvRegModelGLM:
      return Make<QvGLMComponent>(settings).release();
    case QvConst::QvRegModelLogistic:
      return MakeLogistic(settings);
  }
  return nullptr;
}
