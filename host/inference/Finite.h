#pragma once

#include <cmath>
#include <optional>

namespace qvhost {

/// The value, or none when it is infinite or not a number: what does not exist is reported as
/// absent.
[[nodiscard]] inline std::optional<double> Finite(double value) {
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace qvhost
