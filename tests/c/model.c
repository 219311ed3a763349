#include "tests/c/model.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void must(int32_t code, const qvreg_error* error, const char* what) {
  if (code == QVREG_OK) return;
  fprintf(stderr, "%s: code %d, %s\n", what, (int)code, error->message);
  exit(2);
}

// The model's variables of one kind, each once, in the order of their first appearance.
typedef struct variables {
  int32_t positions[MOST_COLUMNS];
  size_t count;
} variables;

static void add_once(variables* to, int32_t position) {
  for (size_t i = 0; i < to->count; ++i) {
    if (to->positions[i] == position) return;
  }
  to->positions[to->count++] = position;
}

static void collect(const model* of, const table* over, variables* factors, variables* covariates) {
  for (const term* t = of->terms; t < of->terms + of->n_terms; ++t) {
    for (size_t i = 0; i < t->n_factors; ++i) add_once(factors, column_of(over, t->factors[i]));
    for (size_t i = 0; i < t->n_covariates; ++i) {
      add_once(covariates, column_of(over, t->covariates[i]));
    }
  }
}

static void add_roles(qvreg_settings* to, const model* of, const table* over,
                      const variables* factors, const variables* covariates) {
  qvreg_error error = QVREG_ERROR_INIT;
  must(qvreg_settings_set_dependent(to, column_of(over, of->dependent), &error), &error,
       "dependent");
  for (size_t i = 0; i < factors->count; ++i) {
    const int32_t position = factors->positions[i];
    must(qvreg_settings_add_factor(to, position, over->n_levels[position], &error), &error,
         "factor");
  }
  for (size_t i = 0; i < covariates->count; ++i) {
    must(qvreg_settings_add_covariate(to, covariates->positions[i], &error), &error, "covariate");
  }
  if (of->frequency_weight[0] != '\0') {
    must(qvreg_settings_set_frequency_weight(to, column_of(over, of->frequency_weight), &error),
         &error, "frequency weight");
  }
  if (of->regression_weight[0] != '\0') {
    must(qvreg_settings_set_regression_weight(to, column_of(over, of->regression_weight), &error),
         &error, "regression weight");
  }
}

static void add_terms(qvreg_settings* to, const model* of, const table* over,
                      const variables* factors, const variables* covariates) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_effect* effect = NULL;
  must(qvreg_effect_create(factors->positions, factors->count, covariates->positions,
                           covariates->count, &effect, &error),
       &error, "effect");
  for (const term* t = of->terms; t < of->terms + of->n_terms; ++t) {
    must(qvreg_effect_reset(effect, &error), &error, "effect");
    for (size_t i = 0; i < t->n_factors; ++i) {
      const char* name = t->factors[i];
      must(qvreg_effect_add_factor(effect, column_of(over, name), t->is_nested && i > 0, &error),
           &error, name);
    }
    for (size_t i = 0; i < t->n_covariates; ++i) {
      const char* name = t->covariates[i];
      must(qvreg_effect_add_covariate(effect, column_of(over, name), NULL, &error), &error, name);
    }
    must(qvreg_settings_add_effect(to, effect, &error), &error, "effect of the settings");
  }
  qvreg_effect_destroy(effect);
}

static int32_t reference_category(const model* of, const table* over) {
  if (strcmp(of->reference_category, "first") == 0) return QVREG_FIRST_OBSERVED;
  if (strcmp(of->reference_category, "last") == 0) return QVREG_LAST_OBSERVED;
  const int32_t level = level_of(over, column_of(over, of->dependent), of->reference_category);
  if (level < 0) give_up("there is no level", of->reference_category);
  return level;
}

static void set_options(qvreg_settings* to, const model* of, const table* over) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_options options = {.struct_size = sizeof options};
  must(qvreg_settings_get_options(to, &options, &error), &error, "options");
  options.use_intercept = of->has_intercept;
  options.refine_estimates = 1;
  must(qvreg_settings_set_options(to, &options, &error), &error, "options");
  if (of->kind != QVREG_MODEL_LOGISTIC) return;
  qvreg_logistic_options logistic = {.struct_size = sizeof logistic};
  must(qvreg_settings_get_logistic_options(to, &logistic, &error), &error, "logistic options");
  logistic.n_categories = over->n_levels[column_of(over, of->dependent)];
  logistic.reference_category = reference_category(of, over);
  logistic.param_criterion = 1e-10;
  must(qvreg_settings_set_logistic_options(to, &logistic, &error), &error, "logistic options");
}

qvreg_settings* make_settings(const model* of, const table* over) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* settings = NULL;
  variables factors = {{0}, 0};
  variables covariates = {{0}, 0};
  must(qvreg_settings_create(of->kind, &settings, &error), &error, "settings");
  collect(of, over, &factors, &covariates);
  add_roles(settings, of, over, &factors, &covariates);
  add_terms(settings, of, over, &factors, &covariates);
  set_options(settings, of, over);
  return settings;
}
