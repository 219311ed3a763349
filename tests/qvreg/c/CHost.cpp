#include "tests/qvreg/c/CHost.h"

#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

void AddRoles(const QvRegSettings& from, qvreg_settings* to) {
  Require([&](qvreg_error* e) { return qvreg_settings_set_dependent(to, from.GetDependent(), e); });
  for (std::size_t i = 0; i < from.GetFactors().size(); ++i) {
    Require([&](qvreg_error* e) {
      return qvreg_settings_add_factor(to, from.GetFactors()[i], from.GetFactorSizes()[i], e);
    });
  }
  for (const int covariate : from.GetCovariates()) {
    Require([&](qvreg_error* e) { return qvreg_settings_add_covariate(to, covariate, e); });
  }
  if (from.GetFrequencyWeightVar() >= 0) {
    Require([&](qvreg_error* e) {
      return qvreg_settings_set_frequency_weight(to, from.GetFrequencyWeightVar(), e);
    });
  }
  if (from.GetRegrWeightVar() >= 0) {
    Require([&](qvreg_error* e) {
      return qvreg_settings_set_regression_weight(to, from.GetRegrWeightVar(), e);
    });
  }
}

/// The factors from the outermost level inward: each new level is begun by a nested one.
void AddFactors(const QvModelEffect& from, qvreg_effect* to) {
  const std::vector<int> factors = from.GetFactors();
  const std::vector<int> levels = from.GetFactorLevels();
  for (int level = from.GetNLevels() - 1; level >= 0; --level) {
    bool isNested = level < from.GetNLevels() - 1;
    for (std::size_t i = 0; i < factors.size(); ++i) {
      if (levels[i] != level) continue;
      Require([&](qvreg_error* e) {
        return qvreg_effect_add_factor(to, factors[i], isNested ? 1 : 0, e);
      });
      isNested = false;
    }
  }
}

CEffect CEffectOf(const QvModelEffect& from, const QvRegSettings& settings) {
  const std::vector<int>& factors = settings.GetFactors();
  const std::vector<int>& covariates = settings.GetCovariates();
  CEffect effect = Made<CEffect>([&](qvreg_effect** made, qvreg_error* e) {
    return qvreg_effect_create(factors.data(), factors.size(), covariates.data(), covariates.size(),
                               made, e);
  });
  AddFactors(from, effect.get());
  for (std::size_t i = 0; i < from.GetCovariates().size(); ++i) {
    for (int power = 0; power < from.GetCovMultiplicities()[i]; ++power) {
      Require([&](qvreg_error* e) {
        return qvreg_effect_add_covariate(effect.get(), from.GetCovariates()[i], nullptr, e);
      });
    }
  }
  return effect;
}

void SetOptions(const QvRegSettings& from, qvreg_settings* to) {
  auto options = Sized<qvreg_options>();
  Require([&](qvreg_error* e) { return qvreg_settings_get_options(to, &options, e); });
  options.tolerance = from.GetTolerance();
  options.confidence_level = from.GetConfidenceLevel();
  options.degrees_of_freedom = from.GetDF();
  options.use_intercept = from.GetInterceptUse() ? 1 : 0;
  options.refine_estimates = from.GetRefineEstimates() ? 1 : 0;
  options.max_refinements = from.GetMaxRefinements();
  Require([&](qvreg_error* e) { return qvreg_settings_set_options(to, &options, e); });
}

void SetLogisticOptions(const QvLogRegSettings& from, qvreg_settings* to) {
  auto options = Sized<qvreg_logistic_options>();
  options.n_categories = from.GetDependentNCategs();
  options.reference_category = from.GetDependentRefCateg();
  options.ll_criterion = from.GetLLConCriterion();
  options.param_criterion = from.GetParamEstConCriterion();
  options.is_ll_change_absolute = from.GetLLFuncChange() ? 1 : 0;
  options.is_param_change_absolute = from.GetParamEstChange() ? 1 : 0;
  options.max_iterations = from.GetMaxIterations();
  options.max_step_halvings = from.GetMaxStepHalvingValue();
  options.starting_iteration = from.GetStartingIteration();
  options.iteration_frequency = from.GetIterationFrequency();
  options.use_pattern_tabulator = from.GetUsePatternTabulator() ? 1 : 0;
  Require([&](qvreg_error* e) { return qvreg_settings_set_logistic_options(to, &options, e); });
}

std::vector<QvCommon::Record> Records(bool isLogistic) {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < 12; ++i) {
    const double noise = (i * 5) % 7;
    const double y = isLogistic ? (noise > 3.0 ? 1.0 : 0.0) : 3.0 * i + noise;
    rows.push_back({y, static_cast<double>(i % 3), 0.5 * i});
  }
  return MakeRecords(rows);
}

CEffect EmptyEffect() {
  const std::int32_t factor = CEveryKind::kFactor;
  const std::int32_t covariate = CEveryKind::kX;
  return Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
    return qvreg_effect_create(&factor, 1, &covariate, 1, effect, e);
  });
}

CSettings Settings(bool isLogistic, const CEffect& slope) {
  CSettings made = Made<CSettings>([&](qvreg_settings** handle, qvreg_error* e) {
    return qvreg_settings_create(isLogistic ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR, handle, e);
  });
  qvreg_settings* settings = made.get();
  Require(
      [&](qvreg_error* e) { return qvreg_settings_set_dependent(settings, CEveryKind::kY, e); });
  Require([&](qvreg_error* e) {
    return qvreg_settings_add_factor(settings, CEveryKind::kFactor, 3, e);
  });
  Require(
      [&](qvreg_error* e) { return qvreg_settings_add_covariate(settings, CEveryKind::kX, e); });
  const CEffect groups = EmptyEffect();
  Require([&](qvreg_error* e) {
    return qvreg_effect_add_factor(groups.get(), CEveryKind::kFactor, 0, e);
  });
  for (const qvreg_effect* effect : {groups.get(), slope.get()}) {
    Require([&](qvreg_error* e) { return qvreg_settings_add_effect(settings, effect, e); });
  }
  return made;
}

CEffect Slope() {
  CEffect slope = EmptyEffect();
  Require([&](qvreg_error* e) {
    return qvreg_effect_add_covariate(slope.get(), CEveryKind::kX, nullptr, e);
  });
  return slope;
}

}  // namespace

EffectParts EffectOf(const CEffect& effect) {
  const qvreg_effect* from = effect.get();
  using Ints = std::int32_t;
  EffectParts parts;
  parts.factors = ListOf<Ints>([&](Ints* buffer, auto... rest) {
    return qvreg_effect_get_factors(from, buffer, nullptr, rest...);
  });
  parts.levels = ListOf<Ints>([&](Ints* buffer, auto... rest) {
    return qvreg_effect_get_factors(from, nullptr, buffer, rest...);
  });
  parts.covariates = ListOf<Ints>([&](Ints* buffer, auto... rest) {
    return qvreg_effect_get_covariates(from, buffer, nullptr, rest...);
  });
  parts.multiplicities = ListOf<Ints>([&](Ints* buffer, auto... rest) {
    return qvreg_effect_get_covariates(from, nullptr, buffer, rest...);
  });
  return parts;
}

ParameterParts ParameterOf(const qvreg_parameters* parameters, std::size_t index) {
  ParameterParts parts{Sized<qvreg_parameter_info>(), {}, {}, {}, {}, {}};
  Require(
      [&](qvreg_error* e) { return qvreg_parameters_get_info(parameters, index, &parts.info, e); });
  const auto n = static_cast<std::size_t>(parts.info.n_factors);
  parts.factors.resize(n);
  parts.categories.resize(n);
  parts.levels.resize(n);
  Require([&](qvreg_error* e) {
    return qvreg_parameters_get_factors(parameters, index, parts.factors.data(),
                                        parts.categories.data(), parts.levels.data(), n, nullptr,
                                        e);
  });
  const auto m = static_cast<std::size_t>(parts.info.n_covariates);
  parts.covariates.resize(m);
  parts.multiplicities.resize(m);
  Require([&](qvreg_error* e) {
    return qvreg_parameters_get_covariates(parameters, index, parts.covariates.data(),
                                           parts.multiplicities.data(), m, nullptr, e);
  });
  return parts;
}

CSettings CSettingsOf(const QvRegSettings& settings) {
  const auto* logistic = dynamic_cast<const QvLogRegSettings*>(&settings);
  CSettings made = Made<CSettings>([&](qvreg_settings** handle, qvreg_error* e) {
    const auto model = logistic != nullptr ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR;
    return qvreg_settings_create(model, handle, e);
  });
  AddRoles(settings, made.get());
  for (const QvModelEffect& effect : settings.GetModelEffects()) {
    const CEffect copy = CEffectOf(effect, settings);
    Require([&](qvreg_error* e) { return qvreg_settings_add_effect(made.get(), copy.get(), e); });
  }
  SetOptions(settings, made.get());
  if (logistic != nullptr) SetLogisticOptions(*logistic, made.get());
  return made;
}

CComponent CComponentOf(const CSettings& settings) {
  return Made<CComponent>([&](qvreg_component** component, qvreg_error* e) {
    return qvreg_component_create(settings.get(), component, e);
  });
}

namespace {

CResults ResultsOf(const CComponent& component) {
  return Made<CResults>([&](qvreg_results** results, qvreg_error* e) {
    return qvreg_component_get_results(component.get(), results, e);
  });
}

}  // namespace

CFit CFitOf(const CSettings& settings, const CSource& source) {
  CFit fit{CComponentOf(settings), nullptr};
  Require(
      [&](qvreg_error* e) { return qvreg_component_build(fit.component.get(), source.get(), e); });
  fit.results = ResultsOf(fit.component);
  return fit;
}

CFit CFitOf(const QvRegSettings& settings, const std::vector<QvCommon::Record>& records) {
  CRecordFeed feed(records);
  return CFitOf(CSettingsOf(settings), feed.Source());
}

CBytes ModelOf(const CComponent& component) {
  return Made<CBytes>([&](qvreg_bytes** model, qvreg_error* e) {
    return qvreg_component_write(component.get(), model, e);
  });
}

CBytes TextOf(const CComponent& component) {
  return Made<CBytes>([&](qvreg_bytes** text, qvreg_error* e) {
    return qvreg_component_write_text(component.get(), text, e);
  });
}

CFit Restored(const CBytes& model) {
  CFit fit;
  fit.component = Made<CComponent>([&](qvreg_component** component, qvreg_error* e) {
    return qvreg_component_restore(model.get(), component, e);
  });
  fit.results = ResultsOf(fit.component);
  return fit;
}

CColumns::CColumns(const std::vector<QvCommon::Record>& records) : nRecords_(records.size()) {
  const int width = records.at(0).Size();
  for (int variable = 0; variable < width; ++variable) {
    for (const QvCommon::Record& record : records) values_.push_back(record[variable]);
  }
  for (int variable = 0; variable < width; ++variable) {
    columns_.push_back({values_.data() + static_cast<std::size_t>(variable) * nRecords_, 1});
  }
}

std::int32_t CColumns::TrySource(qvreg_source** source) const {
  return qvreg_source_create_columns(columns_.data(), columns_.size(), nRecords_, source, nullptr);
}

CSource CColumns::Source() const {
  return Made<CSource>([&](qvreg_source** source, qvreg_error* e) {
    return qvreg_source_create_columns(columns_.data(), columns_.size(), nRecords_, source, e);
  });
}

CEveryKind::CEveryKind(bool isLogistic)
    : records(Records(isLogistic)), columns(records), effect(Slope()), source(columns.Source()) {
  settings = Settings(isLogistic, effect);
  CFit fit = CFitOf(settings, source);
  component = std::move(fit.component);
  results = std::move(fit.results);
  parameters = Made<CParameters>([&](qvreg_parameters** made, qvreg_error* e) {
    return qvreg_results_get_parameters(results.get(), made, e);
  });
  bytes = Made<CBytes>([&](qvreg_bytes** made, qvreg_error* e) {
    return qvreg_settings_write(settings.get(), made, e);
  });
  worker = Made<CWorker>([](auto... rest) { return qvreg_worker_create(rest...); });
}

}  // namespace qvtest
