#pragma once

#include <string>

#include "host/fit/FitResult.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// The fit as one summary for people: what was fitted to what, on which records, the parameters,
/// how well it fits, and notes about anything suspicious. UTF-8, in lines of the style's width but
/// for words that are wider.
[[nodiscard]] std::string TextReport(const FitResult& fit, const TextStyle& style = {});

/// The fit as one JSON object, indented, with a line end. Numbers read back to the same double;
/// what does not exist is null; bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string JsonReport(const FitResult& fit);

}  // namespace qvhost
