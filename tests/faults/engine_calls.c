/* The calls of DuckDB's C interface, by functions of their names in front of its own. A call that
 * fails leaves what the interface says that a failed one leaves: the state, a handle or none, and a
 * reason where there is a function to ask for it. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <duckdb.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "tests/faults/fault.h"

static const char* const reason = "IO Error: the engine was made to fail";
/* Queries of which DuckDB itself says why it fails. */
static const char* const bad_query = "SELECT error('IO Error: the engine was made to fail')";
static const char* const bad_text = "SELECT the engine was made to fail (";

static int failed;

/* Whether the call is to fail. */
static int fails(const char* name, const char* about) {
  if (fault_plan.how != FAULT_ENGINE && fault_plan.how != FAULT_SILENT) return 0;
  if (!fault_is_next(name, about)) return 0;
  failed = 1;
  return 1;
}

static int is_silent(void) { return fault_plan.how == FAULT_SILENT; }

/* DuckDB's own function of this name. Standard C has no functions as pointers to objects. */
#define OWN(name) (__extension__(__typeof__(&name)) dlsym(RTLD_NEXT, #name))

duckdb_state duckdb_create_config(duckdb_config* out) {
  if (!fails(__func__, "-")) return OWN(duckdb_create_config)(out);
  *out = NULL;
  return DuckDBError;
}

duckdb_state duckdb_set_config(duckdb_config config, const char* name, const char* option) {
  return fails(__func__, name) ? DuckDBError : OWN(duckdb_set_config)(config, name, option);
}

duckdb_state duckdb_open_ext(const char* path, duckdb_database* out, duckdb_config config,
                             char** error) {
  if (!fails(__func__, path == NULL ? "-" : path)) {
    return OWN(duckdb_open_ext)(path, out, config, error);
  }
  *out = NULL;
  *error = is_silent() ? NULL : strdup(reason);
  return DuckDBError;
}

duckdb_state duckdb_connect(duckdb_database database, duckdb_connection* out) {
  if (!fails(__func__, "-")) return OWN(duckdb_connect)(database, out);
  *out = NULL;
  return DuckDBError;
}

duckdb_state duckdb_query(duckdb_connection connection, const char* query, duckdb_result* out) {
  if (!fails(__func__, query)) return OWN(duckdb_query)(connection, query, out);
  if (!is_silent()) return OWN(duckdb_query)(connection, bad_query, out);
  if (out != NULL) memset(out, 0, sizeof *out);
  return DuckDBError;
}

duckdb_state duckdb_prepare(duckdb_connection connection, const char* query,
                            duckdb_prepared_statement* out) {
  if (!fails(__func__, query)) return OWN(duckdb_prepare)(connection, query, out);
  if (!is_silent()) return OWN(duckdb_prepare)(connection, bad_text, out);
  *out = NULL;
  return DuckDBError;
}

idx_t duckdb_extract_statements(duckdb_connection connection, const char* query,
                                duckdb_extracted_statements* out) {
  if (!fails(__func__, query)) return OWN(duckdb_extract_statements)(connection, query, out);
  if (!is_silent()) return OWN(duckdb_extract_statements)(connection, bad_text, out);
  *out = NULL;
  return 0;
}

duckdb_state duckdb_pending_prepared_streaming(duckdb_prepared_statement statement,
                                               duckdb_pending_result* out) {
  if (!fails(__func__, "-")) return OWN(duckdb_pending_prepared_streaming)(statement, out);
  *out = NULL;
  return DuckDBError;
}

duckdb_pending_state duckdb_pending_execute_task(duckdb_pending_result pending) {
  return fails(__func__, "-") ? DUCKDB_PENDING_ERROR : OWN(duckdb_pending_execute_task)(pending);
}

duckdb_state duckdb_execute_pending(duckdb_pending_result pending, duckdb_result* out) {
  if (!fails(__func__, "-")) return OWN(duckdb_execute_pending)(pending, out);
  memset(out, 0, sizeof *out);
  return DuckDBError;
}

duckdb_data_chunk duckdb_fetch_chunk(duckdb_result result) {
  /* Without a reason it would be the end of the rows. */
  if (is_silent() || !fails(__func__, "-")) return OWN(duckdb_fetch_chunk)(result);
  return NULL;
}

duckdb_state duckdb_appender_create_ext(duckdb_connection connection, const char* catalog,
                                        const char* schema, const char* table,
                                        duckdb_appender* out) {
  if (!fails(__func__, table)) {
    return OWN(duckdb_appender_create_ext)(connection, catalog, schema, table, out);
  }
  *out = NULL;
  return DuckDBError;
}

duckdb_state duckdb_append_data_chunk(duckdb_appender appender, duckdb_data_chunk chunk) {
  return fails(__func__, "-") ? DuckDBError : OWN(duckdb_append_data_chunk)(appender, chunk);
}

duckdb_state duckdb_appender_flush(duckdb_appender appender) {
  return fails(__func__, "-") ? DuckDBError : OWN(duckdb_appender_flush)(appender);
}

duckdb_state duckdb_appender_close(duckdb_appender appender) {
  return fails(__func__, "-") ? DuckDBError : OWN(duckdb_appender_close)(appender);
}

duckdb_state duckdb_register_table_function(duckdb_connection connection,
                                            duckdb_table_function function) {
  return fails(__func__, "-") ? DuckDBError
                              : OWN(duckdb_register_table_function)(connection, function);
}

duckdb_state duckdb_register_scalar_function(duckdb_connection connection,
                                             duckdb_scalar_function function) {
  return fails(__func__, "-") ? DuckDBError
                              : OWN(duckdb_register_scalar_function)(connection, function);
}

/* ---- Why ---------------------------------------------------------------------- */

/* DuckDB's own reason, or that of a call that did not get to DuckDB. */
static const char* reason_beside(const char* own) {
  return own != NULL || is_silent() || !failed ? own : reason;
}

const char* duckdb_result_error(duckdb_result* result) {
  return reason_beside(OWN(duckdb_result_error)(result));
}

const char* duckdb_pending_error(duckdb_pending_result pending) {
  return reason_beside(OWN(duckdb_pending_error)(pending));
}

const char* duckdb_appender_error(duckdb_appender appender) {
  return reason_beside(OWN(duckdb_appender_error)(appender));
}
