#include "tests/c/reference.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/c/table.h"

// What stands behind the key and its colon.
static const char* value_of(const char* json, const char* key) {
  char quoted[64];
  snprintf(quoted, sizeof quoted, "\"%s\":", key);
  const char* found = strstr(json, quoted);
  if (found == NULL) give_up("the reference has no", key);
  return found + strlen(quoted);
}

// Reads the word or number at `text`; `end` receives what stands behind it.
static double read_value(const char* text, const char** end) {
  const size_t word = strspn(text, "truefalse");
  *end = text + word;
  if (word > 0) return *text == 't' ? 1.0 : 0.0;
  char* behind = NULL;
  const double value = strtod(text, &behind);
  if (behind == text) give_up("no number", text);
  *end = behind;
  return value;
}

size_t numbers_of(const char* json, const char* key, double* values, size_t room) {
  const char* text = value_of(json, key);
  size_t count = 0;
  int depth = 0;
  do {
    text += strspn(text, ", \n\r\t");
    if (*text == '[') {
      ++depth;
      ++text;
    } else if (*text == ']') {
      --depth;
      ++text;
    } else {
      if (count == room) give_up("too many numbers behind", key);
      values[count++] = read_value(text, &text);
    }
  } while (depth > 0);
  return count;
}

double number_of(const char* json, const char* key) {
  double value = 0.0;
  if (numbers_of(json, key, &value, 1) != 1) give_up("no number behind", key);
  return value;
}
