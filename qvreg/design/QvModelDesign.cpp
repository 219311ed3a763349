#include "qvreg/design/QvModelDesign.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvFactorTables.h"

namespace {

bool ContainsAll(const std::vector<int>& list, const std::vector<int>& wanted) {
  return std::all_of(wanted.begin(), wanted.end(), [&list](int var) {
    return std::find(list.begin(), list.end(), var) != list.end();
  });
}

/// The tables keep the model's order of factors, a parameter that of their nesting levels.
void SetCategories(QvRegrParameter& parameter, const std::vector<int>& tableFactors,
                   const std::vector<int>& codes) {
  const std::vector<int>& factors = parameter.GetFactors();
  for (std::size_t i = 0; i < codes.size(); ++i) {
    const auto place = std::find(factors.begin(), factors.end(), tableFactors[i]);
    parameter.GetCategories()[static_cast<std::size_t>(place - factors.begin())] = codes[i];
  }
}

}  // namespace

QvCommon::QvStatus QvTooManyParameters(long long nParameters, int most) {
  constexpr long long kLargest = std::numeric_limits<long>::max();  // 2^31 - 1 on Windows
  QvCommon::QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, static_cast<long>(std::min(nParameters, kLargest)));
  status.SetDiscreteDatum(1, most);
  return status;
}

QvModelDesign::QvModelDesign(const QvRegSettings& settings) : fSettings(settings) {
  if (settings.GetInterceptUse()) AddEffect(QvModelEffect());
  for (const QvModelEffect& effect : settings.GetModelEffects()) AddEffect(effect);
  for (const std::vector<int>* vars : {&settings.GetFactors(), &settings.GetCovariates()}) {
    for (const int var : *vars) fRecordSize = std::max(fRecordSize, var + 1);
  }
}

void QvModelDesign::AddEffect(const QvModelEffect& effect) {
  const auto index = static_cast<int>(fEffectParameters.size());
  QvRegrParameter parameter;
  parameter.SetEffectIndex(index);
  // An intercept is its index alone, and refused here.
  static_cast<void>(parameter.SetupFromEffect(effect, index, 0));
  fEffectParameters.push_back(std::move(parameter));
  fEffectFactors.push_back(effect.GetFactors());
}

bool QvModelDesign::AreVariablesKnown() const {
  return fSettings.AreRolesComplete() &&
         // An effect may be such that its parameter has no factors.
         std::all_of(fEffectFactors.begin(), fEffectFactors.end(),
                     [this](const std::vector<int>& factors) {
                       return ContainsAll(fSettings.GetFactors(), factors);
                     }) &&
         std::all_of(fEffectParameters.begin(), fEffectParameters.end(),
                     [this](const QvRegrParameter& parameter) {
                       return ContainsAll(fSettings.GetFactors(), parameter.GetFactors()) &&
                              ContainsAll(fSettings.GetCovariates(), parameter.GetCovariates());
                     });
}

void QvModelDesign::SetUpTables(QvFactorTables& tables,
                                const std::vector<int>& averagedVars) const {
  tables.SetModelEffectFactors(fEffectFactors, fSettings.GetFactors());
  tables.SetCovariates(averagedVars);
  tables.SetEffectCovariates(fEffectParameters);
  tables.SetRegrWeightVar(fSettings.GetRegrWeightVar());
  tables.SetRecordCountVar(fSettings.GetRecordCountVar());
}

std::vector<QvRegrParameter> CreateEffectParameters(
    const QvFactorTables& tables, const std::vector<QvRegrParameter>& effectParameters) {
  std::vector<QvRegrParameter> parameters;
  std::vector<int> codes;
  for (std::size_t e = 0; e < effectParameters.size(); ++e) {
    const auto effect = static_cast<int>(e);
    for (int k = 0; k < tables.GetNEffectParameters(effect); ++k) {
      parameters.push_back(effectParameters[e]);
      tables.GetParameterFactorValues(codes, effect, k);
      SetCategories(parameters.back(), tables.GetModelEffectFactors()[e], codes);
    }
  }
  return parameters;
}
