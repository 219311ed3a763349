#include <cstddef>
#include <cstdint>
#include <vector>

#include "qvreg/c/QvCComponent.h"
#include "qvreg/c/qvreg_c.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

const QvRegrParameter& At(const qvreg_parameters* parameters, size_t index) {
  const std::vector<QvRegrParameter>& all = Valid(parameters).fParameters;
  return all[QvCCheck::Below(index, all.size(), "parameter")];
}

}  // namespace

void qvreg_parameters_destroy(qvreg_parameters* parameters) { QvCDestroy(parameters); }

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
