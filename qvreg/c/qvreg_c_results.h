#pragma once

/**
 * \file
 * The results of both models; qvreg/c/qvreg_c.h tells the rules.
 *
 * Lists of parameters, estimates and statistics have one entry per parameter, in design order.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The numbers that stand for a whole model. */
typedef struct qvreg_summary {
  size_t struct_size;             /**< sizeof(qvreg_summary), set by the host. */
  int32_t model;                  /**< A qvreg_model. */
  int32_t n_parameters;           /**< Parameters, redundant ones included. */
  int32_t n_kept;                 /**< Parameters that are not redundant. */
  int32_t n_factors;              /**< Factors of the model. */
  double total_frequency_weight;  /**< The sum of the frequency weights of the records used. */
  double total_regression_weight; /**< The sum of frequency times regression weight; infinite
                                       where no double is as large. */
  double degrees_of_freedom;      /**< Those of the settings, or the total regression weight less
                                       the number of parameters, redundant ones included; infinite
                                       where that weight is. */
} qvreg_summary;

/** Estimate, redundancy and effect of one parameter. */
typedef struct qvreg_param_stats {
  size_t struct_size;      /**< sizeof(qvreg_param_stats), set by the host. */
  double estimate;         /**< 0 for a redundant parameter. */
  int32_t parameter_index; /**< Its number. */
  int32_t is_redundant;    /**< 1 for one that depends on earlier ones and was dropped. */
  int32_t effect_index;    /**< Position of its effect. */
  int32_t reserved;        /**< 0. */
} qvreg_param_stats;

/** Gives `results` back, and with the last of its handles the model. */
QVREG_EXPORT void qvreg_results_destroy(qvreg_results* results);

/** `summary` receives the numbers that stand for the model of `results`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_results_get_summary(const qvreg_results* results, qvreg_summary* summary,
                                               qvreg_error* error);
/** `value` receives the fit statistic `stat`, a qvreg_fit_stat, of `results`; QVREG_MISSING_VALUE
 * when the data leave it undefined. `error`: 1010 for one that the model does not serve, 1007 for
 * an unknown one. */
QVREG_EXPORT int32_t qvreg_results_get_fit_stat(const qvreg_results* results, int32_t stat,
                                                double* value, qvreg_error* error);
/** Makes `parameters`, a copy of those of `results`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_results_get_parameters(const qvreg_results* results,
                                                  qvreg_parameters** parameters,
                                                  qvreg_error* error);
/** The estimates of `results`, 0 for a redundant parameter, go to `estimates`, a buffer of
 * `capacity`; `count` is how many. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_results_get_estimates(const qvreg_results* results, double* estimates,
                                                 size_t capacity, size_t* count,
                                                 qvreg_error* error);
/** Per parameter of `results` 1 when it is redundant goes to `redundant`, a buffer of `capacity`;
 * `count` is how many parameters there are. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_results_get_redundant(const qvreg_results* results, int32_t* redundant,
                                                 size_t capacity, size_t* count,
                                                 qvreg_error* error);
/** Per parameter of `results` 1 when its column was not finite goes to `non_finite`, a buffer of
 * `capacity`; `count` is how many parameters there are. Some value of such a column, or a sum of
 * its weighted products, is infinite or not a number; the parameter is redundant, and the fit is
 * that of the model without it. A weight that is not finite concerns all. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_results_get_non_finite(const qvreg_results* results, int32_t* non_finite,
                                                  size_t capacity, size_t* count,
                                                  qvreg_error* error);
/** `answer` becomes 0 when some value of the dependent of `results` was not finite, or too large
 * for an estimate or for a sum of squares: the fit statistics are then QVREG_MISSING_VALUE, and the
 * estimates 0 unless only a sum of squares is concerned. It is 1 for a logistic model, whose
 * dependent is a category. `error` as ever. */
QVREG_EXPORT int32_t qvreg_results_is_dependent_finite(const qvreg_results* results,
                                                       int32_t* answer, qvreg_error* error);
/** `stats` receives what `results` tell of parameter `index`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_results_get_param_stats(const qvreg_results* results, size_t index,
                                                   qvreg_param_stats* stats, qvreg_error* error);
/** The weighted means of `results` go to `means`, a buffer of `capacity`: of the covariates in the
 * order of the settings, and for the linear model last of the dependent; QVREG_MISSING_VALUE for
 * one with a value that is not finite. `count` is how many. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_results_get_means(const qvreg_results* results, double* means,
                                             size_t capacity, size_t* count, qvreg_error* error);

/** `value` receives element (`row`, `column`) of the covariance matrix of `results`, 0 in redundant
 * rows; for the linear model it is still to be multiplied by the residual variance. `error`: 1006,
 * 1010 when there is no such matrix. */
QVREG_EXPORT int32_t qvreg_results_get_covariance(const qvreg_results* results, size_t row,
                                                  size_t column, double* value, qvreg_error* error);
/** The lower triangle of the covariance matrix of `results`, row by row, goes to `elements`, a
 * buffer of `capacity`; `count` is n (n + 1) / 2 for n parameters. `error`: 1005, 1010. */
QVREG_EXPORT int32_t qvreg_results_get_covariance_packed(const qvreg_results* results,
                                                         double* elements, size_t capacity,
                                                         size_t* count, qvreg_error* error);
/** The whole covariance matrix of `results` goes to `elements`, a buffer of `capacity`, whose rows
 * begin `row_stride` doubles apart, at least one per parameter; nothing is written between them.
 * `count` is what the buffer must hold: (n - 1) `row_stride` + n for n parameters. `error`: 1005,
 * 1007 for a smaller stride, 1010. */
QVREG_EXPORT int32_t qvreg_results_get_covariance_full(const qvreg_results* results,
                                                       double* elements, size_t row_stride,
                                                       size_t capacity, size_t* count,
                                                       qvreg_error* error);

/** Records of `results` per category of factor `factor`, counted in the order of the settings:
 * `weighted` by the frequency weight and `unweighted`, two buffers of `capacity`; each may be null.
 * `count` is the number of categories. `error`: 1005, 1006. */
QVREG_EXPORT int32_t qvreg_results_get_factor_counts(const qvreg_results* results, int32_t factor,
                                                     double* weighted, double* unweighted,
                                                     size_t capacity, size_t* count,
                                                     qvreg_error* error);
/** `n_active` receives how many categories of factor `factor` have a weighted count above 0 in
 * `results`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_results_get_active_categories(const qvreg_results* results,
                                                         int32_t factor, int32_t* n_active,
                                                         qvreg_error* error);
/** Records of `results` per category of a categorical dependent: `weighted` and `unweighted`, as
 * qvreg_results_get_factor_counts with `capacity` and `count`. `error`: 1005, 1010 when it is not
 * counted. */
QVREG_EXPORT int32_t qvreg_results_get_dependent_counts(const qvreg_results* results,
                                                        double* weighted, double* unweighted,
                                                        size_t capacity, size_t* count,
                                                        qvreg_error* error);
/** Per category of a categorical dependent in `results` the sum of offset times weight, `offsets`,
 * which are 0 in the models of today, and of the weights, `weights`; `capacity` and `count` as
 * above. `error`: 1005, 1010 when they are not counted. */
QVREG_EXPORT int32_t qvreg_results_get_dependent_offsets(const qvreg_results* results,
                                                         double* offsets, double* weights,
                                                         size_t capacity, size_t* count,
                                                         qvreg_error* error);
/** `counts` receives how many records the run of `results` read, used and left out. `error` as
 * ever. */
QVREG_EXPORT int32_t qvreg_results_get_record_counts(const qvreg_results* results,
                                                     qvreg_record_counts* counts,
                                                     qvreg_error* error);

/** The check of `results` for estimation: `verdict` receives the qvreg_verdict on `record`, of
 * `record_size` values. `error`: 315, 316. */
QVREG_EXPORT int32_t qvreg_results_check_record(const qvreg_results* results, const double* record,
                                                size_t record_size, int32_t* verdict,
                                                qvreg_error* error);
/** The check of `results` for scoring, factors and covariates only: `verdict` receives the
 * qvreg_verdict on `record`, of `record_size` values. `error`: 315, 316. */
QVREG_EXPORT int32_t qvreg_results_check_scoring(const qvreg_results* results, const double* record,
                                                 size_t record_size, int32_t* verdict,
                                                 qvreg_error* error);
/** `answer` becomes 1 when every category code in `record`, of `record_size` values, is one that
 * `results` count. `error`: 315. */
QVREG_EXPORT int32_t qvreg_results_is_in_range(const qvreg_results* results, const double* record,
                                               size_t record_size, int32_t* answer,
                                               qvreg_error* error);
/** The design row of `record`, of `record_size` values, goes to `row`, a buffer of `capacity`;
 * `count` is its length: for the linear model the parameters and last the dependent (the missing
 * value where the record is too short for it), for the logistic one as many as all parameters, the
 * values standing in the first equation's. `is_expanded` becomes 0, and the row is not complete,
 * when a level combination has no parameter in `results`, or a value is missing or unusable; it is
 * set, too, where only the count is asked for. `error`: 315, 1005, 1007 when the component is in
 * use. */
QVREG_EXPORT int32_t qvreg_results_expand_row(const qvreg_results* results, const double* record,
                                              size_t record_size, double* row, size_t capacity,
                                              size_t* count, int32_t* is_expanded,
                                              qvreg_error* error);

/** As qvreg_component_cancel, on the component of `results`. Any thread, with an `error` of its
 * own. */
QVREG_EXPORT int32_t qvreg_results_cancel(const qvreg_results* results, qvreg_error* error);
/** Prints `results` to standard output, for a developer's eyes. `error` as ever. */
QVREG_EXPORT int32_t qvreg_results_display(const qvreg_results* results, qvreg_error* error);

#ifdef __cplusplus
}
#endif
