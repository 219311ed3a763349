#include "tests/c/typed.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "tests/c/model.h"

enum { MISSING_LEVEL = 255, BLOCK = 7 };

static void* allocate(typed_table* into, size_t place, size_t size) {
  void* memory = malloc(size > 0 ? size : 1);
  if (memory == NULL) give_up("no memory", "");
  into->memory[place] = memory;
  return memory;
}

static int are_floats(const double* values, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (values[i] != QVREG_MISSING_VALUE && (double)(float)values[i] != values[i]) return 0;
  }
  return 1;
}

static void take_levels(typed_table* into, size_t j, const double* values) {
  const size_t count = into->of->n_records;
  qvreg_typed_column* column = &into->columns[j];
  uint8_t* codes = allocate(into, j, count);
  for (size_t i = 0; i < count; ++i) {
    codes[i] = values[i] < 0.0 ? MISSING_LEVEL : (uint8_t)values[i];
  }
  column->values = codes;
  column->stride = 1;
  column->type = QVREG_TYPE_UINT8;
  column->has_missing_code = 1;
  column->missing_code = MISSING_LEVEL;
}

static void take_floats(typed_table* into, size_t j, const double* values) {
  const size_t count = into->of->n_records;
  qvreg_typed_column* column = &into->columns[j];
  float* numbers = allocate(into, j, count * sizeof(float));
  uint8_t* mask = allocate(into, MOST_COLUMNS + j, count);
  for (size_t i = 0; i < count; ++i) {
    mask[i] = values[i] == QVREG_MISSING_VALUE;
    numbers[i] = mask[i] != 0 ? -1.0F : (float)values[i];
  }
  column->values = numbers;
  column->stride = sizeof(float);
  column->type = QVREG_TYPE_FLOAT32;
  column->mask = mask;
  column->mask_stride = 1;
  column->mask_kind = QVREG_MASK_BYTES;
}

static void take_doubles(typed_table* into, size_t j, const double* values) {
  const size_t count = into->of->n_records;
  qvreg_typed_column* column = &into->columns[j];
  double* numbers = allocate(into, j, count * sizeof(double));
  for (size_t i = 0; i < count; ++i) {
    numbers[i] = values[i] == QVREG_MISSING_VALUE ? (double)NAN : values[i];
  }
  // Backwards and back again, as a view of an array may be.
  for (size_t i = 0; i < count / 2; ++i) {
    const double swapped = numbers[i];
    numbers[i] = numbers[count - 1 - i];
    numbers[count - 1 - i] = swapped;
  }
  column->values = numbers + (count > 0 ? count - 1 : 0);
  column->stride = -(ptrdiff_t)sizeof(double);
  column->type = QVREG_TYPE_FLOAT64;
  column->nan = QVREG_AS_MISSING;
  column->infinite = QVREG_REFUSE;
}

typed_table typed_of(const table* of) {
  typed_table typed;
  memset(&typed, 0, sizeof typed);
  typed.of = of;
  for (size_t j = 0; j < of->n_columns; ++j) {
    const double* values = of->values + j * of->n_records;
    typed.columns[j].struct_size = sizeof typed.columns[j];
    typed.columns[j].name = of->names[j];
    if (of->n_levels[j] > 0) {
      take_levels(&typed, j, values);
    } else if (are_floats(values, of->n_records)) {
      take_floats(&typed, j, values);
    } else {
      take_doubles(&typed, j, values);
    }
  }
  return typed;
}

void release_typed(typed_table* typed) {
  for (size_t k = 0; k < sizeof typed->memory / sizeof typed->memory[0]; ++k) {
    free(typed->memory[k]);
  }
}

qvreg_source* source_of_typed(const typed_table* typed) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* source = NULL;
  must(qvreg_source_create_typed_columns(typed->columns, typed->of->n_columns, typed->of->n_records,
                                         &source, &error),
       &error, "typed columns");
  return source;
}

static int32_t rewind_blocks(void* user) {
  typed_table* typed = user;
  typed->next = 0;
  return 0;
}

static int32_t next_block(void* user, qvreg_block* block) {
  typed_table* typed = user;
  const size_t left = typed->of->n_records - typed->next;
  if (left == 0) return QVREG_NEXT_END;
  memcpy(typed->given, typed->columns, sizeof typed->given);
  for (size_t j = 0; j < typed->of->n_columns; ++j) {
    qvreg_typed_column* column = &typed->given[j];
    column->values = (const char*)column->values + (ptrdiff_t)typed->next * column->stride;
    if (column->mask != NULL) {
      column->mask = (const char*)column->mask + (ptrdiff_t)typed->next * column->mask_stride;
    }
  }
  block->n_records = left < BLOCK ? left : BLOCK;
  block->columns = typed->given;
  typed->next += block->n_records;
  return QVREG_NEXT_RECORD;
}

qvreg_source* source_of_blocks(typed_table* typed) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_source* source = NULL;
  const qvreg_block_callbacks callbacks = {sizeof callbacks, typed->of->n_columns, typed,
                                           next_block, rewind_blocks};
  must(qvreg_source_create_blocks(&callbacks, &source, &error), &error, "blocks");
  return source;
}
