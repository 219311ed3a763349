#pragma once

/**
 * \file
 * The terms of a model; qvreg/c/qvreg_c.h tells the rules.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What there is to tell of an effect. */
typedef struct qvreg_effect_info {
  size_t struct_size;   /**< sizeof(qvreg_effect_info), set by the host. */
  int32_t n_factors;    /**< Factors in the effect. */
  int32_t n_covariates; /**< Distinct covariates in the effect. */
  int32_t n_levels;     /**< Depth of nesting: 0 without factors, 1 without nested ones. */
  int32_t covariate_multiplicity; /**< The sum of the multiplicities of all its covariates. */
  int32_t n_model_factors;        /**< Factors of the model. */
  int32_t n_model_covariates;     /**< Covariates of the model. */
  int32_t is_intercept;           /**< 1 without factors and covariates. */
  int32_t factors_in_parens;      /**< 1 when marked so. */
} qvreg_effect_info;

/** Makes an empty `effect` over the variables of its model: `n_factors` record positions in
 * `factors` and `n_covariates` in `covariates`, which are copied. Lists of no elements may be null.
 * `error`: 1007 for a negative position, or more than 2^31 - 1 of them. */
QVREG_EXPORT int32_t qvreg_effect_create(const int32_t* factors, size_t n_factors,
                                         const int32_t* covariates, size_t n_covariates,
                                         qvreg_effect** effect, qvreg_error* error);
/** Makes `copy`, a copy of `effect`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_clone(const qvreg_effect* effect, qvreg_effect** copy,
                                        qvreg_error* error);
/** Gives `effect` back; settings that took a copy keep it. */
QVREG_EXPORT void qvreg_effect_destroy(qvreg_effect* effect);

/** Makes `effect` an empty one over other variables: `n_factors` in `factors`, `n_covariates` in
 * `covariates`, as qvreg_effect_create. `error`: 1007 for a negative position. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_setup(qvreg_effect* effect, const int32_t* factors,
                                                      size_t n_factors, const int32_t* covariates,
                                                      size_t n_covariates, qvreg_error* error);
/** Takes every factor and covariate out of `effect`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_reset(qvreg_effect* effect, qvreg_error* error);

/** Adds factor `variable` to `effect` at nesting level 0; `nested` moves the factors added before
 * one level outward. `error`: 1007 for no factor of the model, or one that is in the effect. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_add_factor(qvreg_effect* effect, int32_t variable,
                                                           int32_t nested, qvreg_error* error);
/** Raises the multiplicity of covariate `variable` in `effect` by one; `multiplicity`, which may be
 * null, receives it. `error`: 1007 for no covariate of the model. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_add_covariate(qvreg_effect* effect,
                                                              int32_t variable,
                                                              int32_t* multiplicity,
                                                              qvreg_error* error);
/** Marks the factors of `effect` as standing after the covariates in parentheses. `error` as ever.
 */
QVREG_EXPORT int32_t qvreg_effect_set_factors_in_parens(qvreg_effect* effect, qvreg_error* error);

/** `info` receives what there is to tell of `effect`. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_get_info(const qvreg_effect* effect, qvreg_effect_info* info,
                                           qvreg_error* error);
/** `level` receives the nesting level of factor `variable`; -1 when it is not in `effect`. `error`
 * as ever. */
QVREG_EXPORT int32_t qvreg_effect_get_factor_level(const qvreg_effect* effect, int32_t variable,
                                                   int32_t* level, qvreg_error* error);
/** `multiplicity` receives that of covariate `variable`: 0 when it is not in `effect`, -1 for no
 * covariate of the model. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_get_covariate_multiplicity(const qvreg_effect* effect,
                                                             int32_t variable,
                                                             int32_t* multiplicity,
                                                             qvreg_error* error);
/** The factors of `effect`, in the order of the model's list: `variables` and their nesting
 * `levels`, two buffers of `capacity`; each may be null. `count` is how many. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_effect_get_factors(const qvreg_effect* effect, int32_t* variables,
                                              int32_t* levels, size_t capacity, size_t* count,
                                              qvreg_error* error);
/** The covariates of `effect`, in the order of the model's list: `variables` and their
 * `multiplicities`, two buffers of `capacity`; each may be null. `count` is how many. `error`:
 * 1005. */
QVREG_EXPORT int32_t qvreg_effect_get_covariates(const qvreg_effect* effect, int32_t* variables,
                                                 int32_t* multiplicities, size_t capacity,
                                                 size_t* count, qvreg_error* error);
/** The main vector of `effect` goes to `slots`, a buffer of `capacity`: per factor of the model its
 * nesting level or -1, then per covariate its multiplicity. `count` is its length. `error`: 1005.
 */
QVREG_EXPORT int32_t qvreg_effect_get_main_vector(const qvreg_effect* effect, int32_t* slots,
                                                  size_t capacity, size_t* count,
                                                  qvreg_error* error);
/** The model's list of `effect`, factors first, goes to `variables`, a buffer of `capacity`;
 * `count` is its length. `error`: 1005. */
QVREG_EXPORT int32_t qvreg_effect_get_model_variables(const qvreg_effect* effect,
                                                      int32_t* variables, size_t capacity,
                                                      size_t* count, qvreg_error* error);
/** Gives `effect` another list in the place of the model's: `n_variables` record positions in
 * `variables`, as many as its main vector has slots. `error`: 1007. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_set_model_variables(qvreg_effect* effect,
                                                                    const int32_t* variables,
                                                                    size_t n_variables,
                                                                    qvreg_error* error);

/** `answer` becomes 1 when `other` has the covariate part of `effect` and all its factors and more.
 * `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_is_contained_in(const qvreg_effect* effect,
                                                  const qvreg_effect* other, int32_t* answer,
                                                  qvreg_error* error);
/** `answer` becomes 1 when `other` is the same as `effect`, over equal lists. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_equals(const qvreg_effect* effect, const qvreg_effect* other,
                                         int32_t* answer, qvreg_error* error);

/** Removes from the main vector of `effect` the slots that are 0 in `keep`, whose length `n_keep`
 * is its own. `was_unused`, which may be null, becomes 0 when a removed slot was in use. The list
 * stays: give it another. `error`: 1007 for another length. */
QVREG_EXPORT int32_t qvreg_effect_apply_mask(qvreg_effect* effect, const int32_t* keep,
                                             size_t n_keep, int32_t* was_unused,
                                             qvreg_error* error);
/** Per slot of the model's list, whether some of the `n_effects` `effects` uses it, goes to `used`,
 * a buffer of `capacity`; `count` is the number of slots. `error`: 1005, 1007 for no effect, or for
 * effects over different lists. */
QVREG_EXPORT int32_t qvreg_effects_get_use(const qvreg_effect* const* effects, size_t n_effects,
                                           int32_t* used, size_t capacity, size_t* count,
                                           qvreg_error* error);
/** The factors that the `n_effects` `effects` use, in the order met, go to `variables`, a buffer of
 * `capacity`; `count` is how many. `error`: as qvreg_effects_get_use. */
QVREG_EXPORT int32_t qvreg_effects_get_factors(const qvreg_effect* const* effects, size_t n_effects,
                                               int32_t* variables, size_t capacity, size_t* count,
                                               qvreg_error* error);
/** The covariates that the `n_effects` `effects` use, one for each effect that uses it, go to
 * `variables`, a buffer of `capacity`; `count` is how many. `error`: as qvreg_effects_get_use. */
QVREG_EXPORT int32_t qvreg_effects_get_covariates(const qvreg_effect* const* effects,
                                                  size_t n_effects, int32_t* variables,
                                                  size_t capacity, size_t* count,
                                                  qvreg_error* error);

/** Prints `effect` to standard output, for a developer's eyes. `error` as ever. */
QVREG_EXPORT int32_t qvreg_effect_display(const qvreg_effect* effect, qvreg_error* error);

#ifdef __cplusplus
}
#endif
