#pragma once

/// The category index of a coded value: (value + 0.5) truncated toward zero, less the first code.
/// A value that no int can hold, or that is not a number, gives -1.
inline int CategoryIndex(double value, int firstCode) {
  constexpr double kLargestCode = 2147483647.0;
  const double rounded = value + 0.5;
  if (!(rounded > -kLargestCode && rounded < kLargestCode)) return -1;
  return static_cast<int>(rounded) - firstCode;
}
