#include "tests/c/passes.h"

#include <stddef.h>

#include "tests/c/model.h"

// Bytes as another process has them: a copy.
static qvreg_bytes* sent(const qvreg_bytes* bytes) {
  qvreg_error error = QVREG_ERROR_INIT;
  const uint8_t* data = NULL;
  size_t size = 0;
  qvreg_bytes* copy = NULL;
  must(qvreg_bytes_get_data(bytes, &data, &size, &error), &error, "data of bytes");
  must(qvreg_bytes_create(data, size, &copy, &error), &error, "bytes");
  return copy;
}

int32_t run_alone(void* user, const qvreg_bytes* request, qvreg_bytes** answer) {
  lone_worker* self = user;
  ++self->passes;
  qvreg_bytes* got = sent(request);
  const int32_t code = qvreg_worker_run(self->worker, got, 0, self->source, answer, NULL);
  qvreg_bytes_destroy(got);
  return code;
}

qvreg_settings* settings_by_bytes(const qvreg_settings* settings) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_bytes* bytes = NULL;
  qvreg_settings* read = NULL;
  must(qvreg_settings_write(settings, &bytes, &error), &error, "settings to bytes");
  qvreg_bytes* got = sent(bytes);
  must(qvreg_settings_read(got, &read, &error), &error, "settings of bytes");
  qvreg_bytes_destroy(got);
  qvreg_bytes_destroy(bytes);
  return read;
}

qvreg_component* component_by_text(const qvreg_component* component) {
  qvreg_error error = QVREG_ERROR_INIT;
  qvreg_bytes* text = NULL;
  qvreg_component* restored = NULL;
  must(qvreg_component_write_text(component, &text, &error), &error, "model to text");
  qvreg_bytes* got = sent(text);
  must(qvreg_component_restore_text(got, &restored, &error), &error, "model of text");
  qvreg_bytes_destroy(got);
  qvreg_bytes_destroy(text);
  return restored;
}
