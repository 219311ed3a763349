#include "qvreg/factory/QvRegFactory.h"

#include <exception>
#include <memory>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/component/QvRegComponent.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvSettingsBytes.h"

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

std::unique_ptr<QvRegComponent> MakeOwn(const QvRegSettings& settings) {
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  if (logistic != nullptr) return std::make_unique<QvLogComponent>(*logistic);
  return std::make_unique<QvGLMComponent>(settings);
}

std::unique_ptr<QvRegComponent> Restore(const std::vector<unsigned char>& model) {
  QvCommon::QvByteReader reader(model, QvCommon::QvMessageType::kModel);
  const std::unique_ptr<QvRegSettings> settings = ReadSettings(reader);
  if (settings == nullptr) return nullptr;
  std::unique_ptr<QvRegComponent> component = MakeOwn(*settings);
  return ReadModel(*component, reader) ? std::move(component) : nullptr;
}

}  // namespace

IQvRegComponent* QvRegFactory::RestoreComponent(const std::vector<unsigned char>& model) {
  std::unique_ptr<QvRegComponent> component;
  fStatus = GuardOperation([&]() -> QvCommon::QvStatus {
    component = Restore(model);
    if (component == nullptr) return {QvStatusCode::kUnreadableMessage, false};
    return {};
  });
  return component.release();
}

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
