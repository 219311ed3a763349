#include "qvreg/c/QvCSettings.h"

#include <algorithm>
#include <string>

#include "qvreg/c/QvCRefusal.h"

namespace {

std::unique_ptr<QvRegSettings> Make(std::int32_t model) {
  if (model == QVREG_MODEL_LINEAR) return std::make_unique<QvRegSettings>();
  if (model == QVREG_MODEL_LOGISTIC) return std::make_unique<QvLogRegSettings>();
  throw QvCRefusal(QVREG_BAD_ARGUMENT, "There is no model " + std::to_string(model) +
                                           "; pass QVREG_MODEL_LINEAR or QVREG_MODEL_LOGISTIC.");
}

void RequireAll(const std::vector<int>& used, const std::vector<int>& known, std::size_t effect,
                const char* role) {
  for (const int variable : used) {
    if (std::find(known.begin(), known.end(), variable) != known.end()) continue;
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "Effect " + std::to_string(effect) + " uses variable " +
                                             std::to_string(variable) + " as a " + role +
                                             ", which the settings do not; add it to them.");
  }
}

}  // namespace

std::unique_ptr<QvRegSettings> QvCSettings::Copy(const QvRegSettings& settings) {
  if (const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings)) {
    return std::make_unique<QvLogRegSettings>(*logistic);
  }
  return std::make_unique<QvRegSettings>(settings);
}

QvCSettings::QvCSettings(std::int32_t model) : fSettings(Make(model)) {}

QvCSettings::QvCSettings(const QvCSettings& other)
    : fSettings(Copy(*other.fSettings)),
      fLists(other.fLists),
      fProgress(other.fProgress),
      fCancel(other.fCancel) {}

bool QvCSettings::IsLogistic() const {
  return fSettings->GetModelType() == QvConst::QvRegModelLogistic;
}

QvLogRegSettings& QvCSettings::GetLogistic() const {
  if (auto* logistic = dynamic_cast<QvLogRegSettings*>(fSettings.get())) return *logistic;
  throw QvCRefusal(QVREG_WRONG_MODEL,
                   "These choices belong to logistic settings, and these are linear ones; make "
                   "them of QVREG_MODEL_LOGISTIC.");
}

QvCEffect::Variables QvCSettings::KnownList(const QvCEffect::Variables& variables) {
  const auto known = std::find_if(fLists.rbegin(), fLists.rend(), [&](const auto& list) {
    return list == variables || *list == *variables;
  });
  if (known != fLists.rend()) return *known;
  fLists.push_back(variables);
  return variables;
}

void QvCSettings::AddEffect(QvCEffect effect) {
  effect.RequireWholeList();
  effect.Share(KnownList(effect.SharedVariables()));
  Update([&](QvRegSettings& settings) { return settings.AddModelEffect(effect.Get()); });
}

QvCEffect QvCSettings::Effect(std::size_t index) const {
  const QvModelEffect& effect = fSettings->GetModelEffects()[index];
  const auto list = std::find_if(fLists.begin(), fLists.end(), [&](const auto& candidate) {
    return candidate.get() == effect.GetVarIndices();
  });
  return {effect, *list};
}

void QvCSettings::RequireKnownVariables() const {
  const std::vector<QvModelEffect>& effects = fSettings->GetModelEffects();
  for (std::size_t i = 0; i < effects.size(); ++i) {
    RequireAll(effects[i].GetFactors(), fSettings->GetFactors(), i, "factor");
    RequireAll(effects[i].GetCovariates(), fSettings->GetCovariates(), i, "covariate");
  }
}

void QvCSettings::RequireWholeRoles() const {
  if (fSettings->AreRolesComplete()) return;
  throw QvCRefusal(QVREG_SETTING_REFUSED,
                   "The roles of the settings are not complete, since memory ran out while they "
                   "were set; make new settings.");
}

void QvCSettings::SetProgress(qvreg_progress_callback callback, void* user) {
  fProgress = callback == nullptr ? nullptr : std::make_shared<QvCProgressListener>(callback, user);
  fSettings->SetProgressListener(fProgress.get());
}

void QvCSettings::SetCancel(qvreg_cancel_callback callback, void* user) {
  fCancel = callback == nullptr ? nullptr : std::make_shared<QvCQueryCancel>(callback, user);
  fSettings->SetCancelPointer(fCancel.get());
}
