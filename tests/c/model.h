#pragma once

#include "qvreg/c/qvreg_c.h"
#include "tests/c/table.h"

// Models of the reference fits, told to the library.

enum { MOST_IN_TERM = 8, MOST_TERMS = 8 };

// One effect, by column names up to the first null; a covariate named twice is squared.
typedef struct term {
  const char* factors[MOST_IN_TERM];
  const char* covariates[MOST_IN_TERM];
} term;

typedef struct model {
  const char* reference;  // the expected fit, a file under the folder of references
  const char* data;       // its table
  int32_t kind;           // a qvreg_model
  const char* dependent;
  const char* frequency_weight;
  const char* regression_weight;
  int32_t reference_category;
  term terms[MOST_TERMS];
} model;

// Ends the program with the message unless a call succeeded.
void must(int32_t code, const qvreg_error* error, const char* what);

// The settings of a model over a table; the caller destroys them.
qvreg_settings* make_settings(const model* of, const table* over);
