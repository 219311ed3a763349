#include "tests/c/sources.h"

#include <stdio.h>

#include "tests/c/model.h"

static int32_t rewind_cursor(void* user) {
  cursor* at = user;
  at->next = 0;
  return 0;
}

static void copy_record(const table* from, size_t index, double* record) {
  for (size_t j = 0; j < from->n_columns; ++j) {
    record[j] = from->values[j * from->n_records + index];
  }
}

static int32_t next_record(void* user, double* record, size_t record_size) {
  cursor* at = user;
  if (record_size != at->over->n_columns) return -99;
  if (at->next + 1 == at->bad_record) return -5;
  if (at->next == at->over->n_records) return QVREG_NEXT_END;
  copy_record(at->over, at->next++, record);
  return QVREG_NEXT_RECORD;
}

qvreg_source* source_of_callbacks(cursor* at) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* source = NULL;
  const qvreg_record_callbacks callbacks = {sizeof callbacks, at->over->n_columns, at, next_record,
                                            rewind_cursor};
  must(qvreg_source_create_callbacks(&callbacks, &source, &error), &error, "callbacks");
  return source;
}

qvreg_source* source_of_columns(const table* over) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* source = NULL;
  qvreg_column columns[MOST_COLUMNS];
  for (size_t j = 0; j < over->n_columns; ++j) {
    columns[j].values = over->values + j * over->n_records;
    columns[j].stride = 1;
  }
  must(qvreg_source_create_columns(columns, over->n_columns, over->n_records, &source, &error),
       &error, "columns");
  return source;
}

qvreg_source* source_of_file(const table* over, const char* path) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* source = NULL;
  FILE* file = fopen(path, "wb");
  if (file == NULL) give_up("cannot write", path);
  for (size_t i = 0; i < over->n_records; ++i) {
    double record[MOST_COLUMNS];
    copy_record(over, i, record);
    if (fwrite(record, sizeof(double), over->n_columns, file) != over->n_columns) {
      give_up("cannot write to", path);
    }
  }
  if (fclose(file) != 0) give_up("cannot write all of", path);
  must(qvreg_source_open_file(path, over->n_columns, &source, &error), &error, "record file");
  return source;
}
