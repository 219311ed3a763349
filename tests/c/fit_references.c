// Fits reference cases of both models through the C interface, as a host in plain C does: from
// callbacks, from columns in memory of one type and of many, and from a record file. Compares the
// results with the reference values and with one another, and tries what must be refused.
//
//   fit_references REFERENCES RECORD-FILE
//
// REFERENCES is the folder of the reference values; RECORD-FILE is written and taken away again.
// Exits with 1 when a check failed, and with 2 when there was nothing to check.

#include <inttypes.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvreg/c/qvreg_c.h"
#include "tests/c/model.h"
#include "tests/c/passes.h"
#include "tests/c/reference.h"
#include "tests/c/sources.h"
#include "tests/c/table.h"
#include "tests/c/typed.h"

enum { MOST_PARAMETERS = 64, LONGEST_PATH = 1024 };

static int n_checks = 0;
static int n_failed = 0;

static void check(int is_right, const char* what) {
  ++n_checks;
  if (is_right) return;
  ++n_failed;
  printf("  WRONG: %s\n", what);
}

// Relative to the reference value, or to 1 for one that is smaller.
static void check_near(double got, double expected, double tolerance, const char* what) {
  const double scale = fabs(expected) > 1.0 ? fabs(expected) : 1.0;
  const int is_right = fabs(got - expected) <= tolerance * scale;
  check(is_right, what);
  if (!is_right) printf("    %.17g, and %.17g was expected\n", got, expected);
}

// What a fit came to.
typedef struct fit {
  size_t n_parameters;
  double estimates[MOST_PARAMETERS];
  int32_t redundant[MOST_PARAMETERS];
  double variances[MOST_PARAMETERS];
  qvreg_summary summary;
  qvreg_record_counts counts;
} fit;

static fit read_fit(const qvreg_results* results) {
  fit read;
  memset(&read, 0, sizeof read);
  read.summary.struct_size = sizeof read.summary;
  read.counts.struct_size = sizeof read.counts;
  qvreg_error error = QVREG_ERROR_INIT;
  must(qvreg_results_get_summary(results, &read.summary, &error), &error, "summary");
  must(qvreg_results_get_record_counts(results, &read.counts, &error), &error, "counts");
  must(qvreg_results_get_estimates(results, read.estimates, MOST_PARAMETERS, &read.n_parameters,
                                   &error),
       &error, "estimates");
  must(qvreg_results_get_redundant(results, read.redundant, MOST_PARAMETERS, NULL, &error), &error,
       "redundant parameters");
  for (size_t i = 0; i < read.n_parameters; ++i) {
    must(qvreg_results_get_covariance(results, i, i, &read.variances[i], &error), &error,
         "variance");
  }
  return read;
}

static void check_estimates(const fit* got, const char* json) {
  double expected[MOST_PARAMETERS];
  double redundant[MOST_PARAMETERS];
  check(numbers_of(json, "estimates", expected, MOST_PARAMETERS) == got->n_parameters,
        "number of estimates");
  check(numbers_of(json, "redundant", redundant, MOST_PARAMETERS) == got->n_parameters,
        "number of redundancy flags");
  for (size_t i = 0; i < got->n_parameters; ++i) {
    check_near(got->estimates[i], expected[i], 1e-9, "an estimate");
    check(got->redundant[i] == (redundant[i] > 0.0), "a redundant parameter");
  }
  check((double)got->counts.used == number_of(json, "n"), "number of records used");
}

static double fit_stat(const qvreg_results* results, int32_t stat) {
  qvreg_error error = QVREG_ERROR_INIT;
  double value = 0.0;
  must(qvreg_results_get_fit_stat(results, stat, &value, &error), &error, "fit statistic");
  return value;
}

static void check_linear(const qvreg_results* results, const fit* got, const char* json) {
  double expected[MOST_PARAMETERS];
  check(numbers_of(json, "unscaled_variance", expected, MOST_PARAMETERS) == got->n_parameters,
        "number of variances");
  for (size_t i = 0; i < got->n_parameters; ++i) {
    check_near(got->variances[i], expected[i], 1e-8, "a variance");
  }
  check_near(fit_stat(results, QVREG_FIT_RMSE), number_of(json, "rmse"), 1e-9, "rmse");
  check_near(fit_stat(results, QVREG_FIT_R_SQUARE), number_of(json, "r_square"), 1e-10, "R square");
  double unserved = 0.0;
  check(qvreg_results_get_fit_stat(results, QVREG_FIT_MCFADDEN_R_SQUARE, &unserved, NULL) ==
            QVREG_NOT_SERVED,
        "a pseudo R square of a linear model is not served");
}

static void check_logistic(const qvreg_results* results, const fit* got, const char* json) {
  double expected[MOST_PARAMETERS];
  check(numbers_of(json, "standard_errors", expected, MOST_PARAMETERS) == got->n_parameters,
        "number of standard errors");
  for (size_t i = 0; i < got->n_parameters; ++i) {
    check_near(sqrt(got->variances[i]), expected[i], 1e-8, "a standard error");
  }
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_logistic_summary summary = {.struct_size = sizeof summary};
  must(qvreg_logistic_get_summary(results, &summary, &error), &error, "logistic summary");
  check_near(summary.initial_log_likelihood, number_of(json, "loglik_initial"), 1e-10,
             "initial log-likelihood");
  check_near(summary.final_log_likelihood, number_of(json, "loglik"), 1e-10, "log-likelihood");
  check_near(fit_stat(results, QVREG_FIT_COX_SNELL_R_SQUARE), number_of(json, "cox_snell"), 1e-10,
             "Cox and Snell's R square");
  check_near(fit_stat(results, QVREG_FIT_NAGELKERKE_R_SQUARE), number_of(json, "nagelkerke"), 1e-10,
             "Nagelkerke's R square");
  check_near(fit_stat(results, QVREG_FIT_MCFADDEN_R_SQUARE), number_of(json, "mcfadden"), 1e-10,
             "McFadden's R square");
  double classified[MOST_PARAMETERS];
  size_t n = 0;
  must(qvreg_logistic_get_classification(results, classified, (size_t)summary.n_categories,
                                         MOST_PARAMETERS, &n, &error),
       &error, "classification");
  check(numbers_of(json, "classification", expected, MOST_PARAMETERS) == n,
        "size of the classification table");
  for (size_t i = 0; i < n; ++i) check_near(classified[i], expected[i], 1e-12, "a classification");
}

static int32_t go_on(void* user) {
  ++*(int64_t*)user;
  return 0;
}

static int32_t stop_at_once(void* user) {
  (void)user;
  return 1;
}

static void hear(void* user, const qvreg_progress* progress) {
  int32_t* reports = user;
  ++*reports;
  check(progress->n_estimates > 0 && progress->estimates != NULL, "the estimates of a report");
}

// The model of a component that must be built.
static qvreg_results* build(const qvreg_settings* settings, qvreg_source* source) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* component = NULL;
  qvreg_results* results = NULL;
  must(qvreg_component_create(settings, &component, &error), &error, "component");
  must(qvreg_component_build(component, source, &error), &error, "build");
  must(qvreg_component_get_results(component, &results, &error), &error, "results");
  // The results live on without it.
  qvreg_component_destroy(component);
  return results;
}

static void check_same(const qvreg_settings* settings, qvreg_source* source, const fit* expected,
                       const char* what) {
  qvreg_results* results = build(settings, source);
  const fit got = read_fit(results);
  check(memcmp(got.estimates, expected->estimates, sizeof got.estimates) == 0, what);
  check(memcmp(got.variances, expected->variances, sizeof got.variances) == 0, what);
  qvreg_results_destroy(results);
  qvreg_source_destroy(source);
}

// The same settings and records by way of bytes: on threads, and by a worker of the host's.
static void check_passes(const qvreg_settings* settings, const table* data, const char* record_file,
                         const fit* expected) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* read = settings_by_bytes(settings);
  qvreg_source* file = source_of_file(data, record_file);
  must(qvreg_settings_set_threads(read, file, 2, 0, &error), &error, "threads");
  check_same(read, file, expected, "the same on threads");

  lone_worker alone = {NULL, source_of_columns(data), 0};
  must(qvreg_worker_create(&alone.worker, &error), &error, "worker");
  must(qvreg_settings_set_runner(read, run_alone, &alone, &error), &error, "runner");
  check_same(read, NULL, expected, "the same from a worker");
  check(alone.passes > 1, "the passes of the runner");
  qvreg_worker_destroy(alone.worker);
  qvreg_source_destroy(alone.source);
  qvreg_settings_destroy(read);
}

// The results of a model that a host has kept as text.
static void check_text(const qvreg_component* component, const fit* expected) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* restored = component_by_text(component);
  qvreg_results* results = NULL;
  must(qvreg_component_get_results(restored, &results, &error), &error, "results");
  const fit got = read_fit(results);
  check(memcmp(got.estimates, expected->estimates, sizeof got.estimates) == 0,
        "the same estimates from text");
  check(memcmp(got.variances, expected->variances, sizeof got.variances) == 0,
        "the same variances from text");
  qvreg_results_destroy(results);
  qvreg_component_destroy(restored);
}

// The scores of typed columns are those of their records, one by one.
static void check_scores(const qvreg_component* component, const table* data,
                         const typed_table* typed) {
  qvreg_error error = QVREG_ERROR_INIT;
  double* predicted = calloc(data->n_records, sizeof *predicted);
  int32_t* verdicts = calloc(data->n_records, sizeof *verdicts);
  if (predicted == NULL || verdicts == NULL) give_up("no memory", "");
  qvreg_scores to = {.struct_size = sizeof to, .predicted = predicted, .verdicts = verdicts};
  size_t n_scored = 0;
  must(qvreg_component_score_columns(component, typed->columns, data->n_columns, data->n_records, 2,
                                     &to, &n_scored, &error),
       &error, "scores");
  check(n_scored == data->n_records, "number of records scored");
  for (size_t i = 0; i < data->n_records; ++i) {
    double record[MOST_COLUMNS];
    for (size_t j = 0; j < data->n_columns; ++j) record[j] = data->values[j * data->n_records + i];
    double expected = 0.0;
    int32_t verdict = 0;
    must(qvreg_component_score(component, record, data->n_columns, &expected, NULL, 0, &verdict,
                               &error),
         &error, "score");
    check(predicted[i] == expected && verdicts[i] == verdict, "a score of columns");
  }
  free(predicted);
  free(verdicts);
}

// A value that a column is to refuse ends the run, and the error says where it is.
static void check_refused_value(const qvreg_settings* settings, typed_table* typed) {
  const size_t last = typed->of->n_columns - 1;
  const double infinite = (double)INFINITY;
  const qvreg_typed_column kept = typed->columns[last];
  qvreg_typed_column* column = &typed->columns[last];
  memset(column, 0, sizeof *column);
  column->struct_size = sizeof *column;
  column->values = &infinite;
  column->infinite = QVREG_REFUSE;
  column->name = kept.name;
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* component = NULL;
  qvreg_source* source = source_of_typed(typed);
  must(qvreg_component_create(settings, &component, &error), &error, "component");
  check(qvreg_component_build(component, source, &error) == QVREG_REFUSED_VALUE,
        "a value that is refused");
  check(error.discrete[0] == 1 && error.discrete[2] == (int64_t)last, "where it is");
  printf("  refused: %s\n", error.message);
  qvreg_component_destroy(component);
  qvreg_source_destroy(source);
  typed->columns[last] = kept;
}

// The same records as typed columns, by blocks, on threads; and their scores.
static void check_typed(const qvreg_settings* settings, const table* data, const fit* expected) {
  qvreg_error error = QVREG_ERROR_INIT;
  typed_table typed = typed_of(data);
  check_same(settings, source_of_typed(&typed), expected, "the same from typed columns");
  check_same(settings, source_of_blocks(&typed), expected, "the same from blocks");

  qvreg_settings* threaded = settings_by_bytes(settings);
  qvreg_source* source = source_of_typed(&typed);
  qvreg_component* component = NULL;
  must(qvreg_settings_set_threads(threaded, source, 2, 0, &error), &error, "threads");
  must(qvreg_component_create(threaded, &component, &error), &error, "component");
  must(qvreg_component_build(component, NULL, &error), &error, "build");
  check_scores(component, data, &typed);
  check_text(component, expected);
  qvreg_component_destroy(component);
  qvreg_source_destroy(source);
  qvreg_settings_destroy(threaded);

  check_refused_value(settings, &typed);
  release_typed(&typed);
}

// A record that cannot be read ends the run, and the error says which one.
static void check_failing_source(const qvreg_settings* settings, const table* data) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* component = NULL;
  cursor at = {data, 0, 3};
  qvreg_source* source = source_of_callbacks(&at);
  must(qvreg_component_create(settings, &component, &error), &error, "component");
  check(qvreg_component_build(component, source, &error) == QVREG_UNREADABLE_RECORD,
        "a source that fails");
  check(error.discrete[0] == 3 && error.discrete[1] == 1 && error.discrete[2] == -5,
        "where the source failed, and how");
  printf("  refused: %s\n", error.message);
  qvreg_component_destroy(component);
  qvreg_source_destroy(source);
}

// A host that asks to stop is obeyed.
static void check_cancel(qvreg_settings* settings, const table* data) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_component* component = NULL;
  qvreg_source* source = source_of_columns(data);
  must(qvreg_settings_set_cancel(settings, stop_at_once, NULL, &error), &error, "cancel callback");
  must(qvreg_component_create(settings, &component, &error), &error, "component");
  check(qvreg_component_build(component, source, &error) == QVREG_CANCELLED, "a cancelled run");
  qvreg_component_destroy(component);
  qvreg_source_destroy(source);
}

static void join(char path[LONGEST_PATH], const char* folder, const char* name) {
  const int length = snprintf(path, LONGEST_PATH, "%s/%s", folder, name);
  if (length < 0 || length >= LONGEST_PATH) give_up("the path is too long", name);
}

static void fit_reference(const char* name, const char* references, const char* record_file) {
  char path[LONGEST_PATH];
  join(path, references, name);
  char* json = read_text(path);
  const model of = read_model(json);
  join(path, references, of.data);
  table data = read_table(path);
  printf("%s, %" PRIu64 " records\n", name, (uint64_t)data.n_records);

  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* settings = make_settings(&of, &data);
  int64_t asked = 0;
  int32_t reports = 0;
  must(qvreg_settings_set_cancel(settings, go_on, &asked, &error), &error, "cancel callback");
  must(qvreg_settings_set_progress(settings, hear, &reports, &error), &error, "progress callback");

  cursor at = {&data, 0, 0};
  qvreg_source* source = source_of_callbacks(&at);
  qvreg_results* results = build(settings, source);
  const fit got = read_fit(results);
  check_estimates(&got, json);
  if (of.kind == QVREG_MODEL_LINEAR) {
    check_linear(results, &got, json);
  } else {
    check_logistic(results, &got, json);
    check(reports > 0, "reports of progress");
  }
  check(asked >= (int64_t)data.n_records, "the cancel callback is asked");
  printf("  %" PRIu64 " parameters, first estimate %.15g\n", (uint64_t)got.n_parameters,
         got.estimates[0]);

  check_same(settings, source_of_columns(&data), &got, "the same from columns");
  check_same(settings, source_of_file(&data, record_file), &got, "the same from a record file");
  check_passes(settings, &data, record_file, &got);
  check_typed(settings, &data, &got);
  check_failing_source(settings, &data);
  check_cancel(settings, &data);
  remove(record_file);

  qvreg_results_destroy(results);
  qvreg_source_destroy(source);
  qvreg_settings_destroy(settings);
  free(json);
  free(data.values);
}

// What must be a code, not a crash.
static void check_refusals(void) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_settings* settings = NULL;
  int32_t model_of = 0;
  check(qvreg_settings_create(QVREG_MODEL_LINEAR, NULL, &error) == QVREG_NULL_POINTER,
        "no place for a handle");
  check(qvreg_settings_get_model(NULL, &model_of, &error) == QVREG_NULL_HANDLE, "a null handle");
  must(qvreg_settings_create(QVREG_MODEL_LINEAR, &settings, &error), &error, "settings");
  check(qvreg_effect_reset((qvreg_effect*)(void*)settings, &error) == QVREG_BAD_HANDLE,
        "a handle of another kind");
  printf("  refused: %s\n", error.message);
  qvreg_options options = {.struct_size = 4};
  check(qvreg_settings_get_options(settings, &options, &error) == QVREG_BAD_STRUCT_SIZE,
        "a structure without its size");
  printf("  refused: %s\n", error.message);
  error.struct_size = 0;
  check(qvreg_settings_validate(settings, &error) == QVREG_BAD_STRUCT_SIZE,
        "an error without its size");
  qvreg_settings_destroy(settings);
  qvreg_settings_destroy(NULL);
  error.struct_size = sizeof error;
  const uint8_t noise[] = {1, 2, 3};
  qvreg_bytes* bytes = NULL;
  must(qvreg_bytes_create(noise, sizeof noise, &bytes, &error), &error, "bytes");
  check(qvreg_settings_read(bytes, &settings, &error) == QVREG_UNREADABLE_MESSAGE,
        "bytes that are no settings");
  printf("  refused: %s\n", error.message);
  qvreg_bytes_destroy(bytes);
}

int main(int argc, char** argv) {
  static const char* const cases[] = {"linear/longley.json", "linear/two_way_freq.json",
                                      "logistic/fits/binary_both_weights.json",
                                      "logistic/fits/housing.json"};
  if (argc != 3) give_up("usage", "fit_references REFERENCES RECORD-FILE");
  printf("qvreg %s\n", qvreg_version_string());
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
    fit_reference(cases[i], argv[1], argv[2]);
  }
  printf("refusals\n");
  check_refusals();
  printf("%d checks, %d failed\n", n_checks, n_failed);
  return n_failed == 0 ? 0 : 1;
}
