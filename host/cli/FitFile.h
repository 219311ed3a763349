#pragma once

#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// The fit in a file that 'qvreg fit --save' or 'qvreg fit --json' wrote, whatever its name. Throws
/// Error (kBadInput), which names the file, for one that cannot be read or is none.
[[nodiscard]] FitResult ReadFitFile(const std::string& file);

}  // namespace qvhost
