#pragma once

#include <cmath>

namespace QvCommon {

/// The one rule of every factorisation: what is left of a diagonal element, `original` before the
/// first step, is above the tolerance.
inline bool IsSoundPivot(double pivot, double tolerance, double original) {
  return std::isfinite(pivot) && pivot > 0.0 && pivot > tolerance * original &&
         std::isfinite(1.0 / pivot);
}

}  // namespace QvCommon
