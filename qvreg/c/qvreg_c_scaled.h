#pragma once

/**
 * \file
 * The results of both models for numbers of extreme size; qvreg/c/qvreg_c.h tells the rules.
 *
 * A column of the design, or the dependent of a linear model, whose largest absolute value in the
 * records used is not from 2^-20 to 2^20 goes through the estimation divided by a power of two,
 * which rounds nothing. All other results are in the host's units, where an estimate or an element
 * of the covariance matrix that no double holds is infinite or 0. These tell it all the same, for
 * standard errors and tests; they equal the others where every exponent is 0.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a linear model's dependent was divided by, and an error in that unit. */
typedef struct qvreg_scaled_summary {
  size_t struct_size;         /**< sizeof(qvreg_scaled_summary), set by the host. */
  int32_t dependent_exponent; /**< The exponent f of the power of two that the dependent was divided
                                   by; 0 for a logistic model. */
  int32_t reserved;           /**< 0. */
  double rmse;                /**< The root mean square error times 2^-f; QVREG_MISSING_VALUE when
                                   the data leave it undefined, and for a logistic model. */
} qvreg_scaled_summary;

/** `summary` receives the exponent of the dependent of `results`, and the error. `error` as ever.
 */
QVREG_EXPORT int32_t qvreg_scaled_get_summary(const qvreg_results* results,
                                              qvreg_scaled_summary* summary, qvreg_error* error);
/** Per parameter of `results` the exponent e of the power of two that its column was divided by
 * goes to `exponents`, a buffer of `capacity`; `count` is how many. All columns of an effect share
 * it. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_scaled_get_exponents(const qvreg_results* results, int32_t* exponents,
                                                size_t capacity, size_t* count, qvreg_error* error);
/** The estimates of `results` times 2^(e - f) go to `estimates`, a buffer of `capacity`; `count` is
 * how many. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_scaled_get_estimates(const qvreg_results* results, double* estimates,
                                                size_t capacity, size_t* count, qvreg_error* error);
/** The lower triangle of the covariance matrix of `results`, the element in row i and column j
 * times 2^(e_i + e_j), goes row by row to `elements`, a buffer of `capacity`; `count` is
 * n (n + 1) / 2 for n parameters. `error`: 1005, 1010 when there is no such matrix. */
QVREG_EXPORT int32_t qvreg_scaled_get_covariance_packed(const qvreg_results* results,
                                                        double* elements, size_t capacity,
                                                        size_t* count, qvreg_error* error);

#ifdef __cplusplus
}
#endif
