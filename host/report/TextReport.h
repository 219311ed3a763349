#pragma once

#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The fit as one summary for people: what was fitted to what, on which records, the parameters,
/// how well it fits, and notes about anything suspicious. UTF-8, lines of the table's own width.
[[nodiscard]] std::string TextReport(const FitResult& fit);

}  // namespace qvhost
