#pragma once

#include <cmath>
#include <optional>

namespace qvhost {

/// The value, or none when it is infinite or not a number: what does not exist is reported as
/// absent.
[[nodiscard]] inline std::optional<double> Finite(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// The value times 2 to the power of `exponent`, or none when no double holds that: it is too
/// large, or it is not 0 and too small.
[[nodiscard]] inline std::optional<double> TimesPowerOf2(double value, int exponent) {
  const double result = std::ldexp(value, exponent);
  return (result == 0.0) == (value == 0.0) ? Finite(result) : std::nullopt;
}

}  // namespace qvhost
