#pragma once

#include "qvreg/c/qvreg_c.h"

// A worker over all records of a source, for qvreg_settings_set_runner: what a host in another
// process would be.
typedef struct lone_worker {
  qvreg_worker* worker;
  qvreg_source* source;
  int32_t passes;  // so far
} lone_worker;

// The runner's callback; `user` is a lone_worker.
int32_t run_alone(void* user, const qvreg_bytes* request, qvreg_bytes** answer);
// The same settings by way of their bytes. Ends the program when that fails.
qvreg_settings* settings_by_bytes(const qvreg_settings* settings);
// The same model by way of its text. Ends the program when that fails.
qvreg_component* component_by_text(const qvreg_component* component);
