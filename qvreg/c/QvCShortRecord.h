#pragma once

#include <cstddef>
#include <string>

#include "qvreg/c/QvCReport.h"

/// The report of a record of `size` values where `needed` are.
inline QvCReport QvCShortRecord(std::size_t size, int needed) {
  return {QVREG_SHORT_RECORD, "The record has " + std::to_string(size) + " values and " +
                                  std::to_string(needed) +
                                  " are needed; check the record size and the variables."};
}
