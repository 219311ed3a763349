#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace qvbench {

/// The whole number that `text` spells, or -1 when it spells none above 0.
inline long PositiveArgument(const char* text) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && value > 0 ? value : -1;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Opens a file to be read; null, with a line on standard error, when it cannot be opened.
[[nodiscard]] inline File OpenFile(const char* path) {
  File file(std::fopen(path, "rb"), &std::fclose);
  if (file == nullptr) std::perror(path);
  return file;
}

}  // namespace qvbench
