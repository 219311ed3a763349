#include "qvreg/c/qvreg_c_parameters.h"

#include <climits>
#include <string>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCHandles.h"
#include "qvreg/c/QvCList.h"
#include "qvreg/c/QvCStruct.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

const QvRegrParameter& At(const qvreg_parameters* parameters, size_t index) {
  const std::vector<QvRegrParameter>& all = Valid(parameters).fParameters;
  return all[QvCCheck::Below(index, all.size(), "parameter")];
}

QvRegrParameter& At(qvreg_parameters* parameters, size_t index) {
  std::vector<QvRegrParameter>& all = Valid(parameters).fParameters;
  return all[QvCCheck::Below(index, all.size(), "parameter")];
}

void RequirePosition(int32_t effectIndex) {
  if (effectIndex >= 0) return;
  throw QvCRefusal(QVREG_BAD_ARGUMENT, "The effect index " + std::to_string(effectIndex) +
                                           " is negative; positions count from 0.");
}

}  // namespace

int32_t qvreg_parameters_create(qvreg_parameters** parameters, qvreg_error* error) {
  return QvCCall(error, [&] { HandOut(parameters, "parameters"); });
}

void qvreg_parameters_destroy(qvreg_parameters* parameters) { DestroyHandle(parameters); }

int32_t qvreg_parameters_get_count(const qvreg_parameters* parameters, size_t* count,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const size_t size = Valid(parameters).fParameters.size();
    NotNull(count, "count") = size;
  });
}

int32_t qvreg_parameters_get_info(const qvreg_parameters* parameters, size_t index,
                                  qvreg_parameter_info* info, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegrParameter& from = At(parameters, index);
    QvCStruct::Fill(info, "info", [&](qvreg_parameter_info& to) {
      to.n_factors = from.GetNFactors();
      to.n_covariates = from.GetNCovariates();
      to.covariate_multiplicity = from.GetNCovariateMult();
      to.is_intercept = from.IsIntercept() ? 1 : 0;
      to.effect_index = from.GetEffectIndex();
      to.target_category = from.GetTargetCategory();
    });
  });
}

int32_t qvreg_parameters_get_factors(const qvreg_parameters* parameters, size_t index,
                                     int32_t* variables, int32_t* categories, int32_t* nest_levels,
                                     size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegrParameter& from = At(parameters, index);
    const QvCList list(from.GetFactors().size(), capacity, count);
    if (!list.IsWanted(variables, categories, nest_levels)) return;
    list.Copy(from.GetFactors(), variables);
    list.Copy(from.GetCategories(), categories);
    list.Copy(from.GetFactorNestLevels(), nest_levels);
  });
}

int32_t qvreg_parameters_get_covariates(const qvreg_parameters* parameters, size_t index,
                                        int32_t* variables, int32_t* multiplicities,
                                        size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegrParameter& from = At(parameters, index);
    const QvCList list(from.GetCovariates().size(), capacity, count);
    if (!list.IsWanted(variables, multiplicities)) return;
    list.Copy(from.GetCovariates(), variables);
    list.Copy(from.GetCovariateMultiplicities(), multiplicities);
  });
}

int32_t qvreg_parameters_get_category(const qvreg_parameters* parameters, size_t index,
                                      int32_t variable, int32_t not_found, int32_t* category,
                                      qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegrParameter& from = At(parameters, index);
    NotNull(category, "category") = from.ContainsFactor(variable, not_found);
  });
}

int32_t qvreg_parameters_get_covariate_multiplicity(const qvreg_parameters* parameters,
                                                    size_t index, int32_t variable,
                                                    int32_t* multiplicity, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvRegrParameter& from = At(parameters, index);
    NotNull(multiplicity, "multiplicity") = from.GetCovariateMult(variable);
  });
}

int32_t qvreg_parameters_equal(const qvreg_parameters* parameters, size_t index,
                               const qvreg_parameters* other, size_t other_index, int32_t* answer,
                               qvreg_error* error) {
  return QvCCall(error, [&] {
    const bool isEqual = At(parameters, index) == At(other, other_index);
    NotNull(answer, "answer") = isEqual ? 1 : 0;
  });
}

int32_t qvreg_parameters_append(qvreg_parameters* parameters, size_t* index, qvreg_error* error) {
  return QvCCall(error, [&] {
    std::vector<QvRegrParameter>& all = Valid(parameters).fParameters;
    all.emplace_back();
    if (index != nullptr) *index = all.size() - 1;
  });
}

int32_t qvreg_parameters_setup_from_effect(qvreg_parameters* parameters, size_t index,
                                           const qvreg_effect* effect, int32_t effect_index,
                                           int32_t category, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegrParameter& to = At(parameters, index);
    const QvCEffect& from = Valid(effect).fEffect;
    from.RequireWholeList();
    RequirePosition(effect_index);
    if (to.SetupFromEffect(from.Get(), effect_index, category)) return;
    throw QvCRefusal(QVREG_BAD_ARGUMENT,
                     "The effect has neither factors nor covariates; an intercept needs no setup.");
  });
}

int32_t qvreg_parameters_add_factor(qvreg_parameters* parameters, size_t index, int32_t variable,
                                    int32_t category, int32_t nest_level, qvreg_error* error) {
  return QvCCall(error, [&] {
    if (At(parameters, index).AddFactor(variable, category, nest_level)) return;
    throw QvCRefusal(QVREG_BAD_ARGUMENT,
                     "Factor " + std::to_string(variable) + " at nesting level " +
                         std::to_string(nest_level) +
                         " cannot be added: one of them is negative, or the factor is there "
                         "already.");
  });
}

int32_t qvreg_parameters_set_category(qvreg_parameters* parameters, size_t index, size_t position,
                                      int32_t category, qvreg_error* error) {
  return QvCCall(error, [&] {
    std::vector<int>& categories = At(parameters, index).GetCategories();
    categories[QvCCheck::Below(position, categories.size(), "factor of the parameter")] = category;
  });
}

int32_t qvreg_parameters_add_covariate(qvreg_parameters* parameters, size_t index, int32_t variable,
                                       int32_t multiplicity, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegrParameter& to = At(parameters, index);
    const int most = INT_MAX - to.GetNCovariateMult();
    if (multiplicity > most) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT, "The multiplicity " + std::to_string(multiplicity) +
                                               " of covariate " + std::to_string(variable) +
                                               " is too high; the parameter takes " +
                                               std::to_string(most) + " more at most.");
    }
    if (to.AddCovariate(variable, multiplicity) > 0) return;
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "Covariate " + std::to_string(variable) +
                                             " with multiplicity " + std::to_string(multiplicity) +
                                             " cannot be added; they must be 0 or more and 1 or "
                                             "more.");
  });
}

int32_t qvreg_parameters_set_effect_index(qvreg_parameters* parameters, size_t index,
                                          int32_t effect_index, qvreg_error* error) {
  return QvCCall(error, [&] {
    QvRegrParameter& to = At(parameters, index);
    RequirePosition(effect_index);
    to.SetEffectIndex(effect_index);
  });
}

int32_t qvreg_parameters_set_target_category(qvreg_parameters* parameters, size_t index,
                                             int32_t category, qvreg_error* error) {
  return QvCCall(error, [&] { At(parameters, index).SetTargetCategory(category); });
}

int32_t qvreg_parameters_display(const qvreg_parameters* parameters, size_t index,
                                 qvreg_error* error) {
  return QvCCall(error, [&] { At(parameters, index).Display(); });
}
