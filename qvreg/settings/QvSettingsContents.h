#pragma once

#include <optional>
#include <vector>

/// \file
/// Settings of either model as plain numbers: a part of QvModelContents.

/// One effect of a model, the intercept not among them. A plain value.
struct QvEffectContents {
  /// Record indices of its factors; see QvModelEffect::GetFactors.
  std::vector<int> fFactors;
  /// Of each its nesting level, 0 for those that are nested in all others; see
  /// QvModelEffect::GetFactorLevels.
  std::vector<int> fLevels;
  /// Record indices of its covariates, each as often as its power says.
  std::vector<int> fCovariates;
  /// See QvModelEffect::SetFactorsInParens.
  bool fbFactorsInParens = false;
};

/// What the settings of a logistic model add; see QvLogRegSettings, whose defaults these are. A
/// plain value.
struct QvLogisticChoices {
  int fReference = -1;                       ///< GetDependentRefCateg
  int fNCategories = 2;                      ///< GetDependentNCategs
  double fLLCriterion = 0.0;                 ///< GetLLConCriterion
  double fParameterCriterion = 1e-6;         ///< GetParamEstConCriterion
  int fMaxIterations = 100;                  ///< GetMaxIterations
  int fMaxStepHalvings = 5;                  ///< GetMaxStepHalvingValue
  int fStartingIteration = 20;               ///< GetStartingIteration
  int fIterationFrequency = 1;               ///< GetIterationFrequency
  bool fbLLAbsolute = false;                 ///< GetLLFuncChange
  bool fbParameterAbsolute = false;          ///< GetParamEstChange
  bool fbInMemory = false;                   ///< GetUsePatternTabulator
  std::vector<double> fStartingValues = {};  ///< GetStartingValues
};

/// Settings of either model, but for what they borrow: listener, query and runner. See
/// QvRegSettings, whose defaults these are. A plain value.
struct QvSettingsContents {
  /// The role of each record variable, a QvConst::QvVariableType, up to the last one that has any.
  /// It is the whole of what the variables below are named to be.
  std::vector<int> fRoles;
  int fDependent = -1;                     ///< Record index.
  std::vector<int> fFactors;               ///< Record indices.
  std::vector<int> fFactorSizes;           ///< Of each its number of categories.
  std::vector<int> fCovariates;            ///< Record indices.
  int fFrequencyWeight = -1;               ///< Record index; -1 for none.
  int fRegressionWeight = -1;              ///< Record index; -1 for none.
  bool fbIntercept = true;                 ///< GetInterceptUse
  double fTolerance = 1e-12;               ///< GetTolerance
  double fConfidenceLevel = 0.95;          ///< GetConfidenceLevel
  double fDF = -1.0;                       ///< GetDF
  int fTestType = 0;                       ///< GetTestType
  int fPAdjustment = 0;                    ///< GetPAdjustment
  int fCovbType = 0;                       ///< GetCovbType
  bool fbRefined = false;                  ///< GetRefineEstimates
  int fMaxRefinements = 1;                 ///< GetMaxRefinements
  std::vector<QvEffectContents> fEffects;  ///< In the order of the settings.
  /// Of a logistic model; none is a linear model.
  std::optional<QvLogisticChoices> fLogistic;
};
