#pragma once

#include "qvreg/c/qvreg_c.h"
#include "tests/c/table.h"

// A table as a host of arrays has it: levels as bytes with a missing code of their own, numbers as
// doubles with NaN for missing ones, or as floats with a mask where these hold them all.
typedef struct typed_table {
  const table* of;
  qvreg_typed_column columns[MOST_COLUMNS];
  void* memory[2 * MOST_COLUMNS];
  // Of the blocks that are handed out: the next record, and the columns of the last block.
  size_t next;
  qvreg_typed_column given[MOST_COLUMNS];
} typed_table;

// Makes one, which release_typed gives back. The table outlives it.
typed_table typed_of(const table* of);
void release_typed(typed_table* typed);

// Sources over it; the host destroys them. Of blocks only one at a time.
qvreg_source* source_of_typed(const typed_table* typed);
qvreg_source* source_of_blocks(typed_table* typed);
