#pragma once

#include "qvreg/c/qvreg_c.h"
#include "tests/c/reference.h"
#include "tests/c/table.h"

// Models of the reference fits, told to the library.

// Ends the program with the message unless a call succeeded.
void must(int32_t code, const qvreg_error* error, const char* what);

// The settings of a model over a table; the caller destroys them.
qvreg_settings* make_settings(const model* of, const table* over);
