#pragma once

#include <cstdio>
#include <cstdlib>

namespace qvfuzz {

/// Ends the process, which the fuzzer takes for a finding, unless what must hold does.
inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace qvfuzz
