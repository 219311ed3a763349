#pragma once

#include <limits>

/// The category index of a coded value: (value + 0.5) truncated toward zero, less the first code.
/// A value that is not a number, or a code or an index that no int can hold, gives -1.
inline int CategoryIndex(double value, int firstCode) {
  constexpr double kBehindLargest = 2147483648.0;
  const double rounded = value + 0.5;
  if (!(rounded > -kBehindLargest - 1.0 && rounded < kBehindLargest)) return -1;
  const long long index = static_cast<long long>(rounded) - firstCode;
  const bool fits =
      index >= std::numeric_limits<int>::min() && index <= std::numeric_limits<int>::max();
  return fits ? static_cast<int>(index) : -1;
}
