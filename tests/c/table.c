#include "tests/c/table.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvreg/c/qvreg_c.h"

void give_up(const char* what, const char* which) {
  fprintf(stderr, "%s: %s\n", what, which);
  exit(2);
}

static void* allocate(size_t size) {
  void* memory = malloc(size > 0 ? size : 1);
  if (memory == NULL) give_up("no memory", "");
  return memory;
}

char* read_text(const char* path) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) give_up("cannot read", path);
  size_t room = 1 << 20;
  char* text = allocate(room);
  const size_t length = fread(text, 1, room - 1, file);
  if (ferror(file) != 0 || feof(file) == 0) give_up("cannot read all of", path);
  fclose(file);
  text[length] = '\0';
  return text;
}

// Copies the cell at `text` and returns what stands behind it: a comma or the end of a line.
static const char* read_cell(const char* text, char cell[LONGEST_CELL]) {
  size_t length = 0;
  while (*text != ',' && *text != '\n' && *text != '\r' && *text != '\0') {
    if (length + 1 == LONGEST_CELL) give_up("a cell is too long", text);
    cell[length++] = *text++;
  }
  cell[length] = '\0';
  if (*text == '\r') ++text;
  return text;
}

static const char* read_header(const char* text, table* into) {
  while (*text != '\n') {
    if (into->n_columns == MOST_COLUMNS) give_up("too many columns", text);
    text = read_cell(text, into->names[into->n_columns++]);
    if (*text == ',') ++text;
  }
  return text + 1;
}

static size_t count_lines(const char* text) {
  size_t lines = 0;
  for (; *text != '\0'; ++text) lines += *text == '\n';
  return lines;
}

int level_of(const table* in, int column, const char* cell) {
  for (int level = 0; level < in->n_levels[column]; ++level) {
    if (strcmp(in->levels[column][level], cell) == 0) return level;
  }
  return -1;
}

// Puts a level in its place among the others.
static void add_level(table* into, int column, const char* cell) {
  if (level_of(into, column, cell) >= 0) return;
  int place = into->n_levels[column]++;
  if (place == MOST_LEVELS) give_up("too many levels", into->names[column]);
  while (place > 0 && strcmp(into->levels[column][place - 1], cell) > 0) {
    strcpy(into->levels[column][place], into->levels[column][place - 1]);
    --place;
  }
  strcpy(into->levels[column][place], cell);
}

static int is_number(const char* cell, double* value) {
  char* end = NULL;
  *value = strtod(cell, &end);
  return end != cell && *end == '\0';
}

// Goes over all cells: first to find the levels, then, with room for them, to code the values.
static void read_cells(const char* text, table* into) {
  for (size_t i = 0; i < into->n_records; ++i) {
    for (size_t j = 0; j < into->n_columns; ++j) {
      char cell[LONGEST_CELL];
      double number = 0.0;
      text = read_cell(text, cell);
      if (*text != '\0') ++text;
      const int is_text = cell[0] != '\0' && !is_number(cell, &number);
      if (into->values == NULL) {
        if (is_text) add_level(into, (int)j, cell);
        continue;
      }
      double value = into->n_levels[j] > 0 ? level_of(into, (int)j, cell) : number;
      if (cell[0] == '\0') value = into->n_levels[j] > 0 ? -1.0 : QVREG_MISSING_VALUE;
      into->values[j * into->n_records + i] = value;
    }
  }
}

table read_table(const char* path) {
  table read;
  memset(&read, 0, sizeof read);
  char* text = read_text(path);
  const char* cells = read_header(text, &read);
  read.n_records = count_lines(cells);
  read_cells(cells, &read);
  read.values = allocate(read.n_columns * read.n_records * sizeof(double));
  read_cells(cells, &read);
  free(text);
  return read;
}

int column_of(const table* of, const char* name) {
  for (size_t j = 0; j < of->n_columns; ++j) {
    if (strcmp(of->names[j], name) == 0) return (int)j;
  }
  give_up("there is no column", name);
  return -1;
}
