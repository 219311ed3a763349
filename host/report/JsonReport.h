#pragma once

#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The fit as one JSON object, indented, with a line end. Numbers read back to the same double;
/// what does not exist is null; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string JsonReport(const FitResult& fit);

}  // namespace qvhost
