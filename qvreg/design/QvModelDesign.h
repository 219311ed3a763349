#pragma once

#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

class QvFactorTables;

/// kTooManyParameters for so many parameters of a model that may have `most`: both are its data.
QvCommon::QvStatus QvTooManyParameters(long long nParameters, int most);

/// A model's effects as the passes need them: the intercept first, when it is used, then the
/// settings' effects. Reads the effects' variable lists during construction only.
///
/// Borrows the settings, which must outlive it. A value otherwise; const operations may run on
/// several threads at once.
class QvModelDesign {
 public:
  /// May throw std::bad_alloc.
  explicit QvModelDesign(const QvRegSettings& settings);

  /// Per effect a parameter that holds its factors and covariates.
  [[nodiscard]] const std::vector<QvRegrParameter>& GetEffectParameters() const {
    return fEffectParameters;
  }
  /// Per effect its factors, in the order of the model.
  [[nodiscard]] const std::vector<std::vector<int>>& GetEffectFactors() const {
    return fEffectFactors;
  }
  /// False when some effect names a factor or covariate that the settings do not, or when a
  /// variable has no role.
  [[nodiscard]] bool AreVariablesKnown() const;
  /// Tells `tables` the effects, the settings' factors, regression weight and record count, and the
  /// record indices of the variables to average, which the settings' covariates must be among.
  void SetUpTables(QvFactorTables& tables, const std::vector<int>& averagedVars) const;
  /// One more than the largest record index of a factor or covariate.
  [[nodiscard]] int GetRecordSize() const { return fRecordSize; }

 private:
  void AddEffect(const QvModelEffect& effect);

  const QvRegSettings& fSettings;
  std::vector<QvRegrParameter> fEffectParameters;
  std::vector<std::vector<int>> fEffectFactors;
  int fRecordSize = 0;
};

/// The parameters of all effects in index order: one per level combination that the tables hold of
/// an effect with factors, one of any other. REQUIRES: parameter indices created, for these
/// effects.
std::vector<QvRegrParameter> CreateEffectParameters(
    const QvFactorTables& tables, const std::vector<QvRegrParameter>& effectParameters);
