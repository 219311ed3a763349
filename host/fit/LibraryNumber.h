#pragma once

#include <optional>

#include "host/inference/Finite.h"
#include "qvreg/common/Constants.h"

namespace qvhost {

/// A number of the library: none when it is the missing value, infinite or not a number.
[[nodiscard]] inline std::optional<double> LibraryNumber(double value) {
  return value == QvMV::gMissingValue ? std::nullopt : Finite(value);
}

}  // namespace qvhost
