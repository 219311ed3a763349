#pragma once

/**
 * \file
 * The library in plain C11: for hosts of another compiler, another language or another run-time
 * library than its own. A host in C++ of the same compiler may use qvreg/qvreg.h instead.
 *
 * - Calls: a function that can fail returns an int32_t of `qvreg_code`: QVREG_OK, a status of the
 *   library under its own number, or a code of this interface from QVREG_NULL_HANDLE on. What it
 *   would have written is then left as it was, unless its comment says otherwise. The last
 *   argument, `error`, receives the same code with a message; it may be null. With a warning
 *   QVREG_OK is returned, and `error` holds the warning's code.
 * - Any such function may return QVREG_NULL_HANDLE, QVREG_BAD_HANDLE, QVREG_NULL_POINTER,
 *   QVREG_BAD_STRUCT_SIZE, QVREG_OUT_OF_MEMORY and QVREG_INTERNAL_ERROR; one that fills a buffer
 *   QVREG_BUFFER_TOO_SMALL; one that takes an index QVREG_BAD_INDEX; and one that takes a record
 *   QVREG_SHORT_RECORD, and QVREG_BAD_ARGUMENT for one of more than 2^31 - 1 values. The comment
 *   of a function lists what it returns besides.
 * - Handles are opaque. What a `..._create`, `..._open` or `..._get` function stores belongs to the
 *   host, which gives it to the `..._destroy` function of its kind; null is allowed there, and a
 *   handle of another kind is ignored. A handle keeps alive what it needs: results outlive their
 *   component, a component its settings. The use of a destroyed handle is often detected, but not
 *   always.
 * - Structures: all but qvreg_column, which never changes, begin with `struct_size`, which the host
 *   sets to the size that it was compiled with.
 * - Lists are copied to buffers of the host: `capacity` is their length, `count` (may be null)
 *   receives the length of the list, also with QVREG_BUFFER_TOO_SMALL. Null buffers and a capacity
 *   of 0 ask for the count alone. Of several buffers each may be null.
 * - Truth values are an int32_t, 0 or 1; any number but 0 is read as true. Indices count from 0;
 *   records in a message or a status count from 1. Text is UTF-8; what is not, in a path or in the
 *   message of an exception, is shown as '?'.
 * - Threads: a handle is used by one thread at a time, except that qvreg_component_cancel and
 *   qvreg_worker_cancel may be called by any, and that bytes never change. A component and all
 *   results made of it count as one handle here, since they share a model.
 * - Callbacks are called by the thread that called the library, during that call only, and must
 *   return to it: neither longjmp nor an exception; an exception that a C++ host throws all the
 *   same becomes QVREG_CALLBACK_THREW. On the handles of the call that it is made from, a callback
 *   may only cancel; reading, estimating and scoring are refused with QVREG_BAD_ARGUMENT. A
 *   callback and its `user` must live as long as their owner: those of a source until it is
 *   destroyed; those of settings until these, every component made of them and its results are.
 * - Versions: a minor version may add functions, codes and enumerators, and members at the end of
 *   structures. Nothing is removed, renumbered or reordered but in a new major version, or, before
 *   version 1.0, in a new minor one.
 */

#include <stddef.h>
#include <stdint.h>

#include "qvreg/QvExport.h"
#include "qvreg/QvVersion.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Marks a function that can refuse a choice of the host: a host that does not look at the code
 * goes on without what was refused, such as an effect, and compilers warn of that. */
#if defined(__cplusplus) && __cplusplus >= 201703L
#define QVREG_CHECKED [[nodiscard]]
#elif defined(__GNUC__)
#define QVREG_CHECKED __attribute__((warn_unused_result))
#else
#define QVREG_CHECKED
#endif

/* ---- Version, codes and errors */

/** The version of the library that runs: major * 65536 + minor * 256 + patch. That of the headers
 * is QVREG_VERSION_MAJOR, QVREG_VERSION_MINOR and QVREG_VERSION_PATCH; a library of the same major
 * version, before 1.0 of the same minor one, that is no older serves them. */
QVREG_EXPORT int32_t qvreg_version(void);
/** The version of the library that runs, as "major.minor.patch". The library's own text. */
QVREG_EXPORT const char* qvreg_version_string(void);

/** What functions return. The library's own statuses have their numbers; from QVREG_NULL_HANDLE on
 * the codes are those of this interface. */
enum qvreg_code {
  QVREG_OK = 0,        /**< Success; also with a warning, which `error` then describes. */
  QVREG_CANCELLED = 1, /**< A callback or qvreg_component_cancel stopped the run. */

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
                                           returned. Or a runner did: without datum 0. */
  QVREG_SHORT_RECORD = 315,           /**< A record has fewer values than the model needs. */
  QVREG_BAD_CATEGORY = 316,           /**< A value is no category code (discrete datum 1: the
                                           variable, scale datum 1: the value). */
  QVREG_ONE_CATEGORY = 318,           /**< Fewer than two categories of the dependent occur. */
  QVREG_REFERENCE_NOT_OBSERVED = 319, /**< Warning: the last category that occurs is the
                                           reference. */
  QVREG_UNREADABLE_MESSAGE = 320,     /**< Bytes of a pass or of settings that are damaged, of
                                           another version or of another run. */

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
  QVREG_OUT_OF_MEMORY = 1013,   /**< Memory ran out outside a run; in a run:
                                     QVREG_TOO_MANY_PARAMETERS. */
  QVREG_INTERNAL_ERROR = 1014,  /**< A defect of the library. */
  QVREG_RECORDS_CHANGED = 1015, /**< A later pass used another number of records (discrete datum 0)
                                     than the first (datum 1). */
  QVREG_REFUSED_VALUE = 1016    /**< A value of typed columns that the host has refused, or that has
                                     no place in their map (discrete datum 0: the record, from 1
                                     on; datum 1: the pass, from 1 on; datum 2: the column, from 0
                                     on). */
};

/** What `code` means, in one sentence without the data of a case; never null. The library's own
 * text. */
QVREG_EXPORT const char* qvreg_code_text(int32_t code);

/** Length of a message with its terminating zero. */
#define QVREG_MESSAGE_SIZE 512
/** A status has whole numbers and real numbers attached under the indices below this one. */
#define QVREG_MAX_DATA 4
/** The most values of a record. It, and the positions of variables, decide about memory before
 * there is a record: so many take 8 MB. */
#define QVREG_MAX_RECORD_SIZE 1048576
/** The most categories of a factor or of a dependent. Each is counted from the first pass on,
 * whether it occurs or not: so many take 256 MB, and far fewer have parameters that a machine has
 * room for. */
#define QVREG_MAX_CATEGORIES 16777216

/** The result of a call, or a status that was asked for. Start it with QVREG_ERROR_INIT. */
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

/* ---- Records */

/** Where records come from. A record is a row of doubles, one per variable. A run reads its records
 * several times, and every pass must deliver the same ones; their order does not matter. A source
 * that fails ends the run with QVREG_UNREADABLE_RECORD, QVREG_NO_FURTHER_PASS or
 * QVREG_CALLBACK_THREW, never as if its data had ended; it stays failed until its next pass. */
typedef struct qvreg_source qvreg_source;

/** The value that stands for a missing number in a record: the lowest finite double. A missing
 * category is any number below -0.5.
 *
 * A NaN or an infinity is not missing: as a covariate it makes the covariate's parameters
 * redundant, without an error or a warning; as the dependent of a linear model it makes the
 * estimates 0 and the fit statistics missing. An infinite weight is above 0 and makes all
 * parameters redundant; a NaN is no weight above 0. A host whose missing numbers are NaN turns them
 * into QVREG_MISSING_VALUE; qvreg_results_get_non_finite names the parameters concerned. */
#define QVREG_MISSING_VALUE (-1.7976931348623157e308)

/** What `next` returns; every other number is a failure. */
enum qvreg_next {
  QVREG_NEXT_END = 0,   /**< There are no more records. */
  QVREG_NEXT_RECORD = 1 /**< A record was written. */
};

/** The host's own data: two callbacks. */
typedef struct qvreg_record_callbacks {
  size_t struct_size; /**< sizeof(qvreg_record_callbacks), set by the host. */
  size_t record_size; /**< How many values a record has, 1 to QVREG_MAX_RECORD_SIZE. */
  void* user;         /**< Handed to the callbacks. */
  /** Writes the next record of the pass, `record_size` values, to `record`, and returns
   * QVREG_NEXT_RECORD; or returns QVREG_NEXT_END; or, when it failed, a number of the host's own.
   */
  int32_t (*next)(void* user, double* record, size_t record_size);
  /** Called at the start of every pass, the first one included: returns 0, or, when it failed, a
   * number of the host's own. Null for data that can be read once; estimation needs more passes. */
  int32_t (*rewind)(void* user);
} qvreg_record_callbacks;

/** A variable in memory: record i has the value `values[i * stride]`. */
typedef struct qvreg_column {
  const double* values; /**< The value of the first record. */
  ptrdiff_t stride;     /**< In doubles; 0 for one value in all records. Never more is read than
                             the records need. */
} qvreg_column;

/** What the values of a typed column are. In a record each is the double nearest to it: whole
 * numbers beyond 2^53 are rounded, all others stay as they are. */
enum qvreg_value_type {
  QVREG_TYPE_FLOAT64 = 0, /**< A double. */
  QVREG_TYPE_FLOAT32 = 1, /**< A float. */
  QVREG_TYPE_INT8 = 2,    /**< An int8_t; this and the following whole numbers may be codes. */
  QVREG_TYPE_INT16 = 3,   /**< An int16_t. */
  QVREG_TYPE_INT32 = 4,   /**< An int32_t. */
  QVREG_TYPE_INT64 = 5,   /**< An int64_t. */
  QVREG_TYPE_UINT8 = 6,   /**< A uint8_t. */
  QVREG_TYPE_UINT16 = 7,  /**< A uint16_t. */
  QVREG_TYPE_UINT32 = 8,  /**< A uint32_t. */
  QVREG_TYPE_UINT64 = 9,  /**< A uint64_t. */
  QVREG_TYPE_BOOL = 10    /**< A byte: 0 is 0, any other 1. */
};

/** How a mask tells which records have no value. */
enum qvreg_mask_kind {
  QVREG_MASK_NONE = 0,       /**< There is no mask. */
  QVREG_MASK_BYTES = 1,      /**< A byte per record: any but 0 for a missing value. */
  QVREG_MASK_VALID_BITS = 2, /**< A bit per record, the lowest bit of a byte first: 0 for a missing
                                  value, as Arrow has it. */
};

/** What becomes of a kind of value. */
enum qvreg_treatment {
  QVREG_PASS_ON = 0,    /**< It stands in the record as it is; see QVREG_MISSING_VALUE. */
  QVREG_AS_MISSING = 1, /**< It is missing: as a number and as a category. */
  QVREG_REFUSE = 2      /**< It ends the run with QVREG_REFUSED_VALUE. */
};

/** A variable in memory of any type, for hosts whose arrays are not all doubles: numbers, truth
 * values, codes of categories. Start it with zeros, so that all choices are the plain ones.
 *
 * In an array of these, each begins `struct_size` bytes after the one before, and all have one
 * size. A value that the mask or `missing_code` tells missing is QVREG_MISSING_VALUE, whatever
 * stands in its place. */
typedef struct qvreg_typed_column {
  size_t struct_size;    /**< sizeof(qvreg_typed_column), set by the host. */
  const void* values;    /**< The value of the first record; of any alignment. */
  ptrdiff_t stride;      /**< From record to record, in bytes; negative, or 0 for one value in all
                              records. Never more is read than the records need. */
  const void* mask;      /**< As `mask_kind` says; null without one. */
  ptrdiff_t mask_stride; /**< Of QVREG_MASK_BYTES: from record to record, in bytes. */
  int64_t mask_offset;   /**< Of QVREG_MASK_VALID_BITS: the bit of the first record. */
  const double* map;     /**< The numbers that stand in records for codes 0, 1, ...; null for the
                              codes themselves. May hold QVREG_MISSING_VALUE. A code below 0 is
                              missing, one with no place in it QVREG_REFUSED_VALUE. For types of
                              whole numbers, and truth values. */
  size_t map_size;       /**< How many numbers `map` has. */
  const char* name;      /**< For messages, as UTF-8; null for the number of the column alone. */
  int64_t missing_code;  /**< The value that is missing, if `has_missing_code`; one that the type
                              can have, of QVREG_TYPE_UINT64 one below 2^63. */
  int32_t has_missing_code; /**< Whether there is one. For types of whole numbers. */
  int32_t type;             /**< A qvreg_value_type. */
  int32_t mask_kind;        /**< A qvreg_mask_kind. */
  int32_t nan;              /**< What becomes of NaN: a qvreg_treatment. */
  int32_t infinite;         /**< What becomes of infinite numbers: a qvreg_treatment. */
  int32_t reserved;         /**< 0. */
} qvreg_typed_column;

/** Some records of a source that come together. */
typedef struct qvreg_block {
  size_t struct_size; /**< The size that the library was compiled with. */
  size_t n_records;   /**< How many records; there may be none, and more after them. */
  const qvreg_typed_column* columns; /**< As many as the source has. The array and all that it
                                          points to stay as they are until `next` or `rewind` is
                                          called again, or the source is destroyed. The columns of
                                          another block may have other types. */
} qvreg_block;

/** The host's own data, many records at a time: a table that is read in pieces. */
typedef struct qvreg_block_callbacks {
  size_t struct_size; /**< sizeof(qvreg_block_callbacks), set by the host. */
  size_t n_columns;   /**< How many values a record has, 1 to QVREG_MAX_RECORD_SIZE. */
  void* user;         /**< Handed to the callbacks. */
  /** Writes the next records of the pass to `block`, which is zeros but for its struct_size, and
   * returns QVREG_NEXT_RECORD; or returns QVREG_NEXT_END; or, when it failed, a number of the
   * host's own. */
  int32_t (*next)(void* user, qvreg_block* block);
  /** As that of qvreg_record_callbacks. */
  int32_t (*rewind)(void* user);
} qvreg_block_callbacks;

/** Makes a `source` of the host's `callbacks`, which are copied. QVREG_BAD_ARGUMENT for a record
 * size of 0 or above QVREG_MAX_RECORD_SIZE. */
QVREG_EXPORT int32_t qvreg_source_create_callbacks(const qvreg_record_callbacks* callbacks,
                                                   qvreg_source** source, qvreg_error* error);
/** Makes a `source` of `n_columns` variables in memory, `columns`, with `n_records` records. The
 * array of columns is copied, their values are not: they stay as they are until the source is
 * destroyed and no run reads it, nor threads of settings (qvreg_settings_set_threads).
 * QVREG_BAD_ARGUMENT for no column or above QVREG_MAX_RECORD_SIZE of them. */
QVREG_EXPORT int32_t qvreg_source_create_columns(const qvreg_column* columns, size_t n_columns,
                                                 size_t n_records, qvreg_source** source,
                                                 qvreg_error* error);
/** Makes a `source` of `n_columns` variables in memory, `columns`, of any types, with `n_records`
 * records. The array of columns is copied, and nothing that it points to: that stays as it is until
 * the source is destroyed and no run reads it, nor threads of settings
 * (qvreg_settings_set_threads). Columns of doubles are read as fast as those of
 * qvreg_source_create_columns. QVREG_BAD_ARGUMENT for no column or above QVREG_MAX_RECORD_SIZE of
 * them, an unknown type, mask or treatment, a missing code that the type cannot have, and a map or
 * a missing code of a column that is not of whole numbers; QVREG_BAD_STRUCT_SIZE, too, for columns
 * of different sizes. */
QVREG_EXPORT int32_t qvreg_source_create_typed_columns(const qvreg_typed_column* columns,
                                                       size_t n_columns, size_t n_records,
                                                       qvreg_source** source, qvreg_error* error);
/** Makes a `source` of the host's `callbacks`, which are copied and called for many records at a
 * time. Its records come one after the other: threads of settings cannot share it. A block whose
 * columns qvreg_source_create_typed_columns would refuse ends the run with the code of that.
 * QVREG_BAD_ARGUMENT for no column or above QVREG_MAX_RECORD_SIZE of them. */
QVREG_EXPORT int32_t qvreg_source_create_blocks(const qvreg_block_callbacks* callbacks,
                                                qvreg_source** source, qvreg_error* error);

/** What a typed column holds. Records count from 1. */
typedef struct qvreg_column_summary {
  size_t struct_size;     /**< sizeof(qvreg_column_summary), set by the host. */
  int64_t missing;        /**< Values that are missing. */
  int64_t nan;            /**< Values that are NaN and passed on. */
  int64_t infinite;       /**< Values that are infinite and passed on. */
  int64_t first_missing;  /**< The first record with such a value; 0 for none. */
  int64_t first_nan;      /**< The same. */
  int64_t first_infinite; /**< The same. */
  double lowest;          /**< The lowest finite number; QVREG_MISSING_VALUE without any. */
  double highest;         /**< The highest one. Of codes without a map 1 more than this is the
                               n_categories that a factor needs. */
  int32_t are_whole;      /**< 1 when all finite numbers are whole. */
  int32_t reserved;       /**< 0. */
} qvreg_column_summary;

/** `summary` receives what the `n_records` values of `column` are in records, which one pass over
 * them finds. Codes as qvreg_source_create_typed_columns, and QVREG_REFUSED_VALUE. */
QVREG_EXPORT int32_t qvreg_column_summarize(const qvreg_typed_column* column, size_t n_records,
                                            qvreg_column_summary* summary, qvreg_error* error);
/** Opens a record file as a `source`: rows of `record_size` doubles in the machine's byte order,
 * one after the other, with no header, separators or trailer. `path` is UTF-8 on every system.
 * QVREG_CANNOT_OPEN when the file cannot be opened, or is a folder, a pipe or a device;
 * QVREG_BAD_ARGUMENT for a record size of 0 or above QVREG_MAX_RECORD_SIZE. */
QVREG_EXPORT int32_t qvreg_source_open_file(const char* path, size_t record_size,
                                            qvreg_source** source, qvreg_error* error);
/** Gives `source` back, and closes its file. */
QVREG_EXPORT void qvreg_source_destroy(qvreg_source* source);
/** Starts a pass over `source`, for a host that reads it itself, such as a record file to score.
 * QVREG_NO_FURTHER_PASS when it cannot be read again, QVREG_UNREADABLE_RECORD when its first record
 * cannot be, QVREG_CALLBACK_THREW; QVREG_BAD_ARGUMENT when a run reads it. */
QVREG_EXPORT int32_t qvreg_source_rewind(qvreg_source* source, qvreg_error* error);
/** Reads the next record of `source` into `record`, a buffer of `capacity`; `has_record` becomes 0,
 * and nothing is written, at the end of the data. The first call starts a pass when none was
 * started. A failure is returned again until the next pass. Codes as qvreg_source_rewind. */
QVREG_EXPORT int32_t qvreg_source_next(qvreg_source* source, double* record, size_t capacity,
                                       int32_t* has_record, qvreg_error* error);

/* ---- Settings */

/** Settings of a run: the role of each variable, the effects, the options of a fit. A variable is a
 * position in a record; it has one role. */
typedef struct qvreg_settings qvreg_settings;

/** The models. */
enum qvreg_model {
  QVREG_MODEL_LINEAR = 0,  /**< The linear model. */
  QVREG_MODEL_LOGISTIC = 1 /**< The multinomial logistic model. */
};

/** Makes `settings` of a `model`, a qvreg_model: no roles, no effects, an intercept.
 * QVREG_BAD_ARGUMENT for an unknown model. */
QVREG_EXPORT int32_t qvreg_settings_create(int32_t model, qvreg_settings** settings,
                                           qvreg_error* error);
/** Gives `settings` back; components made of them live on. */
QVREG_EXPORT void qvreg_settings_destroy(qvreg_settings* settings);
/** `model` receives the qvreg_model of `settings`. */
QVREG_EXPORT int32_t qvreg_settings_get_model(const qvreg_settings* settings, int32_t* model,
                                              qvreg_error* error);
/** Whether `settings` describe a model: QVREG_NO_DEPENDENT or QVREG_EMPTY_MODEL when not. */
QVREG_EXPORT int32_t qvreg_settings_validate(const qvreg_settings* settings, qvreg_error* error);

/** Makes `variable` the dependent of `settings`, once: a number, or for a logistic model a category
 * code. This and the other functions that give a role return QVREG_SETTING_REFUSED when `variable`
 * has one already, is negative or no position in a record of QVREG_MAX_RECORD_SIZE; on any error
 * the settings stay as they were. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_dependent(qvreg_settings* settings,
                                                                int32_t variable,
                                                                qvreg_error* error);
/** Adds `variable` to `settings` as a factor with codes 0 .. `n_categories` - 1; a record whose
 * code is `n_categories` is left out, a higher code ends the run with QVREG_BAD_CATEGORY.
 * QVREG_SETTING_REFUSED for no category and for more than QVREG_MAX_CATEGORIES, too. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_factor(qvreg_settings* settings,
                                                             int32_t variable, int32_t n_categories,
                                                             qvreg_error* error);
/** Adds `variable` to `settings` as a covariate, a number. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_covariate(qvreg_settings* settings,
                                                                int32_t variable,
                                                                qvreg_error* error);
/** Makes `variable` the frequency weight of `settings`, how many records a record stands for, above
 * 0; a later call replaces it, yet records in which the earlier variable is missing or not above 0
 * are still left out. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_frequency_weight(qvreg_settings* settings,
                                                                       int32_t variable,
                                                                       qvreg_error* error);
/** Makes `variable` the regression weight of `settings`, a record's precision (the inverse of its
 * variance), above 0; replaced as the frequency weight. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_regression_weight(qvreg_settings* settings,
                                                                        int32_t variable,
                                                                        qvreg_error* error);

/** Makes `variable` the record count of `settings`, once: a host that hands out identical records
 * once, their number multiplied into the frequency weight, tells the same number here, a whole
 * number from 1 to 2^53. Wherever records are counted a record counts as so many; it is never a
 * weight. A record whose count is anything else is left out as one of a bad weight. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_record_count(qvreg_settings* settings,
                                                                   int32_t variable,
                                                                   qvreg_error* error);
/** The variable of `settings` that is the record count goes to `variable`; -1 for none. */
QVREG_EXPORT int32_t qvreg_settings_get_record_count(const qvreg_settings* settings,
                                                     int32_t* variable, qvreg_error* error);

/** Which variables have which role, and how many there are. */
typedef struct qvreg_roles {
  size_t struct_size;        /**< sizeof(qvreg_roles), set by the host. */
  int32_t dependent;         /**< The dependent; -1 for none yet. */
  int32_t frequency_weight;  /**< The frequency weight; -1 for none. */
  int32_t regression_weight; /**< The regression weight; -1 for none. */
  int32_t n_factors;         /**< The number of factors. */
  int32_t n_covariates;      /**< The number of covariates. */
  int32_t n_effects;         /**< The number of effects, the intercept not among them. */
  int32_t n_variables;       /**< 1 + the highest variable that has a role. */
  int32_t are_complete;      /**< 0 without a dependent. */
} qvreg_roles;

/** `roles` receives the variables of `settings` that have one role, and counts. */
QVREG_EXPORT int32_t qvreg_settings_get_roles(const qvreg_settings* settings, qvreg_roles* roles,
                                              qvreg_error* error);
/** The factors of `settings`, in the order added: `variables` and their `n_categories`. */
QVREG_EXPORT int32_t qvreg_settings_get_factors(const qvreg_settings* settings, int32_t* variables,
                                                int32_t* n_categories, size_t capacity,
                                                size_t* count, qvreg_error* error);
/** The covariates of `settings`, in the order added: `variables`. */
QVREG_EXPORT int32_t qvreg_settings_get_covariates(const qvreg_settings* settings,
                                                   int32_t* variables, size_t capacity,
                                                   size_t* count, qvreg_error* error);

/** The options of a fit, of both models. Get them, change some, set them. */
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
  int32_t test_type;         /**< Not used: 0. */
  int32_t p_adjustment;      /**< Not used: 0. */
  int32_t covariance_type;   /**< Not used: 0. */
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

/** The options that a logistic model adds. */
typedef struct qvreg_logistic_options {
  size_t struct_size;               /**< sizeof(qvreg_logistic_options), set by the host. */
  int32_t n_categories;             /**< Of the dependent, coded as the categories of a factor; 2 or
                                         more, 2 by default. */
  int32_t reference_category;       /**< A code, QVREG_LAST_OBSERVED or QVREG_FIRST_OBSERVED. */
  double ll_criterion;              /**< Converged when the log-likelihood changes by less; 0, the
                                         default, switches it off. */
  double param_criterion;           /**< Converged when the estimates change by less; 0 switches it
                                         off; 1e-6 by default. Relative: the largest |change| over
                                         max(|estimate|, 1e-6); absolute: the sum of |change|. */
  int32_t is_ll_change_absolute;    /**< 1 for an absolute change; 0, relative, by default. */
  int32_t is_param_change_absolute; /**< 1 for an absolute change; 0, relative, by default. */
  int32_t max_iterations;           /**< 0 or more; 100 by default. */
  int32_t max_step_halvings;        /**< Of one iteration, 1 or more; 5 by default. */
  int32_t starting_iteration;       /**< The first iteration that tests for separation; 20 by
                                         default; with 0 none does. */
  int32_t iteration_frequency;      /**< Every n-th iteration is reported, and the first and last
                                         in any case; n >= 1; 1 by default. */
  int32_t use_pattern_tabulator;    /**< Whether the data are kept in memory, every record,
                                         grouped by the levels of its factors; not by default. */
  int32_t reserved;                 /**< 0. */
} qvreg_logistic_options;

/** `options` receives the options of `settings`. */
QVREG_EXPORT int32_t qvreg_settings_get_options(const qvreg_settings* settings,
                                                qvreg_options* options, qvreg_error* error);
/** Sets all `options` of `settings`, or none: QVREG_SETTING_REFUSED names the first refused. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_options(qvreg_settings* settings,
                                                              const qvreg_options* options,
                                                              qvreg_error* error);
/** `options` receives those of logistic `settings`. QVREG_WRONG_MODEL for linear ones. */
QVREG_EXPORT int32_t qvreg_settings_get_logistic_options(const qvreg_settings* settings,
                                                         qvreg_logistic_options* options,
                                                         qvreg_error* error);
/** Sets all `options` of logistic `settings`, or none: QVREG_SETTING_REFUSED names the first
 * refused. QVREG_WRONG_MODEL for linear settings. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_logistic_options(
    qvreg_settings* settings, const qvreg_logistic_options* options, qvreg_error* error);
/** Logistic `settings` start the iterations from `values`, finite, `count` of them: one per
 * parameter, in the order of qvreg_results_get_estimates, those of redundant ones not used; 0 for
 * none. Another number than there are parameters ends qvreg_component_create_parameters with
 * QVREG_NO_PARAMETERS. The initial log-likelihood stays that of the default start.
 * QVREG_SETTING_REFUSED for a value that is not finite, QVREG_WRONG_MODEL for linear settings. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_starting_values(qvreg_settings* settings,
                                                                      const double* values,
                                                                      size_t count,
                                                                      qvreg_error* error);

/** What a progress callback receives. */
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

/** Called with `user` and a `progress` report as a logistic estimation goes on. */
typedef void (*qvreg_progress_callback)(void* user, const qvreg_progress* progress);
/** Called with `user` once per record and pivot, so it should take little time: any number but 0
 * stops the run. */
typedef int32_t (*qvreg_cancel_callback)(void* user);

/** Components made of `settings` from now on call `callback` with `user` as an estimation goes on;
 * null for none. */
QVREG_EXPORT int32_t qvreg_settings_set_progress(qvreg_settings* settings,
                                                 qvreg_progress_callback callback, void* user,
                                                 qvreg_error* error);
/** Components made of `settings` from now on call `callback` with `user` to ask whether a run, or
 * scoring, is to stop; null for none. */
QVREG_EXPORT int32_t qvreg_settings_set_cancel(qvreg_settings* settings,
                                               qvreg_cancel_callback callback, void* user,
                                               qvreg_error* error);

/* ---- Effects */

/** One term of a model: factors, each at a nesting level, and covariates, each with a multiplicity
 * (its power). */
typedef struct qvreg_effect qvreg_effect;

/** Makes an empty `effect` over the variables of its model: `n_factors` record positions in
 * `factors` and `n_covariates` in `covariates`, which are copied. Lists of no elements may be null.
 * QVREG_BAD_ARGUMENT for a negative position, or more than 2^31 - 1 of them. */
QVREG_EXPORT int32_t qvreg_effect_create(const int32_t* factors, size_t n_factors,
                                         const int32_t* covariates, size_t n_covariates,
                                         qvreg_effect** effect, qvreg_error* error);
/** Gives `effect` back; settings that took a copy keep it. */
QVREG_EXPORT void qvreg_effect_destroy(qvreg_effect* effect);
/** Adds factor `variable` to `effect` at nesting level 0. With `nested` 1 it is nested in the
 * factors added before it: for b within a, add a with 0, then b with 1. QVREG_BAD_ARGUMENT for no
 * factor of the model, or one that is in the effect.
 */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_add_factor(qvreg_effect* effect, int32_t variable,
                                                           int32_t nested, qvreg_error* error);
/** Raises the multiplicity of covariate `variable` in `effect` by one; `multiplicity`, which may be
 * null, receives it. QVREG_BAD_ARGUMENT for no covariate of the model. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_effect_add_covariate(qvreg_effect* effect,
                                                              int32_t variable,
                                                              int32_t* multiplicity,
                                                              qvreg_error* error);
/** Takes every factor and covariate out of `effect`. */
QVREG_EXPORT int32_t qvreg_effect_reset(qvreg_effect* effect, qvreg_error* error);
/** The factors of `effect`, in the order of the model's list: `variables` and nesting `levels`. */
QVREG_EXPORT int32_t qvreg_effect_get_factors(const qvreg_effect* effect, int32_t* variables,
                                              int32_t* levels, size_t capacity, size_t* count,
                                              qvreg_error* error);
/** The covariates of `effect`, in the order of the model's list: `variables` and `multiplicities`.
 */
QVREG_EXPORT int32_t qvreg_effect_get_covariates(const qvreg_effect* effect, int32_t* variables,
                                                 int32_t* multiplicities, size_t capacity,
                                                 size_t* count, qvreg_error* error);
/** Adds a copy of `effect` to `settings`. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_add_effect(qvreg_settings* settings,
                                                             const qvreg_effect* effect,
                                                             qvreg_error* error);
/** Makes `effect`, a copy of number `index` of `settings`. */
QVREG_EXPORT int32_t qvreg_settings_get_effect(const qvreg_settings* settings, int32_t index,
                                               qvreg_effect** effect, qvreg_error* error);

/* ---- A run */

/** One model, estimated over records and then used to score others. A component keeps a status:
 * once that is an error, every later operation does nothing and returns it, and a new component is
 * needed. */
typedef struct qvreg_component qvreg_component;
/** The parameters of a model, one per column of the design. */
typedef struct qvreg_parameters qvreg_parameters;
/** The results of a built model. */
typedef struct qvreg_results qvreg_results;

/** How many records the first pass of a run read, used and left out, and whether the later passes
 * used as many. */
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

/** Makes a `component` of `settings`, which are copied. QVREG_NO_DEPENDENT, QVREG_EMPTY_MODEL,
 * QVREG_TOO_MANY_PARAMETERS; QVREG_BAD_ARGUMENT for an effect with a variable that is no such
 * factor or covariate of the settings. */
QVREG_EXPORT int32_t qvreg_component_create(const qvreg_settings* settings,
                                            qvreg_component** component, qvreg_error* error);
/** Gives `component` back; its results live on. */
QVREG_EXPORT void qvreg_component_destroy(qvreg_component* component);
/** Makes `settings`, a copy of those of `component`. */
QVREG_EXPORT int32_t qvreg_component_get_settings(const qvreg_component* component,
                                                  qvreg_settings** settings, qvreg_error* error);
/** Reads the records of `source` once and makes `parameters`, in design order; null when they are
 * not wanted. The source, too, may be null where the settings have threads or a runner. Optional:
 * qvreg_component_build does it where it was not done. The result becomes the status of
 * `component`: QVREG_CANCELLED, QVREG_NO_FURTHER_PASS, QVREG_TOO_MANY_PARAMETERS,
 * QVREG_DATA_PROCESSED, QVREG_NO_RECORDS, QVREG_NO_PARAMETERS, QVREG_ALREADY_BUILT,
 * QVREG_RECORD_MISSING, QVREG_UNREADABLE_RECORD, QVREG_SHORT_RECORD, QVREG_BAD_CATEGORY,
 * QVREG_CALLBACK_THREW; with threads or a runner QVREG_CANNOT_OPEN and QVREG_UNREADABLE_MESSAGE.
 * QVREG_BAD_ARGUMENT, which leaves the status, when the component or the source is in use. */
QVREG_EXPORT int32_t qvreg_component_create_parameters(qvreg_component* component,
                                                       qvreg_source* source,
                                                       qvreg_parameters** parameters,
                                                       qvreg_error* error);
/** Estimates the model of `component` from the records of `source`, which may be null where the
 * settings have threads or a runner. The result becomes the status
 * of the component, unless it is the warning QVREG_REFERENCE_NOT_OBSERVED. Codes as
 * qvreg_component_create_parameters, and QVREG_STAGE_MISSING, QVREG_NOTHING_TO_FIT,
 * QVREG_NOT_BUILT, QVREG_DATA_NOT_PROCESSED, QVREG_ONE_CATEGORY, QVREG_RECORDS_CHANGED. */
QVREG_EXPORT int32_t qvreg_component_build(qvreg_component* component, qvreg_source* source,
                                           qvreg_error* error);
/** `is_built` becomes 1 when the model of `component` is built and its status no error. */
QVREG_EXPORT int32_t qvreg_component_is_built(const qvreg_component* component, int32_t* is_built,
                                              qvreg_error* error);
/** Asks a running pass of `component` to stop before its next record, with QVREG_CANCELLED. It is
 * kept: a component that was cancelled stays so, before a run as well as after it, and scores no
 * more. Any thread, with an `error` of its own. */
QVREG_EXPORT int32_t qvreg_component_cancel(qvreg_component* component, qvreg_error* error);
/** `status` receives the status of `component`; the function returns whether that could be read,
 * and `error`, another structure, why not. QVREG_BAD_ARGUMENT when they are one. */
QVREG_EXPORT int32_t qvreg_component_get_status(const qvreg_component* component,
                                                qvreg_error* status, qvreg_error* error);
/** `count` receives how many warnings `component` has raised. */
QVREG_EXPORT int32_t qvreg_component_get_warning_count(const qvreg_component* component,
                                                       size_t* count, qvreg_error* error);
/** `warning` receives number `index` of the warnings of `component`, in the order raised.
 * QVREG_BAD_ARGUMENT when `warning` and `error` are one structure. */
QVREG_EXPORT int32_t qvreg_component_get_warning(const qvreg_component* component, size_t index,
                                                 qvreg_error* warning, qvreg_error* error);
/** `counts` receives the record counts of `component`, also after a run that failed. */
QVREG_EXPORT int32_t qvreg_component_get_record_counts(const qvreg_component* component,
                                                       qvreg_record_counts* counts,
                                                       qvreg_error* error);
/** Makes `results`, those of the built model of `component`. The status of the component when that
 * is an error, QVREG_NOT_BUILT without a model. */
QVREG_EXPORT int32_t qvreg_component_get_results(const qvreg_component* component,
                                                 qvreg_results** results, qvreg_error* error);
/** Prints settings, model and results of `component` to standard output, for debugging. */
QVREG_EXPORT int32_t qvreg_component_display(const qvreg_component* component, qvreg_error* error);

/* ---- Parameters */

/** What a parameter stands for. */
typedef struct qvreg_parameter_info {
  size_t struct_size;             /**< sizeof(qvreg_parameter_info), set by the host. */
  int32_t n_factors;              /**< Factors whose categories select it. */
  int32_t n_covariates;           /**< Distinct covariates that multiply it. */
  int32_t covariate_multiplicity; /**< The sum of the multiplicities of all its covariates. */
  int32_t is_intercept;           /**< 1 without factors and covariates. */
  int32_t effect_index;           /**< Position of its effect, the intercept being effect 0 when the
                                       model has one. */
  int32_t target_category;        /**< Logistic: the code whose equation it is in; otherwise -1. */
} qvreg_parameter_info;

/** Gives `parameters` back. */
QVREG_EXPORT void qvreg_parameters_destroy(qvreg_parameters* parameters);
/** `count` receives how many `parameters` there are. */
QVREG_EXPORT int32_t qvreg_parameters_get_count(const qvreg_parameters* parameters, size_t* count,
                                                qvreg_error* error);
/** `info` receives what number `index` of the `parameters` stands for. */
QVREG_EXPORT int32_t qvreg_parameters_get_info(const qvreg_parameters* parameters, size_t index,
                                               qvreg_parameter_info* info, qvreg_error* error);
/** The factors of number `index` of the `parameters`, in the order of their nesting levels:
 * `variables`, their `categories` and `nest_levels`. */
QVREG_EXPORT int32_t qvreg_parameters_get_factors(const qvreg_parameters* parameters, size_t index,
                                                  int32_t* variables, int32_t* categories,
                                                  int32_t* nest_levels, size_t capacity,
                                                  size_t* count, qvreg_error* error);
/** The covariates of number `index` of the `parameters`: `variables` and their `multiplicities`. */
QVREG_EXPORT int32_t qvreg_parameters_get_covariates(const qvreg_parameters* parameters,
                                                     size_t index, int32_t* variables,
                                                     int32_t* multiplicities, size_t capacity,
                                                     size_t* count, qvreg_error* error);

/* ---- Results of both models */

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
                                       where that weight is. Not those of the residual variance,
                                       for which see qvreg_results_get_covariance. */
} qvreg_summary;

/** Fit statistics. The n of Cox and Snell's and of Nagelkerke's is the total regression weight. */
enum qvreg_fit_stat {
  QVREG_FIT_RMSE = 0,                /**< Linear: in units of the dependent. */
  QVREG_FIT_R_SQUARE = 1,            /**< Linear: R^2. */
  QVREG_FIT_COX_SNELL_R_SQUARE = 2,  /**< Logistic: Cox and Snell's pseudo R^2. */
  QVREG_FIT_NAGELKERKE_R_SQUARE = 3, /**< Logistic: Nagelkerke's pseudo R^2. */
  QVREG_FIT_MCFADDEN_R_SQUARE = 4    /**< Logistic: McFadden's pseudo R^2. */
};

/** Gives `results` back, and with the last of its handles the model. */
QVREG_EXPORT void qvreg_results_destroy(qvreg_results* results);
/** `summary` receives the numbers that stand for the model of `results`. */
QVREG_EXPORT int32_t qvreg_results_get_summary(const qvreg_results* results, qvreg_summary* summary,
                                               qvreg_error* error);
/** `value` receives the fit statistic `stat`, a qvreg_fit_stat, of `results`; QVREG_MISSING_VALUE
 * when the data leave it undefined. QVREG_NOT_SERVED for one of the other model,
 * QVREG_BAD_ARGUMENT for an unknown one. */
QVREG_EXPORT int32_t qvreg_results_get_fit_stat(const qvreg_results* results, int32_t stat,
                                                double* value, qvreg_error* error);
/** `counts` receives the record counts of the run of `results`. */
QVREG_EXPORT int32_t qvreg_results_get_record_counts(const qvreg_results* results,
                                                     qvreg_record_counts* counts,
                                                     qvreg_error* error);
/** Makes `parameters`, a copy of those of `results`, in design order. */
QVREG_EXPORT int32_t qvreg_results_get_parameters(const qvreg_results* results,
                                                  qvreg_parameters** parameters,
                                                  qvreg_error* error);
/** Per parameter of `results` its estimate, 0 for a redundant one, goes to `estimates`. */
QVREG_EXPORT int32_t qvreg_results_get_estimates(const qvreg_results* results, double* estimates,
                                                 size_t capacity, size_t* count,
                                                 qvreg_error* error);
/** Per parameter of `results`, 1 where it depends on earlier ones and was dropped, goes to
 * `redundant`. */
QVREG_EXPORT int32_t qvreg_results_get_redundant(const qvreg_results* results, int32_t* redundant,
                                                 size_t capacity, size_t* count,
                                                 qvreg_error* error);
/** Per parameter of `results`, 1 where its column was not finite, goes to `non_finite`. Some value
 * of such a column, or a sum of its weighted products, is infinite or not a number; the parameter
 * is redundant, and the fit is that of the model without it. A weight that is not finite concerns
 * all. */
QVREG_EXPORT int32_t qvreg_results_get_non_finite(const qvreg_results* results, int32_t* non_finite,
                                                  size_t capacity, size_t* count,
                                                  qvreg_error* error);
/** `answer` becomes 0 when some value of the dependent of `results` was not finite, or too large
 * for an estimate or for a sum of squares: the fit statistics are then QVREG_MISSING_VALUE, and the
 * estimates 0 unless only a sum of squares is concerned. It is 1 for a logistic model, whose
 * dependent is a category. */
QVREG_EXPORT int32_t qvreg_results_is_dependent_finite(const qvreg_results* results,
                                                       int32_t* answer, qvreg_error* error);
/** The weighted means of `results` go to `means`: of the covariates in the order of the settings,
 * and for the linear model last of the dependent; QVREG_MISSING_VALUE for one with a value that is
 * not finite. */
QVREG_EXPORT int32_t qvreg_results_get_means(const qvreg_results* results, double* means,
                                             size_t capacity, size_t* count, qvreg_error* error);

/** `value` receives element (`row`, `column`) of the covariance matrix of `results`, 0 in redundant
 * rows. For the linear model it is still to be multiplied by the residual variance: the square of
 * QVREG_FIT_RMSE times W / (W - n), where W is `total_frequency_weight` of the summary and n the
 * number of parameters that are not redundant. This and the
 * other functions of the matrix return QVREG_NOT_SERVED when there is none. */
QVREG_EXPORT int32_t qvreg_results_get_covariance(const qvreg_results* results, size_t row,
                                                  size_t column, double* value, qvreg_error* error);
/** The lower triangle of the covariance matrix of `results`, row by row, goes to `elements`:
 * n (n + 1) / 2 for n parameters. */
QVREG_EXPORT int32_t qvreg_results_get_covariance_packed(const qvreg_results* results,
                                                         double* elements, size_t capacity,
                                                         size_t* count, qvreg_error* error);
/** The whole covariance matrix of `results` goes to `elements`, whose rows begin `row_stride`
 * doubles apart, at least one per parameter; nothing is written between them. `count` is what the
 * buffer must hold: (n - 1) `row_stride` + n for n parameters. QVREG_BAD_ARGUMENT for a smaller
 * stride. */
QVREG_EXPORT int32_t qvreg_results_get_covariance_full(const qvreg_results* results,
                                                       double* elements, size_t row_stride,
                                                       size_t capacity, size_t* count,
                                                       qvreg_error* error);

/** Records of `results` per category of factor `factor`, counted in the order of the settings:
 * `weighted` by the frequency weight and `unweighted`. */
QVREG_EXPORT int32_t qvreg_results_get_factor_counts(const qvreg_results* results, int32_t factor,
                                                     double* weighted, double* unweighted,
                                                     size_t capacity, size_t* count,
                                                     qvreg_error* error);
/** Records of `results` per category of a categorical dependent: `weighted` by the frequency weight
 * and `unweighted`. QVREG_NOT_SERVED for a linear model. */
QVREG_EXPORT int32_t qvreg_results_get_dependent_counts(const qvreg_results* results,
                                                        double* weighted, double* unweighted,
                                                        size_t capacity, size_t* count,
                                                        qvreg_error* error);

/* ---- Results of a logistic model */

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

/** How the iterations of a logistic model went. */
typedef struct qvreg_logistic_summary {
  size_t struct_size;            /**< sizeof(qvreg_logistic_summary), set by the host. */
  int32_t n_categories;          /**< K, the categories of the dependent that occur. */
  int32_t outcome;               /**< A qvreg_outcome. */
  int32_t iterations;            /**< Iterations done. */
  int32_t step_halvings;         /**< Of all iterations together. */
  double initial_log_likelihood; /**< At the default starting values: the intercepts of the model
                                      without terms, or zeros where it has no intercept. */
  double final_log_likelihood;   /**< At the estimates. */
  double ll_change;              /**< The last change of the log-likelihood, as the settings say. */
  double param_change;           /**< The last change of the estimates, as the settings say. */
} qvreg_logistic_summary;

/** `summary` receives how the iterations of `results` went. This and the other functions of a
 * logistic model return QVREG_WRONG_MODEL for a linear one. */
QVREG_EXPORT int32_t qvreg_logistic_get_summary(const qvreg_results* results,
                                                qvreg_logistic_summary* summary,
                                                qvreg_error* error);
/** The categories of the dependent that occur in `results`, the reference last: their `codes` and
 * sums of frequency `weights`. Parameters are in K - 1 blocks of P, one per other category. */
QVREG_EXPORT int32_t qvreg_logistic_get_categories(const qvreg_results* results, int32_t* codes,
                                                   double* weights, size_t capacity, size_t* count,
                                                   qvreg_error* error);
/** The classification table of `results`, K x K sums of frequency weights, rows observed, columns
 * predicted, in the order of the categories, goes to `elements`, whose rows begin `row_stride`
 * doubles apart, at least K. `count` is what the buffer must hold: (K - 1) `row_stride` + K.
 * QVREG_BAD_ARGUMENT for a smaller stride, QVREG_NOT_SERVED when there is no table. */
QVREG_EXPORT int32_t qvreg_logistic_get_classification(const qvreg_results* results,
                                                       double* elements, size_t row_stride,
                                                       size_t capacity, size_t* count,
                                                       qvreg_error* error);

/* ---- Scaled results */

/** What a linear model's dependent was divided by, and an error in that unit.
 *
 * A column of the design, or the dependent of a linear model, whose largest absolute value in the
 * records used is not from 2^-20 to 2^20 goes through the estimation divided by a power of two,
 * which rounds nothing. All other results are in the host's units, where an estimate or an element
 * of the covariance matrix that no double holds is infinite or 0. The scaled results hold it all
 * the same, for standard errors and tests; they equal the others where every exponent is 0. */
typedef struct qvreg_scaled_summary {
  size_t struct_size;         /**< sizeof(qvreg_scaled_summary), set by the host. */
  int32_t dependent_exponent; /**< The exponent f of the power of two that the dependent was divided
                                   by; 0 for a logistic model. */
  int32_t reserved;           /**< 0. */
  double rmse;                /**< The root mean square error times 2^-f; QVREG_MISSING_VALUE when
                                   the data leave it undefined, and for a logistic model. */
} qvreg_scaled_summary;

/** `summary` receives the exponent of the dependent of `results`, and the error. */
QVREG_EXPORT int32_t qvreg_scaled_get_summary(const qvreg_results* results,
                                              qvreg_scaled_summary* summary, qvreg_error* error);
/** Per parameter of `results` the exponent e of the power of two that its column was divided by
 * goes to `exponents`. All columns of an effect share it. */
QVREG_EXPORT int32_t qvreg_scaled_get_exponents(const qvreg_results* results, int32_t* exponents,
                                                size_t capacity, size_t* count, qvreg_error* error);
/** The estimates of `results` times 2^(e - f) go to `estimates`. */
QVREG_EXPORT int32_t qvreg_scaled_get_estimates(const qvreg_results* results, double* estimates,
                                                size_t capacity, size_t* count, qvreg_error* error);
/** As qvreg_results_get_covariance_packed of `results` the `elements` times 2^(e_i + e_j) in row i
 * and column j. */
QVREG_EXPORT int32_t qvreg_scaled_get_covariance_packed(const qvreg_results* results,
                                                        double* elements, size_t capacity,
                                                        size_t* count, qvreg_error* error);
/** How the column of `parameter` of `results`, a redundant one, depends on those that are kept: one
 * coefficient c_k per parameter goes to `combination`, such that x_j / 2^e_j is the sum of
 * c_k x_k / 2^e_k. All are 0 for a parameter that is kept and for one whose column was not
 * finite. */
QVREG_EXPORT int32_t qvreg_scaled_get_redundant_combination(const qvreg_results* results,
                                                            size_t parameter, double* combination,
                                                            size_t capacity, size_t* count,
                                                            qvreg_error* error);

/* ---- Records against a model, and scoring */

/** What a check found of a record. */
enum qvreg_verdict {
  QVREG_VERDICT_VALID = 0,      /**< The record takes part. */
  QVREG_VERDICT_MISSING = 1,    /**< A value is missing: the record is skipped. */
  QVREG_VERDICT_BAD_WEIGHT = 2, /**< A weight is not above 0: the record is skipped. */
  QVREG_VERDICT_UNSEEN = 3      /**< Scoring: a level combination has no parameter; or, of a
                                     logistic model, a value that has an estimate is not finite. */
};

/** `verdict` receives whether the estimation of `results` takes `record`, of `record_size` values:
 * a qvreg_verdict. A code equal to the number of categories is not looked for. QVREG_BAD_CATEGORY.
 */
QVREG_EXPORT int32_t qvreg_results_check_record(const qvreg_results* results, const double* record,
                                                size_t record_size, int32_t* verdict,
                                                qvreg_error* error);
/** The design row of `record`, of `record_size` values, goes to `row`: for the linear model the
 * parameters of `results` and last the dependent (the missing value where the record is too short
 * for it), for the logistic one as many as all parameters, the values standing in the first
 * equation's. `is_expanded` becomes 0, and the row is not complete, when a level combination has no
 * parameter, or a value is missing or unusable; it is set, too, where only the count is asked for.
 * QVREG_BAD_ARGUMENT when the component is in use. */
QVREG_EXPORT int32_t qvreg_results_expand_row(const qvreg_results* results, const double* record,
                                              size_t record_size, double* row, size_t capacity,
                                              size_t* count, int32_t* is_expanded,
                                              qvreg_error* error);
/** The design row of `record`, of `record_size` values, by effects: `indices` hold the parameter of
 * each effect of logistic `results`, below P, or -1 for a level combination that has none, and
 * `values` the design values, zeros included. `is_expanded` and codes as
 * qvreg_results_expand_row; QVREG_WRONG_MODEL for a linear model. */
QVREG_EXPORT int32_t qvreg_logistic_expand_sparse(const qvreg_results* results,
                                                  const double* record, size_t record_size,
                                                  int32_t* indices, double* values, size_t capacity,
                                                  size_t* count, int32_t* is_expanded,
                                                  qvreg_error* error);

/** Scores one `record` of `record_size` values with the model of `component`, checking it first.
 *
 * `predicted` receives the predicted value, or for a logistic model the predicted category's code.
 * `probabilities`, a buffer of `capacity`, receives those of a logistic model, the reference
 * category last; null with a capacity of 0 when they are not wanted. `verdict`, which may be null,
 * receives a qvreg_verdict: only for QVREG_VERDICT_VALID is there a prediction, otherwise all
 * numbers are QVREG_MISSING_VALUE. With an error nothing is written. QVREG_CANCELLED,
 * QVREG_NOT_BUILT, QVREG_BAD_CATEGORY, QVREG_CALLBACK_THREW; QVREG_BAD_ARGUMENT when the component
 * is in use; QVREG_WRONG_MODEL for probabilities of a linear model. */
QVREG_EXPORT int32_t qvreg_component_score(const qvreg_component* component, const double* record,
                                           size_t record_size, double* predicted,
                                           double* probabilities, size_t capacity, int32_t* verdict,
                                           qvreg_error* error);

/** Records to score: value v of record i is `values[i * record_stride + v * value_stride]`. */
typedef struct qvreg_rows {
  size_t struct_size;      /**< sizeof(qvreg_rows), set by the host. */
  const double* values;    /**< The first value of the first record. */
  size_t n_records;        /**< How many records; 0 allows null values. */
  size_t record_size;      /**< How many values a record has. */
  ptrdiff_t record_stride; /**< From record to record, in doubles. */
  ptrdiff_t value_stride;  /**< From value to value of a record, in doubles; 1 for plain rows. */
} qvreg_rows;

/** Scores the records of `rows` with the model of `component`, each as qvreg_component_score.
 *
 * `predicted` has room for a value per record. `probabilities`, a buffer of `capacity`, receives a
 * row of K values per record, K being the categories of the model; null with a capacity of 0 when
 * they are not wanted. `verdicts`, null or with room for one per record, receives a qvreg_verdict
 * each. `n_scored`, which may be null, receives how many records were scored: all of them, or those
 * before the one that ended the call, which is discrete datum 0 of `error`. */
QVREG_EXPORT int32_t qvreg_component_score_rows(const qvreg_component* component,
                                                const qvreg_rows* rows, double* predicted,
                                                double* probabilities, size_t capacity,
                                                int32_t* verdicts, size_t* n_scored,
                                                qvreg_error* error);

/** Where the scores of many records go. Buffers that are null are not wanted; the others have room
 * for every record. Strides are in bytes and may be negative; 0 stands for values side by side. */
typedef struct qvreg_scores {
  size_t struct_size;              /**< sizeof(qvreg_scores), set by the host. */
  double* predicted;               /**< The predicted value; of a logistic model the code of the
                                        predicted category. */
  ptrdiff_t predicted_stride;      /**< From record to record. */
  double* standard_errors;         /**< Linear: the standard error of the predicted mean. */
  ptrdiff_t standard_error_stride; /**< From record to record. */
  double* probabilities;           /**< Logistic: those of the K categories, in the order of
                                        qvreg_logistic_get_categories. */
  ptrdiff_t probability_stride;    /**< From record to record; 0 for K values apart. */
  ptrdiff_t category_stride;       /**< From category to category. */
  int32_t* categories;             /**< Logistic: the code of the predicted category; -1 where there
                                        is none. */
  ptrdiff_t category_code_stride;  /**< From record to record. */
  int32_t* verdicts;               /**< A qvreg_verdict. */
  ptrdiff_t verdict_stride;        /**< From record to record. */
  const double* covariance;        /**< For standard errors, the lower triangle of the covariance
                                        matrix of the estimates as
                                        qvreg_results_get_covariance_packed has it, the residual
                                        variance multiplied in; null for the model's own. */
  size_t covariance_size;          /**< Its length, n (n + 1) / 2 for n parameters. */
  int32_t is_missing_nan;          /**< Whether a number that does not exist is a NaN; otherwise it
                                        is QVREG_MISSING_VALUE. */
  int32_t reserved;                /**< 0. */
} qvreg_scores;

/** Scores the `n_records` records of `n_columns` `columns` with the model of `component`, each as
 * qvreg_component_score, on `threads`; 0 for as many as the machine has cores. The scores are the
 * same, to the last bit, for any number.
 *
 * A column is the variable of its position in the settings. One that scoring does not use, such as
 * the dependent, is not read and may have null values; those behind the last one used may be left
 * out. `scores` says what is wanted and where it goes. `n_scored`, which may be null, receives how
 * many records were scored: all of them, or those before the one that ended the call, which is
 * discrete datum 0 of `error`; some behind it may have been written, too.
 *
 * Codes as qvreg_component_score and qvreg_source_create_typed_columns, and QVREG_REFUSED_VALUE;
 * QVREG_WRONG_MODEL for standard errors of a logistic model, or probabilities or categories of a
 * linear one; QVREG_NOT_SERVED for standard errors where the model has no covariance matrix;
 * QVREG_BAD_ARGUMENT for a covariance of another length, and a number of threads below 0. */
QVREG_EXPORT int32_t qvreg_component_score_columns(const qvreg_component* component,
                                                   const qvreg_typed_column* columns,
                                                   size_t n_columns, size_t n_records,
                                                   int32_t threads, const qvreg_scores* scores,
                                                   size_t* n_scored, qvreg_error* error);

/** Adds to `elements` the sum over the `n_records` records of `n_columns` `columns` of the products
 * of their scores, the lower triangle row by row: what a host needs for covariance matrices that
 * hold whatever the variances of records are. The score of a record is its design row times its
 * number in `multipliers`; of a logistic model the rows of its K - 1 equations one behind the
 * other, each times a number of its own. A linear model's multiplier for White's covariance is the
 * regression weight times the residual, a logistic one's the regression weight times what is 1 for
 * the category observed and 0 otherwise, less the probability; either times the root of the
 * frequency weight. With the covariance matrix A that is not multiplied by the residual variance
 * and these sums B, the covariance is A B A.
 *
 * `multipliers` begin `stride` bytes apart from record to record, and one behind the other for the
 * equations of a record; 0 stands for no room between records. A record whose multipliers are all 0
 * or have a NaN among them adds nothing, and the same is true of one that has a missing value or a
 * level combination without a parameter. `capacity` is n (n + 1) / 2 for n parameters, and
 * `elements` start with zeros before the first of several calls. `component`, columns,
 * `threads` and codes as of qvreg_component_score_columns, and QVREG_BUFFER_TOO_SMALL. */
QVREG_EXPORT int32_t qvreg_component_add_score_products(const qvreg_component* component,
                                                        const qvreg_typed_column* columns,
                                                        size_t n_columns, size_t n_records,
                                                        int32_t threads, const double* multipliers,
                                                        ptrdiff_t stride, double* elements,
                                                        size_t capacity, qvreg_error* error);

/* ---- Passes on threads, processes and machines */

/* Every pass over the records is a request and an answer, both bytes. The answer of many records is
 * merged from those of their parts, so the parts can be anywhere. Three ways:
 *
 * - threads of this process: qvreg_settings_set_threads, and nothing else changes;
 * - processes and machines of the host: qvreg_settings_set_runner gives the requests to a callback,
 *   which carries them to workers and their answers back;
 * - settings as bytes, for another process that is to fit the same model.
 *
 * Results depend on the division into parts, to the last digits, and on nothing else: neither on
 * how many threads or workers there are, nor on who is ready first. One part gives the results of a
 * run without threads and runner, to the last bit. */

/** Bytes that travel or are kept: settings, a request, an answer or a model. They never change:
 * several threads may use a handle of them at once. */
typedef struct qvreg_bytes qvreg_bytes;

/** Makes `bytes`, a copy of `size` bytes at `data`, which may be null for none. */
QVREG_EXPORT int32_t qvreg_bytes_create(const uint8_t* data, size_t size, qvreg_bytes** bytes,
                                        qvreg_error* error);
/** Gives `bytes` back. */
QVREG_EXPORT void qvreg_bytes_destroy(qvreg_bytes* bytes);
/** `data` receives where `bytes` begin, until they are destroyed, and `size` how many they are. */
QVREG_EXPORT int32_t qvreg_bytes_get_data(const qvreg_bytes* bytes, const uint8_t** data,
                                          size_t* size, qvreg_error* error);

/** Makes `bytes` of `settings`, of either model, but for callbacks and threads. Codes as
 * qvreg_settings_validate; QVREG_TOO_MANY_PARAMETERS without memory. */
QVREG_EXPORT int32_t qvreg_settings_write(const qvreg_settings* settings, qvreg_bytes** bytes,
                                          qvreg_error* error);
/** Makes `settings`, those that qvreg_settings_write made `bytes` of, in any process and on any
 * machine. Their effects are defined over the variables that they use. QVREG_UNREADABLE_MESSAGE
 * for bytes that are damaged, of another version or no settings; without memory that, too, or
 * QVREG_TOO_MANY_PARAMETERS. */
QVREG_EXPORT int32_t qvreg_settings_read(const qvreg_bytes* bytes, qvreg_settings** settings,
                                         qvreg_error* error);

/** Makes bytes, `model`, of the built model of `component`: settings but for callbacks and threads,
 * parameters, results. They may be kept: every version of the library with the same first number
 * that is not older can read them, on any machine. QVREG_NOT_BUILT before the model is built, or
 * what ended the run; QVREG_TOO_MANY_PARAMETERS without memory. */
QVREG_EXPORT int32_t qvreg_component_write(const qvreg_component* component, qvreg_bytes** model,
                                           qvreg_error* error);
/** Makes a `component` that holds the model of which qvreg_component_write made the bytes `model`:
 * it scores and has the results of that one, to the last bit, and answers QVREG_ALREADY_BUILT to
 * another build. QVREG_UNREADABLE_MESSAGE for bytes that are damaged, no model, or of a version
 * that this one cannot read; without memory that, too, or QVREG_TOO_MANY_PARAMETERS. */
QVREG_EXPORT int32_t qvreg_component_restore(const qvreg_bytes* model, qvreg_component** component,
                                             qvreg_error* error);

/** Makes bytes, `text`, of what qvreg_component_write makes bytes of, for hosts that keep models in
 * a format of their own: lines of ASCII text, of which the first is `qvreg-model` and the number of
 * the format, 1. Each other one is `name numbers`, with a blank before each number; `name {`, whose
 * lines follow up to `}`; or that. Names, and what they name, are those of qvreg/component/
 * QvContentsFields.h and QvModelContents.h. Numbers are read back to the same bits: decimal, INF,
 * -INF, NaN, and a NaN of other bits with these behind a colon. The last part, `numbers`, has which
 * parameters are kept, estimates and covariances. Codes as qvreg_component_write. */
QVREG_EXPORT int32_t qvreg_component_write_text(const qvreg_component* component,
                                                qvreg_bytes** text, qvreg_error* error);
/** Makes a `component` of `text`, as qvreg_component_restore does of bytes. There is no checksum:
 * numbers that fit together are taken. QVREG_UNREADABLE_MESSAGE for a text that holds no model, or
 * one of a version that this one cannot read; QVREG_TOO_MANY_PARAMETERS without memory. */
QVREG_EXPORT int32_t qvreg_component_restore_text(const qvreg_bytes* text,
                                                  qvreg_component** component, qvreg_error* error);

/** Computes answers to the requests of components, in the process that has the records. Any worker
 * can answer any request. It keeps what it unpacked of a run, and the rows of each part where a
 * logistic model uses the pattern tabulator, until a request of another run comes. */
typedef struct qvreg_worker qvreg_worker;

/** Makes a `worker`. */
QVREG_EXPORT int32_t qvreg_worker_create(qvreg_worker** worker, qvreg_error* error);
/** Gives `worker` back. */
QVREG_EXPORT void qvreg_worker_destroy(qvreg_worker* worker);
/** Has `worker` make the pass of `request` over all records of `source`, which may have none; they
 * are those of part number `part`, from 0 on, and the same in every pass. `answer` receives what
 * they come to. What a run over the part would end with (QVREG_CANCELLED, QVREG_BAD_CATEGORY,
 * QVREG_SHORT_RECORD, QVREG_TOO_MANY_PARAMETERS) is an answer too, which ends the run of the
 * component. QVREG_UNREADABLE_MESSAGE for bytes that are no request, QVREG_TOO_MANY_PARAMETERS
 * without memory for an answer; QVREG_NO_FURTHER_PASS, QVREG_UNREADABLE_RECORD and
 * QVREG_CALLBACK_THREW of a source that failed; QVREG_BAD_ARGUMENT for a part below 0, or when the
 * worker or the source is in use. */
QVREG_EXPORT int32_t qvreg_worker_run(qvreg_worker* worker, const qvreg_bytes* request,
                                      int32_t part, qvreg_source* source, qvreg_bytes** answer,
                                      qvreg_error* error);
/** Has `worker` merge two answers to `request`: `first`, of the lower part numbers, and `second`.
 * `merged` receives the answer of both; an error among them is the result, the first of two. For
 * the same results on any number of workers the answers are merged in pairs of neighbours: parts 0
 * and 1, 2 and 3, ..., then these pairs, and so on, one without a neighbour as it is.
 * QVREG_UNREADABLE_MESSAGE for bytes that are no answers to the request, QVREG_TOO_MANY_PARAMETERS
 * without memory, QVREG_BAD_ARGUMENT when the worker is in use. */
QVREG_EXPORT int32_t qvreg_worker_merge(qvreg_worker* worker, const qvreg_bytes* request,
                                        const qvreg_bytes* first, const qvreg_bytes* second,
                                        qvreg_bytes** merged, qvreg_error* error);
/** Asks a running pass of `worker` to stop before its next record; its answer is then
 * QVREG_CANCELLED. It is kept: every later pass of the worker answers that. Any thread, with an
 * `error` of its own. */
QVREG_EXPORT int32_t qvreg_worker_cancel(qvreg_worker* worker, qvreg_error* error);

/** Called with `user` for every pass of a component: has workers answer `request` for every part,
 * merges the answers, stores the bytes of the last one at `answer`, for the library to destroy, and
 * returns 0. Any other number is a failure, which ends the run with QVREG_UNREADABLE_RECORD
 * (discrete datum 1 the pass, from 1 on, datum 2 the number), or with QVREG_CANCELLED where the
 * component is to stop; 0 without an answer ends it with QVREG_UNREADABLE_MESSAGE. The request is
 * the library's, until the callback returns. */
typedef int32_t (*qvreg_runner_callback)(void* user, const qvreg_bytes* request,
                                         qvreg_bytes** answer);

/** Components made of `settings` from now on have `callback` with `user` make their passes; null
 * for none, and for no threads. The source that such a component is given is not read and may be
 * null. A bad answer ends the run with QVREG_UNREADABLE_MESSAGE; the error of a record comes
 * without its number. */
QVREG_EXPORT int32_t qvreg_settings_set_runner(qvreg_settings* settings,
                                               qvreg_runner_callback callback, void* user,
                                               qvreg_error* error);
/** Components made of `settings` from now on read the records of `source` on `threads`; 0 for as
 * many as the machine has cores. It takes the place of a runner, and qvreg_settings_set_runner
 * takes it back. The source that such a component is given is not read and may be null.
 *
 * The records are those of a record file or of columns, divided into ranges. Into how many is
 * settled when a component is made, by the number of records and the model; results are the same,
 * to the last bit, for any number of threads. Every thread opens the file for itself, by the path
 * that it had when the source was made. `source` may be destroyed; the values of its columns stay
 * until the settings and the components made of them are destroyed or have run. Callbacks are still
 * called by the thread that called the library; that of qvreg_settings_set_cancel every 10 ms.
 *
 * `memory_bytes` bounds what the sums of a pass may take: where those of all threads would take
 * more, fewer threads run, and always one; 0 for 1 GiB. The tables of the first pass, which grow
 * with the level combinations found, do not count.
 *
 * Errors are those of a run on one thread, with the number of the record in the whole source; and
 * QVREG_CANNOT_OPEN, of qvreg_component_create too, when the file cannot be opened again.
 * QVREG_BAD_ARGUMENT for a source of callbacks, whose records come one after the other, and for a
 * number below 0. */
QVREG_CHECKED QVREG_EXPORT int32_t qvreg_settings_set_threads(qvreg_settings* settings,
                                                              const qvreg_source* source,
                                                              int32_t threads, int64_t memory_bytes,
                                                              qvreg_error* error);

#ifdef __cplusplus
}
#endif
