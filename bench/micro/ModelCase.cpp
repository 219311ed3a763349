#include "bench/micro/ModelCase.h"

#include <numeric>

#include "bench/Require.h"
#include "bench/UniformNumbers.h"

namespace qvbench {

namespace {

constexpr int kNone = -1;

std::vector<int> Variables(int nCovariates, const std::vector<int>& factorSizes) {
  // An effect is defined against the factors, then the covariates; records hold them the other way.
  std::vector<int> variables(factorSizes.size() + static_cast<std::size_t>(nCovariates));
  const auto covariates = variables.begin() + static_cast<std::ptrdiff_t>(factorSizes.size());
  std::iota(variables.begin(), covariates, nCovariates);
  std::iota(covariates, variables.end(), 0);
  return variables;
}

QvRegSettings Settings(int nCovariates, const std::vector<int>& factorSizes) {
  QvRegSettings settings;
  for (int var = 0; var < nCovariates; ++var) Require(settings.AddCovariate(var) > 0);
  int var = nCovariates;
  for (const int size : factorSizes) Require(settings.AddFactor(var++, size) > 0);
  Require(settings.SetDependent(var));
  return settings;
}

}  // namespace

ModelCase::ModelCase(int nCovariates, const std::vector<int>& factorSizes)
    : variables_(Variables(nCovariates, factorSizes)),
      settings_(Settings(nCovariates, factorSizes)),
      tables_(settings_.GetFactors(), settings_.GetFactorSizes(), kNone, kNone, 0, 0, kNone, 0.0,
              QvConst::QvOffsetNone),
      model_(settings_) {
  MakeRecords(nCovariates, factorSizes);
  MakeEffects(settings_);

  std::vector<std::vector<int>> effectFactors;
  std::vector<QvRegrParameter> effectParameters;
  for (const QvModelEffect& effect : effects_) {
    const auto index = static_cast<int>(effectParameters.size());
    effectFactors.push_back(effect.GetFactors());
    // Refused for the intercept, which stays as it was made.
    static_cast<void>(effectParameters.emplace_back().SetupFromEffect(effect, index, 0));
  }
  std::vector<int> averaged = settings_.GetCovariates();
  averaged.push_back(settings_.GetDependent());
  tables_.SetModelEffectFactors(effectFactors, settings_.GetFactors());
  tables_.SetCovariates(averaged);
  for (const QvCommon::Record& record : records_) tables_.UpdateAll(record);
  tables_.CreateParameterIndices();
  model_.Initialize(tables_);
  model_.CreateParameters(effectParameters);
  model_.SetScale(tables_.GetTotalWeight());
}

void ModelCase::MakeRecords(int nCovariates, const std::vector<int>& factorSizes) {
  UniformNumbers uniform;
  for (std::size_t i = 0; i < kRecords; ++i) {
    QvCommon::Record record(nCovariates + static_cast<int>(factorSizes.size()) + 1);
    int var = 0;
    while (var < nCovariates) record[var++] = uniform.Next();
    for (const int size : factorSizes) record[var++] = uniform.NextBelow(size);
    record[var] = uniform.Next();
    records_.push_back(std::move(record));
  }
}

void ModelCase::MakeEffects(const QvRegSettings& settings) {
  const auto nFactors = static_cast<int>(settings.GetFactors().size());
  const auto nCovariates = static_cast<int>(settings.GetCovariates().size());
  const QvModelEffect empty(nFactors, nCovariates, &variables_);
  effects_.push_back(empty);  // The intercept.
  for (const int var : settings.GetCovariates()) {
    effects_.push_back(empty);
    Require(effects_.back().AddCovariate(var) > 0);
  }
  if (nFactors == 0) return;
  effects_.push_back(empty);
  for (const int var : settings.GetFactors()) Require(effects_.back().AddNewFactor(var, false));
}

}  // namespace qvbench
