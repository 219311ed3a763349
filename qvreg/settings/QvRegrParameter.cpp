#include "qvreg/settings/QvRegrParameter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <numeric>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/settings/QvModelEffect.h"

namespace {

/// The place of `value` in v, or v's size.
std::size_t IndexIn(const std::vector<int>& v, int value) {
  return static_cast<std::size_t>(std::find(v.begin(), v.end(), value) - v.begin());
}

/// Reserves storage for one more element in each list, so that adding to all of them cannot fail
/// midway.
void ReserveOneMore(std::initializer_list<std::vector<int>*> lists) {
  for (std::vector<int>* list : lists) list->reserve(list->size() + 1);
}

}  // namespace

bool QvRegrParameter::AddFactor(int var, int category, int nestLevel) {
  if (var < 0 || nestLevel < 0 || IndexIn(fFactors, var) < fFactors.size()) return false;
  const auto place =
      std::upper_bound(fFactorNestLevels.begin(), fFactorNestLevels.end(), nestLevel) -
      fFactorNestLevels.begin();
  ReserveOneMore({&fFactors, &fCategories, &fFactorNestLevels});
  fFactors.insert(fFactors.begin() + place, var);
  fCategories.insert(fCategories.begin() + place, category);
  fFactorNestLevels.insert(fFactorNestLevels.begin() + place, nestLevel);
  return true;
}

int QvRegrParameter::ContainsFactor(int var, int notFound) const {
  const std::size_t index = IndexIn(fFactors, var);
  return index < fFactors.size() ? fCategories[index] : notFound;
}

int QvRegrParameter::AddCovariate(int var, int multiplicity) {
  if (var < 0 || multiplicity < 1) return 0;
  const std::size_t index = IndexIn(fCovariates, var);
  if (index < fCovariates.size()) return fCovariateMultiplicities[index] += multiplicity;
  ReserveOneMore({&fCovariates, &fCovariateMultiplicities});
  fCovariates.push_back(var);
  fCovariateMultiplicities.push_back(multiplicity);
  return multiplicity;
}

int QvRegrParameter::GetCovariateMult(int var) const {
  const std::size_t index = IndexIn(fCovariates, var);
  return index < fCovariates.size() ? fCovariateMultiplicities[index] : 0;
}

int QvRegrParameter::GetNCovariateMult() const {
  return std::accumulate(fCovariateMultiplicities.begin(), fCovariateMultiplicities.end(), 0);
}

void QvRegrParameter::SetEffectIndex(int effectIndex) {
  if (effectIndex >= 0) fEffectIndex = effectIndex;
}

bool QvRegrParameter::SetupFromEffect(const QvModelEffect& effect, int effectIndex, int category) {
  if (effect.IsIntercept() || effectIndex < 0) return false;
  QvRegrParameter made;
  made.fEffectIndex = effectIndex;
  made.fTargetCategory = fTargetCategory;
  const std::vector<int> factors = effect.GetFactors();
  const std::vector<int> levels = effect.GetFactorLevels();
  for (std::size_t i = 0; i < factors.size(); ++i) {
    // Refused for a factor that the model lists twice: the parameter has it once.
    static_cast<void>(made.AddFactor(factors[i], category, levels[i]));
  }
  made.fCovariates = effect.GetCovariates();
  made.fCovariateMultiplicities = effect.GetCovMultiplicities();
  *this = std::move(made);
  return true;
}

void QvRegrParameter::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "Begin QvRegrParameter object display.");
  if (fFactors.empty()) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "No factors are present.");
  } else {
    QvComponentDisplay::DisplayIV("The factors:", fFactors);
    QvComponentDisplay::DisplayIV("Categories:", fCategories);
    QvComponentDisplay::DisplayIV("Factor nesting levels:", fFactorNestLevels);
  }
  if (fCovariates.empty()) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "No covariates are present.");
  } else {
    QvComponentDisplay::DisplayIV("Covariates:", fCovariates);
    QvComponentDisplay::DisplayIV("Covariate multiplicities:", fCovariateMultiplicities);
  }
  QvComponentDisplay::DisplayI("Index of the effect", fEffectIndex);
  if (fTargetCategory >= 0) QvComponentDisplay::DisplayI("Target category", fTargetCategory);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "End QvRegrParameter object display.\n");
}

double QvRegrParameterStats::GetSqrtDeff() const {
  return fDesignEffect < 0.0 ? QvMV::gMissingValue : std::sqrt(fDesignEffect);
}
