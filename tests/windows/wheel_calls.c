/* Loads a library out of a Python wheel while it runs, makes the calls that the Python package
 * makes, in its order, and prints every number to the last bit, so that one system can be compared
 * with another: wheel_calls LIBRARY. */
#include <inttypes.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvreg/c/qvreg_c.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

enum { N = 90, N_COLUMNS = 7, BLOCK = 25, MOST = 32 };
enum { SPECIES, LENGTH, WIDTH, IS_OLD, RESPONSE, WEIGHT, COUNT };

typedef void (*any_function)(void);

static any_function find(const char* name) {
  static const char* path;
#ifdef _WIN32
  static HMODULE library;
  if (path == NULL) library = LoadLibraryA(name);
  any_function found =
      path == NULL || library == NULL ? NULL : (any_function)GetProcAddress(library, name);
#else
  static void* library;
  if (path == NULL) library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  void* const address = path == NULL || library == NULL ? NULL : dlsym(library, name);
  any_function found;
  memcpy(&found, &address, sizeof found);
#endif
  if (library == NULL || (path != NULL && found == NULL)) {
    fprintf(stderr, "wheel_calls: %s could not be loaded\n", name);
    exit(1);
  }
  if (path == NULL) path = name;
  return found;
}

#define LOADED(name) ((__typeof__(&(name)))find(#name))
/* A call that succeeds, and one that ends with a code. */
#define CALL(name, ...) expect(#name, LOADED(name)(__VA_ARGS__, &error), QVREG_OK)
#define REFUSED(code, name, ...) expect(#name, LOADED(name)(__VA_ARGS__, &error), code)

static qvreg_error error;

static void expect(const char* name, int32_t code, int32_t expected) {
  if (code == expected) return;
  fprintf(stderr, "wheel_calls: %s returned %d: %s\n", name, (int)code, error.message);
  exit(1);
}

static void print(const char* what, const double* values, size_t count) {
  printf("%s:", what);
  for (size_t i = 0; i < count; ++i) {
    uint64_t bits;
    memcpy(&bits, &values[i], sizeof bits);
    printf(" %016" PRIx64, bits);
  }
  printf("\n");
}

static void print_whole(const char* what, const int32_t* values, size_t count) {
  printf("%s:", what);
  for (size_t i = 0; i < count; ++i) printf(" %" PRId32, values[i]);
  printf("\n");
}

/* The records: every type that the package gives, one missing number and one missing category. */
static struct {
  int8_t species[N];
  double length[N];
  float width[N];
  uint8_t is_old[N];
  double growth[N];
  int64_t kind[N];
  double weight[N];
  int32_t count[N];
} data;
/* The base level of a factor has the last code. */
static const double species_codes[3] = {2.0, 0.0, 1.0};
static qvreg_typed_column columns[N_COLUMNS];

static uint32_t drawn = 12345;
static uint32_t draw(uint32_t below) {
  drawn = drawn * 1664525u + 1013904223u;
  return (drawn >> 8) % below;
}

static void make_data(void) {
  for (int i = 0; i < N; ++i) {
    data.species[i] = (int8_t)draw(3);
    data.length[i] = draw(1000) / 250.0;
    data.width[i] = (float)(draw(1000) / 300.0);
    data.is_old[i] = (uint8_t)draw(2);
    data.growth[i] = data.species[i] + data.length[i] / 3.0 - data.width[i] + draw(1000) / 400.0;
    data.kind[i] = (data.growth[i] > 1.0) + (draw(4) == 0);
    data.weight[i] = 0.5 + draw(100) / 100.0;
    data.count[i] = (int32_t)(1 + draw(3));
  }
  data.length[7] = NAN;
  data.species[11] = -1;
}

static void describe(int column, const void* values, ptrdiff_t stride, int32_t type,
                     const char* name) {
  columns[column] = (qvreg_typed_column){.struct_size = sizeof columns[column],
                                         .values = values,
                                         .stride = stride,
                                         .type = type,
                                         .name = name,
                                         .nan = QVREG_AS_MISSING,
                                         .infinite = QVREG_REFUSE};
}

static void describe_data(int32_t model) {
  describe(SPECIES, data.species, sizeof data.species[0], QVREG_TYPE_INT8, "The term 'species'");
  columns[SPECIES].map = species_codes;
  columns[SPECIES].map_size = 3;
  describe(LENGTH, data.length, sizeof data.length[0], QVREG_TYPE_FLOAT64, "The term 'length'");
  describe(WIDTH, data.width, sizeof data.width[0], QVREG_TYPE_FLOAT32, "The term 'width'");
  describe(IS_OLD, data.is_old, sizeof data.is_old[0], QVREG_TYPE_BOOL, "The term 'is_old'");
  if (model == QVREG_MODEL_LINEAR) {
    describe(RESPONSE, data.growth, sizeof data.growth[0], QVREG_TYPE_FLOAT64,
             "The response 'growth'");
  } else {
    describe(RESPONSE, data.kind, sizeof data.kind[0], QVREG_TYPE_INT64, "The response 'kind'");
  }
  describe(WEIGHT, data.weight, sizeof data.weight[0], QVREG_TYPE_FLOAT64, "The argument weights");
  describe(COUNT, data.count, sizeof data.count[0], QVREG_TYPE_INT32, "The argument freq_weights");
}

static void add_effect(qvreg_settings* settings, int factor, int covariate) {
  static const int32_t factors[] = {SPECIES, IS_OLD}, covariates[] = {LENGTH, WIDTH};
  qvreg_effect* effect;
  CALL(qvreg_effect_create, factors, 2, covariates, 2, &effect);
  if (factor >= 0) CALL(qvreg_effect_add_factor, effect, factor, 0);
  if (covariate >= 0) CALL(qvreg_effect_add_covariate, effect, covariate, NULL);
  CALL(qvreg_settings_add_effect, settings, effect);
  LOADED(qvreg_effect_destroy)(effect);
}

static qvreg_settings* make_settings(int32_t model) {
  qvreg_settings* settings;
  CALL(qvreg_settings_create, model, &settings);
  CALL(qvreg_settings_set_dependent, settings, RESPONSE);
  CALL(qvreg_settings_add_factor, settings, SPECIES, 3);
  CALL(qvreg_settings_add_covariate, settings, LENGTH);
  CALL(qvreg_settings_add_covariate, settings, WIDTH);
  CALL(qvreg_settings_add_factor, settings, IS_OLD, 2);
  CALL(qvreg_settings_set_regression_weight, settings, WEIGHT);
  CALL(qvreg_settings_set_frequency_weight, settings, COUNT);
  add_effect(settings, SPECIES, -1);
  add_effect(settings, IS_OLD, -1);
  add_effect(settings, -1, LENGTH);
  add_effect(settings, SPECIES, WIDTH);
  qvreg_options options = {.struct_size = sizeof options};
  CALL(qvreg_settings_get_options, settings, &options);
  options.use_intercept = 1;
  if (model == QVREG_MODEL_LINEAR) {
    options.tolerance = 1e-14;
    options.refine_estimates = 1;
    options.max_refinements = 5;
  }
  CALL(qvreg_settings_set_options, settings, &options);
  if (model == QVREG_MODEL_LINEAR) return settings;
  qvreg_logistic_options logistic = {.struct_size = sizeof logistic};
  CALL(qvreg_settings_get_logistic_options, settings, &logistic);
  logistic.n_categories = 3;
  logistic.reference_category = QVREG_FIRST_OBSERVED;
  logistic.max_iterations = 100;
  logistic.param_criterion = 1e-6;
  CALL(qvreg_settings_set_logistic_options, settings, &logistic);
  return settings;
}

static void on_progress(void* user, const qvreg_progress* state) {
  (void)user;
  print("progress", &state->log_likelihood, 1);
}

/* Chunks of the columns, in every pass again. */
static size_t chunks_read;
static qvreg_typed_column chunk[N_COLUMNS];
static int32_t next_block(void* user, qvreg_block* block) {
  (void)user;
  const size_t begin = chunks_read++ * BLOCK;
  if (begin >= N) return QVREG_NEXT_END;
  for (int j = 0; j < N_COLUMNS; ++j) {
    chunk[j] = columns[j];
    chunk[j].values = (const char*)columns[j].values + begin * (size_t)columns[j].stride;
  }
  block->columns = chunk;
  block->n_records = begin + BLOCK < N ? BLOCK : N - begin;
  return QVREG_NEXT_RECORD;
}
static int32_t rewind_blocks(void* user) {
  (void)user;
  chunks_read = 0;
  return 0;
}

static qvreg_source* make_source(int by_chunks) {
  qvreg_source* source;
  const qvreg_block_callbacks callbacks = {.struct_size = sizeof callbacks,
                                           .n_columns = N_COLUMNS,
                                           .next = next_block,
                                           .rewind = rewind_blocks};
  if (by_chunks) {
    CALL(qvreg_source_create_blocks, &callbacks, &source);
  } else {
    CALL(qvreg_source_create_typed_columns, columns, N_COLUMNS, N, &source);
  }
  return source;
}

static size_t print_estimates(const qvreg_results* results) {
  double estimates[MOST], covariance[MOST * MOST];
  int32_t redundant[MOST];
  size_t count;
  CALL(qvreg_results_get_estimates, results, estimates, MOST, &count);
  print("estimates", estimates, count);
  CALL(qvreg_results_get_redundant, results, redundant, MOST, &count);
  print_whole("redundant", redundant, count);
  CALL(qvreg_results_get_covariance_full, results, covariance, count, count * count, NULL);
  print("covariance", covariance, count * count);
  return count;
}

static void print_parameters(qvreg_results* results, size_t count) {
  qvreg_parameters* parameters;
  CALL(qvreg_results_get_parameters, results, &parameters);
  for (size_t i = 0; i < count; ++i) {
    qvreg_parameter_info info = {.struct_size = sizeof info};
    CALL(qvreg_parameters_get_info, parameters, i, &info);
    int32_t said[3] = {info.is_intercept, info.effect_index, info.n_factors};
    print_whole("parameter", said, 3);
    int32_t variables[2], levels[2], nested[2];
    size_t n_factors;
    if (info.n_factors == 0) continue;
    CALL(qvreg_parameters_get_factors, parameters, i, variables, levels, nested, 2, &n_factors);
    print_whole("levels", levels, n_factors);
  }
  LOADED(qvreg_parameters_destroy)(parameters);
}

/* Prints all that `component` knows; returns how many parameters it has. */
static size_t print_results(const qvreg_component* component, int32_t model) {
  qvreg_results* results;
  CALL(qvreg_component_get_results, component, &results);
  qvreg_record_counts counts = {.struct_size = sizeof counts};
  CALL(qvreg_results_get_record_counts, results, &counts);
  printf("records: %" PRId64 " %" PRId64 " %" PRId64 "\n", counts.read, counts.used,
         counts.missing);
  qvreg_summary summary = {.struct_size = sizeof summary};
  CALL(qvreg_results_get_summary, results, &summary);
  print("weight", &summary.total_frequency_weight, 1);
  const size_t count = print_estimates(results);
  print_parameters(results, model == QVREG_MODEL_LINEAR ? count : count / 2);
  double number;
  if (model == QVREG_MODEL_LINEAR) {
    CALL(qvreg_results_get_fit_stat, results, QVREG_FIT_RMSE, &number);
    print("root mean square", &number, 1);
  } else {
    int32_t codes[3];
    double weights[3], table[9];
    size_t n_categories;
    CALL(qvreg_logistic_get_categories, results, codes, weights, 3, &n_categories);
    print_whole("categories", codes, n_categories);
    print("their weights", weights, n_categories);
    qvreg_logistic_summary logistic = {.struct_size = sizeof logistic};
    CALL(qvreg_logistic_get_summary, results, &logistic);
    const double said[] = {logistic.iterations, logistic.outcome, logistic.initial_log_likelihood,
                           logistic.final_log_likelihood};
    print("iterations", said, 4);
    CALL(qvreg_logistic_get_classification, results, table, 3, 9, NULL);
    print("classification", table, 9);
  }
  LOADED(qvreg_results_destroy)(results);
  return count;
}

static void print_scores(const qvreg_component* component, int32_t model, size_t n) {
  static double predicted[N], errors[N], probabilities[3 * N], sums[MOST * MOST];
  qvreg_scores scores = {.struct_size = sizeof scores, .is_missing_nan = 1};
  if (model == QVREG_MODEL_LINEAR) {
    scores.predicted = predicted;
    scores.standard_errors = errors;
  } else {
    scores.probabilities = probabilities;
  }
  CALL(qvreg_component_score_columns, component, columns, RESPONSE, N, 0, &scores, NULL);
  if (model == QVREG_MODEL_LINEAR) {
    print("predicted", predicted, N);
    print("errors", errors, N);
  } else {
    print("probabilities", probabilities, 3 * N);
  }
  /* The multipliers may be any numbers, as many as a record has equations. */
  static double multipliers[2 * N];
  for (int i = 0; i < 2 * N; ++i) multipliers[i] = data.weight[i % N] - 1.0;
  const size_t length = n * (n + 1) / 2;
  memset(sums, 0, sizeof sums);
  CALL(qvreg_component_add_score_products, component, columns, RESPONSE, N, 0, multipliers, 0, sums,
       length);
  print("products", sums, length);
}

static qvreg_component* again(const qvreg_component* component) {
  qvreg_bytes *kept, *copy;
  const uint8_t* bytes;
  size_t size;
  CALL(qvreg_component_write, component, &kept);
  CALL(qvreg_bytes_get_data, kept, &bytes, &size);
  CALL(qvreg_bytes_create, bytes, size, &copy);
  LOADED(qvreg_bytes_destroy)(kept);
  qvreg_component* restored;
  CALL(qvreg_component_restore, copy, &restored);
  printf("saved: %zu bytes\n", size);
  LOADED(qvreg_bytes_destroy)(copy);
  return restored;
}

static void fit(int32_t model, int by_chunks) {
  printf("model %d, by chunks %d\n", (int)model, by_chunks);
  describe_data(model);
  qvreg_settings* settings = make_settings(model);
  qvreg_source* source = make_source(by_chunks);
  if (!by_chunks) CALL(qvreg_settings_set_threads, settings, source, 0, 0);
  CALL(qvreg_settings_set_progress, settings, on_progress, NULL);
  qvreg_component* component;
  CALL(qvreg_component_create, settings, &component);
  LOADED(qvreg_settings_destroy)(settings);
  CALL(qvreg_component_build, component, source);
  LOADED(qvreg_source_destroy)(source);
  print_scores(component, model, print_results(component, model));
  qvreg_component* restored = again(component);
  LOADED(qvreg_component_destroy)(component);
  print_scores(restored, model, print_results(restored, model));
  LOADED(qvreg_component_destroy)(restored);
}

/* What the package turns into exceptions. */
static void fail(void) {
  describe_data(QVREG_MODEL_LINEAR);
  qvreg_column_summary found = {.struct_size = sizeof found};
  CALL(qvreg_column_summarize, &columns[LENGTH], N, &found);
  printf("missing: %" PRId64 ", the first in record %" PRId64 "\n", found.missing,
         found.first_missing);
  qvreg_settings* settings = make_settings(QVREG_MODEL_LINEAR);
  qvreg_source* source = make_source(0);
  qvreg_component* component;
  qvreg_record_counts counts = {.struct_size = sizeof counts};
  CALL(qvreg_component_create, settings, &component);
  data.length[3] = INFINITY;
  REFUSED(QVREG_REFUSED_VALUE, qvreg_component_build, component, source);
  printf("refused in record %" PRId64 ": %s\n", error.discrete[0], error.message);
  CALL(qvreg_component_get_record_counts, component, &counts);
  LOADED(qvreg_component_destroy)(component);
  CALL(qvreg_component_create, settings, &component);
  CALL(qvreg_component_cancel, component);
  REFUSED(QVREG_CANCELLED, qvreg_component_build, component, source);
  printf("cancelled: %s\n", error.message);
  LOADED(qvreg_component_destroy)(component);
  LOADED(qvreg_source_destroy)(source);
  LOADED(qvreg_settings_destroy)(settings);
}

int main(int count, char** arguments) {
  if (count != 2) {
    fprintf(stderr, "usage: wheel_calls LIBRARY\n");
    return 2;
  }
  error.struct_size = sizeof error;
  find(arguments[1]);
  printf("version: %s\n", LOADED(qvreg_version_string)());
  make_data();
  for (int by_chunks = 0; by_chunks < 2; ++by_chunks) {
    fit(QVREG_MODEL_LINEAR, by_chunks);
    fit(QVREG_MODEL_LOGISTIC, by_chunks);
  }
  fail();
  return 0;
}
