#pragma once

/**
 * \file
 * Settings of a run; qvreg/c/qvreg_c.h tells the rules.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Which variables play which role, and how many there are. A variable is a position in a record.
 */
typedef struct qvreg_roles {
  size_t struct_size;        /**< sizeof(qvreg_roles), set by the host. */
  int32_t dependent;         /**< The dependent; -1 for none yet. */
  int32_t frequency_weight;  /**< The frequency weight; -1 for none. */
  int32_t regression_weight; /**< The regression weight; -1 for none. */
  int32_t n_factors;         /**< The number of factors. */
  int32_t n_covariates;      /**< The number of covariates. */
  int32_t n_effects;         /**< The number of effects, the intercept not among them. */
  int32_t n_variables;       /**< 1 + the highest variable that has a role. */
  int32_t are_complete;      /**< 0 without a dependent, and after memory ran out. */
} qvreg_roles;

/** The choices of a fit, of both models. Read them, change some, set them. */
typedef struct qvreg_options {
  size_t struct_size;        /**< sizeof(qvreg_options), set by the host. */
  double tolerance;          /**< The share of a diagonal below which a pivot counts as zero; 1e-12
                                  by default; not checked. */
  double confidence_level;   /**< For the host's intervals: 0 <= level < 1; 0.95 by default. */
  double degrees_of_freedom; /**< Imposed when above 0; otherwise the model computes them. Once
                                  imposed they can be changed, but not taken back. */
  int32_t use_intercept;     /**< Whether the model has an intercept; it has by default. */
  int32_t refine_estimates;  /**< Linear: whether to refine the estimates, from residuals in
                                  double-double; not by default. */
  int32_t test_type;         /**< Carried for the host; 0 is the only one. */
  int32_t p_adjustment;      /**< Carried for the host; 0 is the only one. */
  int32_t covariance_type;   /**< Carried for the host; 0 is the only one. */
  int32_t reserved;          /**< 0. */
  int32_t max_refinements;   /**< Linear, where refine_estimates is set: the most steps of it, 0 or
                                  more; 1 by default. Each step beyond the first reads the records
                                  again, and is taken only while the last one changed an estimate by
                                  more than 1e-11 of it and steps shrink. */
  int32_t reserved2;         /**< 0. */
} qvreg_options;

/** The reference category of a dependent: the last one that occurs. */
#define QVREG_LAST_OBSERVED (-1)
/** The reference category of a dependent: the first one that occurs. */
#define QVREG_FIRST_OBSERVED (-2)

/** What a logistic model adds to the choices. */
typedef struct qvreg_logistic_options {
  size_t struct_size;               /**< sizeof(qvreg_logistic_options), set by the host. */
  int32_t n_categories;             /**< Of the dependent, coded from 0; 2 or more, 2 by default. A
                                         record whose code is this number is left out, a higher
                                         code ends the run with 316. */
  int32_t reference_category;       /**< A code, QVREG_LAST_OBSERVED or QVREG_FIRST_OBSERVED. */
  double ll_criterion;              /**< Converged when the log-likelihood changes by less; 0, the
                                         default, switches it off. */
  double param_criterion;           /**< Converged when the estimates change by less; 0 switches it
                                         off; 1e-6 by default. */
  int32_t is_ll_change_absolute;    /**< 1 for an absolute change; 0, relative, by default. */
  int32_t is_param_change_absolute; /**< 1 for an absolute change; 0, relative, by default. */
  int32_t max_iterations;           /**< 0 or more; 100 by default. */
  int32_t max_step_halvings;        /**< Of one iteration, 1 or more; 5 by default. */
  int32_t starting_iteration;       /**< From which the late checks start, 0 or more; 20 by
                                         default. */
  int32_t iteration_frequency;      /**< Every n-th iteration is reported, n >= 1; 1 by default. */
  int32_t use_pattern_tabulator;    /**< Whether the data are kept in memory, grouped by covariate
                                         pattern; not by default. */
  int32_t reserved;                 /**< 0. */
} qvreg_logistic_options;

/** What a progress callback is told. */
typedef struct qvreg_progress {
  size_t struct_size;      /**< The size that the library was compiled with. */
  int32_t iteration;       /**< Iterations completed. */
  int32_t step_halvings;   /**< Of this iteration. */
  double log_likelihood;   /**< After it. */
  double seconds;          /**< Processor time since the start of the estimation. */
  const double* estimates; /**< The current estimates of the parameters that are not redundant, in
                              the order of the parameters, during the call only; null for none. */
  size_t n_estimates;      /**< How many they are. */
} qvreg_progress;

/** Called with `user` and what there is to tell in `progress` as a logistic estimation goes on. */
typedef void (*qvreg_progress_callback)(void* user, const qvreg_progress* progress);
/** Called with `user` once per record and pivot, so that an answer should cost little: any number
 * but 0 stops the run. */
typedef int32_t (*qvreg_cancel_callback)(void* user);

/** Makes `settings` of a `model`, a qvreg_model: no roles, no effects, an intercept. `error`: 1007
 * for an unknown model. */
QVREG_EXPORT int32_t qvreg_settings_create(int32_t model, qvreg_settings** settings,
                                           qvreg_error* error);
/** Makes `copy`, a copy of `settings`, callbacks included. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_clone(const qvreg_settings* settings, qvreg_settings** copy,
                                          qvreg_error* error);
/** Gives `settings` back; components made of them live on. */
QVREG_EXPORT void qvreg_settings_destroy(qvreg_settings* settings);

/** `model` receives the qvreg_model of `settings`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_get_model(const qvreg_settings* settings, int32_t* model,
                                              qvreg_error* error);
/** Whether `settings` describe a model. `error`: 301 without a dependent, 302 for an empty model.
 */
QVREG_EXPORT int32_t qvreg_settings_validate(const qvreg_settings* settings, qvreg_error* error);

/** Makes `variable` the dependent of `settings`, once. `error`, of this and the other functions
 * that give a role: 1008 when it has one already, is negative or 2^31 - 1; 1013, which leaves the
 * settings as they were. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_dependent(qvreg_settings* settings,
                                                                int32_t variable,
                                                                qvreg_error* error);
/** Adds `variable` to `settings` as a factor with codes 0 .. `n_categories` - 1. `error`: 1008 when
 * it has a role already, or for no category. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_factor(qvreg_settings* settings,
                                                             int32_t variable, int32_t n_categories,
                                                             qvreg_error* error);
/** Adds `variable` to `settings` as a covariate. `error`: 1008 when it has a role already. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_covariate(qvreg_settings* settings,
                                                                int32_t variable,
                                                                qvreg_error* error);
/** Makes `variable` the frequency weight of `settings`; a later call replaces it, yet the earlier
 * variable keeps its role. `error`: 1008 when it has a role already. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_frequency_weight(qvreg_settings* settings,
                                                                       int32_t variable,
                                                                       qvreg_error* error);
/** Makes `variable` the regression weight of `settings`, with the same rule. `error`: 1008. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_regression_weight(qvreg_settings* settings,
                                                                        int32_t variable,
                                                                        qvreg_error* error);
/** Adds a copy of `effect` to `settings`. `error`: 1007 for one whose list has another shape than
 * its main vector. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_effect(qvreg_settings* settings,
                                                             const qvreg_effect* effect,
                                                             qvreg_error* error);
/** Makes `effect`, a copy of number `index` of `settings`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_settings_get_effect(const qvreg_settings* settings, int32_t index,
                                               qvreg_effect** effect, qvreg_error* error);

/** `roles` receives the variables of `settings` that play one role, and counts. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_get_roles(const qvreg_settings* settings, qvreg_roles* roles,
                                              qvreg_error* error);
/** The factors of `settings`, in the order added: `variables` and their `n_categories`, two buffers
 * of `capacity`; each may be null. `count` is the number of factors. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_settings_get_factors(const qvreg_settings* settings, int32_t* variables,
                                                int32_t* n_categories, size_t capacity,
                                                size_t* count, qvreg_error* error);
/** The covariates of `settings`, in the order added, go to `variables`, a buffer of `capacity`;
 * `count` is how many they are. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_settings_get_covariates(const qvreg_settings* settings,
                                                   int32_t* variables, size_t capacity,
                                                   size_t* count, qvreg_error* error);
/** The qvreg_role of each variable of `settings`, up to the last one that has any, goes to `roles`,
 * a buffer of `capacity`; `count` is how many they are. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_settings_get_variable_roles(const qvreg_settings* settings,
                                                       int32_t* roles, size_t capacity,
                                                       size_t* count, qvreg_error* error);

/** `options` receives the choices of `settings`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_get_options(const qvreg_settings* settings,
                                                qvreg_options* options, qvreg_error* error);
/** Sets all `options` of `settings`, or none. `error`: 1008 names the first that is refused. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_options(qvreg_settings* settings,
                                                              const qvreg_options* options,
                                                              qvreg_error* error);
/** `options` receives the choices of logistic `settings`. `error`: 1009 for linear ones. */
QVREG_EXPORT int32_t qvreg_settings_get_logistic_options(const qvreg_settings* settings,
                                                         qvreg_logistic_options* options,
                                                         qvreg_error* error);
/** Sets all `options` of logistic `settings`, or none. `error`: 1008 names the first that is
 * refused, 1009 for linear settings. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_logistic_options(
    qvreg_settings* settings, const qvreg_logistic_options* options, qvreg_error* error);

/** Logistic `settings` shall start the iterations from `values`, finite, `count` of them: one per
 * parameter, in the order of qvreg_results_get_estimates, those of redundant ones not used; 0 for
 * none. Another number than there are parameters ends qvreg_component_create_parameters with 309.
 * The initial log-likelihood stays that of the default start. `error`: 1008 for a value that is not
 * finite, 1009 for linear settings. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_starting_values(qvreg_settings* settings,
                                                                      const double* values,
                                                                      size_t count,
                                                                      qvreg_error* error);
/** The starting values of logistic `settings` go to `values`, a buffer of `capacity`; `count` is
 * how many they are, 0 for none. `error`: 1005, 1009 for linear settings. */
QVREG_EXPORT int32_t qvreg_settings_get_starting_values(const qvreg_settings* settings,
                                                        double* values, size_t capacity,
                                                        size_t* count, qvreg_error* error);

/** `settings` shall have `callback` called with `user` as an estimation goes on; null for none.
 * Components made before keep theirs. Both must live as long as the settings and any component made
 * of them. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_set_progress(qvreg_settings* settings,
                                                 qvreg_progress_callback callback, void* user,
                                                 qvreg_error* error);
/** `callback` and `user`, which may be null, receive what qvreg_settings_set_progress gave to
 * `settings`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_get_progress(const qvreg_settings* settings,
                                                 qvreg_progress_callback* callback, void** user,
                                                 qvreg_error* error);
/** `settings` shall have `callback` called with `user` to ask whether a run, or scoring, goes on;
 * null for none. Components made before keep theirs. Both must live as long as the settings and any
 * component made of them. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_set_cancel(qvreg_settings* settings,
                                               qvreg_cancel_callback callback, void* user,
                                               qvreg_error* error);
/** `callback` and `user`, which may be null, receive what qvreg_settings_set_cancel gave to
 * `settings`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_get_cancel(const qvreg_settings* settings,
                                               qvreg_cancel_callback* callback, void** user,
                                               qvreg_error* error);

/** Prints `settings` to standard output, for a developer's eyes. `error` as ever. */
QVREG_EXPORT int32_t qvreg_settings_display(const qvreg_settings* settings, qvreg_error* error);

#ifdef __cplusplus
}
#endif
