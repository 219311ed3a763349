#include "qvreg/factory/QvRegFactory.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <vector>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
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

/// Whether the categories that the settings name are counted: what a component makes room for is
/// then there.
bool AreCategoriesCounted(const QvModelContents& contents) {
  const QvSettingsContents& settings = contents.fSettings;
  const std::vector<QvTableContents::Counts>& counts = contents.fTables.fFactorCounts;
  const auto isOfSize = [](int size, const QvTableContents::Counts& list) {
    return list.size() == static_cast<std::size_t>(size);
  };
  return std::equal(settings.fFactorSizes.begin(), settings.fFactorSizes.end(), counts.begin(),
                    counts.end(), isOfSize) &&
         (!settings.fLogistic ||
          isOfSize(settings.fLogistic->fNCategories, contents.fTables.fDependentCounts));
}

std::unique_ptr<QvRegComponent> Restore(QvModelContents& contents) {
  if (!AreCategoriesCounted(contents)) return nullptr;
  const std::unique_ptr<QvRegSettings> settings = MakeSettings(contents.fSettings);
  if (settings == nullptr) return nullptr;
  std::unique_ptr<QvRegComponent> component = MakeOwn(*settings);
  return TakeContents(*component, contents) ? std::move(component) : nullptr;
}

/// The component of what `read(contents)` gives, whose status is that of an error.
template <typename Read>
IQvRegComponent* RestoreFrom(QvCommon::QvStatus& status, Read&& read) {
  std::unique_ptr<QvRegComponent> component;
  status = GuardOperation([&]() -> QvCommon::QvStatus {
    QvModelContents contents;
    const QvCommon::QvStatus result = read(contents);
    if (result.IsError()) return result;
    component = Restore(contents);
    if (component == nullptr) return {QvStatusCode::kUnreadableMessage, false};
    return {};
  });
  return component.release();
}

}  // namespace

IQvRegComponent* QvRegFactory::RestoreComponent(const std::vector<unsigned char>& model) {
  return RestoreFrom(
      fStatus, [&](QvModelContents& contents) { return QvModelMessage::Read(model, contents); });
}

IQvRegComponent* QvRegFactory::RestoreComponent(const QvModelContents& model) {
  return RestoreFrom(fStatus, [&](QvModelContents& contents) {
    contents = model;
    return QvCommon::QvStatus();
  });
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
