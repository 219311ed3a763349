#pragma once

/**
 * \file
 * Codes, enumerations, the error structure and the version; qvreg/c/qvreg_c.h tells the rules.
 */

#include <stddef.h>
#include <stdint.h>

#include "qvreg/QvExport.h"
#include "qvreg/QvVersion.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The value that stands for a missing number in a record: the lowest finite double. */
#define QVREG_MISSING_VALUE (-1.7976931348623157e308)

/** Marks a function that can refuse what it is asked: a host that does not look at what it returns
 * goes on without what was refused, such as an effect, and compilers warn of that. */
#if defined(__cplusplus) && __cplusplus >= 201703L
#define QVREG_CHECKED [[nodiscard]]
#elif defined(__GNUC__)
#define QVREG_CHECKED __attribute__((warn_unused_result))
#else
#define QVREG_CHECKED
#endif

/** Length of a message with its terminating zero. */
#define QVREG_MESSAGE_SIZE 512
/** A status has whole numbers and real numbers attached under the indices below this one. */
#define QVREG_MAX_DATA 4

/** What functions return. The library's own statuses have their numbers; from 1001 on the codes are
 * those of this interface. */
enum qvreg_code {
  QVREG_OK = 0,        /**< Success; also with a warning, which `error` then describes. */
  QVREG_CANCELLED = 1, /**< A callback or a cancel function stopped the run. */

  QVREG_NO_DEPENDENT = 301,           /**< The settings name no dependent. */
  QVREG_EMPTY_MODEL = 302,            /**< Neither an intercept nor an effect. */
  QVREG_STAGE_MISSING = 303,          /**< A stage that must come before is missing. */
  QVREG_NO_FURTHER_PASS = 304,        /**< The source could not go through a further pass. */
  QVREG_TOO_MANY_PARAMETERS = 305,    /**< Too many parameters (discrete datum 0, more than datum
                                           1), or a failed allocation (other data, or none). */
  QVREG_DATA_PROCESSED = 306,         /**< The data were processed already. */
  QVREG_NO_RECORDS = 307,             /**< No first record, or no record that can be used. */
  QVREG_NOTHING_TO_FIT = 308,         /**< Nothing was accumulated. */
  QVREG_NO_PARAMETERS = 309,          /**< The parameters were not created, or no record reached the
                                           model after the first pass. */
  QVREG_ALREADY_BUILT = 310,          /**< The model is built. */
  QVREG_NOT_BUILT = 311,              /**< The model is not built. */
  QVREG_RECORD_MISSING = 312,         /**< A record was announced and not delivered. */
  QVREG_DATA_NOT_PROCESSED = 313,     /**< The data were not processed. */
  QVREG_UNREADABLE_RECORD = 314,      /**< The source failed: discrete datum 0 is the record, from 1
                                           on, datum 1 the pass, from 1 on, datum 2 what a callback
                                           returned. */
  QVREG_SHORT_RECORD = 315,           /**< A record has fewer values than the model needs. */
  QVREG_BAD_CATEGORY = 316,           /**< A value is no category code (discrete datum 1: the
                                           variable, scale datum 1: the value). */
  QVREG_ONE_CATEGORY = 318,           /**< Fewer than two categories of the dependent occur. */
  QVREG_REFERENCE_NOT_OBSERVED = 319, /**< Warning: the last category that occurs is the
                                           reference. */

  QVREG_NULL_HANDLE = 1001,     /**< A handle is null. */
  QVREG_BAD_HANDLE = 1002,      /**< A handle of another kind, or one that was destroyed. */
  QVREG_NULL_POINTER = 1003,    /**< A pointer that must not be null is. */
  QVREG_BAD_STRUCT_SIZE = 1004, /**< A structure's struct_size is smaller than any version's. */
  QVREG_BUFFER_TOO_SMALL =
      1005,                     /**< A buffer is too short (discrete datum 0: the length needed). */
  QVREG_BAD_INDEX = 1006,       /**< There is no such element. */
  QVREG_BAD_ARGUMENT = 1007,    /**< A value that the function does not take. */
  QVREG_SETTING_REFUSED = 1008, /**< The settings do not take the value. */
  QVREG_WRONG_MODEL = 1009,     /**< The operation belongs to the other model. */
  QVREG_NOT_SERVED = 1010,      /**< The model has no such number. */
  QVREG_CANNOT_OPEN = 1011,     /**< A file could not be opened for reading. */
  QVREG_CALLBACK_THREW = 1012,  /**< An exception came out of a callback. */
  QVREG_OUT_OF_MEMORY = 1013,   /**< Memory ran out outside a run. */
  QVREG_INTERNAL_ERROR = 1014,  /**< A defect of the library. */
  QVREG_RECORDS_CHANGED = 1015  /**< A later pass used another number of records (discrete datum 0)
                                     than the first (datum 1). */
};

/** The models. */
enum qvreg_model {
  QVREG_MODEL_LINEAR = 0,  /**< The linear model. */
  QVREG_MODEL_LOGISTIC = 1 /**< The multinomial logistic model. */
};

/** The role of a record variable. */
enum qvreg_role {
  QVREG_ROLE_NONE = 0,        /**< None: the variable is ignored. */
  QVREG_ROLE_FREQ_WEIGHT = 1, /**< How many records it stands for, above 0. */
  QVREG_ROLE_REGR_WEIGHT = 2, /**< Its precision, the inverse of its variance, above 0. */
  QVREG_ROLE_FACTOR = 3,      /**< A category code from 0 on; below -0.5 when missing. */
  QVREG_ROLE_COVARIATE = 4,   /**< A number. */
  QVREG_ROLE_DEPENDENT = 5    /**< A number; for a logistic model a category code. */
};

/** Fit statistics. The n of Cox and Snell's and of Nagelkerke's is the total regression weight:
 * frequency times regression weight. */
enum qvreg_fit_stat {
  QVREG_FIT_RMSE = 0,                /**< Linear: in units of the dependent. */
  QVREG_FIT_R_SQUARE = 1,            /**< Linear: R^2. */
  QVREG_FIT_COX_SNELL_R_SQUARE = 2,  /**< Logistic: Cox and Snell's pseudo R^2. */
  QVREG_FIT_NAGELKERKE_R_SQUARE = 3, /**< Logistic: Nagelkerke's pseudo R^2. */
  QVREG_FIT_MCFADDEN_R_SQUARE = 4    /**< Logistic: McFadden's pseudo R^2. */
};

/** What a check found of a record. */
enum qvreg_verdict {
  QVREG_VERDICT_VALID = 0,      /**< The record takes part. */
  QVREG_VERDICT_MISSING = 1,    /**< A value is missing: the record is skipped. */
  QVREG_VERDICT_BAD_WEIGHT = 2, /**< A weight is not above 0: the record is skipped. */
  QVREG_VERDICT_UNSEEN = 3      /**< Scoring: a level combination has no parameter; or, of a
                                     logistic model, a value that has an estimate is not finite. */
};

/** How the iterations of a logistic estimation ended. */
enum qvreg_outcome {
  QVREG_OUTCOME_CONTINUE = 0,            /**< Not converged. */
  QVREG_OUTCOME_LL_CONVERGED = 1,        /**< The log-likelihood stopped changing. */
  QVREG_OUTCOME_PARAM_CONVERGED = 2,     /**< The estimates stopped changing. */
  QVREG_OUTCOME_BOTH_CONVERGED = 3,      /**< Both. */
  QVREG_OUTCOME_HESSIAN_SINGULAR = 4,    /**< The information matrix is not positive definite. */
  QVREG_OUTCOME_STEP_HALVING_FAILED = 5, /**< No step kept the log-likelihood from falling. */
  QVREG_OUTCOME_MAX_ITERATIONS = 6,      /**< The maximum number of iterations was reached. */
  QVREG_OUTCOME_COMPLETE_SEPARATION = 7, /**< The data are completely separated. */
  QVREG_OUTCOME_QUASI_SEPARATION = 8,    /**< The data are quasi-completely separated. */
  QVREG_OUTCOME_NO_ITERATIONS = 9        /**< There was nothing to iterate. */
};

/** Settings of a run: the role of each variable, the effects, the choices of a fit. */
typedef struct qvreg_settings qvreg_settings;
/** One term of a model. */
typedef struct qvreg_effect qvreg_effect;
/** Where records come from. */
typedef struct qvreg_source qvreg_source;
/** One model, estimated over records and then used to score others. */
typedef struct qvreg_component qvreg_component;
/** A list of parameters. */
typedef struct qvreg_parameters qvreg_parameters;
/** The results of a built model. */
typedef struct qvreg_results qvreg_results;

/** What became of a call, or a status that was asked for. Start it with QVREG_ERROR_INIT. */
typedef struct qvreg_error {
  size_t struct_size;                   /**< sizeof(qvreg_error), set by the host. */
  int32_t code;                         /**< A qvreg_code. */
  int32_t is_warning;                   /**< 1 for a code that did not end the run. */
  int32_t has_discrete[QVREG_MAX_DATA]; /**< Per whole number, 1 when it is attached. */
  int32_t has_scale[QVREG_MAX_DATA];    /**< Per real number, 1 when it is attached. */
  int64_t discrete[QVREG_MAX_DATA];     /**< Whole numbers; 0 where none is attached. */
  double scale[QVREG_MAX_DATA];         /**< Real numbers; 0 where none is attached. */
  char message[QVREG_MESSAGE_SIZE];     /**< What was wrong, where, and what to do; empty for
                                             QVREG_OK. Always terminated. */
} qvreg_error;

/** The start value of a qvreg_error. */
#define QVREG_ERROR_INIT \
  { sizeof(qvreg_error), 0, 0, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0.0, 0.0, 0.0, 0.0}, "" }

/** How many records the first pass of a run saw, what became of them, and whether the later passes
 * saw as many. */
typedef struct qvreg_record_counts {
  size_t struct_size;   /**< sizeof(qvreg_record_counts), set by the host. */
  int64_t read;         /**< All records that the source delivered. */
  int64_t used;         /**< Counted and used by the later passes. */
  int64_t missing;      /**< Left out for a missing value. */
  int64_t bad_weight;   /**< Left out for a weight that is not above 0. */
  int64_t out_of_range; /**< Left out for a code equal to the number of categories. */
  int64_t used_later;   /**< What the first later pass used that used another number of records; -1
                             when all used as many. */
} qvreg_record_counts;

/** The version of the library that runs: major * 65536 + minor * 256 + patch. That of the headers
 * is QVREG_VERSION_MAJOR, QVREG_VERSION_MINOR and QVREG_VERSION_PATCH; a library of the same major
 * version, before 1.0 of the same minor one, that is no older serves them. */
QVREG_EXPORT int32_t qvreg_version(void);
/** The version of the library that runs, as "major.minor.patch". The library's own text. */
QVREG_EXPORT const char* qvreg_version_string(void);
/** What `code` means, in one sentence without the data of a case; never null. The library's own
 * text. */
QVREG_EXPORT const char* qvreg_code_text(int32_t code);

#ifdef __cplusplus
}
#endif
