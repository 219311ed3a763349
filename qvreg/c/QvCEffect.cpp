#include "qvreg/c/QvCEffect.h"

#include <string>

#include "qvreg/c/QvCCheck.h"

namespace {

void Append(std::vector<int>& list, const std::int32_t* variables, std::size_t count,
            const char* name) {
  if (count == 0) return;
  QvCCheck::NotNull(variables, name);
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

QvCEffect::Variables ListOf(const std::int32_t* factors, std::size_t nFactors,
                            const std::int32_t* covariates, std::size_t nCovariates) {
  // Before a list is read, whose length may be a host's mistake.
  QvCCheck::Size(nFactors, "n_factors");
  QvCCheck::Size(nCovariates, "n_covariates");
  QvCCheck::Size(nFactors + nCovariates, "n_factors + n_covariates");
  auto list = std::make_shared<std::vector<int>>();
  Append(*list, factors, nFactors, "factors");
  Append(*list, covariates, nCovariates, "covariates");
  return list;
}

}  // namespace

QvCEffect::QvCEffect(const std::int32_t* factors, std::size_t nFactors,
                     const std::int32_t* covariates, std::size_t nCovariates)
    : fVariables(ListOf(factors, nFactors, covariates, nCovariates)),
      fEffect(static_cast<int>(nFactors), static_cast<int>(nCovariates), fVariables.get()) {}

void QvCEffect::SetVariables(const std::int32_t* variables, std::size_t count) {
  if (count != fEffect.GetModelEffect().size()) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, "The list has " + std::to_string(count) +
                                             " variables, and the main vector of the effect " +
                                             std::to_string(fEffect.GetModelEffect().size()) +
                                             " slots; pass as many.");
  }
  auto list = std::make_shared<std::vector<int>>();
  Append(*list, variables, count, "variables");
  Share(list);
}

void QvCEffect::Share(const Variables& variables) {
  fVariables = variables;
  fEffect.SetVarIndices(fVariables.get());
}

void QvCEffect::RequireWholeList() const {
  if (fVariables->size() == fEffect.GetModelEffect().size()) return;
  throw QvCRefusal(QVREG_BAD_ARGUMENT,
                   "The effect has lost slots to a mask and still has its old list; give it "
                   "another with qvreg_effect_set_model_variables.");
}

QvModelEffect QvCEffect::OverListOf(const QvCEffect& other) const {
  QvModelEffect effect = fEffect;
  if (*fVariables == *other.fVariables) effect.SetVarIndices(other.fVariables.get());
  return effect;
}
