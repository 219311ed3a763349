#pragma once

#include <stddef.h>

// Numbers of a reference file, which is JSON: those that stand behind a key.

// Reads the numbers, true as 1 and false as 0, behind `key`, brackets or not, into `values` and
// returns how many they are; ends the program when there is no such key, or more than `room`.
size_t numbers_of(const char* json, const char* key, double* values, size_t room);

// The same for a single number.
double number_of(const char* json, const char* key);
