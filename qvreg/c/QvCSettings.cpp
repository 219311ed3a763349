#include "qvreg/c/QvCSettings.h"

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

#include "qvreg/c/QvCPasses.h"
#include "qvreg/component/ProgressListener.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

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

/// The measures of a report, which lends its estimates.
qvreg_progress ProgressOf(ProgressReport& report) {
  qvreg_progress progress{};
  progress.struct_size = sizeof progress;
  progress.iteration = report.DiscreteMeasure("iterNum");
  progress.step_halvings = report.DiscreteMeasure("stepHalving");
  progress.log_likelihood = report.ScaleMeasure("loglik");
  progress.seconds = report.ScaleMeasure("time");
  auto* vectors = dynamic_cast<ProgressReportVect*>(&report);
  if (vectors == nullptr) return progress;
  if (const std::vector<double>* estimates = vectors->VectorMeasure("paramEstim")) {
    progress.estimates = estimates->data();
    progress.n_estimates = estimates->size();
  }
  return progress;
}

/// Hands the reports of an estimation to a host's callback. `user` is the host's, as the callback.
class CallbackListener : public ProgressListener {
 public:
  CallbackListener(qvreg_progress_callback callback, void* user)
      : fCallback(callback), fUser(user) {}

  void ReportProgress(ProgressReport* report) override {
    if (report == nullptr) return;
    const qvreg_progress progress = ProgressOf(*report);
    QvCHostCall("progress", [&] { fCallback(fUser, &progress); });
  }

 private:
  qvreg_progress_callback fCallback;
  void* fUser;
};

/// Asks a host's callback whether a run goes on. `user` is the host's, as the callback.
class CallbackCancel : public QvQueryCancel {
 public:
  CallbackCancel(qvreg_cancel_callback callback, void* user) : fCallback(callback), fUser(user) {}

  bool QueryCancel() override { return Ask(); }
  bool QueryWillCancel() override { return Ask(); }

 private:
  [[nodiscard]] bool Ask() const {
    return QvCHostCall("cancel", [this] { return fCallback(fUser); }) != 0;
  }

  qvreg_cancel_callback fCallback;
  void* fUser;
};

/// Settings keep a role for every variable below the highest one.
constexpr int kHighestVariable = QVREG_MAX_RECORD_SIZE - 1;

/// Throws the refusal unless a variable may be given a role.
void RequireFree(const QvRegSettings& settings, int variable, const char* role) {
  const std::string name = "Variable " + std::to_string(variable) + " cannot be " + role;
  if (variable < 0) {
    throw QvCRefusal(QVREG_SETTING_REFUSED,
                     name + "; a variable is a position in a record, 0 or more.");
  }
  if (variable > kHighestVariable) {
    throw QvCRefusal(QVREG_SETTING_REFUSED,
                     name + "; " + std::to_string(kHighestVariable) + " is the highest.");
  }
  const std::vector<QvConst::QvVariableType>& roles = settings.GetVariableTypes();
  const auto index = static_cast<std::size_t>(variable);
  if (index < roles.size() && roles[index] != QvConst::QvVarNone) {
    throw QvCRefusal(QVREG_SETTING_REFUSED, name + ": it has a role already; a variable has one.");
  }
}

/// Gives a variable a role by `change`, which fails for want of memory only.
template <typename Change>
void GiveRole(QvCSettings& settings, int variable, const char* role, Change&& change) {
  RequireFree(settings.Get(), variable, role);
  settings.Update(change);
}

}  // namespace

std::unique_ptr<QvRegSettings> QvCSettings::Copy(const QvRegSettings& settings) {
  if (const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings)) {
    return std::make_unique<QvLogRegSettings>(*logistic);
  }
  return std::make_unique<QvRegSettings>(settings);
}

QvCSettings::QvCSettings(std::int32_t model) : fSettings(Make(model)) {}

QvCSettings::QvCSettings(std::unique_ptr<QvRegSettings> settings) : fSettings(std::move(settings)) {
  for (const QvModelEffect& effect : fSettings->GetModelEffects()) {
    auto variables = std::make_shared<std::vector<int>>(effect.GetFactors());
    for (const int variable : effect.GetCovariates()) variables->push_back(variable);
    fVariables.push_back(std::move(variables));
  }
}

QvCSettings::QvCSettings(const QvCSettings& other)
    : fSettings(Copy(*other.fSettings)),
      fVariables(other.fVariables),
      fProgress(other.fProgress),
      fCancel(other.fCancel),
      fPlan(other.fPlan) {}

QvLogRegSettings& QvCSettings::GetLogistic() const {
  if (auto* logistic = dynamic_cast<QvLogRegSettings*>(fSettings.get())) return *logistic;
  throw QvCRefusal(QVREG_WRONG_MODEL,
                   "These choices belong to logistic settings, and these are linear ones; make "
                   "them of QVREG_MODEL_LOGISTIC.");
}

void QvCSettings::RequireKnownVariables() const {
  const std::vector<QvModelEffect>& effects = fSettings->GetModelEffects();
  for (std::size_t i = 0; i < effects.size(); ++i) {
    RequireAll(effects[i].GetFactors(), fSettings->GetFactors(), i, "factor");
    RequireAll(effects[i].GetCovariates(), fSettings->GetCovariates(), i, "covariate");
  }
}

void QvCSettings::AddEffect(const qvreg_effect& effect) {
  fVariables.reserve(fVariables.size() + 1);
  Update([&](QvRegSettings& settings) { return settings.AddModelEffect(effect.fEffect); });
  fVariables.push_back(effect.fVariables);
}

void QvCSettings::SetProgress(qvreg_progress_callback callback, void* user) {
  fProgress = callback == nullptr ? nullptr : std::make_shared<CallbackListener>(callback, user);
  fSettings->SetProgressListener(fProgress.get());
}

void QvCSettings::SetCancel(qvreg_cancel_callback callback, void* user) {
  fCancel = callback == nullptr ? nullptr : std::make_shared<CallbackCancel>(callback, user);
  fSettings->SetCancelPointer(fCancel.get());
}

std::unique_ptr<QvCRunner> QvCSettings::MakeRunner() const {
  return fPlan == nullptr ? nullptr : fPlan->Make(*fSettings);
}

int32_t qvreg_settings_create(int32_t model, qvreg_settings** settings, qvreg_error* error) {
  return QvCCall(error, [&] { QvCMake(settings, "settings", QvCSettings(model)); });
}

void qvreg_settings_destroy(qvreg_settings* settings) { QvCDestroy(settings); }

int32_t qvreg_settings_get_model(const qvreg_settings* settings, int32_t* model,
                                 qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegSettings& from = Valid(settings).fSettings.Get();
    NotNull(model, "model") = from.GetModelType();
  });
}

int32_t qvreg_settings_validate(const qvreg_settings* settings, qvreg_error* error) {
  return QvCCall(error,
                 [&] { return QvCReport(Valid(settings).fSettings.Get().IsValidSettings()); });
}

int32_t qvreg_settings_set_dependent(qvreg_settings* settings, int32_t variable,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    const int before = to.Get().GetDependent();
    if (before >= 0) {
      throw QvCRefusal(QVREG_SETTING_REFUSED,
                       "The settings have a dependent, variable " + std::to_string(before) +
                           ", and it cannot be replaced; make new settings.");
    }
    GiveRole(to, variable, "the dependent",
             [=](QvRegSettings& changed) { return changed.SetDependent(variable); });
  });
}

int32_t qvreg_settings_add_factor(qvreg_settings* settings, int32_t variable, int32_t n_categories,
                                  qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    if (n_categories < 1 || n_categories > QVREG_MAX_CATEGORIES) {
      const std::string rule = n_categories < 1
                                   ? "it has 1 or more."
                                   : "it has at most " + std::to_string(QVREG_MAX_CATEGORIES) + ".";
      throw QvCRefusal(QVREG_SETTING_REFUSED,
                       "Variable " + std::to_string(variable) + " cannot be a factor of " +
                           std::to_string(n_categories) + " categories; " + rule);
    }
    GiveRole(to, variable, "a factor",
             [=](QvRegSettings& changed) { return changed.AddFactor(variable, n_categories) > 0; });
  });
}

int32_t qvreg_settings_add_covariate(qvreg_settings* settings, int32_t variable,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    GiveRole(to, variable, "a covariate",
             [=](QvRegSettings& changed) { return changed.AddCovariate(variable) > 0; });
  });
}

int32_t qvreg_settings_set_frequency_weight(qvreg_settings* settings, int32_t variable,
                                            qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    GiveRole(to, variable, "the frequency weight",
             [=](QvRegSettings& changed) { return changed.SetFrequencyWeightVar(variable); });
  });
}

int32_t qvreg_settings_set_regression_weight(qvreg_settings* settings, int32_t variable,
                                             qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    GiveRole(to, variable, "the regression weight",
             [=](QvRegSettings& changed) { return changed.SetRegrWeightVar(variable); });
  });
}

int32_t qvreg_settings_set_record_count(qvreg_settings* settings, int32_t variable,
                                        qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCSettings& to = Valid(settings).fSettings;
    const int before = to.Get().GetRecordCountVar();
    if (before >= 0) {
      throw QvCRefusal(QVREG_SETTING_REFUSED,
                       "The settings have a record count, variable " + std::to_string(before) +
                           ", and it cannot be replaced; make new settings.");
    }
    GiveRole(to, variable, "the record count",
             [=](QvRegSettings& changed) { return changed.SetRecordCountVar(variable); });
  });
}

int32_t qvreg_settings_get_record_count(const qvreg_settings* settings, int32_t* variable,
                                        qvreg_error* error) {
  return QvCCall(error, [&] {
    NotNull(variable, "variable") = Valid(settings).fSettings.Get().GetRecordCountVar();
  });
}

int32_t qvreg_settings_add_effect(qvreg_settings* settings, const qvreg_effect* effect,
                                  qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.AddEffect(Valid(effect)); });
}

int32_t qvreg_settings_get_effect(const qvreg_settings* settings, int32_t index,
                                  qvreg_effect** effect, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCSettings& from = Valid(settings).fSettings;
    const std::size_t place = QvCCheck::Below(index, from.Get().GetModelEffects().size(), "effect");
    QvCMake(effect, "effect", from.VariablesOf(place), from.Get().GetModelEffects()[place]);
  });
}

int32_t qvreg_settings_get_roles(const qvreg_settings* settings, qvreg_roles* roles,
                                 qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegSettings& from = Valid(settings).fSettings.Get();
    QvCStruct::Fill(roles, "roles", [&](qvreg_roles& to) {
      to.dependent = from.GetDependent();
      to.frequency_weight = from.GetFrequencyWeightVar();
      to.regression_weight = from.GetRegrWeightVar();
      to.n_factors = static_cast<int32_t>(from.GetFactors().size());
      to.n_covariates = static_cast<int32_t>(from.GetCovariates().size());
      to.n_effects = from.GetNModelEffects();
      to.n_variables = static_cast<int32_t>(from.GetVariableTypes().size());
      to.are_complete = from.AreRolesComplete() ? 1 : 0;
    });
  });
}

int32_t qvreg_settings_get_factors(const qvreg_settings* settings, int32_t* variables,
                                   int32_t* n_categories, size_t capacity, size_t* count,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegSettings& from = Valid(settings).fSettings.Get();
    const QvCList list(from.GetFactors().size(), capacity, count);
    if (!list.IsWanted(variables, n_categories)) return;
    list.Copy(from.GetFactors(), variables);
    list.Copy(from.GetFactorSizes(), n_categories);
  });
}

int32_t qvreg_settings_get_covariates(const qvreg_settings* settings, int32_t* variables,
                                      size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(settings).fSettings.Get().GetCovariates(), variables, capacity, count);
  });
}

int32_t qvreg_settings_set_progress(qvreg_settings* settings, qvreg_progress_callback callback,
                                    void* user, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.SetProgress(callback, user); });
}

int32_t qvreg_settings_set_cancel(qvreg_settings* settings, qvreg_cancel_callback callback,
                                  void* user, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.SetCancel(callback, user); });
}
