#pragma once

#include <stddef.h>

// A table of the reference data as records of doubles: one per row and column of a CSV file, in
// columns. A text column is coded by its levels, which are sorted by their bytes.

enum { MOST_COLUMNS = 16, MOST_LEVELS = 32, LONGEST_CELL = 32 };

typedef struct table {
  size_t n_columns;
  size_t n_records;
  char names[MOST_COLUMNS][LONGEST_CELL];
  int n_levels[MOST_COLUMNS];  // 0 for a column of numbers
  char levels[MOST_COLUMNS][MOST_LEVELS][LONGEST_CELL];
  double* values;  // value i of column j is values[j * n_records + i]
} table;

// Reads a file, or ends the program with a message. The caller frees the values.
table read_table(const char* path);

// The position of a column; ends the program when there is none.
int column_of(const table* of, const char* name);

// The code of a level in a text column; -1 when there is none.
int level_of(const table* in, int column, const char* cell);

// The whole text of a file, or the end of the program. The caller frees it.
char* read_text(const char* path);

// Ends the program with a message.
void give_up(const char* what, const char* which);
