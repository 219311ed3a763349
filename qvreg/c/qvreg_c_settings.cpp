#include "qvreg/c/qvreg_c_settings.h"

#include <climits>
#include <cmath>
#include <new>
#include <string>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCOptions.h"
#include "qvreg/c/QvCStruct.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Variables are counted in an int too, and there is one more of them.
constexpr int kHighestVariable = INT_MAX - 1;

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

int32_t qvreg_settings_create(int32_t model, qvreg_settings** settings, qvreg_error* error) {
  return QvCCall(error, [&] { HandOut(settings, "settings", QvCSettings(model)); });
}

int32_t qvreg_settings_clone(const qvreg_settings* settings, qvreg_settings** copy,
                             qvreg_error* error) {
  return QvCCall(error, [&] { HandOut(copy, "copy", Valid(settings).fSettings); });
}

void qvreg_settings_destroy(qvreg_settings* settings) { DestroyHandle(settings); }

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
    if (n_categories < 1) {
      throw QvCRefusal(QVREG_SETTING_REFUSED,
                       "Variable " + std::to_string(variable) + " cannot be a factor of " +
                           std::to_string(n_categories) + " categories; it has 1 or more.");
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

int32_t qvreg_settings_add_effect(qvreg_settings* settings, const qvreg_effect* effect,
                                  qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.AddEffect(Valid(effect).fEffect); });
}

int32_t qvreg_settings_get_effect(const qvreg_settings* settings, int32_t index,
                                  qvreg_effect** effect, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCSettings& from = Valid(settings).fSettings;
    const std::size_t place = QvCCheck::Below(index, from.Get().GetModelEffects().size(), "effect");
    HandOut(effect, "effect", from.Effect(place));
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

int32_t qvreg_settings_get_variable_roles(const qvreg_settings* settings, int32_t* roles,
                                          size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(settings).fSettings.Get().GetVariableTypes(), roles, capacity, count);
  });
}

int32_t qvreg_settings_get_options(const qvreg_settings* settings, qvreg_options* options,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegSettings& from = Valid(settings).fSettings.Get();
    QvCStruct::Fill(options, "options", [&](qvreg_options& to) { QvCOptions::Read(from, to); });
  });
}

int32_t qvreg_settings_set_options(qvreg_settings* settings, const qvreg_options* options,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegSettings& to = Valid(settings).fSettings.Get();
    qvreg_options present{};
    QvCOptions::Read(to, present);
    QvCOptions::Write(QvCStruct::Take(options, "options", present), to);
  });
}

int32_t qvreg_settings_get_logistic_options(const qvreg_settings* settings,
                                            qvreg_logistic_options* options, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvLogRegSettings& from = Valid(settings).fSettings.GetLogistic();
    QvCStruct::Fill(options, "options",
                    [&](qvreg_logistic_options& to) { QvCOptions::Read(from, to); });
  });
}

int32_t qvreg_settings_set_logistic_options(qvreg_settings* settings,
                                            const qvreg_logistic_options* options,
                                            qvreg_error* error) {
  return QvCCall(error, [&] {
    QvLogRegSettings& to = Valid(settings).fSettings.GetLogistic();
    qvreg_logistic_options present{};
    QvCOptions::Read(to, present);
    QvCOptions::Write(QvCStruct::Take(options, "options", present), to);
  });
}

int32_t qvreg_settings_set_starting_values(qvreg_settings* settings, const double* values,
                                           size_t count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvLogRegSettings& to = Valid(settings).fSettings.GetLogistic();
    std::vector<double> given;
    if (QvCCheck::Size(count, "count") > 0) {
      given.assign(&NotNull(values, "values"), values + count);
    }
    for (size_t i = 0; i < count; ++i) {
      if (std::isfinite(given[i])) continue;
      throw QvCRefusal(QVREG_SETTING_REFUSED, "The starting value of index " + std::to_string(i) +
                                                  " is not finite; pass finite numbers.");
    }
    if (!to.SetStartingValues(given)) throw std::bad_alloc();
  });
}

int32_t qvreg_settings_get_starting_values(const qvreg_settings* settings, double* values,
                                           size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(settings).fSettings.GetLogistic().GetStartingValues(), values, capacity,
                count);
  });
}

int32_t qvreg_settings_set_progress(qvreg_settings* settings, qvreg_progress_callback callback,
                                    void* user, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.SetProgress(callback, user); });
}

int32_t qvreg_settings_get_progress(const qvreg_settings* settings,
                                    qvreg_progress_callback* callback, void** user,
                                    qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCProgressListener* from = Valid(settings).fSettings.Progress();
    NotNull(callback, "callback") = from == nullptr ? nullptr : from->Callback();
    if (user != nullptr) *user = from == nullptr ? nullptr : from->User();
  });
}

int32_t qvreg_settings_set_cancel(qvreg_settings* settings, qvreg_cancel_callback callback,
                                  void* user, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.SetCancel(callback, user); });
}

int32_t qvreg_settings_get_cancel(const qvreg_settings* settings, qvreg_cancel_callback* callback,
                                  void** user, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCQueryCancel* from = Valid(settings).fSettings.Cancel();
    NotNull(callback, "callback") = from == nullptr ? nullptr : from->Callback();
    if (user != nullptr) *user = from == nullptr ? nullptr : from->User();
  });
}

int32_t qvreg_settings_display(const qvreg_settings* settings, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(settings).fSettings.Get().Display(); });
}
