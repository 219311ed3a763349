#include "fuzz/CallSession.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace qvfuzz {

void CallSession::MakeModel() {
  const bool isLogistic = data_.ConsumeBool();
  Make(settings_, [&](auto** made, qvreg_error* e) {
    return qvreg_settings_create(isLogistic ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR, made, e);
  });
  qvreg_settings* settings = settings_.back().get();
  const std::array<std::int32_t, 1> factors{kFactor};
  const std::array<std::int32_t, 1> covariates{kX};
  Run([&](qvreg_error* e) { return qvreg_settings_set_dependent(settings, kY, e); });
  Run([&](qvreg_error* e) { return qvreg_settings_add_factor(settings, kFactor, 3, e); });
  Run([&](qvreg_error* e) { return qvreg_settings_add_covariate(settings, kX, e); });
  Run([&](qvreg_error* e) { return qvreg_settings_set_frequency_weight(settings, kWeight, e); });
  for (int i = 0; i < 2; ++i) {
    Make(effects_, [&](auto** made, qvreg_error* e) {
      return qvreg_effect_create(factors.data(), 1, covariates.data(), 1, made, e);
    });
    qvreg_effect* effect = effects_.back().get();
    Run([&](qvreg_error* e) {
      return i == 0 ? qvreg_effect_add_factor(effect, kFactor, 0, e)
                    : qvreg_effect_add_covariate(effect, kX, nullptr, e);
    });
    Run([&](qvreg_error* e) { return qvreg_settings_add_effect(settings, effect, e); });
  }
  if (isLogistic) {
    auto options = qvtest::Sized<qvreg_logistic_options>();
    Run([&](qvreg_error* e) { return qvreg_settings_get_logistic_options(settings, &options, e); });
    options.max_iterations = 5;
    options.use_pattern_tabulator = data_.ConsumeBool() ? 1 : 0;
    Run([&](qvreg_error* e) { return qvreg_settings_set_logistic_options(settings, &options, e); });
  }
  feeds_.push_back(std::make_unique<LyingFeed>(data_, [this] { Intrude(); }));
  const qvreg_record_callbacks callbacks = feeds_.back()->Records();
  Make(sources_, [&](auto** made, qvreg_error* e) {
    return qvreg_source_create_callbacks(&callbacks, made, e);
  });
  Make(components_,
       [&](auto** made, qvreg_error* e) { return qvreg_component_create(settings, made, e); });
}

void CallSession::MakeCall() {
  using Part = void (CallSession::*)();
  constexpr std::array<Part, 16> kParts = {
      &CallSession::CallComponent, &CallSession::CallComponent,  &CallSession::CallComponent,
      &CallSession::CallSettings,  &CallSession::CallOptions,    &CallSession::CallEffect,
      &CallSession::CallSource,    &CallSession::CallResults,    &CallSession::CallResults,
      &CallSession::CallLogistic,  &CallSession::CallParameters, &CallSession::CallScoring,
      &CallSession::CallColumns,   &CallSession::CallBytes,      &CallSession::CallWorker,
      &CallSession::Destroy};
  (this->*kParts[static_cast<std::size_t>(Below(static_cast<int>(kParts.size())))])();
}

void CallSession::Intrude() {
  if (isIntruding_) return;
  isIntruding_ = true;
  MakeCall();
  isIntruding_ = false;
}

std::int32_t CallSession::AskCancel(void* user) {
  auto& self = *static_cast<CallSession*>(user);
  const int drawn = self.Below(64);
  if (drawn == 63) return 1;
  if (drawn == 62) self.Intrude();
  if (drawn == 61) throw std::runtime_error("the host's own");
  return 0;
}

void CallSession::TakeProgress(void* user, const qvreg_progress* progress) {
  auto& self = *static_cast<CallSession*>(user);
  for (std::size_t i = 0; progress->estimates != nullptr && i < progress->n_estimates; ++i) {
    static_cast<void>(*static_cast<const volatile double*>(progress->estimates + i));
  }
  const int drawn = self.Below(32);
  if (drawn == 31) self.Intrude();
  if (drawn == 30) throw std::runtime_error("the host's own");
}

void CallSession::CallSettings() {
  qvreg_settings* settings = Pick(settings_);
  const std::int32_t variable = Variable();
  std::int32_t answer = 0;
  switch (Below(14)) {
    case 0:
      return Make(settings_, [&](auto** made, qvreg_error* e) {
        return qvreg_settings_create(Below(4) - 1, made, e);
      });
    case 1:
      Run([&](auto* e) { return qvreg_settings_set_dependent(settings, variable, e); });
      return;
    case 2:
      Run([&](auto* e) { return qvreg_settings_add_factor(settings, variable, Below(6) - 1, e); });
      return;
    case 3:
      Run([&](auto* e) { return qvreg_settings_add_covariate(settings, variable, e); });
      return;
    case 4:
      Run([&](auto* e) { return qvreg_settings_set_frequency_weight(settings, variable, e); });
      return;
    case 5:
      Run([&](auto* e) { return qvreg_settings_set_regression_weight(settings, variable, e); });
      return;
    case 6:
      Run([&](auto* e) { return qvreg_settings_set_record_count(settings, variable, e); });
      return;
    case 7:
      Run([&](auto* e) { return qvreg_settings_get_record_count(settings, &answer, e); });
      return;
    case 8: {
      auto roles = Sized<qvreg_roles>();
      Run([&](auto* e) { return qvreg_settings_get_roles(settings, &roles, e); });
      return;
    }
    case 9: {
      const auto sizes = std::make_unique<std::int32_t[]>(40);
      return List<std::int32_t>([&](auto* buffer, auto... rest) {
        return qvreg_settings_get_factors(settings, buffer, sizes.get(), rest...);
      });
    }
    case 10:
      return List<std::int32_t>(
          [&](auto... list) { return qvreg_settings_get_covariates(settings, list...); });
    case 11:
      Run([&](auto* e) { return qvreg_settings_validate(settings, e); });
      return;
    case 12:
      Run([&](auto* e) { return qvreg_settings_get_model(settings, &answer, e); });
      return;
    default:
      return Make(effects_, [&](auto** made, qvreg_error* e) {
        return qvreg_settings_get_effect(settings, Below(4) - 1, made, e);
      });
  }
}

void CallSession::CallOptions() {
  qvreg_settings* settings = Pick(settings_);
  switch (Below(7)) {
    case 0: {
      auto options = Sized<qvreg_options>();
      Run([&](auto* e) { return qvreg_settings_get_options(settings, &options, e); });
      if (data_.ConsumeBool()) options.tolerance = data_.ConsumeFloatingPoint<double>();
      if (data_.ConsumeBool()) options.degrees_of_freedom = data_.ConsumeFloatingPoint<double>();
      options.confidence_level = data_.ConsumeFloatingPointInRange(-0.1, 1.1);
      options.use_intercept = Below(2);
      options.refine_estimates = Below(2);
      options.max_refinements = Below(5) - 1;
      options.test_type = Below(8) - 1;
      Run([&](auto* e) { return qvreg_settings_set_options(settings, &options, e); });
      return;
    }
    case 1: {
      auto options = Sized<qvreg_logistic_options>();
      Run([&](auto* e) { return qvreg_settings_get_logistic_options(settings, &options, e); });
      options.n_categories = Below(6);
      options.reference_category = Below(7) - 3;
      options.ll_criterion = Below(3) - 1;
      options.max_iterations = Below(8) - 1;
      options.max_step_halvings = Below(4);
      options.starting_iteration = Below(5) - 1;
      options.iteration_frequency = Below(3);
      options.use_pattern_tabulator = Below(2);
      Run([&](auto* e) { return qvreg_settings_set_logistic_options(settings, &options, e); });
      return;
    }
    case 2: {
      const std::vector<double> values(Capacity(), data_.ConsumeFloatingPoint<double>());
      Run([&](auto* e) {
        return qvreg_settings_set_starting_values(settings, values.data(), values.size(), e);
      });
      return;
    }
    case 3: {
      const auto callback = data_.ConsumeBool() ? &TakeProgress : nullptr;
      Run([&](auto* e) { return qvreg_settings_set_progress(settings, callback, this, e); });
      return;
    }
    case 4: {
      const auto callback = data_.ConsumeBool() ? &AskCancel : nullptr;
      Run([&](auto* e) { return qvreg_settings_set_cancel(settings, callback, this, e); });
      return;
    }
    case 5: {
      const auto callback = data_.ConsumeBool() ? &RunPass : nullptr;
      Run([&](auto* e) { return qvreg_settings_set_runner(settings, callback, this, e); });
      return;
    }
    default: {
      const qvreg_source* source = Pick(sources_);
      const std::int32_t threads = Below(4) - 1;
      const std::int64_t bound = Below(3) - 1;
      Run([&](auto* e) { return qvreg_settings_set_threads(settings, source, threads, bound, e); });
    }
  }
}

void CallSession::CallEffect() {
  qvreg_effect* effect = Pick(effects_);
  switch (Below(6)) {
    case 0: {
      const std::vector<std::int32_t> factors(data_.ConsumeIntegralInRange<std::size_t>(0, 3),
                                              Variable());
      const std::vector<std::int32_t> covariates(data_.ConsumeIntegralInRange<std::size_t>(0, 3),
                                                 Variable());
      return Make(effects_, [&](auto** made, qvreg_error* e) {
        return qvreg_effect_create(factors.data(), factors.size(), covariates.data(),
                                   covariates.size(), made, e);
      });
    }
    case 1:
      Run([&](auto* e) { return qvreg_effect_add_factor(effect, Variable(), Below(2), e); });
      return;
    case 2: {
      std::int32_t multiplicity = 0;
      Run([&](auto* e) {
        return qvreg_effect_add_covariate(effect, Variable(), &multiplicity, e);
      });
      return;
    }
    case 3:
      Run([&](auto* e) { return qvreg_effect_reset(effect, e); });
      return;
    case 4: {
      const auto levels = std::make_unique<std::int32_t[]>(40);
      return List<std::int32_t>([&](auto* buffer, auto... rest) {
        return data_.ConsumeBool() ? qvreg_effect_get_factors(effect, buffer, levels.get(), rest...)
                                   : qvreg_effect_get_covariates(effect, buffer, nullptr, rest...);
      });
    }
    default: {
      qvreg_settings* settings = Pick(settings_);
      Run([&](auto* e) { return qvreg_settings_add_effect(settings, effect, e); });
    }
  }
}

void CallSession::CallSource() {
  const auto nRecords = data_.ConsumeIntegralInRange<std::size_t>(0, 40);
  switch (Below(7)) {
    case 0:
    case 1: {
      feeds_.push_back(std::make_unique<LyingFeed>(data_, [this] { Intrude(); }));
      LyingFeed& feed = *feeds_.back();
      if (data_.ConsumeBool()) {
        const qvreg_record_callbacks records = feed.Records();
        return Make(sources_, [&](auto** made, qvreg_error* e) {
          return qvreg_source_create_callbacks(&records, made, e);
        });
      }
      const qvreg_block_callbacks blocks = feed.Blocks();
      return Make(sources_, [&](auto** made, qvreg_error* e) {
        return qvreg_source_create_blocks(&blocks, made, e);
      });
    }
    case 2: {
      values_.push_back(std::make_unique<double[]>(nRecords * kHostWidth));
      double* values = values_.back().get();
      std::array<qvreg_column, kHostWidth> columns{};
      for (std::size_t i = 0; i < nRecords; ++i) FillRecord(i, values + i * kHostWidth);
      for (std::size_t k = 0; k < kHostWidth; ++k) columns[k] = {values + k, kHostWidth};
      return Make(sources_, [&](auto** made, qvreg_error* e) {
        return qvreg_source_create_columns(columns.data(), columns.size(), nRecords, made, e);
      });
    }
    case 3:
    case 4: {
      const std::size_t nColumns = kHostWidth - data_.ConsumeIntegralInRange<std::size_t>(0, 1);
      columns_.push_back(std::make_unique<HostColumns>(data_, nColumns, nRecords));
      const HostColumns& columns = *columns_.back();
      if (data_.ConsumeIntegralInRange(0, 3) == 0) {
        auto summary = Sized<qvreg_column_summary>();
        Run([&](auto* e) {
          return qvreg_column_summarize(columns.Get(), columns.Records(), &summary, e);
        });
      }
      return Make(sources_, [&](auto** made, qvreg_error* e) {
        return qvreg_source_create_typed_columns(columns.Get(), columns.Size(), columns.Records(),
                                                 made, e);
      });
    }
    case 5: {
      qvreg_source* source = Pick(sources_);
      Run([&](auto* e) { return qvreg_source_rewind(source, e); });
      return;
    }
    default: {
      qvreg_source* source = Pick(sources_);
      const std::size_t capacity = Capacity();
      const auto record = std::make_unique<double[]>(capacity);
      std::int32_t hasRecord = 0;
      Run([&](auto* e) {
        return qvreg_source_next(source, record.get(), capacity, &hasRecord, e);
      });
    }
  }
}

void CallSession::CallComponent() {
  qvreg_component* component = Pick(components_);
  qvreg_source* source = Pick(sources_);
  switch (Below(11)) {
    case 0: {
      const qvreg_settings* settings = Pick(settings_);
      return Make(components_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_create(settings, made, e);
      });
    }
    case 1:
      return Make(parameters_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_create_parameters(component, source, made, e);
      });
    case 2:
    case 3:
    case 4:
      Run([&](auto* e) { return qvreg_component_build(component, source, e); });
      return;
    case 5:
      return Make(results_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_get_results(component, made, e);
      });
    case 6: {
      std::int32_t isBuilt = 0;
      Run([&](auto* e) { return qvreg_component_is_built(component, &isBuilt, e); });
      return;
    }
    case 7:
      if (Below(8) == 7) Run([&](auto* e) { return qvreg_component_cancel(component, e); });
      return;
    case 8: {
      auto status = Sized<qvreg_error>();
      Run([&](auto* e) { return qvreg_component_get_status(component, &status, e); });
      std::size_t count = 0;
      Run([&](auto* e) { return qvreg_component_get_warning_count(component, &count, e); });
      auto warning = Sized<qvreg_error>();
      Run([&](auto* e) { return qvreg_component_get_warning(component, Capacity(), &warning, e); });
      return;
    }
    case 9: {
      auto counts = Sized<qvreg_record_counts>();
      Run([&](auto* e) { return qvreg_component_get_record_counts(component, &counts, e); });
      return;
    }
    default:
      return Make(settings_, [&](auto** made, qvreg_error* e) {
        return qvreg_component_get_settings(component, made, e);
      });
  }
}

void CallSession::Destroy() {
  // Handles of the call that a callback is made from must outlive it.
  if (isIntruding_) return;
  const auto drop = [this](auto& handles) {
    if (handles.size() > 1) {
      const auto at = data_.ConsumeIntegralInRange<std::size_t>(0, handles.size() - 1);
      handles.erase(handles.begin() + static_cast<std::ptrdiff_t>(at));
    }
  };
  switch (Below(8)) {
    case 0:
      return drop(settings_);
    case 1:
      return drop(effects_);
    case 2:
      return drop(sources_);
    case 3:
      return drop(components_);
    case 4:
      return drop(parameters_);
    case 5:
      return drop(results_);
    case 6:
      return drop(bytes_);
    default:
      return drop(workers_);
  }
}

}  // namespace qvfuzz
