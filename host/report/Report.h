#pragma once

#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The fit as one summary for people: what was fitted to what, on which records, the parameters,
/// how well it fits, and notes about anything suspicious. UTF-8, lines of the table's own width.
[[nodiscard]] std::string TextReport(const FitResult& fit);

/// The fit as one JSON object, indented, with a line end. Numbers read back to the same double;
/// what does not exist is null; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string JsonReport(const FitResult& fit);

}  // namespace qvhost
