#include "qvreg/settings/QvRegSettings.h"

#include <algorithm>
#include <cstddef>
#include <exception>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"

using QvCommon::QvStatus;

namespace {

/// Appends `value`; false, and the vector emptied, without memory.
template <typename T>
bool Append(std::vector<T>& v, const T& value) {
  try {
    v.push_back(value);
    return true;
  } catch (const std::exception&) {
    v.clear();
    return false;
  }
}

}  // namespace

QvConst::QvRegModelType QvRegSettings::GetModelType() { return QvConst::QvRegModelGLM; }

QvStatus QvRegSettings::IsValidSettings() {
  if (fDependVar < 0) return {QvStatusCode::kNoDependent, false};
  if (!fInterceptUse && fModelEffects.empty()) return {QvStatusCode::kEmptyModel, false};
  return {};
}

bool QvRegSettings::IsFree(int var) const {
  if (var < 0) return false;
  const auto index = static_cast<std::size_t>(var);
  return index >= fVariableType.size() || fVariableType[index] == QvConst::QvVarNone;
}

bool QvRegSettings::AssignRole(int var, QvConst::QvVariableType role) {
  const auto index = static_cast<std::size_t>(var);
  try {
    if (index >= fVariableType.size()) fVariableType.resize(index + 1, QvConst::QvVarNone);
  } catch (const std::exception&) {
    fVariableType.clear();
    return false;
  }
  fVariableType[index] = role;
  return true;
}

bool QvRegSettings::SetDependent(int var) {
  if (fDependVar >= 0 || !IsFree(var)) return false;
  fDependVar = var;
  return AssignRole(var, QvConst::QvVarDependent);
}

int QvRegSettings::AddFactor(int var, int nCategories) {
  if (nCategories < 1 || !IsFree(var) || !AssignRole(var, QvConst::QvVarFactor)) return -1;
  if (!Append(fFactors, var) || !Append(fFactorSizes, nCategories)) {
    fFactors.clear();  // The two lists stay parallel.
    fFactorSizes.clear();
    return -1;
  }
  return static_cast<int>(fFactors.size());
}

int QvRegSettings::AddCovariate(int var) {
  if (!IsFree(var) || !AssignRole(var, QvConst::QvVarCovariate)) return -1;
  if (!Append(fCovariates, var)) return -1;
  return static_cast<int>(fCovariates.size());
}

bool QvRegSettings::SetFrequencyWeightVar(int var) {
  if (!IsFree(var) || !AssignRole(var, QvConst::QvVarFreqWeight)) return false;
  fFreqWeightVar = var;
  return true;
}

bool QvRegSettings::SetRegrWeightVar(int var) {
  if (!IsFree(var) || !AssignRole(var, QvConst::QvVarRegrWeight)) return false;
  fRegrWeightVar = var;
  return true;
}

bool QvRegSettings::SetRecordCountVar(int var) {
  if (fRecordCountVar >= 0 || !IsFree(var)) return false;
  if (!AssignRole(var, QvConst::QvVarRecordCount)) return false;
  fRecordCountVar = var;
  return true;
}

bool QvRegSettings::AddModelEffect(const QvModelEffect& effect) {
  return Append(fModelEffects, effect);
}

bool QvRegSettings::HasRole(int var, QvConst::QvVariableType role) const {
  const auto index = static_cast<std::size_t>(var);
  return index < fVariableType.size() && fVariableType[index] == role;
}

bool QvRegSettings::AreRolesComplete() const {
  const auto haveRole = [this](const std::vector<int>& vars, QvConst::QvVariableType role) {
    return std::all_of(vars.begin(), vars.end(), [&](int var) { return HasRole(var, role); });
  };
  return HasRole(fDependVar, QvConst::QvVarDependent) && haveRole(fFactors, QvConst::QvVarFactor) &&
         haveRole(fCovariates, QvConst::QvVarCovariate) &&
         (fFreqWeightVar < 0 || HasRole(fFreqWeightVar, QvConst::QvVarFreqWeight)) &&
         (fRegrWeightVar < 0 || HasRole(fRegrWeightVar, QvConst::QvVarRegrWeight)) &&
         (fRecordCountVar < 0 || HasRole(fRecordCountVar, QvConst::QvVarRecordCount));
}

void QvRegSettings::SetConfidenceLevel(double level) {
  if (level >= 0.0 && level < 1.0) fConfidence = level;
}

void QvRegSettings::SetDF(double nDegFreedom) {
  if (nDegFreedom > 0.0) fNDegFreedom = nDegFreedom;
}

void QvRegSettings::SetRefineEstimates(bool refine) {
  fRefineEstimates = refine;
  if (refine) fMaxRefinements = std::max(fMaxRefinements, 1);
}

bool QvRegSettings::SetMaxRefinements(int n) {
  if (n < 0) return false;
  fMaxRefinements = n;
  fRefineEstimates = n > 0;
  return true;
}

void QvRegSettings::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRegSettings display start");
  QvComponentDisplay::DisplayI("fFreqWeightVar", fFreqWeightVar);
  QvComponentDisplay::DisplayI("fRegrWeightVar", fRegrWeightVar);
  if (fRecordCountVar >= 0) QvComponentDisplay::DisplayI("fRecordCountVar", fRecordCountVar);
  QvComponentDisplay::DisplayI("Dependent Var", fDependVar);
  QvComponentDisplay::DisplayIV("Factors", fFactors);
  QvComponentDisplay::DisplayIV("Factor Sizes", fFactorSizes);
  QvComponentDisplay::DisplayIV("Covariates", fCovariates);
  QvComponentDisplay::DisplayD("Tolerance", fTolerance);
  QvComponentDisplay::DisplayB("Intercept use", fInterceptUse);
  QvComponentDisplay::DisplayD("Confidence", fConfidence);
  QvComponentDisplay::DisplayD("Degrees of freedom", fNDegFreedom);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "\nModel Effects:");
  for (const QvModelEffect& effect : fModelEffects) effect.Display();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRegSettings display end");
}
