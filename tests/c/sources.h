#pragma once

#include "qvreg/c/qvreg_c.h"
#include "tests/c/table.h"

// The records of a table, from each kind of source. A table outlives them.

// What the callbacks go by.
typedef struct cursor {
  const table* over;
  size_t next;
  size_t bad_record;  // its number, from 1 on, at which `next` fails; 0 for none
} cursor;

// Each ends the program when the source cannot be made; the caller destroys it.
qvreg_source* source_of_callbacks(cursor* at);
qvreg_source* source_of_columns(const table* over);
// Writes the file first.
qvreg_source* source_of_file(const table* over, const char* path);
