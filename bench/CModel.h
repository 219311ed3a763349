#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/c/qvreg_c.h"

namespace qvbench {

/// Ends the program, with the sentence on standard error, when a call of the C interface failed.
inline void Succeed(std::int32_t code, const qvreg_error& error) {
  if (code == QVREG_OK) return;
  std::fprintf(stderr, "%s (code %d)\n", error.message, static_cast<int>(code));
  std::exit(1);
}

/// Ends the program when a result is not what it has to be.
inline void Expect(bool isTrue, const char* what) {
  if (isTrue) return;
  std::fprintf(stderr, "WRONG: %s\n", what);
  std::exit(1);
}

using Settings = std::unique_ptr<qvreg_settings, void (*)(qvreg_settings*)>;
using Source = std::unique_ptr<qvreg_source, void (*)(qvreg_source*)>;
using Component = std::unique_ptr<qvreg_component, void (*)(qvreg_component*)>;
using Results = std::unique_ptr<qvreg_results, void (*)(qvreg_results*)>;

/// A factor of a model: its variable, and how many categories it has.
using Factor = std::pair<std::int32_t, std::int32_t>;

/// Settings of a model of `covariates` and `factors`, each an effect of its own; a logistic one of
/// `categories`, of which two or more are given, else a linear one.
inline Settings MakeSettings(std::int32_t dependent, const std::vector<std::int32_t>& covariates,
                             const std::vector<Factor>& factors, std::int32_t categories = 0) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* made = nullptr;
  const std::int32_t model = categories > 0 ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR;
  Succeed(qvreg_settings_create(model, &made, &error), error);
  Settings settings(made, &qvreg_settings_destroy);
  Succeed(qvreg_settings_set_dependent(made, dependent, &error), error);
  std::vector<std::int32_t> variables;
  for (const auto& [variable, count] : factors) {
    Succeed(qvreg_settings_add_factor(made, variable, count, &error), error);
    variables.push_back(variable);
  }
  for (const std::int32_t variable : covariates) {
    Succeed(qvreg_settings_add_covariate(made, variable, &error), error);
  }
  qvreg_effect* effect = nullptr;
  Succeed(qvreg_effect_create(variables.data(), variables.size(), covariates.data(),
                              covariates.size(), &effect, &error),
          error);
  const auto add = [&](std::int32_t code) {
    Succeed(code, error);
    Succeed(qvreg_settings_add_effect(made, effect, &error), error);
    Succeed(qvreg_effect_reset(effect, &error), error);
  };
  for (const std::int32_t v : covariates)
    add(qvreg_effect_add_covariate(effect, v, nullptr, &error));
  for (const std::int32_t v : variables) add(qvreg_effect_add_factor(effect, v, 0, &error));
  qvreg_effect_destroy(effect);
  if (categories == 0) return settings;
  qvreg_logistic_options options{};
  options.struct_size = sizeof options;
  Succeed(qvreg_settings_get_logistic_options(made, &options, &error), error);
  options.n_categories = categories;
  Succeed(qvreg_settings_set_logistic_options(made, &options, &error), error);
  return settings;
}

inline Component MakeComponent(const Settings& settings) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* component = nullptr;
  Succeed(qvreg_component_create(settings.get(), &component, &error), error);
  return {component, &qvreg_component_destroy};
}

inline Results ResultsOf(const Component& component) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_results* results = nullptr;
  Succeed(qvreg_component_get_results(component.get(), &results, &error), error);
  return {results, &qvreg_results_destroy};
}

inline std::vector<double> EstimatesOf(const Results& results) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_summary summary{};
  summary.struct_size = sizeof summary;
  Succeed(qvreg_results_get_summary(results.get(), &summary, &error), error);
  std::vector<double> estimates(static_cast<std::size_t>(summary.n_parameters));
  std::size_t count = 0;
  Succeed(qvreg_results_get_estimates(results.get(), estimates.data(), estimates.size(), &count,
                                      &error),
          error);
  Expect(count == estimates.size(), "the number of estimates");
  return estimates;
}

}  // namespace qvbench
