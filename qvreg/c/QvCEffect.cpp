#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qvreg/c/QvCSettings.h"
#include "qvreg/c/qvreg_c.h"

using QvCCheck::NotNull;
using QvCCheck::Valid;

namespace {

/// Appends a host's variables; `name` is the argument's.
void Append(std::vector<int>& list, const std::int32_t* variables, std::size_t count,
            const char* name) {
  if (count == 0) return;
  NotNull(variables, name);
  for (std::size_t i = 0; i < count; ++i) {
    if (variables[i] < 0) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       std::string("Element ") + std::to_string(i) + " of " + name + " is " +
                           std::to_string(variables[i]) +
                           "; a variable is a position in a record, 0 or more.");
    }
    list.push_back(variables[i]);
  }
}

}  // namespace

int32_t qvreg_effect_create(const int32_t* factors, size_t n_factors, const int32_t* covariates,
                            size_t n_covariates, qvreg_effect** effect, qvreg_error* error) {
  return QvCCall(error, [&] {
    // Before a list is read: its length may be wrong.
    const int nFactors = QvCCheck::Size(n_factors, "n_factors");
    const int nCovariates = QvCCheck::Size(n_covariates, "n_covariates");
    QvCCheck::Size(n_factors + n_covariates, "n_factors + n_covariates");
    const auto variables = std::make_shared<std::vector<int>>();
    Append(*variables, factors, n_factors, "factors");
    Append(*variables, covariates, n_covariates, "covariates");
    QvCMake(effect, "effect", variables, QvModelEffect(nFactors, nCovariates, variables.get()));
  });
}

void qvreg_effect_destroy(qvreg_effect* effect) { QvCDestroy(effect); }

int32_t qvreg_effect_add_factor(qvreg_effect* effect, int32_t variable, int32_t nested,
                                qvreg_error* error) {
  return QvCCall(error, [&] {
    if (Valid(effect).fEffect.AddNewFactor(variable, nested != 0)) return;
    throw QvCRefusal(QVREG_BAD_ARGUMENT,
                     "Variable " + std::to_string(variable) +
                         " is no factor of the effect's model, or is in the effect already; name "
                         "the model's factors when the effect is made.");
  });
}

int32_t qvreg_effect_add_covariate(qvreg_effect* effect, int32_t variable, int32_t* multiplicity,
                                   qvreg_error* error) {
  return QvCCall(error, [&] {
    const int now = Valid(effect).fEffect.AddCovariate(variable);
    if (now < 0) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       "Variable " + std::to_string(variable) +
                           " is no covariate of the effect's model; name the model's covariates "
                           "when the effect is made.");
    }
    if (multiplicity != nullptr) *multiplicity = now;
  });
}

int32_t qvreg_effect_reset(qvreg_effect* effect, qvreg_error* error) {
  return QvCCall(error, [&] { Valid(effect).fEffect.Reset(); });
}

int32_t qvreg_effect_get_factors(const qvreg_effect* effect, int32_t* variables, int32_t* levels,
                                 size_t capacity, size_t* count, qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect;
    const QvCList list(static_cast<size_t>(from.GetNFactors()), capacity, count);
    if (!list.IsWanted(variables, levels)) return;
    list.Copy(from.GetFactors(), variables);
    list.Copy(from.GetFactorLevels(), levels);
  });
}

int32_t qvreg_effect_get_covariates(const qvreg_effect* effect, int32_t* variables,
                                    int32_t* multiplicities, size_t capacity, size_t* count,
                                    qvreg_error* error) {
  return QvCCall(error, [&] {
    const QvModelEffect& from = Valid(effect).fEffect;
    const QvCList list(static_cast<size_t>(from.GetNCovariates()), capacity, count);
    if (!list.IsWanted(variables, multiplicities)) return;
    list.Copy(from.GetCovariates(), variables);
    list.Copy(from.GetCovMultiplicities(), multiplicities);
  });
}
