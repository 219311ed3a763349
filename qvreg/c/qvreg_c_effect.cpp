#include "qvreg/c/qvreg_c_effect.h"

#include <string>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCStruct.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

std::vector<QvModelEffect> AllOf(const qvreg_effect* const* effects, std::size_t nEffects) {
  if (nEffects == 0) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "There is no effect in the list; pass at least one.");
  }
  QvCCheck::Size(nEffects, "n_effects");
  NotNull(effects, "effects");
  const QvCEffect& first = Valid(effects[0]).fEffect;
  std::vector<QvModelEffect> all;
  for (std::size_t i = 0; i < nEffects; ++i) {
    const QvCEffect& effect = Valid(effects[i]).fEffect;
    effect.RequireWholeList();
    if (effect.ModelVariables() != first.ModelVariables() ||
        effect.Get().GetNModelFactors() != first.Get().GetNModelFactors()) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       "Effect " + std::to_string(i) +
                           " is over another list of variables than the first; pass effects of "
                           "one model.");
    }
    all.push_back(effect.OverListOf(first));
  }
  return all;
}

struct UsedVariables {
  std::vector<int> factors;
  std::vector<int> covariates;
};

UsedVariables UsedIn(const qvreg_effect* const* effects, std::size_t nEffects) {
  UsedVariables used;
  QvModelEffect::GetUsedVariables(AllOf(effects, nEffects), used.factors, used.covariates);
  return used;
}

}  // namespace

int32_t qvreg_effect_create(const int32_t* factors, size_t n_factors, const int32_t* covariates,
                            size_t n_covariates, qvreg_effect** effect, qvreg_error* error) {
  return QvCCall(error, [&] {
    HandOut(effect, "effect", QvCEffect(factors, n_factors, covariates, n_covariates));
  });
}

int32_t qvreg_effect_clone(const qvreg_effect* effect, qvreg_effect** copy, qvreg_error* error) {
  return QvCCall(error, [&] { HandOut(copy, "copy", Valid(effect).fEffect); });
}

void qvreg_effect_destroy(qvreg_effect* effect) { DestroyHandle(effect); }

int32_t qvreg_effect_setup(qvreg_effect* effect, const int32_t* factors, size_t n_factors,
                           const int32_t* covariates, size_t n_covariates, qvreg_error* error) {
  return QvCCall(error, [&] {
    Valid(effect).fEffect = QvCEffect(factors, n_factors, covariates, n_covariates);
  });
}

int32_t qvreg_effect_reset(qvreg_effect* effect, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(effect).fEffect.Get().Reset(); });
}

int32_t qvreg_effect_add_factor(qvreg_effect* effect, int32_t variable, int32_t nested,
                                qvreg_error* error) {
  return QvCCall(error, [&] {
    if (Valid(effect).fEffect.Get().AddNewFactor(variable, nested != 0)) return;
    throw QvCRefusal(QVREG_BAD_ARGUMENT,
                     "Variable " + std::to_string(variable) +
                         " is no factor of the effect's model, or is in the effect already; name "
                         "the model's factors when the effect is made.");
  });
}

int32_t qvreg_effect_add_covariate(qvreg_effect* effect, int32_t variable, int32_t* multiplicity,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const int now = Valid(effect).fEffect.Get().AddCovariate(variable);
    if (now < 0) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       "Variable " + std::to_string(variable) +
                           " is no covariate of the effect's model; name the model's covariates "
                           "when the effect is made.");
    }
    if (multiplicity != nullptr) *multiplicity = now;
  });
}

int32_t qvreg_effect_set_factors_in_parens(qvreg_effect* effect, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(effect).fEffect.Get().SetFactorsInParens(); });
}

int32_t qvreg_effect_get_info(const qvreg_effect* effect, qvreg_effect_info* info,
                              qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect.Get();
    QvCStruct::Fill(info, "info", [&](qvreg_effect_info& to) {
      to.n_factors = from.GetNFactors();
      to.n_covariates = from.GetNCovariates();
      to.n_levels = from.GetNLevels();
      to.covariate_multiplicity = from.GetNCovariateMult();
      to.n_model_factors = from.GetNModelFactors();
      to.n_model_covariates = from.GetNModelCovariates();
      to.is_intercept = from.IsIntercept() ? 1 : 0;
      to.factors_in_parens = from.GetFactorsInParens() ? 1 : 0;
    });
  });
}

int32_t qvreg_effect_get_factor_level(const qvreg_effect* effect, int32_t variable, int32_t* level,
                                      qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect.Get();
    NotNull(level, "level") = from.ContainsFactor(variable);
  });
}

int32_t qvreg_effect_get_covariate_multiplicity(const qvreg_effect* effect, int32_t variable,
                                                int32_t* multiplicity, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect.Get();
    NotNull(multiplicity, "multiplicity") = from.GetCovariateMult(variable);
  });
}

int32_t qvreg_effect_get_factors(const qvreg_effect* effect, int32_t* variables, int32_t* levels,
                                 size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect.Get();
    const std::vector<int> factors = from.GetFactors();
    const QvCList list(factors.size(), capacity, count);
    if (!list.IsWanted(variables, levels)) return;
    list.Copy(factors, variables);
    list.Copy(from.GetFactorLevels(), levels);
  });
}

int32_t qvreg_effect_get_covariates(const qvreg_effect* effect, int32_t* variables,
                                    int32_t* multiplicities, size_t capacity, size_t* count,
                                    qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect.Get();
    const std::vector<int> covariates = from.GetCovariates();
    const QvCList list(covariates.size(), capacity, count);
    if (!list.IsWanted(variables, multiplicities)) return;
    list.Copy(covariates, variables);
    list.Copy(from.GetCovMultiplicities(), multiplicities);
  });
}

int32_t qvreg_effect_get_main_vector(const qvreg_effect* effect, int32_t* slots, size_t capacity,
                                     size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(effect).fEffect.Get().GetModelEffect(), slots, capacity, count);
  });
}

int32_t qvreg_effect_get_model_variables(const qvreg_effect* effect, int32_t* variables,
                                         size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(Valid(effect).fEffect.ModelVariables(), variables, capacity, count);
  });
}

int32_t qvreg_effect_set_model_variables(qvreg_effect* effect, const int32_t* variables,
                                         size_t n_variables, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(effect).fEffect.SetVariables(variables, n_variables); });
}

int32_t qvreg_effect_is_contained_in(const qvreg_effect* effect, const qvreg_effect* other,
                                     int32_t* answer, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCEffect& container = Valid(other).fEffect;
    const bool isContained =
        Valid(effect).fEffect.OverListOf(container).IsContainedIn(container.Get());
    NotNull(answer, "answer") = isContained ? 1 : 0;
  });
}

int32_t qvreg_effect_equals(const qvreg_effect* effect, const qvreg_effect* other, int32_t* answer,
                            qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvCEffect& second = Valid(other).fEffect;
    const bool isEqual = Valid(effect).fEffect.OverListOf(second) == second.Get();
    NotNull(answer, "answer") = isEqual ? 1 : 0;
  });
}

int32_t qvreg_effect_apply_mask(qvreg_effect* effect, const int32_t* keep, size_t n_keep,
                                int32_t* was_unused, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvModelEffect& masked = Valid(effect).fEffect.Get();
    if (n_keep != masked.GetModelEffect().size()) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT, "The mask has " + std::to_string(n_keep) +
                                               " elements, and the main vector " +
                                               std::to_string(masked.GetModelEffect().size()) +
                                               "; pass as many.");
    }
    if (n_keep > 0) NotNull(keep, "keep");
    std::vector<bool> mask(n_keep);
    for (size_t i = 0; i < n_keep; ++i) mask[i] = keep[i] != 0;
    const bool wasUnused = masked.ApplyMask(mask);
    if (was_unused != nullptr) *was_unused = wasUnused ? 1 : 0;
  });
}

int32_t qvreg_effects_get_use(const qvreg_effect* const* effects, size_t n_effects, int32_t* used,
                              size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(QvModelEffect::CheckVariableUse(AllOf(effects, n_effects)), used, capacity, count);
  });
}

int32_t qvreg_effects_get_factors(const qvreg_effect* const* effects, size_t n_effects,
                                  int32_t* variables, size_t capacity, size_t* count,
                                  qvreg_error* error) {
  return QvCCall(
      error, [&] { QvCCopyList(UsedIn(effects, n_effects).factors, variables, capacity, count); });
}

int32_t qvreg_effects_get_covariates(const qvreg_effect* const* effects, size_t n_effects,
                                     int32_t* variables, size_t capacity, size_t* count,
                                     qvreg_error* error) {
  return QvCCall(error, [&] {
    QvCCopyList(UsedIn(effects, n_effects).covariates, variables, capacity, count);
  });
}

int32_t qvreg_effect_display(const qvreg_effect* effect, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(effect).fEffect.Get().Display(); });
}
