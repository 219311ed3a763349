#pragma once

#include <string>

#include "host/compare/SavedFit.h"
#include "host/fit/FitResult.h"

namespace qvhost {

/// What comparisons take from a fit that was read from a file. Throws Error (kBadInput), which
/// names the file, for a fit without a digest of its records.
[[nodiscard]] SavedFit FitForComparison(const FitResult& fit, const std::string& file);

}  // namespace qvhost
