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

void WriteEffect(const QvModelEffect& effect, QvByteWriter& writer) {
  writer.PutInts(effect.GetFactors());
  writer.PutInts(effect.GetFactorLevels());
  writer.PutInts(RepeatedCovariates(effect));
  writer.PutBool(effect.GetFactorsInParens());
}

/// Puts the factors into the effect, the innermost level last.
void AddFactors(QvModelEffect& effect, const std::vector<int>& factors,
                const std::vector<int>& levels, QvByteReader& reader) {
  const int deepest = levels.empty() ? -1 : *std::max_element(levels.begin(), levels.end());
  if (deepest >= static_cast<int>(factors.size())) return reader.Fail();
  for (int level = deepest; level >= 0; --level) {
    bool isFirst = true;
    for (std::size_t i = 0; i < factors.size(); ++i) {
      if (levels[i] != level) continue;
      const bool isNested = isFirst && level != deepest;
      if (!effect.AddNewFactor(factors[i], isNested)) reader.Fail();
      isFirst = false;
    }
  }
}

/// Adds the effect that the reader is at to the settings.
void ReadEffect(QvByteReader& reader, QvRegSettings& settings) {
  const std::vector<int> factors = reader.GetInts();
  const std::vector<int> levels = reader.GetInts();
  const std::vector<int> covariates = reader.GetInts();
  if (levels.size() != factors.size()) return reader.Fail();
  std::vector<int> variables = factors;
  for (const int var : covariates) {
    const auto distinct = variables.begin() + static_cast<std::ptrdiff_t>(factors.size());
    if (std::find(distinct, variables.end(), var) == variables.end()) variables.push_back(var);
  }
  const auto nFactors = static_cast<int>(factors.size());
  QvModelEffect effect(nFactors, static_cast<int>(variables.size()) - nFactors, &variables);
  AddFactors(effect, factors, levels, reader);
  for (const int var : covariates) {
    if (effect.AddCovariate(var) < 0) reader.Fail();
  }
  if (reader.GetBool()) effect.SetFactorsInParens();
  if (!reader.HasFailed() && !settings.AddModelEffect(effect)) reader.Fail();
}

void WriteRoles(const QvRegSettings& settings, QvByteWriter& writer) {
  // As long as the largest index: what a role may be given to shows in the size of the bytes.
  const std::vector<QvConst::QvVariableType>& roles = settings.GetVariableTypes();
  writer.PutInts(std::vector<int>(roles.begin(), roles.end()));
  writer.PutInt(settings.GetDependent());
  writer.PutInts(settings.GetFactors());
  writer.PutInts(settings.GetFactorSizes());
  writer.PutInts(settings.GetCovariates());
  writer.PutInt(settings.GetFrequencyWeightVar());
  writer.PutInt(settings.GetRegrWeightVar());
}

void ReadRoles(QvByteReader& reader, QvRegSettings& settings) {
  const std::vector<int> roles = reader.GetInts();
  const auto isKnown = [&](int var) { return var >= 0 && var < static_cast<int>(roles.size()); };
  const auto set = [&](int var, auto&& setter) {
    if (var < 0) return;
    if (!isKnown(var) || !setter(var)) reader.Fail();
  };
  const int last = static_cast<int>(roles.size()) - 1;
  set(reader.GetIntWithin(-1, last), [&](int var) { return settings.SetDependent(var); });
  const std::vector<int> factors = reader.GetInts();
  const std::vector<int> sizes = reader.GetInts();
  if (sizes.size() != factors.size()) return reader.Fail();
  for (std::size_t i = 0; i < factors.size(); ++i) {
    if (!isKnown(factors[i]) || settings.AddFactor(factors[i], sizes[i]) < 0) reader.Fail();
  }
  for (const int var : reader.GetInts()) {
    if (!isKnown(var) || settings.AddCovariate(var) < 0) reader.Fail();
  }
  // A weight that was replaced keeps its role.
  const auto setWeights = [&](QvConst::QvVariableType role, auto&& setter) {
    const int current = reader.GetIntWithin(-1, last);
    for (int var = 0; var <= last; ++var) {
      if (roles[static_cast<std::size_t>(var)] == role && var != current) set(var, setter);
    }
    set(current, setter);
  };
  setWeights(QvConst::QvVarFreqWeight,
             [&](int var) { return settings.SetFrequencyWeightVar(var); });
  setWeights(QvConst::QvVarRegrWeight, [&](int var) { return settings.SetRegrWeightVar(var); });
  // Its role says all of it.
  const auto count = std::find(roles.begin(), roles.end(), QvConst::QvVarRecordCount);
  if (count != roles.end()) {
    set(static_cast<int>(count - roles.begin()),
        [&](int var) { return settings.SetRecordCountVar(var); });
  }
  const std::vector<QvConst::QvVariableType>& made = settings.GetVariableTypes();
  if (!std::equal(roles.begin(), roles.end(), made.begin(), made.end())) reader.Fail();
}

void WriteChoices(const QvRegSettings& settings, QvByteWriter& writer) {
  writer.PutBool(settings.GetInterceptUse());
  for (const double value :
       {settings.GetTolerance(), settings.GetConfidenceLevel(), settings.GetDF()}) {
    writer.PutDouble(value);
  }
  for (const int choice :
       {int{settings.GetTestType()}, int{settings.GetPAdjustment()}, int{settings.GetCovbType()}}) {
    writer.PutInt(choice);
  }
  writer.PutBool(settings.GetRefineEstimates());
  writer.PutInt(settings.GetMaxRefinements());
}

void ReadChoices(QvByteReader& reader, QvRegSettings& settings) {
  constexpr int kLargest = std::numeric_limits<int>::max();
  settings.SetInterceptUse(reader.GetBool());
  settings.SetTolerance(reader.GetDouble());
  settings.SetConfidenceLevel(reader.GetDouble());
  settings.SetDF(reader.GetDouble());
  settings.SetTestType(static_cast<QvConst::QvTestType>(reader.GetIntWithin(0, kLargest)));
  settings.SetPAdjustment(static_cast<QvConst::QvPAdjustMethod>(reader.GetIntWithin(0, kLargest)));
  settings.SetCovbType(static_cast<QvConst::QvCovbType>(reader.GetIntWithin(0, kLargest)));
  const bool isRefined = reader.GetBool();
  if (!settings.SetMaxRefinements(reader.GetIntWithin(0, kLargest))) reader.Fail();
  settings.SetRefineEstimates(isRefined);
}

void WriteLogistic(const QvLogRegSettings& settings, QvByteWriter& writer) {
  writer.PutInt(settings.GetDependentRefCateg());
  writer.PutInt(settings.GetDependentNCategs());
  writer.PutDouble(settings.GetLLConCriterion());
  writer.PutDouble(settings.GetParamEstConCriterion());
  for (const int count : {settings.GetMaxIterations(), settings.GetMaxStepHalvingValue(),
                          settings.GetStartingIteration(), settings.GetIterationFrequency()}) {
    writer.PutInt(count);
  }
  for (const bool choice : {settings.GetLLFuncChange(), settings.GetParamEstChange(),
                            settings.GetUsePatternTabulator()}) {
    writer.PutBool(choice);
  }
  writer.PutDoubles(settings.GetStartingValues());
}

void ReadLogistic(QvByteReader& reader, QvLogRegSettings& settings) {
  constexpr int kLargest = std::numeric_limits<int>::max();
  const int reference = reader.GetIntWithin(QvLogRegSettings::kFirstObserved, kLargest);
  bool isValid = settings.SetDependentRefCat(reference, reader.GetIntWithin(0, kLargest));
  isValid = settings.SetLLConCriterion(reader.GetDouble()) && isValid;
  isValid = settings.SetParamEstConCriterion(reader.GetDouble()) && isValid;
  isValid = settings.SetMaxIterations(reader.GetIntWithin(0, kLargest)) && isValid;
  isValid = settings.SetMaxStepHalvingValue(reader.GetIntWithin(0, kLargest)) && isValid;
  isValid = settings.SetStartingIteration(reader.GetIntWithin(0, kLargest)) && isValid;
  isValid = settings.SetIterationFrequency(reader.GetIntWithin(0, kLargest)) && isValid;
  settings.SetLLFuncChange(reader.GetBool());
  settings.SetParamEstChange(reader.GetBool());
  settings.SetUsePatternTabulator(reader.GetBool());
  isValid = settings.SetStartingValues(reader.GetDoubles()) && isValid;
  if (!isValid) reader.Fail();
}

}  // namespace

void WriteSettings(const QvRegSettings& settings, QvByteWriter& writer) {
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  writer.PutBool(logistic != nullptr);
  WriteRoles(settings, writer);
  WriteChoices(settings, writer);
  writer.PutInt(settings.GetNModelEffects());
  for (const QvModelEffect& effect : settings.GetModelEffects()) WriteEffect(effect, writer);
  if (logistic != nullptr) WriteLogistic(*logistic, writer);
}

std::unique_ptr<QvRegSettings> ReadSettings(QvByteReader& reader) {
  std::unique_ptr<QvRegSettings> settings;
  QvLogRegSettings* logistic = nullptr;
  if (reader.GetBool()) {
    auto made = std::make_unique<QvLogRegSettings>();
    logistic = made.get();
    settings = std::move(made);
  } else {
    settings = std::make_unique<QvRegSettings>();
  }
  ReadRoles(reader, *settings);
  ReadChoices(reader, *settings);
  const int nEffects = reader.GetIntWithin(0, std::numeric_limits<int>::max());
  for (int e = 0; e < nEffects && !reader.HasFailed(); ++e) ReadEffect(reader, *settings);
  if (logistic != nullptr) ReadLogistic(reader, *logistic);
  if (!reader.HasFailed() && settings->IsValidSettings().IsError()) reader.Fail();
  return reader.HasFailed() ? nullptr : std::move(settings);
}
