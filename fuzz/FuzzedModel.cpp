#include "fuzz/FuzzedModel.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>

#include "fuzz/Check.h"
#include "qvreg/common/Constants.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvModelEffect.h"

namespace qvfuzz {
namespace {

/// Bytes of the input, then random ones: an input of some bytes describes records by the dozen.
class Draw {
 public:
  explicit Draw(FuzzedDataProvider& data)
      : data_(data), random_(data.ConsumeIntegral<std::uint32_t>()) {}

  [[nodiscard]] std::uint8_t Byte() {
    if (data_.remaining_bytes() > 0) return data_.ConsumeIntegral<std::uint8_t>();
    return static_cast<std::uint8_t>(random_());
  }
  [[nodiscard]] int Below(int bound) { return Byte() % bound; }
  /// Any double.
  [[nodiscard]] double Bits() {
    std::uint64_t word = 0;
    for (int i = 0; i < 8; ++i) word = word << 8 | Byte();
    return std::bit_cast<double>(word);
  }

 private:
  FuzzedDataProvider& data_;
  std::mt19937 random_;
};

FuzzedEffect TakeEffect(FuzzedDataProvider& data, const FuzzedModel& model) {
  FuzzedEffect effect;
  for (std::size_t i = 0; i < model.factorSizes.size(); ++i) {
    if (data.ConsumeBool()) effect.factors.push_back(model.FirstFactor() + static_cast<int>(i));
  }
  effect.isNested = data.ConsumeBool();
  if (model.nCovariates > 0) {
    const int n = data.ConsumeIntegralInRange(effect.factors.empty() ? 1 : 0, 2);
    for (int i = 0; i < n; ++i) {
      effect.covariates.push_back(model.FirstCovariate() +
                                  data.ConsumeIntegralInRange(0, model.nCovariates - 1));
    }
  }
  return effect;
}

void AddEffects(const FuzzedModel& model, QvRegSettings& settings) {
  std::vector<int> variables = settings.GetFactors();
  variables.insert(variables.end(), settings.GetCovariates().begin(),
                   settings.GetCovariates().end());
  for (const FuzzedEffect& described : model.effects) {
    QvModelEffect effect(static_cast<int>(model.factorSizes.size()), model.nCovariates, &variables);
    for (const int factor : described.factors) {
      const bool isNested = described.isNested && factor != described.factors.front();
      Check(effect.AddNewFactor(factor, isNested), "an effect takes a factor of the model");
    }
    for (const int covariate : described.covariates) {
      Check(effect.AddCovariate(covariate) > 0, "an effect takes a covariate of the model");
    }
    Check(settings.AddModelEffect(effect), "settings take an effect");
  }
}

double WildNumber(Draw& draw) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::array<double, 16> kNumbers = {
      0.0,    -0.0,      1.0,        -1.0,
      0.5,    3.0,       1e300,      -1e300,
      1e-300, 5e-324,    1e17,       QvMV::gMissingValue,
      1e154,  kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN()};
  const int kind = draw.Below(32);
  if (kind < 16) return kNumbers[static_cast<std::size_t>(kind)];
  if (kind < 20) return draw.Bits();
  return std::ldexp(draw.Below(256) - 128.0, draw.Below(16) - 8);
}

double WildCode(Draw& draw, int nCategories) {
  const int kind = draw.Below(64);
  if (kind == 0) return WildNumber(draw);
  if (kind == 1) return nCategories;
  if (kind == 2) return -1.0;
  return draw.Below(nCategories);
}

double WildWeight(Draw& draw) { return draw.Below(8) == 0 ? WildNumber(draw) : 1 + draw.Below(4); }

}  // namespace

FuzzedModel TakeModel(FuzzedDataProvider& data) {
  FuzzedModel model;
  model.isLogistic = data.ConsumeBool();
  model.nCategories = data.ConsumeIntegralInRange(2, 4);
  model.factorSizes.resize(data.ConsumeIntegralInRange<std::size_t>(0, 3));
  for (int& size : model.factorSizes) size = data.ConsumeIntegralInRange(1, 4);
  model.nCovariates = data.ConsumeIntegralInRange(0, 3);
  model.hasIntercept = data.ConsumeBool();
  model.hasFrequency = data.ConsumeBool();
  model.hasRegression = data.ConsumeBool();
  model.hasCount = data.ConsumeBool();
  model.isRefined = data.ConsumeBool();
  model.isInMemory = data.ConsumeBool();
  model.reference = data.ConsumeIntegralInRange(-2, model.nCategories - 1);
  const int nEffects = data.ConsumeIntegralInRange(0, 4);
  for (int i = 0; i < nEffects; ++i) {
    FuzzedEffect effect = TakeEffect(data, model);
    if (!effect.factors.empty() || !effect.covariates.empty()) {
      model.effects.push_back(std::move(effect));
    }
  }
  if (model.effects.empty()) model.hasIntercept = true;
  return model;
}

std::unique_ptr<QvRegSettings> SettingsOf(const FuzzedModel& model) {
  auto logistic = model.isLogistic ? std::make_unique<QvLogRegSettings>() : nullptr;
  if (logistic != nullptr) {
    Check(logistic->SetDependentRefCat(model.reference, model.nCategories), "categories");
    Check(logistic->SetParamEstConCriterion(1e-10), "criterion");
    Check(logistic->SetMaxIterations(model.maxIterations), "iterations");
    Check(logistic->SetStartingIteration(model.startingIteration), "starting iteration");
    logistic->SetUsePatternTabulator(model.isInMemory);
  }
  std::unique_ptr<QvRegSettings> settings = std::move(logistic);
  if (settings == nullptr) settings = std::make_unique<QvRegSettings>();
  Check(settings->SetDependent(0), "dependent");
  for (std::size_t i = 0; i < model.factorSizes.size(); ++i) {
    Check(settings->AddFactor(model.FirstFactor() + static_cast<int>(i), model.factorSizes[i]) > 0,
          "factor");
  }
  for (int i = 0; i < model.nCovariates; ++i) {
    Check(settings->AddCovariate(model.FirstCovariate() + i) > 0, "covariate");
  }
  AddEffects(model, *settings);
  settings->SetInterceptUse(model.hasIntercept);
  settings->SetTolerance(model.tolerance);
  settings->SetRefineEstimates(model.isRefined);
  if (model.hasFrequency) Check(settings->SetFrequencyWeightVar(model.Frequency()), "frequency");
  if (model.hasRegression) Check(settings->SetRegrWeightVar(model.Regression()), "weight");
  if (model.hasCount) Check(settings->SetRecordCountVar(model.Count()), "count");
  return settings;
}

Records TakeWholeRecords(FuzzedDataProvider& data, const FuzzedModel& model) {
  Draw draw(data);
  Records records;
  const int count = 1 + draw.Below(64);
  for (int i = 0; i < count; ++i) {
    QvCommon::Record record(model.RecordSize());
    record[0] = model.isLogistic ? draw.Below(model.nCategories) : draw.Below(33) - 16;
    for (std::size_t k = 0; k < model.factorSizes.size(); ++k) {
      record[model.FirstFactor() + static_cast<int>(k)] = draw.Below(model.factorSizes[k]);
    }
    for (int k = 0; k < model.nCovariates; ++k) {
      record[model.FirstCovariate() + k] = draw.Below(17) - 8;
    }
    record[model.Frequency()] = 1 + draw.Below(3);
    record[model.Regression()] = 1 + draw.Below(4);
    record[model.Count()] = 1;
    records.push_back(std::move(record));
  }
  return records;
}

Records TakeWildRecords(FuzzedDataProvider& data, const FuzzedModel& model) {
  Draw draw(data);
  Records records;
  const int count = draw.Below(48);
  for (int i = 0; i < count; ++i) {
    QvCommon::Record record(model.RecordSize() - (draw.Below(200) == 199 ? 1 + draw.Below(4) : 0));
    std::vector<double> values{model.isLogistic ? WildCode(draw, model.nCategories)
                                                : WildNumber(draw)};
    for (const int size : model.factorSizes) values.push_back(WildCode(draw, size));
    for (int k = 0; k < model.nCovariates; ++k) values.push_back(WildNumber(draw));
    for (int k = 0; k < 3; ++k) values.push_back(WildWeight(draw));
    for (int k = 0; k < record.Size(); ++k) record[k] = values[static_cast<std::size_t>(k)];
    records.push_back(std::move(record));
  }
  return records;
}

}  // namespace qvfuzz
