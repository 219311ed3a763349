#include "qvreg/settings/QvSettingsBytes.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "qvreg/settings/QvLogRegSettings.h"

using QvCommon::QvByteReader;
using QvCommon::QvByteWriter;

namespace {

/// What settings answer for a factor or covariate that they do not take.
constexpr int kRefused = -1;

/// The effect's covariates, each as often as its multiplicity says.
std::vector<int> RepeatedCovariates(const QvModelEffect& effect) {
  std::vector<int> repeated;
  const std::vector<int> covariates = effect.GetCovariates();
  const std::vector<int> multiplicities = effect.GetCovMultiplicities();
  for (std::size_t i = 0; i < covariates.size(); ++i) {
    repeated.insert(repeated.end(), static_cast<std::size_t>(multiplicities[i]), covariates[i]);
  }
  return repeated;
}

QvEffectContents EffectOf(const QvModelEffect& effect) {
  QvEffectContents contents;
  contents.fFactors = effect.GetFactors();
  contents.fLevels = effect.GetFactorLevels();
  contents.fCovariates = RepeatedCovariates(effect);
  contents.fbFactorsInParens = effect.GetFactorsInParens();
  return contents;
}

QvLogisticChoices ChoicesOf(const QvLogRegSettings& settings) {
  QvLogisticChoices contents;
  contents.fReference = settings.GetDependentRefCateg();
  contents.fNCategories = settings.GetDependentNCategs();
  contents.fLLCriterion = settings.GetLLConCriterion();
  contents.fParameterCriterion = settings.GetParamEstConCriterion();
  contents.fMaxIterations = settings.GetMaxIterations();
  contents.fMaxStepHalvings = settings.GetMaxStepHalvingValue();
  contents.fStartingIteration = settings.GetStartingIteration();
  contents.fIterationFrequency = settings.GetIterationFrequency();
  contents.fbLLAbsolute = settings.GetLLFuncChange();
  contents.fbParameterAbsolute = settings.GetParamEstChange();
  contents.fbInMemory = settings.GetUsePatternTabulator();
  contents.fStartingValues = settings.GetStartingValues();
  return contents;
}

/// Puts the factors into the effect, the innermost level last; false for what no effect has.
bool AddFactors(QvModelEffect& effect, const QvEffectContents& contents) {
  const std::vector<int>& levels = contents.fLevels;
  const std::vector<int>& factors = contents.fFactors;
  const int deepest = levels.empty() ? -1 : *std::max_element(levels.begin(), levels.end());
  if (deepest >= static_cast<int>(factors.size())) return false;
  bool isAdded = true;
  for (int level = deepest; level >= 0; --level) {
    bool isFirst = true;
    for (std::size_t i = 0; i < factors.size(); ++i) {
      if (levels[i] != level) continue;
      const bool isNested = isFirst && level != deepest;
      isAdded = effect.AddNewFactor(factors[i], isNested) && isAdded;
      isFirst = false;
    }
  }
  return isAdded;
}

/// Whether each of the variables is one of the model's.
bool AreAmong(const std::vector<int>& variables, const std::vector<int>& ofModel) {
  return std::all_of(variables.begin(), variables.end(), [&](int var) {
    return std::find(ofModel.begin(), ofModel.end(), var) != ofModel.end();
  });
}

/// Adds the effect to the settings; false for one that no settings have, as one with a variable
/// that is no such factor or covariate: by it a design would read what there is not.
bool AddEffect(const QvEffectContents& contents, QvRegSettings& settings) {
  if (contents.fLevels.size() != contents.fFactors.size()) return false;
  if (!AreAmong(contents.fFactors, settings.GetFactors())) return false;
  if (!AreAmong(contents.fCovariates, settings.GetCovariates())) return false;
  std::vector<int> variables = contents.fFactors;
  const auto nFactors = static_cast<int>(variables.size());
  for (const int var : contents.fCovariates) {
    const auto distinct = variables.begin() + nFactors;
    if (std::find(distinct, variables.end(), var) == variables.end()) variables.push_back(var);
  }
  QvModelEffect effect(nFactors, static_cast<int>(variables.size()) - nFactors, &variables);
  const bool isAdded = AddFactors(effect, contents);
  // Never refused: each is among the variables.
  for (const int var : contents.fCovariates) static_cast<void>(effect.AddCovariate(var));
  if (contents.fbFactorsInParens) effect.SetFactorsInParens();
  return isAdded && settings.AddModelEffect(effect);
}

/// Gives the variables their roles; false for roles that no settings have.
bool SetRoles(const QvSettingsContents& contents, QvRegSettings& settings) {
  const std::vector<int>& roles = contents.fRoles;
  const auto nVariables = static_cast<int>(roles.size());
  // The table of roles grows to the largest index, which must be one that there is.
  const auto set = [&](int var, auto&& setter) {
    return var == -1 || (var >= 0 && var < nVariables && setter(var));
  };
  bool isSet = set(contents.fDependent, [&](int var) { return settings.SetDependent(var); });
  if (contents.fFactorSizes.size() != contents.fFactors.size()) return false;
  for (std::size_t i = 0; i < contents.fFactors.size(); ++i) {
    const int var = contents.fFactors[i];
    const int size = contents.fFactorSizes[i];
    isSet = isSet && var < nVariables && settings.AddFactor(var, size) != kRefused;
  }
  for (const int var : contents.fCovariates) {
    isSet = isSet && var < nVariables && settings.AddCovariate(var) != kRefused;
  }
  // A weight that was replaced keeps its role.
  const auto setWeights = [&](QvConst::QvVariableType role, int current, auto&& setter) {
    for (int var = 0; var < nVariables; ++var) {
      const bool isReplaced = roles[static_cast<std::size_t>(var)] == role && var != current;
      if (isReplaced) isSet = set(var, setter) && isSet;
    }
    isSet = set(current, setter) && isSet;
  };
  setWeights(QvConst::QvVarFreqWeight, contents.fFrequencyWeight,
             [&](int var) { return settings.SetFrequencyWeightVar(var); });
  setWeights(QvConst::QvVarRegrWeight, contents.fRegressionWeight,
             [&](int var) { return settings.SetRegrWeightVar(var); });
  // Its role says all of it.
  const auto count = std::find(roles.begin(), roles.end(), QvConst::QvVarRecordCount);
  if (count != roles.end()) {
    isSet = settings.SetRecordCountVar(static_cast<int>(count - roles.begin())) && isSet;
  }
  const std::vector<QvConst::QvVariableType>& made = settings.GetVariableTypes();
  return isSet && std::equal(roles.begin(), roles.end(), made.begin(), made.end());
}

bool SetChoices(const QvSettingsContents& contents, QvRegSettings& settings) {
  settings.SetInterceptUse(contents.fbIntercept);
  settings.SetTolerance(contents.fTolerance);
  settings.SetConfidenceLevel(contents.fConfidenceLevel);
  settings.SetDF(contents.fDF);
  settings.SetTestType(static_cast<QvConst::QvTestType>(contents.fTestType));
  settings.SetPAdjustment(static_cast<QvConst::QvPAdjustMethod>(contents.fPAdjustment));
  settings.SetCovbType(static_cast<QvConst::QvCovbType>(contents.fCovbType));
  const bool areKnown =
      contents.fTestType >= 0 && contents.fPAdjustment >= 0 && contents.fCovbType >= 0;
  const bool isSet = settings.SetMaxRefinements(contents.fMaxRefinements);
  settings.SetRefineEstimates(contents.fbRefined);
  return areKnown && isSet;
}

bool SetLogistic(const QvLogisticChoices& contents, QvLogRegSettings& settings) {
  bool isSet = contents.fReference >= QvLogRegSettings::kFirstObserved &&
               settings.SetDependentRefCat(contents.fReference, contents.fNCategories);
  isSet = settings.SetLLConCriterion(contents.fLLCriterion) && isSet;
  isSet = settings.SetParamEstConCriterion(contents.fParameterCriterion) && isSet;
  isSet = settings.SetMaxIterations(contents.fMaxIterations) && isSet;
  isSet = settings.SetMaxStepHalvingValue(contents.fMaxStepHalvings) && isSet;
  isSet = settings.SetStartingIteration(contents.fStartingIteration) && isSet;
  isSet = settings.SetIterationFrequency(contents.fIterationFrequency) && isSet;
  settings.SetLLFuncChange(contents.fbLLAbsolute);
  settings.SetParamEstChange(contents.fbParameterAbsolute);
  settings.SetUsePatternTabulator(contents.fbInMemory);
  return settings.SetStartingValues(contents.fStartingValues) && isSet;
}

int AnyInt(QvByteReader& reader) {
  return reader.GetIntWithin(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

void WriteLogistic(const QvLogisticChoices& contents, QvByteWriter& writer) {
  writer.PutInt(contents.fReference);
  writer.PutInt(contents.fNCategories);
  writer.PutDouble(contents.fLLCriterion);
  writer.PutDouble(contents.fParameterCriterion);
  for (const int count : {contents.fMaxIterations, contents.fMaxStepHalvings,
                          contents.fStartingIteration, contents.fIterationFrequency}) {
    writer.PutInt(count);
  }
  for (const bool choice :
       {contents.fbLLAbsolute, contents.fbParameterAbsolute, contents.fbInMemory}) {
    writer.PutBool(choice);
  }
  writer.PutDoubles(contents.fStartingValues);
}

void ReadLogistic(QvByteReader& reader, QvLogisticChoices& contents) {
  contents.fReference = AnyInt(reader);
  contents.fNCategories = AnyInt(reader);
  contents.fLLCriterion = reader.GetDouble();
  contents.fParameterCriterion = reader.GetDouble();
  for (int* count : {&contents.fMaxIterations, &contents.fMaxStepHalvings,
                     &contents.fStartingIteration, &contents.fIterationFrequency}) {
    *count = AnyInt(reader);
  }
  for (bool* choice :
       {&contents.fbLLAbsolute, &contents.fbParameterAbsolute, &contents.fbInMemory}) {
    *choice = reader.GetBool();
  }
  contents.fStartingValues = reader.GetDoubles();
}

void WriteChoices(const QvSettingsContents& contents, QvByteWriter& writer) {
  writer.PutBool(contents.fbIntercept);
  for (const double value : {contents.fTolerance, contents.fConfidenceLevel, contents.fDF}) {
    writer.PutDouble(value);
  }
  for (const int choice : {contents.fTestType, contents.fPAdjustment, contents.fCovbType}) {
    writer.PutInt(choice);
  }
  writer.PutBool(contents.fbRefined);
  writer.PutInt(contents.fMaxRefinements);
}

void ReadChoices(QvByteReader& reader, QvSettingsContents& contents) {
  contents.fbIntercept = reader.GetBool();
  for (double* value : {&contents.fTolerance, &contents.fConfidenceLevel, &contents.fDF}) {
    *value = reader.GetDouble();
  }
  for (int* choice : {&contents.fTestType, &contents.fPAdjustment, &contents.fCovbType}) {
    *choice = AnyInt(reader);
  }
  contents.fbRefined = reader.GetBool();
  contents.fMaxRefinements = AnyInt(reader);
}

}  // namespace

QvSettingsContents ContentsOf(const QvRegSettings& settings) {
  QvSettingsContents contents;
  // As long as the largest index: what a role may be given to shows in the size of the bytes.
  const std::vector<QvConst::QvVariableType>& roles = settings.GetVariableTypes();
  contents.fRoles.assign(roles.begin(), roles.end());
  contents.fDependent = settings.GetDependent();
  contents.fFactors = settings.GetFactors();
  contents.fFactorSizes = settings.GetFactorSizes();
  contents.fCovariates = settings.GetCovariates();
  contents.fFrequencyWeight = settings.GetFrequencyWeightVar();
  contents.fRegressionWeight = settings.GetRegrWeightVar();
  contents.fbIntercept = settings.GetInterceptUse();
  contents.fTolerance = settings.GetTolerance();
  contents.fConfidenceLevel = settings.GetConfidenceLevel();
  contents.fDF = settings.GetDF();
  contents.fTestType = settings.GetTestType();
  contents.fPAdjustment = settings.GetPAdjustment();
  contents.fCovbType = settings.GetCovbType();
  contents.fbRefined = settings.GetRefineEstimates();
  contents.fMaxRefinements = settings.GetMaxRefinements();
  for (const QvModelEffect& effect : settings.GetModelEffects()) {
    contents.fEffects.push_back(EffectOf(effect));
  }
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  if (logistic != nullptr) contents.fLogistic = ChoicesOf(*logistic);
  return contents;
}

std::unique_ptr<QvRegSettings> MakeSettings(const QvSettingsContents& contents) {
  std::unique_ptr<QvRegSettings> settings;
  bool isSet = true;
  if (contents.fLogistic) {
    auto logistic = std::make_unique<QvLogRegSettings>();
    isSet = SetLogistic(*contents.fLogistic, *logistic);
    settings = std::move(logistic);
  } else {
    settings = std::make_unique<QvRegSettings>();
  }
  isSet = isSet && SetRoles(contents, *settings) && SetChoices(contents, *settings);
  for (const QvEffectContents& effect : contents.fEffects) {
    isSet = isSet && AddEffect(effect, *settings);
  }
  return isSet && !settings->IsValidSettings().IsError() ? std::move(settings) : nullptr;
}

void WriteSettings(const QvSettingsContents& contents, QvByteWriter& writer) {
  writer.PutBool(contents.fLogistic.has_value());
  writer.PutInts(contents.fRoles);
  writer.PutInt(contents.fDependent);
  writer.PutInts(contents.fFactors);
  writer.PutInts(contents.fFactorSizes);
  writer.PutInts(contents.fCovariates);
  writer.PutInt(contents.fFrequencyWeight);
  writer.PutInt(contents.fRegressionWeight);
  WriteChoices(contents, writer);
  writer.PutInt(static_cast<std::int64_t>(contents.fEffects.size()));
  for (const QvEffectContents& effect : contents.fEffects) {
    writer.PutInts(effect.fFactors);
    writer.PutInts(effect.fLevels);
    writer.PutInts(effect.fCovariates);
    writer.PutBool(effect.fbFactorsInParens);
  }
  if (contents.fLogistic) WriteLogistic(*contents.fLogistic, writer);
}

void ReadSettings(QvByteReader& reader, QvSettingsContents& contents) {
  const bool isLogistic = reader.GetBool();
  contents.fRoles = reader.GetInts();
  contents.fDependent = AnyInt(reader);
  contents.fFactors = reader.GetInts();
  contents.fFactorSizes = reader.GetInts();
  contents.fCovariates = reader.GetInts();
  contents.fFrequencyWeight = AnyInt(reader);
  contents.fRegressionWeight = AnyInt(reader);
  ReadChoices(reader, contents);
  const int nEffects = reader.GetIntWithin(0, std::numeric_limits<int>::max());
  contents.fEffects.clear();
  for (int e = 0; e < nEffects && !reader.HasFailed(); ++e) {
    QvEffectContents& effect = contents.fEffects.emplace_back();
    effect.fFactors = reader.GetInts();
    effect.fLevels = reader.GetInts();
    effect.fCovariates = reader.GetInts();
    effect.fbFactorsInParens = reader.GetBool();
  }
  contents.fLogistic.reset();
  if (isLogistic) ReadLogistic(reader, contents.fLogistic.emplace());
}

void WriteSettings(const QvRegSettings& settings, QvByteWriter& writer) {
  WriteSettings(ContentsOf(settings), writer);
}

std::unique_ptr<QvRegSettings> ReadSettings(QvByteReader& reader) {
  QvSettingsContents contents;
  ReadSettings(reader, contents);
  if (reader.HasFailed()) return nullptr;
  std::unique_ptr<QvRegSettings> settings = MakeSettings(contents);
  if (settings == nullptr) reader.Fail();
  return settings;
}
