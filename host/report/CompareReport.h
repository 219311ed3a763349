#pragma once

#include <string>

#include "host/compare/FitComparison.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// Fits side by side for people: estimates and standard errors, how well they fit, tests of nested
/// ones. UTF-8, in lines of the style's width but for words that are wider.
[[nodiscard]] std::string TextReport(const FitComparison& comparison, const TextStyle& style = {});

/// The same as one JSON object, see docs/compare.schema.json; as JsonReport of a fit.
[[nodiscard]] std::string JsonReport(const FitComparison& comparison);

}  // namespace qvhost
