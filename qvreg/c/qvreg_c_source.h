#pragma once

/**
 * \file
 * Where records come from; qvreg/c/qvreg_c.h tells the rules.
 *
 * A record is a row of doubles, one per variable. A run reads its records several times, and every
 * pass must deliver the same ones; their order does not matter. A source that fails ends the run
 * with QVREG_UNREADABLE_RECORD, QVREG_NO_FURTHER_PASS or QVREG_CALLBACK_THREW, never as if its data
 * had ended; it stays failed until its next pass.
 */

#include "qvreg/c/qvreg_c_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What `next` returns; every other number is a failure. */
enum qvreg_next {
  QVREG_NEXT_END = 0,   /**< There are no more records. */
  QVREG_NEXT_RECORD = 1 /**< A record was written. */
};

/** The host's own data: two callbacks. */
typedef struct qvreg_record_callbacks {
  size_t struct_size; /**< sizeof(qvreg_record_callbacks), set by the host. */
  size_t record_size; /**< How many values a record has, 1 or more. */
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

/** Makes a `source` of the host's `callbacks`, which are copied; what they use must live until the
 * source is destroyed and no run reads it. `error`: 1003 without next, 1007
 * for a record size of 0 or above 2^31 - 1. */
QVREG_EXPORT int32_t qvreg_source_create_callbacks(const qvreg_record_callbacks* callbacks,
                                                   qvreg_source** source, qvreg_error* error);
/** Makes a `source` of `n_columns` variables in memory, `columns`, with `n_records` records. The
 * array of columns is copied, their values are not: they stay as they are until the source is
 * destroyed and no run reads it.
 * `error`: 1007 for no column or above 2^31 - 1 of them. */
QVREG_EXPORT int32_t qvreg_source_create_columns(const qvreg_column* columns, size_t n_columns,
                                                 size_t n_records, qvreg_source** source,
                                                 qvreg_error* error);
/** Opens a record file as a `source`: rows of `record_size` doubles in the machine's byte order,
 * one after the other, with no header, separators or trailer. `path` is UTF-8 on every system.
 * `error`: 1011 when the file cannot be opened or is none, but a folder, a pipe or a device; 1007
 * for a record size of 0 or above 2^31 - 1. */
QVREG_EXPORT int32_t qvreg_source_open_file(const char* path, size_t record_size,
                                            qvreg_source** source, qvreg_error* error);
/** Gives `source` back, and closes its file. */
QVREG_EXPORT void qvreg_source_destroy(qvreg_source* source);

/** `record_size` receives how many values a record of `source` has. `error` as ever. */
QVREG_EXPORT int32_t qvreg_source_get_record_size(const qvreg_source* source, size_t* record_size,
                                                  qvreg_error* error);
/** Starts a pass over `source`, for a host that reads it itself. `error`: 304 when it cannot be
 * read again, 314 when the first record cannot be read, 1007 when a run reads it, 1012. */
QVREG_EXPORT int32_t qvreg_source_rewind(qvreg_source* source, qvreg_error* error);
/** Reads the next record of `source` into `record`, a buffer of `capacity`; `has_record` becomes 0,
 * and nothing is written, at the end of the data. The first call starts a pass when none was
 * started or failed to. A failure is answered again until the next pass. `error`: 304, 314, 1005,
 * 1007 when a run reads it, 1012. */
QVREG_EXPORT int32_t qvreg_source_next(qvreg_source* source, double* record, size_t capacity,
                                       int32_t* has_record, qvreg_error* error);

#ifdef __cplusplus
}
#endif
