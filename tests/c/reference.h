#pragma once

#include <stddef.h>
#include <stdint.h>

#include "tests/c/table.h"

// What a reference file, which is JSON, says: the model, and the numbers behind a key.

enum { MOST_IN_TERM = 8, MOST_TERMS = 8, LONGEST_NAME = 64 };

// One effect, by column names; a covariate named twice is squared.
typedef struct term {
  size_t n_factors;
  char factors[MOST_IN_TERM][LONGEST_CELL];
  size_t n_covariates;
  char covariates[MOST_IN_TERM][LONGEST_CELL];
  int is_nested;  // each factor in those before it
} term;

typedef struct model {
  int32_t kind;             // a qvreg_model
  char data[LONGEST_NAME];  // its table, a file under the folder of references
  char dependent[LONGEST_CELL];
  int has_intercept;
  char frequency_weight[LONGEST_CELL];  // empty for none
  char regression_weight[LONGEST_CELL];
  char reference_category[LONGEST_CELL];  // `first`, `last` or a level of the dependent
  size_t n_terms;
  term terms[MOST_TERMS];
} model;

// The model of a file, or the end of the program.
model read_model(const char* json);

// Reads the numbers, true as 1 and false as 0, behind `key`, brackets or not, into `values` and
// returns how many they are; ends the program when there is no such key, or more than `room`.
size_t numbers_of(const char* json, const char* key, double* values, size_t room);

// The same for a single number.
double number_of(const char* json, const char* key);
