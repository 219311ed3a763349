#pragma once

#include <cstdio>
#include <cstdlib>

namespace qvbench {

/// Ends the program when a part of the model was refused: it would measure another one.
inline void Require(bool isTaken) {
  if (isTaken) return;
  std::fprintf(stderr, "a part of the model was refused\n");
  std::exit(1);
}

}  // namespace qvbench
