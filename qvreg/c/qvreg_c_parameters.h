#pragma once

/**
 * \file
 * What the parameters of a model stand for; qvreg/c/qvreg_c.h tells the rules.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What there is to tell of a parameter, one column of the design. */
typedef struct qvreg_parameter_info {
  size_t struct_size;             /**< sizeof(qvreg_parameter_info), set by the host. */
  int32_t n_factors;              /**< Factors whose categories select it. */
  int32_t n_covariates;           /**< Distinct covariates that multiply it. */
  int32_t covariate_multiplicity; /**< The sum of the multiplicities of all its covariates. */
  int32_t is_intercept;           /**< 1 without factors and covariates. */
  int32_t effect_index;           /**< Position of its effect, the intercept being effect 0 when the
                                       model has one; -1 when it was not set. */
  int32_t target_category;        /**< Logistic: the code whose equation it is in; otherwise -1. */
} qvreg_parameter_info;

/** Makes a list of no `parameters`, for a host that fills it. `error` as ever. */
QVREG_EXPORT int32_t qvreg_parameters_create(qvreg_parameters** parameters, qvreg_error* error);
/** Gives `parameters` back. */
QVREG_EXPORT void qvreg_parameters_destroy(qvreg_parameters* parameters);

/** `count` receives how many `parameters` there are. `error` as ever. */
QVREG_EXPORT int32_t qvreg_parameters_get_count(const qvreg_parameters* parameters, size_t* count,
                                                qvreg_error* error);
/** `info` receives what there is to tell of number `index` of the `parameters`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_get_info(const qvreg_parameters* parameters, size_t index,
                                               qvreg_parameter_info* info, qvreg_error* error);
/** The factors of number `index` of the `parameters`, in the order of their nesting levels:
 * `variables`, their `categories` and `nest_levels`, three buffers of `capacity`; each may be null.
 * `count` is how many. `error`: 1005, 1006. */
QVREG_EXPORT int32_t qvreg_parameters_get_factors(const qvreg_parameters* parameters, size_t index,
                                                  int32_t* variables, int32_t* categories,
                                                  int32_t* nest_levels, size_t capacity,
                                                  size_t* count, qvreg_error* error);
/** The covariates of number `index` of the `parameters`: `variables` and their `multiplicities`,
 * two buffers of `capacity`; each may be null. `count` is how many. `error`: 1005, 1006. */
QVREG_EXPORT int32_t qvreg_parameters_get_covariates(const qvreg_parameters* parameters,
                                                     size_t index, int32_t* variables,
                                                     int32_t* multiplicities, size_t capacity,
                                                     size_t* count, qvreg_error* error);
/** `category` receives that of factor `variable` in number `index` of the `parameters`, or
 * `not_found`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_get_category(const qvreg_parameters* parameters, size_t index,
                                                   int32_t variable, int32_t not_found,
                                                   int32_t* category, qvreg_error* error);
/** `multiplicity` receives that of covariate `variable` in number `index` of the `parameters`; 0
 * when it is none. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_get_covariate_multiplicity(const qvreg_parameters* parameters,
                                                                 size_t index, int32_t variable,
                                                                 int32_t* multiplicity,
                                                                 qvreg_error* error);
/** `answer` becomes 1 when number `index` of the `parameters` and number `other_index` of `other`
 * stand for the same column. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_equal(const qvreg_parameters* parameters, size_t index,
                                            const qvreg_parameters* other, size_t other_index,
                                            int32_t* answer, qvreg_error* error);

/** Appends an intercept to the `parameters`; `index`, which may be null, receives its number.
 * `error` as ever. */
QVREG_EXPORT int32_t qvreg_parameters_append(qvreg_parameters* parameters, size_t* index,
                                             qvreg_error* error);
/** Makes number `index` of the `parameters` one of `effect`, which is at position `effect_index`:
 * its factors, each with `category`, and its covariates. `error`: 1006; 1007 for an intercept
 * effect or a negative position. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_parameters_setup_from_effect(
    qvreg_parameters* parameters, size_t index, const qvreg_effect* effect, int32_t effect_index,
    int32_t category, qvreg_error* error);
/** Adds factor `variable` with `category` to number `index` of the `parameters`, behind those of
 * `nest_level` or less. `error`: 1006; 1007 for a negative variable or level, or a factor that is
 * there. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_parameters_add_factor(qvreg_parameters* parameters,
                                                               size_t index, int32_t variable,
                                                               int32_t category, int32_t nest_level,
                                                               qvreg_error* error);
/** Gives factor number `position` of number `index` of the `parameters` another `category`.
 * `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_set_category(qvreg_parameters* parameters, size_t index,
                                                   size_t position, int32_t category,
                                                   qvreg_error* error);
/** Adds `multiplicity` to that of covariate `variable` in number `index` of the `parameters`.
 * `error`: 1006; 1007 for a negative variable, a multiplicity below 1, or one that brings the sum
 * of the parameter above 2^31 - 1. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_parameters_add_covariate(qvreg_parameters* parameters,
                                                                  size_t index, int32_t variable,
                                                                  int32_t multiplicity,
                                                                  qvreg_error* error);
/** Gives number `index` of the `parameters` its `effect_index`, 0 or more. `error`: 1006, 1007. */
QVREG_EXPORT int32_t qvreg_parameters_set_effect_index(qvreg_parameters* parameters, size_t index,
                                                       int32_t effect_index, qvreg_error* error);
/** Gives number `index` of the `parameters` its target `category`. `error`: 1006. */
QVREG_EXPORT int32_t qvreg_parameters_set_target_category(qvreg_parameters* parameters,
                                                          size_t index, int32_t category,
                                                          qvreg_error* error);

/** Prints number `index` of the `parameters` to standard output, for a developer's eyes. `error`:
 * 1006. */
QVREG_EXPORT int32_t qvreg_parameters_display(const qvreg_parameters* parameters, size_t index,
                                              qvreg_error* error);

#ifdef __cplusplus
}
#endif
