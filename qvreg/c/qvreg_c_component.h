#pragma once

/**
 * \file
 * Estimation and scoring; qvreg/c/qvreg_c.h tells the rules.
 *
 * A component keeps a status: once that is an error, every later operation does nothing and returns
 * it, and a new component is needed.
 */

#include "qvreg/c/qvreg_c_source.h"
#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Records to score: value v of record i is `values[i * record_stride + v * value_stride]`. */
typedef struct qvreg_rows {
  size_t struct_size;      /**< sizeof(qvreg_rows), set by the host. */
  const double* values;    /**< The first value of the first record. */
  size_t n_records;        /**< How many records; 0 allows null values. */
  size_t record_size;      /**< How many values a record has. */
  ptrdiff_t record_stride; /**< From record to record, in doubles. */
  ptrdiff_t value_stride;  /**< From value to value of a record, in doubles; 1 for plain rows. */
} qvreg_rows;

/** Makes a `component` of `settings`, which are copied. `error`: 301, 302, 305, 1007 for an effect
 * with a variable that is no such factor or covariate of the settings, 1008 when their roles are
 * not complete. */
QVREG_EXPORT int32_t qvreg_component_create(const qvreg_settings* settings,
                                            qvreg_component** component, qvreg_error* error);
/** Gives `component` back; its results live on. */
QVREG_EXPORT void qvreg_component_destroy(qvreg_component* component);

/** `model` receives the qvreg_model of `component`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_component_get_model(const qvreg_component* component, int32_t* model,
                                               qvreg_error* error);
/** Makes `settings`, a copy of those of `component`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_component_get_settings(const qvreg_component* component,
                                                  qvreg_settings** settings, qvreg_error* error);

/** Reads the records of `source` once and makes `parameters`, in design order; null when they are
 * not wanted. Optional: qvreg_component_build does it where it was not done. The result becomes the
 * status of `component`. `error`: 1, 304, 305, 306, 307, 309, 310, 312, 314, 315, 316, 1012; 1007,
 * which leaves the status, when the component or the source is in use. */
QVREG_EXPORT int32_t qvreg_component_create_parameters(qvreg_component* component,
                                                       qvreg_source* source,
                                                       qvreg_parameters** parameters,
                                                       qvreg_error* error);
/** Estimates the model of `component` from the records of `source`. The result becomes the status
 * of the component; a warning goes to `error`, and QVREG_OK is returned. `error`: 1, 303 to 316,
 * 318, 1012; 1015 when a later pass used another number of records than the first; 1007, which
 * leaves the status, when the component or the source is in use; warning 319. */
QVREG_EXPORT int32_t qvreg_component_build(qvreg_component* component, qvreg_source* source,
                                           qvreg_error* error);
/** `is_built` becomes 1 when the model of `component` is built and its status no error. `error` as
 * ever. */
QVREG_EXPORT int32_t qvreg_component_is_built(const qvreg_component* component, int32_t* is_built,
                                              qvreg_error* error);
/** Asks a running pass of `component` to stop before its next record, with QVREG_CANCELLED. It is
 * kept: a component that was cancelled stays so, before a run as well as after it, and scores no
 * more. Any thread, with an `error` of its own. */
QVREG_EXPORT int32_t qvreg_component_cancel(qvreg_component* component, qvreg_error* error);

/** `status` receives the status of `component`; the function returns whether that could be read,
 * and `error`, another structure, why not. `error`: 1007 when they are one. */
QVREG_EXPORT int32_t qvreg_component_get_status(const qvreg_component* component,
                                                qvreg_error* status, qvreg_error* error);
/** `count` receives how many warnings `component` has raised. `error` as ever. */
QVREG_EXPORT int32_t qvreg_component_get_warning_count(const qvreg_component* component,
                                                       size_t* count, qvreg_error* error);
/** `warning` receives number `index` of the warnings of `component`, in the order raised. `error`,
 * another structure: 1006, 1007 when they are one. */
QVREG_EXPORT int32_t qvreg_component_get_warning(const qvreg_component* component, size_t index,
                                                 qvreg_error* warning, qvreg_error* error);
/** `counts` receives how many records the first pass of `component` read, used and left out, and
 * whether the later ones used as many; also after a run that failed. `error` as ever. */
QVREG_EXPORT int32_t qvreg_component_get_record_counts(const qvreg_component* component,
                                                       qvreg_record_counts* counts,
                                                       qvreg_error* error);

/** Makes `results`, those of the built model of `component`. They keep alive what they read.
 * `error`: the status of the component, 311 without a model. */
QVREG_EXPORT int32_t qvreg_component_get_results(const qvreg_component* component,
                                                 qvreg_results** results, qvreg_error* error);

/** Scores one `record` of `record_size` values with the model of `component`, checking it first.
 *
 * `predicted` receives the predicted value, or for a logistic model the predicted category's code.
 * `probabilities`, a buffer of `capacity`, receives those of a logistic model, the reference
 * category last; null with a capacity of 0 when they are not wanted. `verdict`, which may be null,
 * receives a qvreg_verdict: only for QVREG_VERDICT_VALID is there a prediction, otherwise all
 * numbers are QVREG_MISSING_VALUE. With an error nothing is written. `error`: 1, 311, 315, 316,
 * 1005, 1007 when the component is in use, 1012; 1009 for probabilities of a linear model. */
QVREG_EXPORT int32_t qvreg_component_score(const qvreg_component* component, const double* record,
                                           size_t record_size, double* predicted,
                                           double* probabilities, size_t capacity, int32_t* verdict,
                                           qvreg_error* error);
/** Scores the records of `rows` with the model of `component`, each as qvreg_component_score.
 *
 * `predicted` has room for a value per record. `probabilities`, a buffer of `capacity`, receives a
 * row of K values per record, K being the categories of the model; null with a capacity of 0 when
 * they are not wanted. `verdicts`, null or with room for one per record, receives a qvreg_verdict
 * each. `n_scored`, which may be null, receives how many records were gone through: all of them, or
 * those before the one that ended the call, which is discrete datum 0 of `error`. `error`: as
 * qvreg_component_score. */
QVREG_EXPORT int32_t qvreg_component_score_rows(const qvreg_component* component,
                                                const qvreg_rows* rows, double* predicted,
                                                double* probabilities, size_t capacity,
                                                int32_t* verdicts, size_t* n_scored,
                                                qvreg_error* error);

/** Prints settings, model and results of `component` to standard output, for a developer's eyes.
 * `error` as ever. */
QVREG_EXPORT int32_t qvreg_component_display(const qvreg_component* component, qvreg_error* error);

#ifdef __cplusplus
}
#endif
