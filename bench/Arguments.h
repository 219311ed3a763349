#pragma once

#include <cstdlib>

namespace qvbench {

/// The whole number that `text` spells, or -1 when it spells none above 0.
inline long PositiveArgument(const char* text) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && value > 0 ? value : -1;
}

}  // namespace qvbench
