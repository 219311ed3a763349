#include "qvreg/component/QvRegFactory.h"

#include <exception>
#include <memory>

#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/QvStatusCodes.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "qvreg/settings/QvRegSettings.h"

namespace {

template <typename Component, typename Settings>
std::unique_ptr<IQvRegComponent> Make(const Settings& settings) {
  try {
    auto component = std::make_unique<Component>(settings);
    // The settings were found valid, so an error can only be memory that ran out.
    if (component->GetStatus().IsError()) return nullptr;
    return component;
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

IQvRegComponent* QvRegFactory::CreateRegAlgorithm(QvRegSettings& settings) {
  fStatus = settings.IsValidSettings();
  if (fStatus.IsError()) return nullptr;
  switch (settings.GetModelType()) {
    case QvConst::QvRegModelGLM:
      return Make<QvGLMComponent>(settings).release();
    case QvConst::QvRegModelLogistic:
      break;  // No such component yet.
  }
  return nullptr;
}
