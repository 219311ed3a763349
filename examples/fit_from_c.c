// Fits `growth ~ soil + sun` to records that the program holds in memory, in plain C, and prints
// the estimates.
//
// Every function returns 0 for success and explains anything else in `error`: calls that follow one
// another are joined by ||, and the first that fails ends them.

#include <stdio.h>

#include "qvreg/c/qvreg_c.h"

enum { GROWTH, SOIL, SUN, N_VARIABLES };  // positions in a record

// Growth in centimetres, soil 0 or 1, hours of sun.
static const double rows[][N_VARIABLES] = {{12.1, 0, 3}, {15.9, 0, 5}, {19.2, 0, 6}, {22.0, 0, 8},
                                           {10.4, 1, 4}, {13.1, 1, 5}, {16.8, 1, 7}, {20.5, 1, 9}};
enum { N_RECORDS = sizeof rows / sizeof rows[0], MOST_PARAMETERS = 8 };

static int32_t make_settings(qvreg_settings* settings, qvreg_error* error) {
  const int32_t factors[] = {SOIL};
  const int32_t covariates[] = {SUN};
  qvreg_effect* effect = NULL;
  const int32_t failed = qvreg_settings_set_dependent(settings, GROWTH, error) ||
                         qvreg_settings_add_factor(settings, SOIL, 2, error) ||
                         qvreg_settings_add_covariate(settings, SUN, error) ||
                         qvreg_effect_create(factors, 1, covariates, 1, &effect, error) ||
                         qvreg_effect_add_factor(effect, SOIL, 0, error) ||
                         qvreg_settings_add_effect(settings, effect, error) ||
                         qvreg_effect_reset(effect, error) ||
                         qvreg_effect_add_covariate(effect, SUN, NULL, error) ||
                         qvreg_settings_add_effect(settings, effect, error);
  qvreg_effect_destroy(effect);  // the settings have copies
  return failed;
}

static int32_t print(const qvreg_results* results, qvreg_error* error) {
  double estimates[MOST_PARAMETERS];
  int32_t redundant[MOST_PARAMETERS];
  size_t count = 0;
  double r_square = 0.0;
  qvreg_parameters* parameters = NULL;
  int32_t failed =
      qvreg_results_get_estimates(results, estimates, MOST_PARAMETERS, &count, error) ||
      qvreg_results_get_redundant(results, redundant, MOST_PARAMETERS, NULL, error) ||
      qvreg_results_get_fit_stat(results, QVREG_FIT_R_SQUARE, &r_square, error) ||
      qvreg_results_get_parameters(results, &parameters, error);
  for (size_t i = 0; i < count && !failed; ++i) {
    qvreg_parameter_info info = {.struct_size = sizeof info};
    int32_t soil = 0;
    failed = qvreg_parameters_get_info(parameters, i, &info, error) ||
             qvreg_parameters_get_factors(parameters, i, NULL, &soil, NULL, 1, NULL, error);
    if (info.is_intercept) printf("intercept ");
    if (info.n_factors > 0) printf("soil=%d    ", (int)soil);
    if (info.n_covariates > 0) printf("sun       ");
    printf("%8.4f%s\n", estimates[i], redundant[i] ? "  (redundant)" : "");
  }
  if (!failed) printf("R square  %8.4f\n", r_square);
  qvreg_parameters_destroy(parameters);
  return failed;
}

int main(void) {
  // A column of the table is every third number of it.
  const qvreg_column columns[N_VARIABLES] = {
      {&rows[0][GROWTH], N_VARIABLES}, {&rows[0][SOIL], N_VARIABLES}, {&rows[0][SUN], N_VARIABLES}};
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* settings = NULL;
  qvreg_source* records = NULL;
  qvreg_component* model = NULL;
  qvreg_results* results = NULL;
  const int32_t failed =
      qvreg_settings_create(QVREG_MODEL_LINEAR, &settings, &error) ||
      make_settings(settings, &error) ||
      qvreg_source_create_columns(columns, N_VARIABLES, N_RECORDS, &records, &error) ||
      qvreg_component_create(settings, &model, &error) ||
      qvreg_component_build(model, records, &error) ||
      qvreg_component_get_results(model, &results, &error) || print(results, &error);
  if (failed) fprintf(stderr, "%s (code %d)\n", error.message, (int)error.code);
  qvreg_results_destroy(results);
  qvreg_component_destroy(model);
  qvreg_source_destroy(records);
  qvreg_settings_destroy(settings);
  return failed;
}
