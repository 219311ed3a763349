#pragma once

#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The fit that JsonReport wrote: its reports, as text and as JSON, are those of the fit that was
/// written, byte for byte but for texts that were no UTF-8. What no report shows is not restored
/// (`tolerance`, ParameterResult::growth, ValidationOptions::level, tests of rows of means).
/// Members of later versions are skipped.
///
/// `file` is for messages. Throws Error (kBadInput) for a text that is cut off, no JSON or none of
/// a fit, or that lacks what this version writes.
[[nodiscard]] FitResult ReadFitResult(const std::string& text, const std::string& file);

}  // namespace qvhost
