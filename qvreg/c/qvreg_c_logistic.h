#pragma once

/**
 * \file
 * What only a logistic model has; qvreg/c/qvreg_c.h tells the rules. Every function here returns
 * QVREG_WRONG_MODEL for a linear one.
 *
 * K categories of the dependent occur, the reference last; parameters are in blocks of P, one per
 * other category.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** How the iterations went. */
typedef struct qvreg_logistic_summary {
  size_t struct_size;            /**< sizeof(qvreg_logistic_summary), set by the host. */
  int32_t n_categories;          /**< K, the categories that occur. */
  int32_t outcome;               /**< A qvreg_outcome. */
  int32_t iterations;            /**< Iterations done. */
  int32_t step_halvings;         /**< Of all iterations together. */
  double initial_log_likelihood; /**< At the default starting values: the intercepts of the model
                                      without terms, or zeros where it has no intercept. */
  double final_log_likelihood;   /**< At the estimates. */
  double ll_change;              /**< The last change of the log-likelihood, as the settings say. */
  double param_change;           /**< The last change of the estimates, as the settings say. */
} qvreg_logistic_summary;

/** `summary` receives how the iterations of `results` went. `error`: 1009. */
QVREG_EXPORT int32_t qvreg_logistic_get_summary(const qvreg_results* results,
                                                qvreg_logistic_summary* summary,
                                                qvreg_error* error);
/** The categories of the dependent that occur in `results`, the reference last: their `codes` and
 * sums of frequency `weights`, two buffers of `capacity`; each may be null. `count` is K. `error`:
 * 1005, 1009. */
QVREG_EXPORT int32_t qvreg_logistic_get_categories(const qvreg_results* results, int32_t* codes,
                                                   double* weights, size_t capacity, size_t* count,
                                                   qvreg_error* error);
/** The classification table of `results`, K x K sums of frequency weights, rows observed, columns
 * predicted, in the order of the categories: to `elements`, a buffer of `capacity`, whose rows
 * begin `row_stride` doubles apart, at least K. `count` is what the buffer must hold: (K - 1)
 * `row_stride` + K. `error`: 1005, 1007 for a smaller stride, 1009, 1010 when there is no table. */
QVREG_EXPORT int32_t qvreg_logistic_get_classification(const qvreg_results* results,
                                                       double* elements, size_t row_stride,
                                                       size_t capacity, size_t* count,
                                                       qvreg_error* error);
/** The non-zeros of the design row of `record`, of `record_size` values: `indices`, parameters
 * below P, and their `values`, two buffers of `capacity`. `count` is how many; `is_expanded` as
 * qvreg_results_expand_row of `results`. `error`: 315, 1005, 1007 when the component
 * is in use, 1009. */
QVREG_EXPORT int32_t qvreg_logistic_expand_sparse(const qvreg_results* results,
                                                  const double* record, size_t record_size,
                                                  int32_t* indices, double* values, size_t capacity,
                                                  size_t* count, int32_t* is_expanded,
                                                  qvreg_error* error);

#ifdef __cplusplus
}
#endif
