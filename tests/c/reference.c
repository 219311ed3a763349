#include "tests/c/reference.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qvreg/c/qvreg_c.h"

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

static const char* skip(const char* text) { return text + strspn(text, ", :\n\r\t"); }

// Copies the string at `text`, which has no escapes, and returns what stands behind it.
static const char* read_string(const char* text, char* into, size_t room) {
  const char* const end = *text == '"' ? strchr(text + 1, '"') : NULL;
  if (end == NULL) give_up("no string", text);
  const size_t length = (size_t)(end - text) - 1;
  if (length + 1 > room) give_up("the string is too long", text);
  memcpy(into, text + 1, length);
  into[length] = '\0';
  return end + 1;
}

static void read_string_of(const char* json, const char* key, char* into, size_t room) {
  read_string(skip(value_of(json, key)), into, room);
}

// The value behind the name of an option, or an empty string.
static void read_option(const char* json, const char* name, char into[LONGEST_CELL]) {
  char option[LONGEST_NAME];
  into[0] = '\0';
  for (const char* text = skip(skip(value_of(json, "options")) + 1); *text != ']';
       text = skip(text)) {
    text = read_string(text, option, sizeof option);
    if (strcmp(option, name) == 0) {
      read_string(skip(text), into, LONGEST_CELL);
      return;
    }
  }
}

static void add_name(const char* name, char names[][LONGEST_CELL], size_t* count) {
  if (*count == MOST_IN_TERM) give_up("too much in a term", name);
  strcpy(names[(*count)++], name);
}

static const char* read_factors(const char* text, term* into) {
  char name[LONGEST_CELL];
  for (text = skip(text + 1); *text != ']'; text = skip(text)) {
    text = read_string(text, name, sizeof name);
    add_name(name, into->factors, &into->n_factors);
  }
  return text + 1;
}

static const char* read_covariates(const char* text, term* into) {
  char name[LONGEST_CELL];
  for (text = skip(text + 1); *text != '}'; text = skip(text)) {
    text = skip(read_string(text, name, sizeof name));
    const double power = read_value(text, &text);
    for (int i = 0; i < (int)power; ++i) add_name(name, into->covariates, &into->n_covariates);
  }
  return text + 1;
}

static const char* read_term(const char* text, term* into) {
  char key[LONGEST_CELL];
  for (text = skip(text + 1); *text != '}'; text = skip(text)) {
    text = skip(read_string(text, key, sizeof key));
    if (strcmp(key, "factors") == 0) {
      text = read_factors(text, into);
    } else if (strcmp(key, "covariates") == 0) {
      text = read_covariates(text, into);
    } else if (strcmp(key, "nested") == 0) {
      into->is_nested = read_value(text, &text) > 0.0;
    } else {
      give_up("an unknown key of a term", key);
    }
  }
  return text + 1;
}

model read_model(const char* json) {
  model read;
  memset(&read, 0, sizeof read);
  char kind[LONGEST_CELL];
  read_string_of(json, "kind", kind, sizeof kind);
  read.kind = strcmp(kind, "logistic") == 0 ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR;
  read_string_of(json, "data", read.data, sizeof read.data);
  read_string_of(json, "dependent", read.dependent, sizeof read.dependent);
  read.has_intercept = number_of(json, "intercept") > 0.0;
  read_option(json, "--freq-weight", read.frequency_weight);
  read_option(json, "--regression-weight", read.regression_weight);
  read_option(json, "--reference", read.reference_category);
  for (const char* text = skip(skip(value_of(json, "terms")) + 1); *text != ']';
       text = skip(text)) {
    if (read.n_terms == MOST_TERMS) give_up("too many terms", text);
    text = read_term(text, &read.terms[read.n_terms++]);
  }
  return read;
}
